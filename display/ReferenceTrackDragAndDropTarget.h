#pragma once

#include "analysis/Model.h"
#include "kit/SVGButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

// The drop area of the EQ preset list: one audio file, dropped or chosen, is analysed as the
// reference track through the usual queue, and its band lists and loudness become EQ preset
// 62, REFERENCE TRACK. The state lives in the Model, so a new target shows the last result.
// Message thread only.
class ReferenceTrackDragAndDropTarget : public juce::Component,
                                        public juce::ActionListener,
                                        public juce::ActionBroadcaster,
                                        public juce::Button::Listener,
                                        public juce::FileDragAndDropTarget
{
public:
    explicit ReferenceTrackDragAndDropTarget (Model& model);
    ~ReferenceTrackDragAndDropTarget() override;

    static constexpr const char* analysingText = "Analysing...";
    static constexpr const char* chooserTitle = "Select a Wave/MP3/AIFF/FLAC file to play...";
    static constexpr const char* chooserPattern = "*.wav;*.mp3;*.aif;*.aiff;*.fla;*.flac;*.wmv;*.asf;*.wm;*.wma";

    // Queues the file as the reference track (nothing while use isn't allowed).
    void loadReference (const juce::String& path);

    bool isInterestedInFileDrag (const juce::StringArray& files) override;
    void filesDropped (const juce::StringArray& files, int x, int y) override;
    void buttonClicked (juce::Button*) override;
    void actionListenerCallback (const juce::String& message) override;
    void paint (juce::Graphics&) override;
    void resized() override;

    Model* model;
    juce::Label statusLabel;
    bws::SVGButton_1 dropIcon { "Drop Files Icon" };
    juce::Label dropLabel { "Drop Audio Files", "DROP REFERENCE AUDIO FILES HERE" };
    bws::SVGButton_1 browseButton { "Browse Files" };

private:
    // The folder of the last file becomes the chooser's next start; the first file is loaded.
    void takeFiles (const juce::StringArray& paths);

    std::unique_ptr<juce::FileChooser> chooser;

    JUCE_DECLARE_WEAK_REFERENCEABLE (ReferenceTrackDragAndDropTarget)
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ReferenceTrackDragAndDropTarget)
};
