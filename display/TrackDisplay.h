#pragma once

#include "analysis/Model.h"
#include "display/ButtonReadout.h"
#include "display/ButtonStereo.h"
#include "display/TrackWaveformDisplay.h"
#include "kit/SVGButton.h"
#include "targets/FeedbackBuilder.h"
#include "targets/TextExport.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

// The strip of one track: its name, four readout buttons that show the main readings and choose
// which problem the heat map shows, the feedback, play and delete buttons, and the waveform.
// It points at its Track, which the Model owns. Message thread only.
class TrackDisplay : public juce::Component,
                     public juce::Button::Listener,
                     public juce::ActionBroadcaster,
                     public juce::ActionListener
{
public:
    explicit TrackDisplay (Model& model);
    ~TrackDisplay() override;

    static constexpr const char* feedbackTooltip = "Click to view analysis feedback";
    static constexpr const char* playTooltip = "Click to play this track";

    // Joins the strip to its track and makes it visible.
    void setTrack (Track* newTrack);
    Track* getTrack() const noexcept { return track; }
    int64_t getTrackId() const noexcept { return trackId; }

    // The heartbeat: live figures and the load's clock while the track loads.
    void timerCallback();
    // The track's load has ended: the feedback is built and the buttons come on.
    void loadFinished();
    bool isLoadFinished() const noexcept { return finished; }
    // Brought up to date with the current preset: the whole-track tests, heat map and feedback.
    void refreshForPreset();
    // "SELECT_ALL:": that reading on this strip, and its heat map and feedback.
    void selectForAll (int kind);
    void selectReading (int kind, bool updateButtons = true);
    int getSelectedReading() const noexcept { return selectedReading; }

    void rebuildHeatMap();
    void buildFeedback();
    // The plain look: every line chosen on the active strip, none on the others.
    void neutralLook();

    juce::AttributedString getFeedbackText() const { return shownFeedback.feedbackText; }
    juce::AttributedString getReadoutText() const { return shownFeedback.readoutText; }
    bool anyOutOfRange() const noexcept { return feedbackIssues; }
    // The track's part of the text report.
    textexport::Entry exportEntry() const;

    std::function<void()> playCallback;
    std::function<void()> idleCallback;

    void mouseDoubleClick (const juce::MouseEvent&) override {}
    void paint (juce::Graphics&) override;
    void resized() override;
    void buttonClicked (juce::Button*) override;
    void actionListenerCallback (const juce::String& message) override;

    bws::SVGButton feedbackButton { "Feedback" };
    std::unique_ptr<bws::SVGButton> playButton;
    Model& model;
    Track* track = nullptr;
    TrackWaveformDisplay waveform;
    juce::Label nameLabel { "TrackName" };
    ButtonReadout loudnessButton;
    ButtonReadout peakButton;
    ButtonStereo stereoButton;
    ButtonReadout dynamicsButton;
    bws::SVGButton deleteButton { "X" };
    int selectedReading = 0;
    bool neutralView = false;
    bool feedbackIssues = false;

private:
    bool isActive() const;
    void makeActive();
    void setFeedbackImages (bool red);
    void showReadings (const AllReadings& readings);
    // The stereo readout's ticks, copied under the track's lock: an analysis may be appending.
    void showStereoSteps (const AllReadings& readings);
    void refreshName();
    void readingsChanged();

    int64_t trackId = 0;
    bool finished = false;
    int redImages = -1;
    feedback::Feedback shownFeedback;

    JUCE_DECLARE_WEAK_REFERENCEABLE (TrackDisplay)
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TrackDisplay)
};
