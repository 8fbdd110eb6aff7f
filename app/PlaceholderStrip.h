#pragma once

// A stand-in for the full track strip: the track's name, its load progress, the main figures
// once it is analysed, and a delete button. It speaks the strip's part of the message
// protocol ("TRACK_DELETE:") and offers what the main display and the main component ask of
// a strip, so the full strip can take its place without changing them.

#include "analysis/Model.h"
#include "targets/TextExport.h"
#include "targets/TrackJudgement.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <optional>

class PlaceholderStrip : public juce::Component,
                         public juce::ActionBroadcaster,
                         private juce::Button::Listener
{
public:
    explicit PlaceholderStrip (Model& model);
    ~PlaceholderStrip() override;

    // Joins the strip to its track and makes it visible.
    void setTrack (Track* track);
    Track* getTrack() const noexcept { return track; }
    int64_t getTrackId() const noexcept { return trackId; }

    // The heartbeat's refresh: live progress while the track loads.
    void timerCallback();
    // The track's load has ended: judge it and enable the buttons.
    void loadFinished();
    bool isLoadFinished() const noexcept { return finished; }
    // Judges the readings again against the current preset.
    void refreshForPreset();
    // Chooses the reading whose problems the heat map shows (0 none).
    void selectReading (int kind);
    int getSelectedReading() const noexcept { return selectedReading; }

    // The track's part of the text report.
    textexport::Entry exportEntry() const;

    std::function<void()> playCallback;
    std::function<void()> idleCallback;

    juce::TextButton deleteButton { "X" };

    void paint (juce::Graphics&) override;
    void resized() override;
    void mouseUp (const juce::MouseEvent&) override;

private:
    void buttonClicked (juce::Button*) override;
    void judge();

    Model& model;
    Track* track = nullptr;
    int64_t trackId = 0;
    bool finished = false;
    int selectedReading = 0;
    float shownProgress = 0.0f;
    std::optional<TrackJudgement> judgement;

    JUCE_DECLARE_WEAK_REFERENCEABLE (PlaceholderStrip)
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PlaceholderStrip)
};
