// End-to-end runs of the model: files through the queue, the two passes, the per-frame walk
// and the waveform points.

#include "analysis/Model.h"
#include "support/ModelHarness.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

using namespace testaudio;

namespace
{
const juce::String initial = Model::initialLoadCompleteMessage;
const juce::String waveform = Model::waveformCompleteMessage;

// Points a range of n frames gives with buckets of b: the first closes at frame b (b + 1
// frames), later ones every b frames, and the last frame always closes one.
int expectedPoints (int n, int b) { return (n - 1) / b + ((n - 1) % b != 0 ? 1 : 0); }

// Steps measured over [start, end): on each multiple of the step counted from the file's
// start that has a whole step after it, and on each of the last step - 1 frames.
int expectedSteps (int start, int end, int step)
{
    int onGrid = 0;
    for (int i = start; i <= end - step; ++i)
        onGrid += i % step == 0 ? 1 : 0;
    return onGrid + step - 1;
}

struct LoadedModel
{
    TempFolder folder;
    Model model;
    MessageLog log { model };

    juce::File write (const juce::String& name, const Signal& signal, int bits = 32)
    {
        const auto file = folder.file (name);
        EXPECT_TRUE (writeWav (file, signal, bits));
        return file;
    }

    // Loads one file and gives its track once its waveform message is in.
    Track* load (const juce::String& name, const Signal& signal, int bits = 32)
    {
        const int before = log.count (waveform);
        model.requestLoad (write (name, signal, bits).getFullPathName());
        return log.waitFor (waveform, before + 1) && ! model.tracks.empty() ? model.tracks.back().get() : nullptr;
    }
};
} // namespace

// A -20 dBFS 997 Hz sine on both channels, 15 whole read blocks long: the block reads past
// the end deliver nothing but still leave a silent entry in the block levels.
TEST (Pipeline, StereoSineLoadsWithMessagesInOrderAndRealReadings)
{
    LoadedModel t;
    const int frames = 16384 * 15;
    const double amplitude = 0.1;
    Track* track = t.load ("Sine Test.wav", sine (48000.0, 2, frames / 48000.0, 997.0, amplitude));
    ASSERT_NE (track, nullptr);

    const std::vector<juce::String> expectedMessages { "LOAD-STATUS:Loading SINE TEST", initial + "0" + juce::String (track->id),
                                                       waveform + "0" + juce::String (track->id) };
    EXPECT_EQ (t.log.messages, expectedMessages);
    EXPECT_TRUE (track->analysisComplete && track->waveformComplete);
    EXPECT_FALSE (track->loading || track->analysing);
    EXPECT_EQ (track->numSamples, frames);
    EXPECT_EQ (track->samplesRead, frames);
    EXPECT_NE (track->rightChannel, nullptr);
    EXPECT_EQ (track->fileName, "SINE TEST");
    EXPECT_EQ (track->displayName, "SINE TEST");
    const auto& levels = t.model.multiFrequency.blockLevels;
    ASSERT_EQ (levels.size(), 16u);
    EXPECT_EQ (levels.back(), -70.0f);

    const auto& r = track->wholeFileReadings;
    EXPECT_NEAR (r.samplePeak, amplitude, 1e-4);
    const int b = frames / 2000;
    for (const auto* points : { &r.shortTermPoints, &r.integratedPoints, &r.samplePeakPoints, &r.truePeakPoints,
                                &r.loudnessRangePoints, &std::as_const (track->waveformPoints) })
        EXPECT_EQ ((int) points->size(), expectedPoints (frames, b));
    EXPECT_NEAR (*std::max_element (r.samplePeakPoints.begin(), r.samplePeakPoints.end()), -20.0f, 0.01f);
    // K-weighting is ~0 dB at 997 Hz, and two channels add 3 dB to the -23 LUFS of one.
    EXPECT_NEAR (r.integratedLUFS, -20.0f, 0.2f);
    EXPECT_TRUE (std::isfinite (r.plainIntegrated));

    // Steps are 1024 frames at 48 kHz, cut to a point's length; identical channels are
    // centred and fully correlated.
    EXPECT_EQ (track->stepLength, b);
    EXPECT_EQ (track->stepCount, expectedSteps (0, frames, b));
    for (const auto* steps : { &r.balanceSteps, &r.correlationSteps, &r.balanceSmoothed, &r.correlationSmoothed,
                               &r.dynamicRangeSteps })
        EXPECT_EQ ((int) steps->size(), track->stepCount);
    EXPECT_NEAR (r.balanceSteps[100], 0.0f, 1e-5);
    EXPECT_NEAR (r.correlationSteps[100], 1.0f, 1e-5);

    EXPECT_FLOAT_EQ (*std::max_element (track->waveformPoints.begin(), track->waveformPoints.end()), 0.8f);
    EXPECT_EQ (track->multiFrequencyIntegratedLUFS.size(), 14u);
    EXPECT_EQ (t.model.loadQueue.pushed.load(), 0);
    EXPECT_EQ (t.model.loadQueue.processed.load(), 0);
}

TEST (Pipeline, MonoHasNoStereoStepsAndSilenceReadsMinusInfinityAndNaNWaveform)
{
    LoadedModel t;
    // Two whole cycles in each 66-frame bucket, so every full bucket has the same RMS.
    Track* mono = t.load ("mono.wav", sine (44100.0, 1, 3.0, 44100.0 / 33.0, 0.5));
    ASSERT_NE (mono, nullptr);
    EXPECT_EQ (mono->rightChannel, nullptr);
    EXPECT_EQ (mono->stepLength, 132300 / 2000);
    EXPECT_TRUE (mono->wholeFileReadings.balanceSteps.empty());
    EXPECT_TRUE (mono->wholeFileReadings.correlationSmoothed.empty());
    EXPECT_EQ ((int) mono->wholeFileReadings.dynamicRangeSteps.size(), mono->stepCount);
    EXPECT_GT (mono->stepCount, 0);
    // A mono waveform point is half the left RMS before normalising; all equal for this sine.
    EXPECT_NEAR (mono->waveformPoints[500], 0.8f, 1e-3);

    Track* silent = t.load ("silence.wav", generate (44100.0, 2, 88200, [] (int, int) { return 0.0f; }), 24);
    ASSERT_NE (silent, nullptr);
    const auto& r = silent->wholeFileReadings;
    EXPECT_TRUE (std::isinf (r.integratedLUFS) && r.integratedLUFS < 0);
    EXPECT_EQ (r.samplePeak, 0.0f);
    EXPECT_TRUE (std::isinf (r.samplePeakPoints[10]));
    EXPECT_TRUE (std::isnan (silent->waveformPoints[0]));
    EXPECT_EQ (r.balanceSteps[3], 0.0f);
    EXPECT_EQ (r.correlationSteps[3], 0.0f);
}

// One file after another, in the order asked. A file a frame under a second announces itself
// and vanishes; one that can't be decoded says nothing at all; exactly one second is kept.
TEST (Pipeline, BatchLoadsStrictlyInOrderAndDropsShortAndUndecodableFiles)
{
    LoadedModel t;
    const auto shortFile = t.write ("short.wav", sine (48000.0, 2, 47999 / 48000.0, 1000.0, 0.3));
    const auto text = t.folder.file ("notes.wav");
    ASSERT_TRUE (text.replaceWithText ("this is not audio"));
    t.model.requestLoad (shortFile.getFullPathName());
    t.model.requestLoad (text.getFullPathName());
    for (int i = 0; i < 3; ++i)
        t.model.requestLoad (t.write ("f" + juce::String (i) + ".wav", sine (44100.0, 2, 1.0 + i * 0.1, 500.0, 0.2)).getFullPathName());
    ASSERT_TRUE (t.log.waitFor (waveform, 3));

    ASSERT_EQ (t.model.tracks.size(), 3u);
    std::vector<juce::String> expected { "LOAD-STATUS:Loading SHORT" };
    for (int i = 0; i < 3; ++i)
    {
        const auto& track = *t.model.tracks[(size_t) i];
        EXPECT_EQ (track.fileName, "F" + juce::String (i));
        for (const auto& m : { "LOAD-STATUS:Loading " + track.fileName, initial + "0" + juce::String (track.id),
                               waveform + "0" + juce::String (track.id) })
            expected.push_back (m);
    }
    EXPECT_EQ (t.log.messages, expected);
    EXPECT_EQ (t.model.tracks[0]->numSamples, 44100);
}

TEST (Pipeline, MissingFileHoldsTheQueueForTwoSecondsAndLaterFilesWait)
{
    LoadedModel t;
    t.model.requestLoad (t.folder.file ("missing take.wav").getFullPathName());
    t.model.requestLoad (t.write ("after.wav", sine (48000.0, 2, 1.2, 1000.0, 0.3)).getFullPathName());
    ASSERT_TRUE (t.log.waitFor (waveform));

    ASSERT_GE (t.log.messages.size(), 4u);
    EXPECT_EQ (t.log.messages[0], "LOAD-STATUS:File not found MISSING TAKE");
    EXPECT_EQ (t.log.messages[1], "REFERENCE-TRACK:");
    EXPECT_EQ (t.log.messages[2], "LOAD-STATUS:Loading AFTER");
    EXPECT_GE (t.log.arrivalMs[1] - t.log.arrivalMs[0], 1900);
}

// A reference track gets loudness only (no waveform, no peak or range points, no dynamics)
// and a new one replaces it without joining the tracks.
TEST (Pipeline, ReferenceTrackIsLoudnessOnlyAndReplacesTheOldOne)
{
    LoadedModel t;
    const auto signal = sine (48000.0, 2, 1.5, 1000.0, 0.3);
    t.model.requestLoad (t.write ("refa.wav", signal).getFullPathName(), true);
    ASSERT_TRUE (t.log.waitFor (waveform + "1"));
    Track* first = t.model.referenceTrack.get();
    ASSERT_NE (first, nullptr);
    EXPECT_TRUE (first->waveformPoints.empty());
    const auto& r = first->wholeFileReadings;
    EXPECT_TRUE (std::isinf (r.samplePeakPoints[5]) && r.samplePeakPoints[5] < 0);
    EXPECT_TRUE (std::isinf (r.truePeakPoints[5]) && r.truePeakPoints[5] < 0);
    EXPECT_TRUE (std::isinf (r.loudnessRangePoints[5]) && r.loudnessRangePoints[5] > 0);
    EXPECT_TRUE (std::isfinite (r.integratedLUFS));
    EXPECT_TRUE (r.dynamicRangeSteps.empty());
    EXPECT_EQ (t.model.getTrackById (12345), first); // an unknown id gives the reference

    t.model.requestLoad (t.write ("refb.wav", signal).getFullPathName(), true);
    ASSERT_TRUE (t.log.waitFor (waveform + "1", 2));
    ASSERT_NE (t.model.referenceTrack, nullptr);
    EXPECT_EQ (t.model.referenceTrack->fileName, "REFB");
    EXPECT_TRUE (t.model.tracks.empty());
}

TEST (Pipeline, DeleteDuringLoadSendsNoWaveformMessageAndCallsTheDeleteCallback)
{
    LoadedModel t;
    std::atomic<Track*> deleted { nullptr };
    t.model.deleteCallback = [&] (Track* tr) { deleted = tr; };
    t.model.requestLoad (t.write ("long.wav", sine (48000.0, 2, 20.0, 1000.0, 0.3), 16).getFullPathName());
    ASSERT_TRUE (t.log.waitFor (initial));
    Track* track = t.model.getTrackById (idOfLoadMessage (t.log.messages[(size_t) t.log.indexOf (initial)], initial));
    ASSERT_NE (track, nullptr);
    t.model.deleteAfterLoad.exchange (true);
    track->abortRequested.exchange (true);

    ASSERT_TRUE (t.log.pumpUntil ([&] { return deleted.load() != nullptr; }));
    EXPECT_EQ (deleted.load(), track);
    EXPECT_TRUE (track->analysisComplete);
    EXPECT_FALSE (t.model.deleteAfterLoad.load());
    t.log.pumpUntil ([] { return false; }, 200); // time for a stray message; none comes
    EXPECT_EQ (t.log.count (waveform), 0);
    EXPECT_TRUE (t.model.removeTrack (track->id));
    EXPECT_TRUE (t.model.tracks.empty());
}

// A stop raised from the meter's side after three blocks: what was read is kept and measured.
TEST (Pipeline, StopInTheFirstPassKeepsWhatWasRead)
{
    TempFolder folder;
    const auto file = folder.file ("stopme.wav");
    ASSERT_TRUE (writeWav (file, sine (48000.0, 2, 30.0, 1000.0, 0.3), 16));
    Model model;
    auto* reader = model.audioFormatManager.createReaderFor (file);
    ASSERT_NE (reader, nullptr);
    Track track (&model, reader, file.getFullPathName(), false, "shown");
    EXPECT_EQ (track.displayName, "shown");
    const int fullLength = track.numSamples;
    std::thread stopper ([&]
                         {
                             while (track.samplesRead < 3 * Track::readBlock)
                                 std::this_thread::yield();
                             track.abortRequested = true;
                         });
    track.loadAndAnalyse (model.blockBuffer.get());
    stopper.join();

    EXPECT_TRUE (track.analysisComplete);
    EXPECT_FALSE (track.loading);
    EXPECT_LT (track.numSamples, fullLength);
    EXPECT_EQ (track.numSamples, track.samplesRead);
    EXPECT_EQ (track.numSamples % Track::readBlock, 0);
}

// A span measures on the file's step grid, its points use the whole file's bucket length,
// and the whole-file record is left as it was.
TEST (Pipeline, SpanAnalysisMeasuresOnTheFileGrid)
{
    LoadedModel t;
    Track* track = t.load ("span.wav", sine (44100.0, 2, 4.0, 1000.0, 0.3));
    ASSERT_NE (track, nullptr);
    const int start = 10000, end = 60000, step = track->stepLength, b = track->numSamples / 2000;
    ASSERT_EQ (step, 176400 / 2000);
    ASSERT_NE (start % step, 0);
    bool called = false;
    track->analyseRange (start, end, &track->loopReadings, 0.5f, [&] { called = true; });
    EXPECT_TRUE (called);
    EXPECT_FALSE (track->analysing || t.model.rangeAnalysing);
    EXPECT_EQ (track->stepCount, expectedSteps (start, end, step));
    EXPECT_EQ ((int) track->loopReadings.balanceSteps.size(), track->stepCount);
    EXPECT_EQ ((int) track->loopReadings.shortTermPoints.size(), expectedPoints (end - start, b));
    EXPECT_NEAR (track->progress, 1.0f, 1e-3f);
    EXPECT_EQ ((int) track->wholeFileReadings.shortTermPoints.size(), expectedPoints (track->numSamples, b));
}
