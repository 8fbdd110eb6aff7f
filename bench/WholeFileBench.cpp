// The whole load of a four-minute 44.1 kHz stereo file through the Model and its queue, as
// the window and orvane-check do it: decode into memory, the band pass over the loudest
// blocks, analyseRange over every frame, then the waveform points.
//
// The file is written on first use to $ORVANE_BENCH_AUDIO, or to the temp folder when that
// is unset, and kept for later runs (scripts/bench.sh also times orvane-check on it).
#include "analysis/Model.h"
#include "audio/BenchAudio.h"

#include <benchmark/benchmark.h>
#include <juce_audio_formats/juce_audio_formats.h>
#include <juce_events/juce_events.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace
{
constexpr int benchSeconds = 240;
constexpr int64_t benchFrames = (int64_t) benchRate * benchSeconds;

juce::File benchAudioFile()
{
    if (const char* given = std::getenv ("ORVANE_BENCH_AUDIO"); given != nullptr && *given != 0)
        return juce::File::getCurrentWorkingDirectory().getChildFile (given);
    return juce::File::getSpecialLocation (juce::File::tempDirectory).getChildFile ("orvane-bench-4min-44k1-stereo.wav");
}

// The bench file, written if it is missing or not the expected length.
const juce::File& benchAudio()
{
    static const juce::File file = []
    {
        auto f = benchAudioFile();
        juce::AudioFormatManager formats;
        formats.registerBasicFormats();
        std::unique_ptr<juce::AudioFormatReader> reader (formats.createReaderFor (f));
        const bool usable = reader != nullptr && reader->lengthInSamples == benchFrames
                            && reader->sampleRate == benchRate && reader->numChannels == 2;
        reader.reset();
        if (! usable && ! writeBenchAudio (f, benchSeconds))
            return juce::File();
        return f;
    }();
    return file;
}
} // namespace

static void BM_WholeFileLoad (benchmark::State& state)
{
    const auto& file = benchAudio();
    if (file == juce::File())
    {
        state.SkipWithError ("could not write the bench audio file");
        return;
    }
    juce::MessageManager::getInstance();
    Model model;

    int waveformPoints = 0;
    for (auto _ : state)
    {
        model.requestLoad (file.getFullPathName());
        // The queue puts both counters back to 0 once the load has ended.
        while (model.loadQueue.pushed.load() != 0 || model.loadQueue.processed.load() != 0)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (1);

        state.PauseTiming();
        Track* track = model.tracks.empty() ? nullptr : model.tracks.back().get();
        if (track == nullptr || ! track->waveformComplete || track->numSamples != benchFrames)
        {
            state.SkipWithError ("the bench file did not load");
            break;
        }
        waveformPoints = (int) track->waveformPoints.size();
        benchmark::DoNotOptimize (track->wholeFileReadings.integratedLUFS);
        model.removeTrack (track->id);
        state.ResumeTiming();
    }
    state.counters["audio_s_per_s"] = benchmark::Counter ((double) benchSeconds * (double) state.iterations(),
                                                          benchmark::Counter::kIsRate);
    state.counters["waveform_points"] = waveformPoints;
    state.SetLabel ("4 min 44.1 kHz stereo 24-bit WAV");
}
// The work runs on the load thread, so only wall time tells.
BENCHMARK (BM_WholeFileLoad)->Unit (benchmark::kSecond)->UseRealTime()->Iterations (3);
