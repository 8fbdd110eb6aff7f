// analyseRange alone, over 30 s of generated audio held in memory, on the calling thread:
// the per-frame walk through loudness, range, peaks, true peak and the stereo steps, without
// decoding or the band pass. CPU time is the figure to read.
#include "analysis/Model.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>

namespace
{
constexpr int benchSeconds = 30;

// Sets up the model's processors for the rate as a load does, and fills the track.
void prepare (Model& model, Track& track, double rate, int channels)
{
    makeOnesVector (rate);
    for (auto* slot : { &model.loudnessProcessor, &model.plainLoudnessProcessor })
    {
        auto p = std::make_unique<LUFSProcessor<3000>>();
        p->startCount = 0;
        p->sampleRate = (double) (float) rate;
        p->peakLength = (int) (p->sampleRate * 3.0);
        p->prepare();
        *slot = std::move (p);
    }
    model.chooseTruePeakProcessors (rate);

    const int frames = (int) rate * benchSeconds;
    track.sampleRate = rate;
    track.numChannels = channels;
    track.numSamples = frames;
    track.rangeInterval = (int) (rate * (double) 0.1f);
    track.leftChannel.reset (new float[(size_t) frames]);
    track.rightChannel.reset (channels == 2 ? new float[(size_t) frames] : nullptr);

    std::mt19937 rng (11);
    std::normal_distribution<float> noise (0.0f, 1.0f);
    for (int i = 0; i < frames; ++i)
    {
        const double t = i / rate;
        const float level = (float) (0.1 + 0.25 * (0.5 + 0.5 * std::sin (2.0 * 3.14159265358979 * 0.05 * t)));
        const float tone = (float) std::sin (2.0 * 3.14159265358979 * 220.0 * t);
        const float common = noise (rng);
        track.leftChannel[(size_t) i] = level * (0.5f * tone + 0.3f * common + 0.2f * noise (rng));
        if (channels == 2)
            track.rightChannel[(size_t) i] = level * (0.4f * tone + 0.3f * common + 0.3f * noise (rng));
    }
}

void runAnalyseRange (benchmark::State& state, double rate, int channels)
{
    Model model;
    Track track (&model);
    prepare (model, track, rate, channels);
    for (auto _ : state)
    {
        track.analyseRange (0, track.numSamples, &track.wholeFileReadings, 0.5f, nullptr);
        benchmark::DoNotOptimize (track.wholeFileReadings.truePeakLinear);
    }
    state.SetItemsProcessed (state.iterations() * (int64_t) track.numSamples);
    state.SetLabel ("items = frames");
}
} // namespace

static void BM_AnalyseRangeStereo44k (benchmark::State& state) { runAnalyseRange (state, 44100.0, 2); }
static void BM_AnalyseRangeMono44k (benchmark::State& state) { runAnalyseRange (state, 44100.0, 1); }
static void BM_AnalyseRangeStereo96k (benchmark::State& state) { runAnalyseRange (state, 96000.0, 2); }
static void BM_AnalyseRangeStereo192k (benchmark::State& state) { runAnalyseRange (state, 192000.0, 2); }
BENCHMARK (BM_AnalyseRangeStereo44k)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_AnalyseRangeMono44k)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_AnalyseRangeStereo96k)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_AnalyseRangeStereo192k)->Unit (benchmark::kMillisecond);
