#include "app/Playback.h"

#include <cmath>

namespace
{
// The transport's state and the end of a file are looked at this often while either moves.
constexpr int pollMs = 10;
// A written position further than this from the transport's is a seek.
constexpr double seekTolerance = 0.001;

void multiplyFrame (const juce::AudioSourceChannelInfo& info, int frame, float gain) noexcept
{
    for (int channel = 0; channel < info.buffer->getNumChannels(); ++channel)
        info.buffer->getWritePointer (channel, info.startSample)[frame] *= gain;
}
} // namespace

namespace loudnessmatch
{
float fixedGain (float target, float plainIntegrated) noexcept
{
    if (! std::isfinite (plainIntegrated))
        return 1.0f;
    return std::pow (10.0f, (target - plainIntegrated) / 20.0f);
}

void apply (const Model& model, Track& track, const juce::AudioSourceChannelInfo& info) noexcept
{
    if (track.isReference || ! model.loudnessMatchOn || info.numSamples <= 0 || info.buffer->getNumChannels() == 0)
        return;

    const float target = model.loudnessMatchTarget;
    if (model.loudnessMatchMode == 1)
    {
        const float gain = fixedGain (target, track.wholeFileReadings.plainIntegrated);
        if (gain != 1.0f)
            info.buffer->applyGain (info.startSample, info.numSamples, gain);
        return;
    }

    // The short-term level of what plays, measured here: a stereo track as its pair, any
    // other through the left weighting stages alone, as the analysis measures a mono file.
    auto& meter = track.playbackLoudness;
    const float* left = info.buffer->getReadPointer (0, info.startSample);
    const bool pair = track.numChannels == 2 && info.buffer->getNumChannels() >= 2;
    const float* right = pair ? info.buffer->getReadPointer (1, info.startSample) : nullptr;

    for (int i = 0; i < info.numSamples; ++i)
    {
        float power = 0.0f;
        if (pair)
        {
            power = meter.kWeightedPower (left[i], right[i]);
        }
        else
        {
            const float weighted = meter.leftStage2.BiQuad<float>::process (meter.leftStage1.BiQuad<float>::process (left[i]));
            power = weighted * weighted;
        }
        const float level = meter.shortTermStep (power);
        const float lift = target - level;
        // Silence reads minus infinity and is never blown up; nor is anything lifted by more
        // than 20 dB.
        if (std::isfinite (level) && lift <= maximumLift)
            multiplyFrame (info, i, std::pow (10.0f, lift / 20.0f));
    }
}
} // namespace loudnessmatch

// The transport's changes are looked for by the timer rather than heard as change messages:
// with a listener, the transport posts one from the audio thread when its source runs out,
// and a post to an empty message queue allocates there.
Playback::Playback (Model& m) : model (m) {}

Playback::~Playback()
{
    stopTimer();
}

void Playback::togglePlayback()
{
    Track* track = model.activeTrack;
    if (track != nullptr && track->playTarget && track->readerSource != nullptr)
    {
        model.transport.setSource (track->readerSource.get(), 0, nullptr, track->sampleRate);
        if (track->resumeFromOwnPosition)
        {
            model.transport.setPosition (track->playPosition);
            track->resumeFromOwnPosition = false;
        }
        else
        {
            // A jump between tracks lands at the same time in the new one.
            model.transport.setPosition (model.sharedPlayPosition);
        }
        track->playPosition = (float) model.transport.getCurrentPosition();
        track->playTarget = true;
        endOfFile = false;
        if (transportState != starting)
            changeTransportState (starting);
        else if (! model.transport.isPlaying())
            model.transport.start();  // a new source leaves the transport stopped
        model.transportRunning = true;
    }
    else
    {
        // The callback is told first, so that from its next block on it touches the transport
        // only through the call that the source's change is locked against.
        model.transportRunning = false;
        changeTransportState (stopping);
        model.transport.setSource (nullptr);
    }
    startTimer (pollMs);
}

void Playback::changeTransportState (int newState)
{
    if (newState == transportState)
        return;
    transportState = newState;
    if (newState == starting)
        model.transport.start();
    else if (newState == stopping && model.transport.isPlaying() && deviceCallsBack())
        model.transport.stop();  // waits up to 500 steps of 2 ms for the audio thread, then tells
    else if (newState == stopping)
        // It stopped by itself at the end of the file, or no device calls back to confirm a stop
        // (the source, taken away next, stops it at once): no news will come.
        transportState = stopped;
}

bool Playback::deviceCallsBack() const
{
    auto* manager = model.audioDeviceManager;
    auto* device = manager != nullptr ? manager->getCurrentAudioDevice() : nullptr;
    return device != nullptr && device->isPlaying();
}

void Playback::changeListenerCallback (juce::ChangeBroadcaster* source)
{
    if (source == &model.transport)
        transportState = model.transport.isPlaying() ? playing : stopped;
}

void Playback::prepareToPlay (int samplesPerBlockExpected, double sampleRate)
{
    model.transport.prepareToPlay (samplesPerBlockExpected, sampleRate);
}

void Playback::renderNextBlock (const juce::AudioSourceChannelInfo& info) noexcept
{
    auto& transport = model.transport;
    Track* track = model.activeTrack;

    // Stopped, or past the end until the message thread has stopped: silence. The transport is
    // still called, so that a stop waiting for it returns at once; stopped, it reads nothing.
    if (! model.transportRunning || track == nullptr || endOfFile.load())
    {
        transport.getNextAudioBlock (info);
        info.clearActiveBufferRegion();
        return;
    }

    // A click on a waveform only writes the track's position; the transport follows here.
    if (std::abs ((double) track->playPosition - transport.getCurrentPosition()) > seekTolerance)
        transport.setPosition (track->playPosition);

    // The first drawn region plays in a loop: a block that would run past its end, or a
    // marker before its start, goes back to its start.
    if (! track->loops.empty() && track->loops.front().endSample != 0 && track->sampleRate > 0.0)
    {
        const auto& loop = track->loops.front();
        const double end = transport.getCurrentPosition() * track->sampleRate + info.numSamples;
        if (end > loop.endSample || end < loop.startSample)
            transport.setPosition (loop.startSample / track->sampleRate);
    }

    transport.getNextAudioBlock (info);

    if (track->sampleRate > 0.0 && transport.getCurrentPosition() >= track->numSamples / track->sampleRate)
    {
        // The file ran out inside this block. Its last sound is levelled like the rest; the
        // play target goes now and the message thread stops the transport.
        loudnessmatch::apply (model, *track, info);
        track->playTarget = false;
        endOfFile = true;
        return;
    }

    track->playPosition = (float) transport.getCurrentPosition();
    loudnessmatch::apply (model, *track, info);

    if (transport.hasStreamFinished())
        track->playTarget = false;
}

void Playback::finishEndOfFile()
{
    if (! endOfFile.exchange (false))
        return;
    model.setPlayTarget (nullptr);
    togglePlayback();
}

void Playback::timerCallback()
{
    finishEndOfFile();
    const int seen = model.transport.isPlaying() ? playing : stopped;
    if (transportState != seen)
        changeListenerCallback (&model.transport);
    if (transportState == stopped && ! model.transportRunning)
        stopTimer();
}
