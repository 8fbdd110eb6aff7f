// Analyses that meet: span analyses started while files load, and the walk over a file's
// frames that runs beside its decoding and band pass. scripts/tsan.sh runs these under
// ThreadSanitizer; here they check that nothing measured is disturbed.

#include "analysis/Model.h"
#include "support/ModelHarness.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <future>
#include <random>

using namespace testaudio;

namespace
{
const juce::String waveformDone = Model::waveformCompleteMessage;

// Music-like: a tone and noise whose level moves, both sides partly alike.
Signal music (double rate, double seconds, unsigned seed)
{
    std::mt19937 rng (seed);
    std::normal_distribution<float> noise (0.0f, 1.0f);
    const int frames = (int) (rate * seconds);
    Signal s = generate (rate, 2, frames, [] (int, int) { return 0.0f; });
    for (int i = 0; i < frames; ++i)
    {
        const double t = i / rate;
        const float level = (float) (0.05 + 0.25 * (0.5 + 0.5 * std::sin (2.0 * juce::MathConstants<double>::pi * 0.3 * t)));
        const float tone = (float) std::sin (2.0 * juce::MathConstants<double>::pi * 220.0 * t);
        const float common = noise (rng);
        s.channels[0][(size_t) i] = level * (0.5f * tone + 0.4f * common + 0.2f * noise (rng));
        s.channels[1][(size_t) i] = level * (0.4f * tone + 0.4f * common + 0.3f * noise (rng));
    }
    return s;
}

bool same (float a, float b) { return std::memcmp (&a, &b, sizeof a) == 0; }

bool sameSequence (const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp (a.data(), b.data(), sizeof (float) * a.size()) == 0);
}

// The readings that owe nothing to what was analysed before (the true-peak history and the
// short-term hop phase carry over from one analysis to the next; these do not).
void expectSameIndependentReadings (const AllReadings& a, const AllReadings& b)
{
    EXPECT_TRUE (same (a.integratedLUFS, b.integratedLUFS)) << a.integratedLUFS << " vs " << b.integratedLUFS;
    EXPECT_TRUE (same (a.plainIntegrated, b.plainIntegrated));
    EXPECT_TRUE (same (a.samplePeak, b.samplePeak));
    EXPECT_TRUE (sameSequence (a.integratedPoints, b.integratedPoints));
    EXPECT_TRUE (sameSequence (a.samplePeakPoints, b.samplePeakPoints));
    EXPECT_TRUE (sameSequence (a.balanceSteps, b.balanceSteps));
    EXPECT_TRUE (sameSequence (a.correlationSmoothed, b.correlationSmoothed));
}

struct Loader
{
    TempFolder folder;
    Model model;
    MessageLog log { model };

    juce::File write (const juce::String& name, const Signal& s)
    {
        const auto file = folder.file (name);
        EXPECT_TRUE (writeWav (file, s, 24));
        return file;
    }

    Track* load (const juce::File& file)
    {
        const int before = log.count (waveformDone);
        model.requestLoad (file.getFullPathName());
        if (! log.waitFor (waveformDone, before + 1))
            return nullptr;
        std::lock_guard<std::mutex> guard (model.tracksLock);
        return model.tracks.back().get();
    }
};

void fresh (Model& m, double rate)
{
    for (auto* slot : { &m.loudnessProcessor, &m.plainLoudnessProcessor })
    {
        auto p = std::make_unique<LUFSProcessor<3000>>();
        p->sampleRate = (double) (float) rate;
        p->peakLength = (int) (p->sampleRate * 3.0);
        p->prepare();
        *slot = std::move (p);
    }
    m.truePeak16a = {};
    m.truePeak16b = {};
    m.chooseTruePeakProcessors (rate);
}
} // namespace

// The walk over the frames of a load, which follows the decoder, leaves exactly what the walk
// made alone afterwards does, from the same processor state (a fresh model's).
TEST (AnalysisOverlap, TheWalkBesideTheDecoderEqualsAWalkAfterIt)
{
    Loader t;
    const auto file = t.write ("walk.wav", music (44100.0, 9.5, 7));
    Track* track = t.load (file);
    ASSERT_NE (track, nullptr);

    fresh (t.model, track->sampleRate);
    const int steps = track->stepCount;
    track->analyseRange (0, track->numSamples, &track->loopReadings, 0.0f, nullptr);
    const auto& a = track->wholeFileReadings;
    const auto& b = track->loopReadings;
    expectSameIndependentReadings (a, b);
    EXPECT_TRUE (same (a.truePeakLinear, b.truePeakLinear));
    EXPECT_TRUE (same (a.loudnessRange, b.loudnessRange));
    EXPECT_TRUE (sameSequence (a.shortTermPoints, b.shortTermPoints));
    EXPECT_TRUE (sameSequence (a.truePeakPoints, b.truePeakPoints));
    EXPECT_TRUE (sameSequence (a.loudnessRangePoints, b.loudnessRangePoints));
    EXPECT_TRUE (sameSequence (a.dynamicRangeSteps, b.dynamicRangeSteps));
    EXPECT_EQ (steps, track->stepCount);
    EXPECT_GT (a.integratedLUFS, -30.0f);
}

// Spans are started one after another, as the waveform display starts them, while three files
// load; each waits for the file under analysis and measures as it does on an idle model, and
// the loads measure as they do with no span about.
TEST (AnalysisOverlap, SpansStartedWhileFilesLoadWaitAndMeasureAsAlone)
{
    Loader quiet, busy;
    const auto spanned = music (44100.0, 6.0, 1);
    const int start = 30011, end = 190000;

    Track* alone = quiet.load (quiet.write ("spanned.wav", spanned));
    ASSERT_NE (alone, nullptr);
    alone->analyseRange (start, end, &alone->loopReadings, 0.5f, nullptr);

    Track* track = busy.load (busy.write ("spanned.wav", spanned));
    ASSERT_NE (track, nullptr);
    std::vector<juce::File> files;
    // Six loads: a span waiting for the analysis lock gets it only when a load hands it on, and
    // on a busy machine the load thread can take it back before the span wakes.
    for (int k = 0; k < 6; ++k)
        files.push_back (busy.write ("load" + juce::String (k) + ".wav", music (44100.0, 4.0 + k % 3, 10u + (unsigned) k)));
    const int before = busy.log.count (waveformDone);
    for (const auto& f : files)
        busy.model.requestLoad (f.getFullPathName());

    int spans = 0;
    std::atomic<int> finished { 0 };
    while (busy.log.count (waveformDone) < before + (int) files.size())
    {
        auto span = std::async (std::launch::async, [&]
                                { track->analyseRange (start, end, &track->loopReadings, 0.5f, [&] { ++finished; }); });
        while (span.wait_for (std::chrono::milliseconds (0)) != std::future_status::ready)
        {
            juce::MessageManager::getInstance()->runDispatchLoopUntil (2);
            // What a strip's timer does meanwhile: copy the stereo steps being written.
            std::vector<float> balance, correlation;
            track->copyStereoSteps (track->loopReadings, balance, correlation);
            std::lock_guard<std::mutex> guard (busy.model.tracksLock);
            busy.model.tracks.back()->copyStereoSteps (busy.model.tracks.back()->wholeFileReadings, balance, correlation);
        }
        span.get();
        ++spans;
        expectSameIndependentReadings (alone->loopReadings, track->loopReadings);
        ASSERT_FALSE (HasFailure());
        busy.log.pumpUntil ([] { return false; }, 1);
    }
    EXPECT_GT (spans, 1);
    EXPECT_EQ (finished.load(), spans);
    EXPECT_FALSE (busy.model.rangeAnalysing.load());

    for (size_t k = 0; k < files.size(); ++k)
    {
        Track* loaded = busy.model.tracks[k + 1].get();
        Track* reference = quiet.load (files[k]);
        ASSERT_NE (reference, nullptr);
        expectSameIndependentReadings (reference->wholeFileReadings, loaded->wholeFileReadings);
        EXPECT_EQ (reference->multiFrequencyIntegratedLUFS, loaded->multiFrequencyIntegratedLUFS);
    }
}
