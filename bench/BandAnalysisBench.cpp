#include "measure/LUFSProcessor.h"
#include "measure/ModifiedAkimaInterpolation.h"
#include "measure/MultiFrequencyAnalysis.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

// The band measure over one second of 44.1 kHz stereo noise, fed in read blocks of 16384:
// 28 filter steps and 42 processor steps a frame, and one gating pass per processor.
static void BM_BandAnalysisPerSecond (benchmark::State& state)
{
    constexpr int rate = 44100;
    std::mt19937 gen (1);
    std::uniform_real_distribution<float> dist (-0.5f, 0.5f);
    std::vector<float> left (rate), right (rate);
    for (int i = 0; i < rate; ++i)
        left[(size_t) i] = dist (gen), right[(size_t) i] = dist (gen);

    MultiFrequencyAnalysis mf;
    mf.prepareBands (rate);
    for (auto _ : state)
    {
        for (int pos = 0; pos < rate; pos += 16384)
            mf.analyseBlock (left.data() + pos, right.data() + pos, std::min (16384, rate - pos));
        benchmark::DoNotOptimize (mf.stereoBands.data());
    }
    state.SetItemsProcessed (state.iterations() * rate);
    state.SetLabel ("one iteration = 1 s of audio");
}
BENCHMARK (BM_BandAnalysisPerSecond)->Unit (benchmark::kMillisecond);

static bool availableHere (benchmark::State& state, bool kernelAvailable)
{
    if (! kernelAvailable)
        state.SkipWithError ("kernel not available here");
    return kernelAvailable;
}

// The filters alone over the same second in pieces of 4096: 14 bands, both channels, by
// the kernel given (0 scalar, 1 AVX, 2 AVX-512), into outputs spaced a piece and the given
// number of floats apart (the analysis pads them so they don't fall on the same cache sets).
static void BM_BandFiltersPerSecond (benchmark::State& state)
{
    const auto kernel = (BandKernel) state.range (0);
    if (! availableHere (state, bandKernelAvailable (kernel)))
        return;
    constexpr int rate = 44100, piece = 4096;
    const int stride = piece + (int) state.range (1);
    std::mt19937 gen (2);
    std::uniform_real_distribution<float> dist (-0.5f, 0.5f);
    std::vector<float> left (rate), right (rate), out ((size_t) (2 * MultiFrequencyAnalysis::numBands * stride));
    for (int i = 0; i < rate; ++i)
        left[(size_t) i] = dist (gen), right[(size_t) i] = dist (gen);
    float* outs[2 * MultiFrequencyAnalysis::numBands];
    for (int o = 0; o < 2 * MultiFrequencyAnalysis::numBands; ++o)
        outs[o] = out.data() + (size_t) (o * stride);

    MultiFrequencyAnalysis mf;
    mf.prepareBands (rate);
    for (auto _ : state)
    {
        for (int pos = 0; pos < rate; pos += piece)
            filterBands (mf.filters.data(), MultiFrequencyAnalysis::numBands, left.data() + pos, right.data() + pos, outs,
                         std::min (piece, rate - pos), kernel);
        benchmark::DoNotOptimize (out.data());
    }
    state.SetItemsProcessed (state.iterations() * rate);
}
BENCHMARK (BM_BandFiltersPerSecond)->ArgsProduct ({ { 0, 1, 2 }, { 0, 16 } })->Unit (benchmark::kMillisecond);

// The block sums of the 42 band processors on a block event at 44.1 kHz: 42 rings of 0.4 s
// added in index order side by side, by the kernel given (0 plain, 1 AVX).
static void BM_BandBlockSums (benchmark::State& state)
{
    const auto kernel = (SumKernel) state.range (0);
    if (! availableHere (state, sumKernelAvailable (kernel)))
        return;
    constexpr int count = 42, length = 17640;
    std::mt19937 gen (3);
    std::uniform_real_distribution<float> dist (0.0f, 0.1f);
    std::vector<std::vector<float>> rings (count, std::vector<float> (length));
    std::vector<const float*> arrays;
    for (auto& r : rings)
    {
        for (auto& v : r)
            v = dist (gen);
        arrays.push_back (r.data());
    }
    std::vector<float> sums (count);
    for (auto _ : state)
    {
        std::fill (sums.begin(), sums.end(), 0.0f);
        addInOrderSideBySide (arrays.data(), count, 0, length, sums.data(), kernel);
        benchmark::DoNotOptimize (sums.data());
    }
    state.SetItemsProcessed (state.iterations() * count * length);
}
BENCHMARK (BM_BandBlockSums)->Arg (0)->Arg (1);

static void BM_AkimaSixteenPoints (benchmark::State& state)
{
    const std::vector<double> xs { 10, 20, 40, 80, 160, 320, 640, 1000, 2000,
                                   3000, 4000, 6000, 10000, 15000, 18000, 20000 };
    const std::vector<double> ys { -30, -22, -18, -17.5, -19, -21, -20, -23, -26,
                                   -25, -28, -31, -36, -44, -50, -60 };
    std::vector<bws::ModifiedAkimaInterpolation::Cubic> cubics;
    cubics.reserve (16);
    for (auto _ : state)
    {
        cubics.clear();
        bws::ModifiedAkimaInterpolation akima (xs, ys);
        akima.computeCubics (cubics);
        benchmark::DoNotOptimize (cubics.data());
    }
}
BENCHMARK (BM_AkimaSixteenPoints);
