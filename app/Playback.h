#pragma once

// The one player: which track the transport plays, from where, and what leaves the audio
// callback, loudness match included. renderNextBlock runs on the audio thread and neither
// allocates nor locks; everything else is message thread only.

#include "analysis/Model.h"

#include <juce_audio_basics/juce_audio_basics.h>
#include <juce_events/juce_events.h>

#include <atomic>

namespace loudnessmatch
{
// Levels one block of a track in place, as the loudness match's mode asks. A reference track
// is never levelled. Mode 1 multiplies by the fixed gain from the unweighted whole-file
// figure (finite values only); mode 0 feeds the track's playback processor sample by sample
// and lifts by at most 20 dB, with no limit on attenuation.
void apply (const Model& model, Track& track, const juce::AudioSourceChannelInfo& info) noexcept;

// 10^((target - plainIntegrated) / 20), or 1 when the track has no finite figure.
float fixedGain (float target, float plainIntegrated) noexcept;

// How far the short-term level may be lifted.
constexpr float maximumLift = 20.0f;
} // namespace loudnessmatch

class Playback : public juce::ChangeListener,
                 private juce::Timer
{
public:
    explicit Playback (Model& model);
    ~Playback() override;

    // States of the transport.
    enum
    {
        stopped = 0,
        starting = 1,
        playing = 2,
        stopping = 3
    };

    // Makes the transport agree with the active track's playTarget: starts it from the
    // track's own position (when marked to resume from it) or the shared position, or stops.
    void togglePlayback();
    void changeTransportState (int newState);

    void prepareToPlay (int samplesPerBlockExpected, double sampleRate);
    // The audio callback.
    void renderNextBlock (const juce::AudioSourceChannelInfo& info) noexcept;

    // The stop that the audio thread asked for at the end of a file, when it is still due.
    void finishEndOfFile();

    // A change of the transport: 2 when it plays, 0 when it doesn't.
    void changeListenerCallback (juce::ChangeBroadcaster*) override;

    int transportState = stopped;

private:
    void timerCallback() override;
    // Whether a sound device is running this callback; without one nothing confirms a stop.
    bool deviceCallsBack() const;

    Model& model;
    // Set by the audio thread when the file ran out; the stop itself, which may wait for the
    // audio thread and sends "UPDATE:", is made on the message thread.
    std::atomic<bool> endOfFile { false };

    JUCE_DECLARE_NON_COPYABLE (Playback)
};
