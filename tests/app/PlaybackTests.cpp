// The audio callback driven as a device drives it, without a device: what leaves it with the
// match off, in both match modes, across seeks, loops, track switches and the end of a file,
// and that it never allocates.

#include "AppTestSupport.h"

#include "app/Playback.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <map>
#include <new>
#include <thread>

// --- allocation counting ---------------------------------------------------------------------
// Every allocation made by a thread while its flag is up is counted: operator new, and the
// C allocator that juce::HeapBlock (the audio buffers) uses directly. A sanitizer build keeps
// its own allocator, and counts nothing.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    #define ORVANE_COUNT_ALLOCATIONS 0
#elif defined(__has_feature)
    #if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
        #define ORVANE_COUNT_ALLOCATIONS 0
    #endif
#endif
#ifndef ORVANE_COUNT_ALLOCATIONS
    #define ORVANE_COUNT_ALLOCATIONS 1
#endif

namespace
{
thread_local bool countAllocations = false;
std::atomic<int> allocationsCounted { 0 };

void noteAllocation() noexcept
{
    if (countAllocations)
        allocationsCounted.fetch_add (1, std::memory_order_relaxed);
}
} // namespace

#if ORVANE_COUNT_ALLOCATIONS
extern "C" void* __libc_malloc (size_t);
extern "C" void* __libc_calloc (size_t, size_t);
extern "C" void* __libc_realloc (void*, size_t);
extern "C" void* malloc (size_t size)
{
    noteAllocation();
    return __libc_malloc (size);
}
extern "C" void* calloc (size_t count, size_t size)
{
    noteAllocation();
    return __libc_calloc (count, size);
}
extern "C" void* realloc (void* p, size_t size)
{
    noteAllocation();
    return __libc_realloc (p, size);
}

void* operator new (std::size_t size)
{
    noteAllocation();
    if (void* p = __libc_malloc (size != 0 ? size : 1))
        return p;
    throw std::bad_alloc();
}
void* operator new[] (std::size_t size) { return operator new (size); }
void* operator new (std::size_t size, const std::nothrow_t&) noexcept
{
    noteAllocation();
    return __libc_malloc (size != 0 ? size : 1);
}
void* operator new[] (std::size_t size, const std::nothrow_t& tag) noexcept { return operator new (size, tag); }
void operator delete (void* p) noexcept { std::free (p); }
void operator delete[] (void* p) noexcept { std::free (p); }
void operator delete (void* p, std::size_t) noexcept { std::free (p); }
void operator delete[] (void* p, std::size_t) noexcept { std::free (p); }
#endif

namespace
{
constexpr int maxBlock = 4096;
constexpr int deviceOffset = 7;  // devices may hand over a region that doesn't start at 0

// Two different, steady signals per channel, so that a wrong channel or a wrong offset shows.
testaudio::Signal programme (double rate, int channels, double seconds, double frequency, double amplitude)
{
    return testaudio::generate (rate, channels, (int) std::lround (seconds * rate), [=] (int channel, int frame)
    {
        const double t = frame / rate;
        return (float) (amplitude * std::sin (2.0 * juce::MathConstants<double>::pi * (frequency + 110.0 * channel) * t));
    });
}

// A steady 997 Hz tone at a given loudness: a full-scale sine reads -3.01 LUFS per channel.
testaudio::Signal toneAtLoudness (double rate, int channels, double seconds, float lufs)
{
    const double amplitude = std::pow (10.0, (lufs - 10.0 * std::log10 ((double) channels) + 3.01) / 20.0);
    return testaudio::sine (rate, channels, seconds, 997.0, amplitude);
}

class PlaybackTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        testaudio::ensureMessageThread();
        model = std::make_unique<Model>();
        playback = std::make_unique<Playback> (*model);
        device.setSize (2, maxBlock + deviceOffset);
    }

    void TearDown() override
    {
        // A source taken away stops the transport without waiting for a device.
        model->transport.setSource (nullptr);
        playback.reset();
        model.reset();
        EXPECT_EQ (allocationsCounted.load(), 0) << "the audio callback allocated";
        allocationsCounted = 0;
    }

    // Writes a file, loads it through the Model, and keeps the samples as a reader gives them.
    Track* load (const juce::String& name, const testaudio::Signal& signal)
    {
        const auto file = temp.file (name);
        EXPECT_TRUE (testaudio::writeWav (file, signal));
        testaudio::MessageLog log (*model);
        model->requestLoad (file.getFullPathName());
        EXPECT_TRUE (log.waitFor (Model::waveformCompleteMessage, 1, 30000));

        juce::AudioFormatManager formats;
        formats.registerBasicFormats();
        std::unique_ptr<juce::AudioFormatReader> reader (formats.createReaderFor (file));
        auto& samples = fileSamples[name];
        samples.setSize ((int) reader->numChannels, (int) reader->lengthInSamples);
        reader->read (&samples, 0, (int) reader->lengthInSamples, 0, true, true);

        std::lock_guard<std::mutex> guard (model->tracksLock);
        return model->tracks.back().get();
    }

    // As Space does: the track plays from its own position.
    void play (Track* track, double deviceRate, float from = 0.0f)
    {
        playback->prepareToPlay (maxBlock, deviceRate);
        model->setActiveTrack (track, nullptr);
        track->playPosition = from;
        track->resumeFromOwnPosition = true;
        model->setPlayTarget (track);
        playback->togglePlayback();
    }

    // One device block through the callback, counted for allocations; returns it.
    juce::AudioBuffer<float> block (int frames)
    {
        juce::AudioBuffer<float> out (2, frames);
        device.clear();
        const juce::AudioSourceChannelInfo info (&device, deviceOffset, frames);
        countAllocations = true;
        playback->renderNextBlock (info);
        countAllocations = false;
        for (int c = 0; c < 2; ++c)
            out.copyFrom (c, 0, device, c, deviceOffset, frames);
        return out;
    }

    // Blocks of the given sizes in turn until the track stops playing (one more block is
    // rendered then, as a device goes on calling) or the limit is reached, then the message
    // thread's part of the end. Returns everything that came out, end to end.
    juce::AudioBuffer<float> playThrough (Track* track, const std::vector<int>& sizes, int limitFrames)
    {
        juce::AudioBuffer<float> all (2, limitFrames + maxBlock * 2);
        all.clear();
        int written = 0;
        bool ended = false;
        for (size_t i = 0; written < limitFrames; ++i)
        {
            const auto b = block (sizes[i % sizes.size()]);
            for (int c = 0; c < 2; ++c)
                all.copyFrom (c, written, b, c, 0, b.getNumSamples());
            written += b.getNumSamples();
            if (ended)
                break;
            ended = ! track->playTarget;
        }
        playback->finishEndOfFile();
        all.setSize (2, written, true);
        return all;
    }

    // The largest difference between out[from..] and gain * file[at..] over n frames;
    // a mono file is heard on both channels.
    float deviation (const juce::AudioBuffer<float>& out, int from, const juce::String& name, int at, int n,
                     float gain = 1.0f)
    {
        const auto& file = fileSamples[name];
        float worst = 0.0f;
        for (int c = 0; c < 2; ++c)
            for (int i = 0; i < n; ++i)
                worst = std::max (worst, std::abs (out.getSample (c, from + i)
                                                   - gain * file.getSample (std::min (c, file.getNumChannels() - 1), at + i)));
        return worst;
    }

    testaudio::TempFolder temp;
    std::unique_ptr<Model> model;
    std::unique_ptr<Playback> playback;
    juce::AudioBuffer<float> device;
    std::map<juce::String, juce::AudioBuffer<float>> fileSamples;
};

struct DeviceCase
{
    double rate;
    std::vector<int> blocks;
};

const DeviceCase deviceCases[] = {
    { 44100.0, { 64 } },
    { 44100.0, { 4096 } },
    { 44100.0, { 512, 100, 4096, 64, 1000 } },
    { 96000.0, { 64, 4096, 441, 1000, 333 } },
    { 96000.0, { 4096 } },
};
} // namespace

TEST_F (PlaybackTest, MatchOffIsTheFileAndModeOneIsTheFileTimesTheFixedGain)
{
    for (const auto& device : deviceCases)
    {
        SCOPED_TRACE ("rate " + std::to_string (device.rate) + ", first block " + std::to_string (device.blocks[0]));
        const auto name = "programme" + juce::String (device.rate) + "-" + juce::String (device.blocks.size()) + ".wav";
        Track* track = load (name, programme (device.rate, 2, 2.0, 300.0, 0.2));
        ASSERT_NE (track, nullptr);
        const int n = track->numSamples;

        struct Run
        {
            bool on;
            int mode;
            float target;
            bool reference;
            float gain;
        };
        const float plain = track->wholeFileReadings.plainIntegrated;
        ASSERT_TRUE (std::isfinite (plain));
        const Run runs[] = {
            { false, 1, -14.0f, false, 1.0f },
            { true, 1, -14.0f, false, std::pow (10.0f, (-14.0f - plain) / 20.0f) },
            { true, 1, -24.0f, false, std::pow (10.0f, (-24.0f - plain) / 20.0f) },
            // A reference is never levelled.
            { true, 1, -8.0f, true, 1.0f },
        };
        for (const auto& run : runs)
        {
            model->loudnessMatchOn = run.on;
            model->loudnessMatchMode = run.mode;
            model->loudnessMatchTarget = run.target;
            track->isReference = run.reference;
            play (track, device.rate);
            const auto out = playThrough (track, device.blocks, n + 3 * maxBlock);

            ASSERT_GE (out.getNumSamples(), n);
            if (run.gain == 1.0f)
                EXPECT_EQ (deviation (out, 0, name, 0, n), 0.0f) << "not bit-identical";
            else
                EXPECT_LE (deviation (out, 0, name, 0, n, run.gain), 1.0e-6f * run.gain);
            EXPECT_EQ (out.getMagnitude (n, out.getNumSamples() - n), 0.0f) << "sound after the end";

            // The end stops the transport and clears the play target of every track.
            EXPECT_FALSE (model->transportRunning);
            EXPECT_FALSE (track->playTarget);
            EXPECT_EQ (block (256).getMagnitude (0, 256), 0.0f);
        }
        track->isReference = false;
    }
}

TEST_F (PlaybackTest, ModeOneWithoutAFiniteFigureLeavesTheSoundAlone)
{
    Track* track = load ("plain.wav", programme (44100.0, 2, 1.5, 500.0, 0.3));
    for (float missing : { -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity(),
                           std::numeric_limits<float>::quiet_NaN() })
    {
        track->wholeFileReadings.plainIntegrated = missing;
        model->loudnessMatchOn = true;
        model->loudnessMatchMode = 1;
        play (track, 44100.0);
        const auto out = playThrough (track, { 1024 }, 22050);
        EXPECT_EQ (deviation (out, 0, "plain.wav", 0, 22050), 0.0f);
        EXPECT_EQ (loudnessmatch::fixedGain (-14.0f, missing), 1.0f);
    }
}

TEST_F (PlaybackTest, ModeZeroLevelsTheShortTermLoudnessWithinTwentyDecibels)
{
    struct Case
    {
        double rate;
        int channels;
        float level;
        float target;
        bool levelled;  // else left bit for bit alone
    };
    const Case cases[] = {
        { 44100.0, 2, -20.0f, -14.0f, true },
        { 96000.0, 2, -20.0f, -14.0f, true },
        { 44100.0, 2, -30.0f, -14.0f, true },   // 16 dB up
        { 44100.0, 2, -8.0f, -24.0f, true },    // no limit on attenuation
        { 44100.0, 1, -20.0f, -8.0f, true },    // mono through the left weighting alone
        { 44100.0, 2, -30.0f, -8.0f, false },   // 22 dB asked for: more than 20
        { 96000.0, 1, -30.0f, -8.0f, false },
    };
    int fileIndex = 0;
    for (const auto& c : cases)
    {
        SCOPED_TRACE (juce::String (c.rate) + " Hz, " + juce::String (c.channels) + " ch, " + juce::String (c.level)
                      + " LUFS to " + juce::String (c.target));
        const auto name = "tone" + juce::String (fileIndex++) + ".wav";
        Track* track = load (name, toneAtLoudness (c.rate, c.channels, 8.0, c.level));
        model->loudnessMatchOn = true;
        model->loudnessMatchMode = 0;
        model->loudnessMatchTarget = c.target;
        play (track, c.rate);
        const auto out = playThrough (track, { 512, 4096, 64, 1000 }, (int) (7.8 * c.rate));

        if (! c.levelled)
        {
            EXPECT_EQ (deviation (out, 0, name, 0, out.getNumSamples()), 0.0f);
            continue;
        }

        // Measured independently of the track: once the 3 s window is full of the tone, every
        // short-term value of what came out reads the target.
        LUFSProcessor<3000> meter;
        meter.sampleRate = (double) (float) c.rate;
        meter.peakLength = (int) (meter.sampleRate * 3.0);
        meter.prepare();
        const int settled = (int) (3.2 * c.rate);  // the window and one hop of the track's meter
        int readings = 0;
        for (int i = 0; i < out.getNumSamples(); ++i)
        {
            const float l = out.getSample (0, i);
            const float power = c.channels == 2 ? meter.kWeightedPower (l, out.getSample (1, i))
                                                : std::pow (meter.leftStage2.BiQuad<float>::process (
                                                                meter.leftStage1.BiQuad<float>::process (l)), 2.0f);
            bool renewed = false;
            const float st = meter.shortTermStep (power, &renewed);
            if (renewed && i >= settled + (int) (3.0 * c.rate))
            {
                ++readings;
                EXPECT_NEAR (st, c.target, 0.1f) << "at frame " << i;
            }
        }
        EXPECT_GT (readings, 0);
    }
}

TEST_F (PlaybackTest, AWrittenPositionIsTheNextBlocksStart)
{
    Track* track = load ("seek.wav", programme (44100.0, 2, 3.0, 250.0, 0.25));
    play (track, 44100.0);
    for (int i = 0; i < 10; ++i)
        block (512);

    // A click on the waveform writes the position while the track plays.
    for (float seconds : { 1.5f, 0.25f, 2.0f })
    {
        track->playPosition = seconds;
        const auto out = block (512);
        EXPECT_EQ (deviation (out, 0, "seek.wav", (int) (seconds * 44100.0), 512), 0.0f) << seconds;
        // Then playback goes on from there.
        const auto next = block (300);
        EXPECT_EQ (deviation (next, 0, "seek.wav", (int) (seconds * 44100.0) + 512, 300), 0.0f) << seconds;
    }
}

TEST_F (PlaybackTest, TheFirstDrawnRegionPlaysInALoop)
{
    Track* track = load ("loop.wav", programme (44100.0, 2, 3.0, 180.0, 0.25));
    // The second region doesn't count; the marker stands outside the first.
    track->loops = { Loop { 1, 0, 0, 30000, 52000 }, Loop { 2, 0, 0, 1000, 2000 } };
    play (track, 44100.0, 2.5f);

    // Each block must be a stretch of the region, following on from the last or from its start.
    int expectedStart = -1;
    int jumps = 0;
    for (int i = 0; i < 300; ++i)
    {
        const int size = i % 3 == 0 ? 1000 : 512;
        const auto out = block (size);
        const bool follows = expectedStart >= 0 && expectedStart + size <= 52000
                             && deviation (out, 0, "loop.wav", expectedStart, size) == 0.0f;
        if (! follows)
        {
            ASSERT_EQ (deviation (out, 0, "loop.wav", 30000, size), 0.0f) << "block " << i << " is not from the region";
            expectedStart = 30000;
            ++jumps;
        }
        EXPECT_LE (expectedStart + size, 52000);
        expectedStart += size;
    }
    // 300 blocks of about 675 frames run through the 22000-frame region about nine times.
    EXPECT_GE (jumps, 8);
    EXPECT_TRUE (track->playTarget);
}

TEST_F (PlaybackTest, ASwitchBetweenTracksLandsAtTheSameTime)
{
    Track* first = load ("first.wav", programme (44100.0, 2, 4.0, 440.0, 0.25));
    Track* second = load ("second.wav", programme (44100.0, 2, 4.0, 660.0, 0.2));
    play (first, 44100.0, 0.5f);
    int heard = (int) (0.5f * 44100);
    for (int i = 0; i < 40; ++i)
        heard += block (512).getNumSamples();

    // As the arrow keys and a strip's play button do while playing.
    model->setActiveTrack (second, nullptr);
    model->setPlayTarget (second);
    playback->togglePlayback();
    EXPECT_FALSE (first->playTarget);

    const int landed = (int) (model->sharedPlayPosition * 44100.0);
    // The transport reads a few frames ahead of what was heard: well under a millisecond.
    EXPECT_NEAR (landed, heard, 8);
    EXPECT_EQ (deviation (block (1024), 0, "second.wav", landed, 1024), 0.0f);

    // And back: the first track takes up the second's position.
    model->setActiveTrack (first, nullptr);
    model->setPlayTarget (first);
    playback->togglePlayback();
    const int back = (int) (model->sharedPlayPosition * 44100.0);
    EXPECT_NEAR (back, landed + 1024, 8);
    EXPECT_EQ (deviation (block (256), 0, "first.wav", back, 256), 0.0f);
}

// A device thread calls back on its own while the message thread runs: the transport goes
// through its states, stops at the end of the file by itself, says so, and the callback never
// allocated.
TEST_F (PlaybackTest, ADeviceThreadPlaysATrackToItsEnd)
{
    Track* track = load ("whole.wav", programme (44100.0, 2, 1.2, 330.0, 0.25));
    testaudio::MessageLog log (*model);
    play (track, 44100.0, 0.9f);
    EXPECT_EQ (playback->transportState, Playback::starting);

    std::atomic<bool> running { true };
    std::atomic<int> rendered { 0 };
    std::thread deviceThread ([&]
    {
        juce::AudioBuffer<float> buffer (2, 512);
        while (running)
        {
            const juce::AudioSourceChannelInfo info (&buffer, 0, 512);
            countAllocations = true;
            playback->renderNextBlock (info);
            countAllocations = false;
            rendered += 512;
            std::this_thread::sleep_for (std::chrono::milliseconds (2));
        }
    });

    EXPECT_TRUE (log.pumpUntil ([&] { return playback->transportState == Playback::playing; }, 5000));
    const int updatesWhilePlaying = log.count (Model::updateMessage);
    EXPECT_TRUE (log.pumpUntil ([&] { return ! model->transportRunning; }, 10000));
    EXPECT_TRUE (log.pumpUntil ([&] { return playback->transportState == Playback::stopped; }, 5000));
    running = false;
    deviceThread.join();

    EXPECT_FALSE (track->playTarget);
    EXPECT_GT (log.count (Model::updateMessage), updatesWhilePlaying);
    EXPECT_GE (rendered.load(), (int) (0.3 * 44100));
    // Stopped at the end, not sent back: a later Space starts where it stopped.
    EXPECT_NEAR (track->playPosition, 1.2f, 0.05f);
}
