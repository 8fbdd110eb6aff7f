#include "measure/TruePeakProcessor.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace
{
std::vector<float> noise (unsigned seed)
{
    std::mt19937 gen (seed);
    std::uniform_real_distribution<float> dist (-0.9f, 0.9f);
    std::vector<float> samples (4096);
    for (auto& s : samples)
        s = dist (gen);
    return samples;
}

// One channel's true-peak estimate over 4096 samples of noise; each instantiation does
// 256 multiply-adds a sample, split into P phases of T taps. The kernel is the fastest
// this machine has unless one is named.
template <int P, int T>
void runTruePeak (benchmark::State& state, const double* prototype, int kernel = -1)
{
    const auto samples = noise (3);
    TruePeakProcessor<P, T> tp;
    if (kernel >= 0)
    {
        if (! TruePeakProcessor<P, T>::kernelAvailable ((TruePeakKernel) kernel))
        {
            state.SkipWithError ("this machine lacks that instruction set");
            return;
        }
        tp.kernel = (TruePeakKernel) kernel;
    }
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

// Both channels of 4096 stereo frames as the analysis loop feeds them: two processors side
// by side, or (shared) one processor taking left and right in turn, as above 96 kHz.
template <int P, int T>
void runStereo (benchmark::State& state, const double* prototype, bool shared, bool paired)
{
    const auto left = noise (5), right = noise (6);
    TruePeakProcessor<P, T> a, b;
    a.loadPrototype (prototype);
    b.loadPrototype (prototype);
    TruePeakProcessorBase& second = shared ? static_cast<TruePeakProcessorBase&> (a) : b;
    const auto feed = paired ? truepeak::stereoFeedFor (a, second) : &truepeak::feedOneByOne;
    for (auto _ : state)
    {
        float largest = 0.0f;
        for (size_t i = 0; i < left.size(); ++i)
        {
            float x = 0.0f, y = 0.0f;
            feed (a, second, left[i], right[i], x, y);
            largest = std::max (largest, std::max (x, y));
        }
        benchmark::DoNotOptimize (largest);
    }
    state.SetItemsProcessed (state.iterations() * (int64_t) left.size());
    state.SetLabel ("items = stereo frames");
}
} // namespace

static void BM_TruePeak16x16 (benchmark::State& state) { runTruePeak<16, 16> (state, truepeak::prototypeB); }
static void BM_TruePeak8x32 (benchmark::State& state) { runTruePeak<8, 32> (state, truepeak::prototypeC); }
static void BM_TruePeak4x64 (benchmark::State& state) { runTruePeak<4, 64> (state, truepeak::prototypeD); }
BENCHMARK (BM_TruePeak16x16)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_TruePeak8x32)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_TruePeak4x64)->Unit (benchmark::kMicrosecond);

// Each instruction set on its own: argument 0 portable, 1 SSE2, 2 AVX, 3 AVX-512.
static void BM_TruePeak16x16Kernel (benchmark::State& state)
{
    runTruePeak<16, 16> (state, truepeak::prototypeB, (int) state.range (0));
}
static void BM_TruePeak4x64Kernel (benchmark::State& state)
{
    runTruePeak<4, 64> (state, truepeak::prototypeD, (int) state.range (0));
}
BENCHMARK (BM_TruePeak16x16Kernel)->DenseRange (0, 3)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_TruePeak4x64Kernel)->DenseRange (0, 3)->Unit (benchmark::kMicrosecond);

// Stereo frames, argument 0 one channel after the other, 1 through the paired feed.
static void BM_TruePeakStereo16x16 (benchmark::State& state)
{
    runStereo<16, 16> (state, truepeak::prototypeB, false, state.range (0) != 0);
}
static void BM_TruePeakStereo8x32 (benchmark::State& state)
{
    runStereo<8, 32> (state, truepeak::prototypeC, false, state.range (0) != 0);
}
static void BM_TruePeakShared4x64 (benchmark::State& state)
{
    runStereo<4, 64> (state, truepeak::prototypeD, true, state.range (0) != 0);
}
BENCHMARK (BM_TruePeakStereo16x16)->DenseRange (0, 1)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_TruePeakStereo8x32)->DenseRange (0, 1)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_TruePeakShared4x64)->DenseRange (0, 1)->Unit (benchmark::kMicrosecond);
