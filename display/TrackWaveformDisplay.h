#pragma once

#include "analysis/Model.h"
#include "kit/SVGButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <future>
#include <memory>
#include <vector>

// The preset the strips judge by: the current one, or the default when none is chosen yet.
const ThresholdPreset& judgingPreset (const Model& model);

// A thin vertical line that shows a position and lets clicks through.
class TransportMarker : public juce::Component
{
public:
    TransportMarker();
    void paint (juce::Graphics&) override;
};

// The right-hand part of a track strip: the waveform image with its heat map, the play and
// hover markers with a time label, the duration, and the spans the user drags out. A finished
// drag analyses just that span on a thread of its own; the strip then shows its readings.
// Message thread only, but for the span's analysis.
class TrackWaveformDisplay : public juce::Component,
                             public juce::Timer,
                             public juce::ActionBroadcaster
{
public:
    explicit TrackWaveformDisplay (Model& model);
    ~TrackWaveformDisplay() override;

    void setTrack (Track* newTrack);
    // Puts the play marker at a fraction of the track's length.
    void setMarkerPosition (float fraction);
    void updateDuration();
    // Scans and draws the heat map for the present size.
    void rebuildHeatMap();
    // Shows or hides the two markers (only the active strip shows them at rest).
    void showMarkers (bool show);
    // Removes a span and its close button; the track's readings go back to the whole file.
    void removeLoop (int64_t loopId);

    // "mm:ss", minutes capped at 99.
    static juce::String formatTime (float seconds);
    // The track's time at a pixel of this display, in seconds.
    float timeAt (int x) const;

    void mouseMove (const juce::MouseEvent&) override;
    void mouseEnter (const juce::MouseEvent&) override;
    void mouseDown (const juce::MouseEvent&) override;
    void mouseDrag (const juce::MouseEvent&) override;
    void mouseUp (const juce::MouseEvent&) override;
    void paint (juce::Graphics&) override;
    void resized() override;
    void timerCallback() override;

    TransportMarker playMarker, hoverMarker;
    Model& model;
    Track* track = nullptr;
    int leftInset = 0;
    std::future<void> analysisResult;
    juce::MouseCursor defaultCursor, edgeCursor;
    std::vector<std::unique_ptr<bws::SVGButton>> loopButtons;
    int64_t currentLoop = 0;  // the id of the span under work; 0 none
    bool startNewLoop = false;
    bool dragging = false;
    juce::Label durationLabel;
    juce::Label timeLabel;
    // The strip's hooks: a play restart after a seek, a refresh, the end of a span's analysis,
    // and a change of the active or playing track.
    std::function<void()> seekCallback;
    std::function<void()> refreshCallback;
    std::function<void()> loopFinishedCallback;
    std::function<void()> updateCallback;
    // Told of every new span's close button, so that the strip hears its clicks.
    juce::Button::Listener* loopButtonListener = nullptr;

private:
    bool ready() const;
    bool activeAndPlaying() const;
    Loop* findLoop (int64_t loopId) const;
    bws::SVGButton* buttonFor (int64_t loopId) const;
    void placeLoopButton (const Loop& loop);
    void addLoopButton (const Loop& loop);
    void storePosition (int x);
    void startSpanAnalysis (Loop& loop);
    void loopFinishedAnalysis();

    int pressX = 0;

    JUCE_DECLARE_WEAK_REFERENCEABLE (TrackWaveformDisplay)
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TrackWaveformDisplay)
};
