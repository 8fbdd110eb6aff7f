#pragma once

#include "analysis/Model.h"
#include "display/AnalysisFeedbackWindow.h"
#include "display/TrackDisplay.h"
#include "kit/SVGButton.h"
#include "kit/ScrollbarLNF.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <memory>
#include <set>
#include <vector>

// The strip of one track.
using TrackStrip = TrackDisplay;

// The keys belong to the main component: a click on a child doesn't take the focus, and no
// button answers Space or Return.
void leaveKeysToTheMainComponent (juce::Component& root);

namespace filedrop
{
// At most this many tracks in the list, and this many files in one drag.
constexpr int maxTracks = 50;
constexpr int maxFilesPerDrop = 50;
inline constexpr const char* audioExtensions = "wav;mp3;aif;aiff;fla;flac;wmv;asf;wm;wma";

// One file of any other kind refuses the whole drag (so a session can be opened, not dropped).
bool allAudioFiles (const juce::StringArray& paths);
// The limits of a drop: refused with 50 or more tracks listed or more than 50 files at once.
// 30 tracks and 30 files pass and end with 60.
bool dropAccepted (int tracksListed, int filesInDrop);
} // namespace filedrop

// The scrolling list of track strips with the drop target under them.
class MainDisplay : public juce::Component,
                    public juce::FileDragAndDropTarget,
                    public juce::ActionListener,
                    public juce::ActionBroadcaster,
                    public juce::Button::Listener
{
public:
    explicit MainDisplay (Model& model);
    ~MainDisplay() override;

    // FileDragAndDropTarget
    bool isInterestedInFileDrag (const juce::StringArray& files) override;
    void filesDropped (const juce::StringArray& files, int x, int y) override;

    // Called by the Model from any thread when a track marked for deletion has finished
    // loading: the deletion itself is posted to the message thread.
    void deleteTrackCallback (Track* track);

    // Delete-one, by id: stops the track if it plays, moves the active strip, removes the
    // strip and the Track. Returns false when no strip holds that id.
    bool deleteTrack (int64_t trackId);
    // Delete-all: stops playback, clears the active track, removes every strip and Track.
    void deleteAllTracks();

    // The keyboard's Left/Up (-1) and Right/Down (+1): the active strip moves on, wrapping,
    // skipping strips whose track is still loading. False with no strip to move to.
    bool moveActiveStrip (int direction);

    // "FEEDBACK:" with an id: the feedback window on that strip, the other strips' toggles off.
    void showFeedback (int64_t trackId);
    // "FEEDBACK:" without one: the window closes and every toggle goes off.
    void closeFeedback();
    // At a preset change an open window shows its strip's new feedback.
    void refillFeedback();

    TrackStrip* findStrip (int64_t trackId) const;
    int getNumStrips() const noexcept { return (int) trackDisplays.size(); }
    TrackStrip* getStrip (int index) const { return trackDisplays[(size_t) index].get(); }

    void resized() override;
    void actionListenerCallback (const juce::String& message) override;
    void buttonClicked (juce::Button*) override;
    void mouseEnter (const juce::MouseEvent&) override;

    std::vector<std::unique_ptr<TrackStrip>> trackDisplays;
    juce::Viewport viewport;
    juce::Component trackHolder { "TrackHolder" };
    std::unique_ptr<AnalysisFeedbackWindow> feedbackWindow;
    Model& model;
    bws::SVGButton dropIcon { "Drop Files Icon" };
    juce::Label dropLabel { "Drop Audio Files", "DROP AUDIO FILES HERE" };
    bws::SVGButton browseButton { "Browse Files" };
    int dropBlockHeight = 185;
    std::function<void()> playCallback;
    std::function<void()> idleCallback;
    std::function<void (bool)> enableResetCallback;
    // Set by the main component to whether the licence layer allows use.
    std::function<bool()> useAllowed;
    // Listens to every strip besides this display (the main component).
    juce::ActionListener* stripListener = nullptr;

private:
    void addStrip (int64_t trackId);
    void stripLoadFinished (int64_t trackId);
    void handleDelete (const juce::String& message);
    void removeStripAndTrack (int64_t trackId);
    void stopIfPlaying (Track* track);
    int tracksListed();
    bool loading() const;

    // Whether the load worker may still be reading the track: its end hasn't been seen here
    // while a batch is running.
    bool loadHolds (int64_t trackId) const;

    // Ids of the tracks whose load has ended as the message thread knows it: only these may
    // be freed at once; the load worker is done with them.
    std::set<int64_t> finishedTracks;
    int64_t feedbackTrackId = 0;
    void placeFeedback();
    bws::ScrollbarLNF scrollbarLook;

    JUCE_DECLARE_WEAK_REFERENCEABLE (MainDisplay)
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (MainDisplay)
};
