// End-to-end runs of the model: files through the queue, the two passes, the per-frame walk
// and the waveform points.

#include "analysis/Model.h"
#include "support/ModelHarness.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace testaudio;

namespace
{
const juce::String loadStatus = "LOAD-STATUS:";
const juce::String initial = "TRACK_INITIAL_LOAD_COMPLETE:";
const juce::String waveform = "TRACK_WAVEFORM_COMPLETE:";

// Number of points a range of n frames gives with buckets of b: the first closes at frame b
// (b + 1 frames), later ones every b frames, and the last frame always closes one.
int expectedPoints (int n, int b)
{
    return (n - 1) / b + ((n - 1) % b != 0 ? 1 : 0);
}

struct LoadedModel
{
    TempFolder folder;
    Model model;
    MessageLog log { model };

    Track* load (const juce::File& file, int waveformMessages = 1)
    {
        model.requestLoad (file.getFullPathName());
        EXPECT_TRUE (log.waitFor (waveform, waveformMessages));
        const int index = log.indexOf (waveform, 0);
        if (index < 0)
            return nullptr;
        int seen = 0;
        for (auto& m : log.messages)
            if (m.startsWith (waveform) && ++seen == waveformMessages)
                return model.getTrackById (idOfLoadMessage (m, waveform));
        return nullptr;
    }
};
} // namespace

TEST (Pipeline, StereoSineLoadsWithMessagesInOrderAndRealReadings)
{
    LoadedModel t;
    const double fs = 48000.0;
    const double amplitude = std::pow (10.0, -20.0 / 20.0);
    auto file = t.folder.file ("Sine Test.wav");
    ASSERT_TRUE (writeWav (file, sine (fs, 2, 5.0, 997.0, amplitude), 32));

    Track* track = t.load (file);
    ASSERT_NE (track, nullptr);

    ASSERT_GE (t.log.messages.size(), 3u);
    EXPECT_EQ (t.log.messages[0], "LOAD-STATUS:Loading SINE TEST");
    EXPECT_TRUE (t.log.messages[1].startsWith (initial + "0"));
    EXPECT_EQ (idOfLoadMessage (t.log.messages[1], initial), track->id);
    EXPECT_EQ (t.log.messages[2], waveform + "0" + juce::String (track->id));

    EXPECT_TRUE (track->analysisComplete);
    EXPECT_TRUE (track->waveformComplete);
    EXPECT_FALSE (track->loading);
    EXPECT_FALSE (track->analysing);
    EXPECT_EQ (track->numSamples, 240000);
    EXPECT_EQ (track->samplesRead, 240000);
    EXPECT_EQ (track->numChannels, 2);
    EXPECT_NE (track->rightChannel, nullptr);
    EXPECT_EQ (track->fileName, "SINE TEST");
    EXPECT_EQ (track->displayName, "SINE TEST");

    const auto& r = track->wholeFileReadings;
    EXPECT_NEAR (r.samplePeak, amplitude, 1e-4);
    const int b = 240000 / 2000;
    const int points = expectedPoints (240000, b);
    EXPECT_EQ ((int) r.shortTermPoints.size(), points);
    EXPECT_EQ ((int) r.integratedPoints.size(), points);
    EXPECT_EQ ((int) r.samplePeakPoints.size(), points);
    EXPECT_EQ ((int) r.truePeakPoints.size(), points);
    EXPECT_EQ ((int) r.loudnessRangePoints.size(), points);
    float maxPeakDb = -1000.0f;
    for (float v : r.samplePeakPoints)
        maxPeakDb = std::max (maxPeakDb, v);
    EXPECT_NEAR (maxPeakDb, -20.0f, 0.01f);

    // A 997 Hz sine on both channels at -20 dBFS: K-weighting is ~0 dB there, and two channels
    // add 3 dB to the single-channel -23 LUFS of a -20 dBFS-peak sine.
    EXPECT_NEAR (r.integratedLUFS, -20.0f, 0.2f);
    EXPECT_TRUE (std::isfinite (r.plainIntegrated));

    // Steps: identical channels, centred and fully correlated.
    ASSERT_FALSE (r.balanceSteps.empty());
    EXPECT_EQ (r.balanceSteps.size(), r.correlationSteps.size());
    EXPECT_EQ (r.balanceSteps.size(), r.balanceSmoothed.size());
    EXPECT_EQ (r.balanceSteps.size(), r.correlationSmoothed.size());
    EXPECT_EQ ((int) r.dynamicRangeSteps.size(), track->stepCount);
    EXPECT_NEAR (r.balanceSteps[100], 0.0f, 1e-5);
    EXPECT_NEAR (r.correlationSteps[100], 1.0f, 1e-5);
    // Steps are 1024 frames at 48 kHz, cut to a point's length (120 frames here); a
    // measurement falls on each multiple and on each of the last stepLength - 1 frames.
    EXPECT_EQ (track->stepLength, b);
    EXPECT_EQ (track->stepCount, (240000 - b) / b + 1 + b - 1);

    // Waveform points: one per bucket, the largest normalised to 0.8.
    EXPECT_EQ ((int) track->waveformPoints.size(), points);
    float largest = 0.0f;
    for (float v : track->waveformPoints)
        largest = std::max (largest, v);
    EXPECT_FLOAT_EQ (largest, 0.8f);

    // Bands were read, and the counters are back at 0 after the batch.
    EXPECT_EQ (track->multiFrequencyIntegratedLUFS.size(), 14u);
    EXPECT_EQ (t.model.loadQueue.pushed.load(), 0);
    EXPECT_EQ (t.model.loadQueue.processed.load(), 0);
}

TEST (Pipeline, MonoFileHasNoRightChannelNoStereoStepsButDynamics)
{
    LoadedModel t;
    auto file = t.folder.file ("mono.wav");
    // Two whole cycles in each 66-frame bucket, so every full bucket has the same RMS.
    ASSERT_TRUE (writeWav (file, sine (44100.0, 1, 3.0, 44100.0 / 33.0, 0.5), 32));
    Track* track = t.load (file);
    ASSERT_NE (track, nullptr);
    EXPECT_EQ (track->numChannels, 1);
    EXPECT_EQ (track->rightChannel, nullptr);
    EXPECT_EQ (track->stepLength, 132300 / 2000);
    EXPECT_GT (track->stepCount, 0);
    const auto& r = track->wholeFileReadings;
    EXPECT_TRUE (r.balanceSteps.empty());
    EXPECT_TRUE (r.correlationSmoothed.empty());
    EXPECT_EQ ((int) r.dynamicRangeSteps.size(), track->stepCount);
    // A mono waveform point is half the left RMS before normalising; all equal for a sine.
    EXPECT_NEAR (track->waveformPoints[500], 0.8f, 1e-3);
    EXPECT_NEAR (r.samplePeak, 0.5f, 1e-3);
}

TEST (Pipeline, SilentFileGivesInfiniteLevelsAndNaNWaveform)
{
    LoadedModel t;
    auto file = t.folder.file ("silence.wav");
    ASSERT_TRUE (writeWav (file, generate (44100.0, 2, 44100 * 2, [] (int, int) { return 0.0f; })));
    Track* track = t.load (file);
    ASSERT_NE (track, nullptr);
    const auto& r = track->wholeFileReadings;
    EXPECT_TRUE (std::isinf (r.integratedLUFS) && r.integratedLUFS < 0);
    EXPECT_EQ (r.samplePeak, 0.0f);
    EXPECT_TRUE (std::isinf (r.samplePeakPoints[10]));
    ASSERT_FALSE (track->waveformPoints.empty());
    EXPECT_TRUE (std::isnan (track->waveformPoints[0]));
    // Silence reads centred and uncorrelated-but-neutral.
    EXPECT_EQ (r.balanceSteps[3], 0.0f);
    EXPECT_EQ (r.correlationSteps[3], 0.0f);
}

TEST (Pipeline, BlockLevelsHaveAnExtraSilentEntryForWholeBlockFiles)
{
    LoadedModel t;
    const int frames = 16384 * 4;
    auto file = t.folder.file ("blocks.wav");
    ASSERT_TRUE (writeWav (file, sine (48000.0, 2, frames / 48000.0, 1000.0, 0.3), 32));
    Track* track = t.load (file);
    ASSERT_NE (track, nullptr);
    EXPECT_EQ (track->numSamples, frames);
    const auto& levels = t.model.multiFrequency.blockLevels;
    ASSERT_EQ (levels.size(), 5u);
    EXPECT_EQ (levels.back(), -70.0f);
}

TEST (Pipeline, FilesUnderOneSecondAndUndecodableFilesAreDroppedSilently)
{
    LoadedModel t;
    auto shortFile = t.folder.file ("short.wav");
    ASSERT_TRUE (writeWav (shortFile, sine (48000.0, 2, 0.9, 1000.0, 0.3)));
    auto textFile = t.folder.file ("notes.wav");
    textFile.replaceWithText ("this is not audio");
    auto good = t.folder.file ("good.wav");
    ASSERT_TRUE (writeWav (good, sine (48000.0, 2, 1.5, 1000.0, 0.3)));

    t.model.requestLoad (shortFile.getFullPathName());
    t.model.requestLoad (textFile.getFullPathName());
    t.model.requestLoad (good.getFullPathName());
    ASSERT_TRUE (t.log.waitFor (waveform));

    // The short file announced itself and then vanished; the text file said nothing at all.
    EXPECT_EQ (t.log.messages[0], "LOAD-STATUS:Loading SHORT");
    EXPECT_EQ (t.log.messages[1], "LOAD-STATUS:Loading GOOD");
    EXPECT_EQ (t.log.count (initial), 1);
    EXPECT_EQ (t.model.tracks.size(), 1u);
}

TEST (Pipeline, MissingFileHoldsTheQueueForTwoSecondsAndLaterFilesWait)
{
    LoadedModel t;
    auto good = t.folder.file ("after.wav");
    ASSERT_TRUE (writeWav (good, sine (48000.0, 2, 1.2, 1000.0, 0.3)));

    t.model.requestLoad (t.folder.file ("missing take.wav").getFullPathName());
    t.model.requestLoad (good.getFullPathName());
    ASSERT_TRUE (t.log.waitFor (waveform));

    ASSERT_GE (t.log.messages.size(), 4u);
    EXPECT_EQ (t.log.messages[0], "LOAD-STATUS:File not found MISSING TAKE");
    EXPECT_EQ (t.log.messages[1], "REFERENCE-TRACK:");
    EXPECT_EQ (t.log.messages[2], "LOAD-STATUS:Loading AFTER");
    // The worker sleeps two seconds between the two texts.
    EXPECT_GE (t.log.arrivalMs[1] - t.log.arrivalMs[0], 1900);
}

TEST (Pipeline, BatchLoadsStrictlyInOrder)
{
    LoadedModel t;
    std::vector<juce::File> files;
    for (int i = 0; i < 3; ++i)
    {
        files.push_back (t.folder.file ("f" + juce::String (i) + ".wav"));
        ASSERT_TRUE (writeWav (files.back(), sine (44100.0, 2, 1.1 + i * 0.1, 500.0, 0.2)));
    }
    for (auto& f : files)
        t.model.requestLoad (f.getFullPathName());
    ASSERT_TRUE (t.log.waitFor (waveform, 3));

    std::vector<juce::String> kinds;
    for (auto& m : t.log.messages)
        if (m.startsWith (initial) || m.startsWith (waveform))
            kinds.push_back (m.upToFirstOccurrenceOf (":", false, false) + ":"
                             + juce::String (idOfLoadMessage (m, m.upToFirstOccurrenceOf (":", true, false))));
    ASSERT_EQ (kinds.size(), 6u);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE (kinds[(size_t) (2 * i)].startsWith ("TRACK_INITIAL_LOAD_COMPLETE"));
        EXPECT_TRUE (kinds[(size_t) (2 * i + 1)].startsWith ("TRACK_WAVEFORM_COMPLETE"));
        EXPECT_EQ (kinds[(size_t) (2 * i)].fromFirstOccurrenceOf (":", false, false),
                   kinds[(size_t) (2 * i + 1)].fromFirstOccurrenceOf (":", false, false));
    }
    ASSERT_EQ (t.model.tracks.size(), 3u);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ (t.model.tracks[(size_t) i]->fileName, "F" + juce::String (i));
}

TEST (Pipeline, ReferenceTrackIsLoudnessOnlyAndReplacesTheOldOne)
{
    LoadedModel t;
    auto a = t.folder.file ("refa.wav");
    auto b = t.folder.file ("refb.wav");
    ASSERT_TRUE (writeWav (a, sine (48000.0, 2, 1.5, 1000.0, 0.3)));
    ASSERT_TRUE (writeWav (b, sine (48000.0, 2, 1.5, 1000.0, 0.3)));

    t.model.requestLoad (a.getFullPathName(), true);
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

    // An unknown id gives the reference track.
    EXPECT_EQ (t.model.getTrackById (12345), first);

    t.model.requestLoad (b.getFullPathName(), true);
    ASSERT_TRUE (t.log.waitFor (waveform + "1", 2));
    EXPECT_NE (t.model.referenceTrack.get(), nullptr);
    EXPECT_EQ (t.model.referenceTrack->fileName, "REFB");
    EXPECT_TRUE (t.model.tracks.empty());
}

TEST (Pipeline, DeleteDuringLoadSendsNoWaveformMessageAndCallsTheDeleteCallback)
{
    LoadedModel t;
    auto file = t.folder.file ("long.wav");
    ASSERT_TRUE (writeWav (file, sine (48000.0, 2, 20.0, 1000.0, 0.3), 16));
    std::atomic<Track*> deleted { nullptr };
    t.model.deleteCallback = [&] (Track* tr) { deleted = tr; };

    t.model.requestLoad (file.getFullPathName());
    ASSERT_TRUE (t.log.waitFor (initial));
    Track* track = t.model.getTrackById (idOfLoadMessage (t.log.messages[(size_t) t.log.indexOf (initial)], initial));
    ASSERT_NE (track, nullptr);
    t.model.deleteAfterLoad.exchange (true);
    track->abortRequested.exchange (true);

    ASSERT_TRUE (t.log.pumpUntil ([&] { return deleted.load() != nullptr; }));
    EXPECT_EQ (deleted.load(), track);
    EXPECT_TRUE (track->analysisComplete);
    EXPECT_FALSE (t.model.deleteAfterLoad.load());
    // Give a stray message time to arrive; none does.
    t.log.pumpUntil ([] { return false; }, 200);
    EXPECT_EQ (t.log.count (waveform), 0);
    EXPECT_TRUE (t.model.removeTrack (track->id));
    EXPECT_TRUE (t.model.tracks.empty());
}

TEST (Pipeline, StopInTheFirstPassKeepsWhatWasRead)
{
    TempFolder folder;
    auto file = folder.file ("stopme.wav");
    ASSERT_TRUE (writeWav (file, sine (48000.0, 2, 30.0, 1000.0, 0.3), 16));

    Model model;
    std::unique_ptr<juce::AudioFormatReader> probe (model.audioFormatManager.createReaderFor (file));
    ASSERT_NE (probe, nullptr);
    Track track (&model, probe.release(), file.getFullPathName(), false, "shown");
    EXPECT_EQ (track.displayName, "shown");
    const int fullLength = track.numSamples;

    // Stop after three blocks have been read: the abort flag is raised from the meter's side.
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

TEST (Pipeline, SpanAnalysisMeasuresOnTheFileGridAndEndsWithShrinkingWindows)
{
    LoadedModel t;
    auto file = t.folder.file ("span.wav");
    ASSERT_TRUE (writeWav (file, sine (44100.0, 2, 4.0, 1000.0, 0.3), 32));
    Track* track = t.load (file);
    ASSERT_NE (track, nullptr);

    const int start = 10000, end = 60000; // neither on the 1024 grid
    bool called = false;
    track->analyseRange (start, end, &track->loopReadings, 0.5f, [&] { called = true; });
    EXPECT_TRUE (called);
    EXPECT_FALSE (track->analysing);
    EXPECT_FALSE (t.model.rangeAnalysing);

    // Measurements at multiples of the step counted from the file's start, plus one on each
    // of the last stepLength - 1 frames.
    const int step = track->stepLength;
    ASSERT_EQ (step, 176400 / 2000);
    ASSERT_NE (start % step, 0);
    int onGrid = 0;
    for (int i = start; i < end; ++i)
        if (i % step == 0 && end - i >= step)
            ++onGrid;
    EXPECT_EQ (track->stepCount, onGrid + step - 1);
    EXPECT_EQ ((int) track->loopReadings.balanceSteps.size(), track->stepCount);
    // Points of a span use the whole file's bucket length.
    const int b = track->numSamples / 2000;
    EXPECT_EQ ((int) track->loopReadings.shortTermPoints.size(), expectedPoints (end - start, b));
    EXPECT_NEAR (track->progress, 1.0f, 1e-3f);
    // The whole-file record is untouched by a span.
    EXPECT_EQ (track->wholeFileReadings.shortTermPoints.size(), (size_t) expectedPoints (track->numSamples, b));
}
