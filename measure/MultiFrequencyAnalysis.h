#pragma once

#include "measure/ILUFSProcessor.h"

#include <array>
#include <memory>
#include <vector>

template <int N>
class LUFSProcessor;

// One band's band-pass filter for both channels, in double, keeping its delay lines.
class BiQuadBandpassVector
{
public:
    BiQuadBandpassVector() = default;

    // Cookbook band-pass with constant 0 dB peak gain; the coefficients are left unnormalised.
    virtual void calculateCoefficients (double sampleRate, double centre, float bandwidthOctaves);

    // Copies b and a into the six taps and sets both channels' filters up from them
    // (the filter divides everything by a0 here), with clear delay lines.
    void initialiseState();
    // Zero input and output history on both channels.
    void clearState();

    // Widens n samples of each channel to double, filters them through that channel's state and
    // narrows the result to float. right may be null (then rightOut is left alone).
    void filterBlock (const float* left, const float* right, float* leftOut, float* rightOut, int n);

    // a.filterBlock (left, right, aLeft, aRight, n) and b.filterBlock (left, right, bLeft,
    // bRight, n) in one loop: four independent recursions keep the pipeline busier than two.
    static void filterTwoBlocks (BiQuadBandpassVector& a, BiQuadBandpassVector& b, const float* left, const float* right,
                                 float* aLeft, float* aRight, float* bLeft, float* bRight, int n);

    double b0 = 0, b1 = 0, b2 = 0, a0 = 1, a1 = 0, a2 = 0;
    int maxBlock = 16384;
    int tapCount = 2;
    double taps[6] {};         // b0, b1, b2, a0, a1, a2 as designed
    double normalised[5] {};   // b0, b1, b2, a1, a2 over a0: what the filter runs on
    double state[2][4] {};     // per channel: x1, x2, y1, y2
};

// How the band filters of a piece are run: two bands at a time in scalar code, or every band
// and channel in a lane of its own, eight lanes to a vector (AVX: two halves of four).
enum class BandKernel
{
    portable,
    avx,
    avx512
};

// Runs filters[b] over n frames as filterBlock (left, right, outs[2b], outs[2b + 1], n) does for
// each b, with the same bits out and the same delay lines left behind. right may be null (mono).
void filterBands (BiQuadBandpassVector* filters, int count, const float* left, const float* right, float* const* outs,
                  int n, BandKernel kernel);
bool bandKernelAvailable (BandKernel kernel);
BandKernel fastestBandKernel();

// 14-band gated loudness of the stereo, mid and side signals of a track's loudest blocks.
class MultiFrequencyAnalysis
{
public:
    static constexpr int numBands = 14;
    static constexpr int bandCentres[numBands] = { 20, 40, 80, 160, 320, 640, 1000, 2000,
                                                   3000, 4000, 6000, 10000, 15000, 18000 };
    static constexpr int blockSize = 16384;
    // A read block takes part in the band measures if it is less than this below the loudest.
    static constexpr float bandGate = 1.5f;

    MultiFrequencyAnalysis();
    ~MultiFrequencyAnalysis();

    // Makes all filters and the 42 processors for this rate anew, then resetBands().
    void prepareBands (double sampleRate);
    // Empties blockLevels, clears every delay line and sets every processor to read -70.
    // The three band lists keep their values.
    void resetBands();

    // First pass: runs n frames through stereoProcessors[0] as an unfiltered short-term
    // meter (right may be null for mono) and appends the last level to blockLevels
    // (-70 when n is 0).
    void meterBlock (const float* left, const float* right, int n);

    // meterBlock for count blocks in a row, block k holding sizes[k] frames from where block
    // k - 1 ended. The levels are meterBlock's to the last bit, but the window sums of up to
    // meterAhead blocks are taken side by side, in one pass over the window.
    static constexpr int meterAhead = 8;
    void meterBlocks (const float* left, const float* right, const int* sizes, int count);

    // Second pass: filters one block in every band and renews the three band lists
    // (-70 in all three for an empty block). right may be null for mono.
    void analyseBlock (const float* left, const float* right, int n);
    // The same for bands firstBand .. lastBand - 1 alone. Ranges that don't overlap can be
    // taken on different threads at once; taken over the same blocks, they leave what
    // analyseBlock leaves. Only the range that ends with the last band writes leftBand and rightBand.
    void analyseBlockBands (const float* left, const float* right, int n, int firstBand, int lastBand);

    std::array<float, numBands> stereoBands {};
    std::array<float, numBands> midBands {};
    std::array<float, numBands> sideBands {};
    std::vector<float> blockLevels;
    std::array<std::unique_ptr<ILUFSProcessor>, numBands> stereoProcessors;
    std::array<std::unique_ptr<ILUFSProcessor>, numBands> midProcessors;
    std::array<std::unique_ptr<ILUFSProcessor>, numBands> sideProcessors;
    std::array<BiQuadBandpassVector, numBands> filters;
    std::vector<float> leftBand, rightBand;
    BandKernel bandKernel = fastestBandKernel(); // only ever set to one that bandKernelAvailable allows

private:
    // Frames filtered at a time: a divisor of blockSize.
    static constexpr int chunkFrames = 4096;
    // The 28 filtered signals of a piece lie a cache line more than a piece apart: spaced by a
    // power of two, the stores of one frame would all fall on the same few cache sets and
    // evict each other.
    static constexpr int scratchStride = chunkFrames + 16;
    // Up to chunkFrames frames of a block in bands firstBand .. lastBand - 1, the last band's
    // output going to leftBand and rightBand from offset on.
    void analyseChunk (const float* left, const float* right, int n, int offset, int firstBand, int lastBand);

    // The same processors as above, typed, so the per-sample loops call them directly.
    std::array<LUFSProcessor<180000>*, numBands> stereoTyped {};
    std::array<LUFSProcessor<3000>*, numBands> midTyped {};
    std::array<LUFSProcessor<3000>*, numBands> sideTyped {};
    // Every band's filtered block, left and right, side by side.
    std::vector<float> bandScratch;
    // The unfiltered powers of the blocks meterBlocks takes together.
    std::vector<float> meterPowers;
};

// The read blocks that take part in the band measures: M is the first largest entry, and
// block j takes part when M - blockLevels[j] < 1.5 (a NaN difference, as from -inf - -inf,
// fails). Indices ascending.
std::vector<int> chooseLoudBlocks (const std::vector<float>& blockLevels);
