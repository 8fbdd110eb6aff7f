#include "measure/TruePeakProcessor.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

// One channel's true-peak estimate over 4096 samples of noise; each instantiation does
// 256 multiply-adds a sample, split into P phases of T taps.
template <int P, int T>
static void runTruePeak (benchmark::State& state, const double* prototype)
{
    std::mt19937 gen (3);
    std::uniform_real_distribution<float> dist (-0.9f, 0.9f);
    std::vector<float> samples (4096);
    for (auto& s : samples)
        s = dist (gen);

    TruePeakProcessor<P, T> tp;
    tp.loadPrototype (prototype);
    for (auto _ : state)
    {
        float largest = 0.0f;
        for (float s : samples)
        {
            const float v = tp.process (s);
            largest = v > largest ? v : largest;
        }
        benchmark::DoNotOptimize (largest);
    }
    state.SetItemsProcessed (state.iterations() * (int64_t) samples.size());
    state.SetLabel ("items = samples of one channel");
}

static void BM_TruePeak16x16 (benchmark::State& state) { runTruePeak<16, 16> (state, truepeak::prototypeB); }
static void BM_TruePeak8x32 (benchmark::State& state) { runTruePeak<8, 32> (state, truepeak::prototypeC); }
static void BM_TruePeak4x64 (benchmark::State& state) { runTruePeak<4, 64> (state, truepeak::prototypeD); }
BENCHMARK (BM_TruePeak16x16)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_TruePeak8x32)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_TruePeak4x64)->Unit (benchmark::kMicrosecond);
