// The whole load of a four-minute 44.1 kHz stereo file through the Model and its queue, as
// the window and orvane-check do it: decode into memory, the band pass over the loudest
// blocks, analyseRange over every frame, then the waveform points.
//
// The file is written on first use to $ORVANE_BENCH_AUDIO, or to the temp folder when that
// is unset, and kept for later runs (scripts/bench.sh also times orvane-check on it).
#include "analysis/Model.h"

#include <benchmark/benchmark.h>
#include <juce_audio_formats/juce_audio_formats.h>
#include <juce_events/juce_events.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace
{
constexpr double benchRate = 44100.0;
constexpr int benchSeconds = 240;
constexpr int64_t benchFrames = (int64_t) benchRate * benchSeconds;

juce::File benchAudioFile()
{
    if (const char* given = std::getenv ("ORVANE_BENCH_AUDIO"); given != nullptr && *given != 0)
        return juce::File::getCurrentWorkingDirectory().getChildFile (given);
    return juce::File::getSpecialLocation (juce::File::tempDirectory).getChildFile ("orvane-bench-4min-44k1-stereo.wav");
}

// Something like a song: a bass note, a wandering tone and noise, both sides partly
// correlated, in sections of 16 s that alternate between about -20 and -11 dBFS RMS, with
// a fade in and out. Deterministic, so every run measures the same audio.
bool writeBenchAudio (const juce::File& file)
{
    file.getParentDirectory().createDirectory();
    file.deleteFile();
    auto stream = std::make_unique<juce::FileOutputStream> (file);
    if (! stream->openedOk())
        return false;
    juce::WavAudioFormat wav;
    std::unique_ptr<juce::AudioFormatWriter> writer (wav.createWriterFor (stream.get(), benchRate, 2, 24, {}, 0));
    if (writer == nullptr)
        return false;
    stream.release();

    constexpr int block = 16384;
    juce::AudioBuffer<float> buffer (2, block);
    uint32_t seed = 12345u;
    auto noise = [&seed]
    {
        seed = seed * 1664525u + 1013904223u;
        return (float) ((double) (seed >> 8) / (double) (1u << 24) * 2.0 - 1.0);
    };
    const double twoPi = juce::MathConstants<double>::twoPi;
    float lowLeft = 0.0f, lowRight = 0.0f;

    for (int64_t start = 0; start < benchFrames; start += block)
    {
        const int n = (int) std::min<int64_t> (block, benchFrames - start);
        auto* left = buffer.getWritePointer (0);
        auto* right = buffer.getWritePointer (1);
        for (int k = 0; k < n; ++k)
        {
            const int64_t i = start + k;
            const double t = (double) i / benchRate;
            const bool chorus = ((int) (t / 16.0)) % 2 == 1;
            const double fade = std::min ({ 1.0, t / 2.0, ((double) benchSeconds - t) / 4.0 });
            const double gain = (chorus ? 0.35 : 0.12) * fade;
            const double beat = 0.6 + 0.4 * std::pow (std::sin (juce::MathConstants<double>::pi * t * 2.0), 8.0);
            const double bass = 0.5 * std::sin (twoPi * 55.0 * t);
            const double tone = 0.3 * std::sin (twoPi * (440.0 + 110.0 * std::sin (twoPi * 0.05 * t)) * t);
            const float common = noise();
            lowLeft += 0.2f * (0.7f * common + 0.3f * noise() - lowLeft);
            lowRight += 0.2f * (0.7f * common + 0.3f * noise() - lowRight);
            left[k] = (float) (gain * (bass + tone * 0.8 + beat * 0.6 * lowLeft));
            right[k] = (float) (gain * (bass + tone * 1.2 + beat * 0.6 * lowRight));
        }
        if (! writer->writeFromAudioSampleBuffer (buffer, 0, n))
            return false;
    }
    return true;
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
        if (! usable && ! writeBenchAudio (f))
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
