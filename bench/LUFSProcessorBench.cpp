#include "measure/LUFSProcessor.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace
{
constexpr int rate = 44100;

template <int N>
std::unique_ptr<LUFSProcessor<N>> makeProcessor()
{
    auto p = std::make_unique<LUFSProcessor<N>>();
    p->sampleRate = rate;
    p->startCount = 0;
    p->prepare();
    p->resetMeasure (false, -70.0f);
    return p;
}

std::vector<float> noisePowers (int count, unsigned seed)
{
    std::mt19937 gen (seed);
    std::uniform_real_distribution<float> dist (0.0f, 0.2f);
    std::vector<float> powers ((size_t) count);
    for (auto& p : powers)
        p = dist (gen);
    return powers;
}

// A bag as the band analysis leaves it: blocks (spread over 20 dB) for the audio so far,
// reset fill at -70 behind them; range(0) blocks, or a bag full of blocks when it is N.
template <int N>
void fillBag (LUFSProcessor<N>& p, int blocks, unsigned seed)
{
    std::mt19937 gen (seed);
    std::uniform_real_distribution<float> level (-40.0f, -20.0f);
    p.resetMeasure (true, -70.0f);
    p.materialiseBlockPowers();
    for (int i = 0; i < blocks; ++i)
        p.blockPowers[i] = std::pow (10.0f, (level (gen) + 0.691f) / 10.0f);
    p.powerWrite = blocks % N;
}
} // namespace

// One second of audio through shortTermStep: ten re-sums of the 3 s window.
template <int N>
static void BM_ShortTermStep (benchmark::State& state)
{
    auto p = makeProcessor<N>();
    const auto powers = noisePowers (rate, 1);
    for (auto _ : state)
    {
        float v = 0.0f;
        for (float power : powers)
            v = p->shortTermStep (power);
        benchmark::DoNotOptimize (v);
    }
    state.SetItemsProcessed (state.iterations() * rate);
    state.SetLabel ("one iteration = 1 s at 44.1 kHz");
}
BENCHMARK_TEMPLATE (BM_ShortTermStep, 3000)->Unit (benchmark::kMillisecond);
BENCHMARK_TEMPLATE (BM_ShortTermStep, 180000)->Unit (benchmark::kMillisecond);

// One second of audio through integratedStep: ten blocks and one gating pass, on a bag that
// holds range(0) blocks at the start and ten more after each iteration (so a fixed count).
template <int N>
static void BM_IntegratedStep (benchmark::State& state)
{
    auto p = makeProcessor<N>();
    fillBag (*p, (int) state.range (0), 2);
    const auto powers = noisePowers (rate, 3);
    for (auto _ : state)
    {
        float v = 0.0f;
        for (float power : powers)
            v = p->integratedStep (power);
        benchmark::DoNotOptimize (v);
    }
    state.SetItemsProcessed (state.iterations() * rate);
    state.SetLabel ("one iteration = 1 s at 44.1 kHz");
}
BENCHMARK_TEMPLATE (BM_IntegratedStep, 3000)->Arg (600)->Arg (3000)->Iterations (200)->Unit (benchmark::kMillisecond);
BENCHMARK_TEMPLATE (BM_IntegratedStep, 180000)->Arg (600)->Arg (36000)->Arg (180000)->Iterations (200)->Unit (benchmark::kMillisecond);

// The gating pass alone, with ten new blocks landing between passes as in a running analysis.
template <int N>
static void BM_GatingPass (benchmark::State& state)
{
    auto p = makeProcessor<N>();
    const int blocks = (int) state.range (0);
    fillBag (*p, blocks, 4);
    std::mt19937 gen (5);
    std::uniform_real_distribution<float> level (-40.0f, -20.0f);
    for (auto _ : state)
    {
        for (int k = 0; k < 10; ++k)
        {
            p->blockPowers[p->powerWrite] = std::pow (10.0f, (level (gen) + 0.691f) / 10.0f);
            p->powerWrite = (p->powerWrite + 1) % std::min (N, std::max (blocks, 1));
        }
        p->gatingPass();
        benchmark::DoNotOptimize (p->integratedValue);
    }
    state.SetItemsProcessed (state.iterations() * N);
    state.SetLabel ("items = bag entries");
}
BENCHMARK_TEMPLATE (BM_GatingPass, 3000)->Arg (600)->Arg (3000)->Unit (benchmark::kMicrosecond);
BENCHMARK_TEMPLATE (BM_GatingPass, 180000)->Arg (600)->Arg (36000)->Arg (180000)->Unit (benchmark::kMicrosecond);

// The K-weighting of one stereo frame.
static void BM_KWeightedPower (benchmark::State& state)
{
    auto p = makeProcessor<3000>();
    std::mt19937 gen (6);
    std::uniform_real_distribution<float> dist (-1.0f, 1.0f);
    std::vector<float> left (4096), right (4096);
    for (size_t i = 0; i < left.size(); ++i)
        left[i] = dist (gen), right[i] = dist (gen);
    for (auto _ : state)
    {
        float sum = 0.0f;
        for (size_t i = 0; i < left.size(); ++i)
            sum += p->kWeightedPower (left[i], right[i]);
        benchmark::DoNotOptimize (sum);
    }
    state.SetItemsProcessed (state.iterations() * (int64_t) left.size());
    state.SetLabel ("items = stereo frames");
}
BENCHMARK (BM_KWeightedPower);

// One range update on a history of range(0) entries (it grows by one per update, ten a second
// of audio; 36000 is an hour). A fixed count of iterations keeps it near that size.
static void BM_UpdateLoudnessRange (benchmark::State& state)
{
    auto p = makeProcessor<3000>();
    std::mt19937 gen (7);
    std::normal_distribution<float> level (-18.0f, 5.0f);
    p->shortTermHistory.clear();
    for (int i = 0; i < state.range (0); ++i)
        p->updateLoudnessRange (level (gen));
    for (auto _ : state)
        benchmark::DoNotOptimize (p->updateLoudnessRange (level (gen)));
    state.SetLabel ("history grows by one per iteration");
}
BENCHMARK (BM_UpdateLoudnessRange)->Arg (300)->Arg (3000)->Arg (36000)->Iterations (200)->Unit (benchmark::kMicrosecond);
