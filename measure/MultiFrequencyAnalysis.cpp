#include "measure/MultiFrequencyAnalysis.h"

#include "measure/CpuFeatures.h"
#include "measure/LUFSProcessor.h"

#include <algorithm>
#include <cmath>
#include <limits>

// ---------------------------------------------------------------------------------------------
// BiQuadBandpassVector

void BiQuadBandpassVector::calculateCoefficients (double sampleRate, double centre, float bandwidthOctaves)
{
    const double twoPi = 6.283185307179586;
    const double w = twoPi * centre / sampleRate;
    const double sinW = std::sin (w);
    const double alpha = sinW * std::sinh (std::log (2.0) / 2.0 * (double) bandwidthOctaves * w / sinW);

    b0 = alpha;
    b1 = 0.0;
    b2 = -alpha;
    a0 = 1.0 + alpha;
    a1 = -2.0 * std::cos (w);
    a2 = 1.0 - alpha;
}

void BiQuadBandpassVector::initialiseState()
{
    const double b[3] = { b0, b1, b2 };
    const double a[3] = { a0, a1, a2 };
    std::copy (b, b + 3, taps);
    std::copy (a, a + 3, taps + 3);

    const double scale = taps[3];
    normalised[0] = taps[0] / scale;
    normalised[1] = taps[1] / scale;
    normalised[2] = taps[2] / scale;
    normalised[3] = taps[4] / scale;
    normalised[4] = taps[5] / scale;

    clearState();
}

void BiQuadBandpassVector::clearState()
{
    for (auto& channel : state)
        std::fill (channel, channel + 4, 0.0);
}

void BiQuadBandpassVector::filterBlock (const float* left, const float* right,
                                        float* leftOut, float* rightOut, int n)
{
    const double c0 = normalised[0], c1 = normalised[1], c2 = normalised[2];
    const double d1 = normalised[3], d2 = normalised[4];

    double* ls = state[0];
    double lx1 = ls[0], lx2 = ls[1], ly1 = ls[2], ly2 = ls[3];

    if (right == nullptr)
    {
        for (int i = 0; i < n; ++i)
        {
            const double x = (double) left[i];
            const double y = c0 * x + c1 * lx1 + c2 * lx2 - d2 * ly2 - d1 * ly1;
            lx2 = lx1;
            lx1 = x;
            ly2 = ly1;
            ly1 = y;
            leftOut[i] = (float) y;
        }
    }
    else
    {
        double* rs = state[1];
        double rx1 = rs[0], rx2 = rs[1], ry1 = rs[2], ry2 = rs[3];

        // Both channels in one loop: two independent recursions keep the pipeline busy.
        for (int i = 0; i < n; ++i)
        {
            const double xl = (double) left[i];
            const double xr = (double) right[i];
            const double yl = c0 * xl + c1 * lx1 + c2 * lx2 - d2 * ly2 - d1 * ly1;
            const double yr = c0 * xr + c1 * rx1 + c2 * rx2 - d2 * ry2 - d1 * ry1;
            lx2 = lx1;
            lx1 = xl;
            ly2 = ly1;
            ly1 = yl;
            rx2 = rx1;
            rx1 = xr;
            ry2 = ry1;
            ry1 = yr;
            leftOut[i] = (float) yl;
            rightOut[i] = (float) yr;
        }

        rs[0] = rx1;
        rs[1] = rx2;
        rs[2] = ry1;
        rs[3] = ry2;
    }

    ls[0] = lx1;
    ls[1] = lx2;
    ls[2] = ly1;
    ls[3] = ly2;
}

void BiQuadBandpassVector::filterTwoBlocks (BiQuadBandpassVector& a, BiQuadBandpassVector& b, const float* left,
                                            const float* right, float* aLeft, float* aRight, float* bLeft,
                                            float* bRight, int n)
{
    if (right == nullptr)
    {
        a.filterBlock (left, right, aLeft, aRight, n);
        b.filterBlock (left, right, bLeft, bRight, n);
        return;
    }

    // Each recursion reads and writes just what filterBlock's would, in the same order.
    struct Recursion
    {
        double c0, c1, c2, d1, d2;
        double x1, x2, y1, y2;
        double* state;
        double step (double x)
        {
            const double y = c0 * x + c1 * x1 + c2 * x2 - d2 * y2 - d1 * y1;
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = y;
            return y;
        }
        void store() const
        {
            state[0] = x1;
            state[1] = x2;
            state[2] = y1;
            state[3] = y2;
        }
    };
    auto recursion = [] (BiQuadBandpassVector& f, int channel)
    {
        double* st = f.state[channel];
        return Recursion { f.normalised[0], f.normalised[1], f.normalised[2], f.normalised[3], f.normalised[4],
                           st[0], st[1], st[2], st[3], st };
    };
    Recursion al = recursion (a, 0), ar = recursion (a, 1), bl = recursion (b, 0), br = recursion (b, 1);
    for (int i = 0; i < n; ++i)
    {
        const double xl = (double) left[i];
        const double xr = (double) right[i];
        aLeft[i] = (float) al.step (xl);
        aRight[i] = (float) ar.step (xr);
        bLeft[i] = (float) bl.step (xl);
        bRight[i] = (float) br.step (xr);
    }
    al.store();
    ar.store();
    bl.store();
    br.store();
}

// ---------------------------------------------------------------------------------------------
// All bands side by side

#if defined(__GNUC__) && defined(__x86_64__)
 #define ORVANE_BAND_LANES 1
#endif

namespace
{
#if defined(ORVANE_BAND_LANES)
// Eight recursions in the lanes of one vector: a lane computes exactly what a scalar
// recursion does, multiplications and additions apart and in the same order.
typedef double Lanes8 __attribute__ ((vector_size (64)));
typedef float Floats8 __attribute__ ((vector_size (32)));
typedef int Pick8 __attribute__ ((vector_size (32)));

constexpr int laneWidth = 8;
constexpr int maxLaneGroups = 4; // up to two groups of eight bands a channel

// The lanes of a piece, with H groups a channel (one for up to eight bands, two for more):
// group g holds bands 8 (g % H) .. 8 (g % H) + 7 of channel g / H; lanes past the last band
// run on zero coefficients and are never stored.
struct BandLanes
{
    Lanes8 taps[5][2] {};                 // c0, c1, c2, d1, d2 per band group
    Lanes8 state[4][maxLaneGroups] {};    // x1, x2, y1, y2 per lane group
    float* outs[maxLaneGroups][laneWidth] {};
};

// rows[f] holds frame f of eight lanes: lane l's eight frames go to outs[l] + i (none where
// outs[l] is null).
[[gnu::always_inline]] inline void storeLanes (const Floats8* rows, float* const* outs, int i)
{
    const Pick8 lo = { 0, 8, 1, 9, 4, 12, 5, 13 }, hi = { 2, 10, 3, 11, 6, 14, 7, 15 };
    const Pick8 evenPairs = { 0, 1, 8, 9, 4, 5, 12, 13 }, oddPairs = { 2, 3, 10, 11, 6, 7, 14, 15 };
    const Pick8 lowHalves = { 0, 1, 2, 3, 8, 9, 10, 11 }, highHalves = { 4, 5, 6, 7, 12, 13, 14, 15 };
    const Floats8 r0 = rows[0], r1 = rows[1], r2 = rows[2], r3 = rows[3];
    const Floats8 r4 = rows[4], r5 = rows[5], r6 = rows[6], r7 = rows[7];
    const Floats8 t0 = __builtin_shuffle (r0, r1, lo), t1 = __builtin_shuffle (r0, r1, hi);
    const Floats8 t2 = __builtin_shuffle (r2, r3, lo), t3 = __builtin_shuffle (r2, r3, hi);
    const Floats8 t4 = __builtin_shuffle (r4, r5, lo), t5 = __builtin_shuffle (r4, r5, hi);
    const Floats8 t6 = __builtin_shuffle (r6, r7, lo), t7 = __builtin_shuffle (r6, r7, hi);
    const Floats8 u0 = __builtin_shuffle (t0, t2, evenPairs), u1 = __builtin_shuffle (t0, t2, oddPairs);
    const Floats8 u2 = __builtin_shuffle (t1, t3, evenPairs), u3 = __builtin_shuffle (t1, t3, oddPairs);
    const Floats8 u4 = __builtin_shuffle (t4, t6, evenPairs), u5 = __builtin_shuffle (t4, t6, oddPairs);
    const Floats8 u6 = __builtin_shuffle (t5, t7, evenPairs), u7 = __builtin_shuffle (t5, t7, oddPairs);
    const Floats8 lanes[8] = { __builtin_shuffle (u0, u4, lowHalves),  __builtin_shuffle (u1, u5, lowHalves),
                               __builtin_shuffle (u2, u6, lowHalves),  __builtin_shuffle (u3, u7, lowHalves),
                               __builtin_shuffle (u0, u4, highHalves), __builtin_shuffle (u1, u5, highHalves),
                               __builtin_shuffle (u2, u6, highHalves), __builtin_shuffle (u3, u7, highHalves) };
    for (int l = 0; l < laneWidth; ++l)
        if (float* out = outs[l])
            __builtin_memcpy (out + i, &lanes[l], sizeof (Floats8));
}

// G lane groups, H to a channel (G = H: mono, G = 2 H: stereo), over n frames. Eight frames
// are filtered into rows of eight lanes, then turned so that each lane's eight outputs go to
// its band in one store.
template <int G, int H>
[[gnu::always_inline]] inline void runBandLanes (BandLanes& lanes, const float* left, const float* right, int n)
{
    Lanes8 c0[2], c1[2], c2[2], d1[2], d2[2];
    for (int h = 0; h < H; ++h)
        c0[h] = lanes.taps[0][h], c1[h] = lanes.taps[1][h], c2[h] = lanes.taps[2][h], d1[h] = lanes.taps[3][h],
        d2[h] = lanes.taps[4][h];
    constexpr auto groups = static_cast<std::size_t> (G);
    Lanes8 x1[groups], x2[groups], y1[groups], y2[groups];
    for (int g = 0; g < G; ++g)
        x1[g] = lanes.state[0][g], x2[g] = lanes.state[1][g], y1[g] = lanes.state[2][g], y2[g] = lanes.state[3][g];

    Floats8 rows[groups][laneWidth];
    auto frame = [&] (int i, int f)
    {
        const double l = left[i], r = G > H ? right[i] : l;
        const Lanes8 xl = { l, l, l, l, l, l, l, l }, xr = { r, r, r, r, r, r, r, r };
        for (int g = 0; g < G; ++g)
        {
            const int h = g % H;
            const Lanes8 x = g < H ? xl : xr;
            const Lanes8 y = c0[h] * x + c1[h] * x1[g] + c2[h] * x2[g] - d2[h] * y2[g] - d1[h] * y1[g];
            x2[g] = x1[g];
            x1[g] = x;
            y2[g] = y1[g];
            y1[g] = y;
            rows[g][f] = __builtin_convertvector (y, Floats8);
        }
    };

    int i = 0;
    for (; i + laneWidth <= n; i += laneWidth)
    {
#pragma GCC unroll 8
        for (int f = 0; f < laneWidth; ++f)
            frame (i + f, f);
        for (int g = 0; g < G; ++g)
            storeLanes (rows[g], lanes.outs[g], i);
    }
    for (int f = 0; i + f < n; ++f)
    {
        frame (i + f, 0);
        for (int g = 0; g < G; ++g)
            for (int l = 0; l < laneWidth; ++l)
                if (float* out = lanes.outs[g][l])
                    out[i + f] = rows[g][0][l];
    }

    for (int g = 0; g < G; ++g)
        lanes.state[0][g] = x1[g], lanes.state[1][g] = x2[g], lanes.state[2][g] = y1[g], lanes.state[3][g] = y2[g];
}

// H is the number of groups a channel takes: 1 or 2.
__attribute__ ((target ("avx512f"))) void runBandLanesAvx512 (BandLanes& lanes, const float* left, const float* right,
                                                            int n, int H)
{
    if (right != nullptr)
        H == 1 ? runBandLanes<2, 1> (lanes, left, right, n) : runBandLanes<4, 2> (lanes, left, right, n);
    else
        H == 1 ? runBandLanes<1, 1> (lanes, left, right, n) : runBandLanes<2, 2> (lanes, left, right, n);
}

__attribute__ ((target ("avx"))) void runBandLanesAvx (BandLanes& lanes, const float* left, const float* right, int n,
                                                       int H)
{
    if (right != nullptr)
        H == 1 ? runBandLanes<2, 1> (lanes, left, right, n) : runBandLanes<4, 2> (lanes, left, right, n);
    else
        H == 1 ? runBandLanes<1, 1> (lanes, left, right, n) : runBandLanes<2, 2> (lanes, left, right, n);
}
#endif
} // namespace

bool bandKernelAvailable (BandKernel kernel)
{
    if (kernel == BandKernel::portable)
        return true;
#if defined(ORVANE_BAND_LANES)
    return kernel == BandKernel::avx512 ? cpu::hasAvx512f() : cpu::hasAvx();
#else
    return false;
#endif
}

BandKernel fastestBandKernel()
{
    for (auto kernel : { BandKernel::avx512, BandKernel::avx })
        if (bandKernelAvailable (kernel))
            return kernel;
    return BandKernel::portable;
}

void filterBands (BiQuadBandpassVector* filters, int count, const float* left, const float* right, float* const* outs,
                  int n, BandKernel kernel)
{
#if defined(ORVANE_BAND_LANES)
    if (kernel != BandKernel::portable && count <= 2 * laneWidth)
    {
        BandLanes lanes;
        const int channels = right != nullptr ? 2 : 1;
        const int H = count <= laneWidth ? 1 : 2;
        for (int b = 0; b < count; ++b)
        {
            const int h = b / laneWidth, l = b % laneWidth;
            for (int k = 0; k < 5; ++k)
                lanes.taps[k][h][l] = filters[b].normalised[k];
            for (int ch = 0; ch < channels; ++ch)
            {
                for (int k = 0; k < 4; ++k)
                    lanes.state[k][H * ch + h][l] = filters[b].state[ch][k];
                lanes.outs[H * ch + h][l] = outs[2 * b + ch];
            }
        }
        if (kernel == BandKernel::avx512)
            runBandLanesAvx512 (lanes, left, right, n, H);
        else
            runBandLanesAvx (lanes, left, right, n, H);
        for (int b = 0; b < count; ++b)
            for (int ch = 0; ch < channels; ++ch)
                for (int k = 0; k < 4; ++k)
                    filters[b].state[ch][k] = lanes.state[k][H * ch + b / laneWidth][b % laneWidth];
        return;
    }
#endif
    (void) kernel;
    for (int b = 0; b < count; b += 2)
    {
        if (b + 1 < count)
            BiQuadBandpassVector::filterTwoBlocks (filters[b], filters[b + 1], left, right, outs[2 * b], outs[2 * b + 1],
                                                   outs[2 * b + 2], outs[2 * b + 3], n);
        else
            filters[b].filterBlock (left, right, outs[2 * b], outs[2 * b + 1], n);
    }
}

// ---------------------------------------------------------------------------------------------
// MultiFrequencyAnalysis

namespace
{
constexpr float silentLevel = -70.0f;

template <int N>
std::unique_ptr<LUFSProcessor<N>> makeBandProcessor (double sampleRate, unsigned measures)
{
    auto p = std::make_unique<LUFSProcessor<N>>();
    p->sampleRate = (double) (float) sampleRate;
    p->startCount = 0;
    p->prepare (measures);
    return p;
}
} // namespace

MultiFrequencyAnalysis::MultiFrequencyAnalysis() = default;
MultiFrequencyAnalysis::~MultiFrequencyAnalysis() = default;

void MultiFrequencyAnalysis::prepareBands (double sampleRate)
{
    for (int b = 0; b < numBands; ++b)
    {
        auto& filter = filters[(size_t) b];
        filter.calculateCoefficients (sampleRate, (double) bandCentres[b], 1.0f);
        filter.initialiseState();

        // Only the first stereo processor doubles as the short-term meter of the first pass.
        using Stereo = LUFSProcessor<180000>;
        const unsigned bandMeasures = Stereo::integratedMeasure | (b == 0 ? Stereo::shortTermMeasure : 0u);
        auto stereo = makeBandProcessor<180000> (sampleRate, bandMeasures);
        auto mid = makeBandProcessor<3000> (sampleRate, Stereo::integratedMeasure);
        auto side = makeBandProcessor<3000> (sampleRate, Stereo::integratedMeasure);
        stereoTyped[(size_t) b] = stereo.get();
        midTyped[(size_t) b] = mid.get();
        sideTyped[(size_t) b] = side.get();
        stereoProcessors[(size_t) b] = std::move (stereo);
        midProcessors[(size_t) b] = std::move (mid);
        sideProcessors[(size_t) b] = std::move (side);
    }

    leftBand.resize ((size_t) blockSize);
    rightBand.resize ((size_t) blockSize);
    bandScratch.resize ((size_t) (2 * numBands * scratchStride));

    resetBands();
}

void MultiFrequencyAnalysis::resetBands()
{
    blockLevels.clear();

    if (auto* meter = stereoTyped[0])
        meter->resetShortTermWindow();

    for (auto& filter : filters)
        filter.clearState();

    for (int b = 0; b < numBands; ++b)
    {
        if (auto* p = stereoTyped[(size_t) b])
            p->resetMeasure (true, silentLevel);
        if (auto* p = midTyped[(size_t) b])
            p->resetMeasure (true, silentLevel);
        if (auto* p = sideTyped[(size_t) b])
            p->resetMeasure (true, silentLevel);
    }
}

void MultiFrequencyAnalysis::meterBlock (const float* left, const float* right, int n)
{
    auto* meter = stereoTyped[0];
    if (n <= 0 || meter == nullptr)
    {
        blockLevels.push_back (silentLevel);
        return;
    }

    using Meter = LUFSProcessor<180000>;
    const float level = right != nullptr
                            ? meter->shortTermRun (n, [=] (int i) { return meter->Meter::plainPower (left[i], right[i]); })
                            : meter->shortTermRun (n, [=] (int i) { return left[i] * left[i]; });
    blockLevels.push_back (level);
}

void MultiFrequencyAnalysis::meterBlocks (const float* left, const float* right, const int* sizes, int count)
{
    auto* meter = stereoTyped[0];
    for (int k = 0; k < count;)
    {
        // Blocks taken together: none empty, and all within one window's length, so that no
        // place of the window is written twice among them.
        int end = k, total = 0;
        while (meter != nullptr && end < count && end - k < meterAhead && sizes[end] > 0
               && total + sizes[end] <= meter->shortTermLength)
            total += sizes[end++];
        if (end == k)
        {
            meterBlock (left, right, sizes[k]);
            const int n = std::max (sizes[k], 0);
            left += n;
            right = right != nullptr ? right + n : nullptr;
            ++k;
            continue;
        }

        meterPowers.resize ((size_t) total);
        for (int i = 0; i < total; ++i)
            meterPowers[(size_t) i] = right != nullptr ? meter->plainPower (left[i], right[i]) : left[i] * left[i];

        // Only the last renewal of each block is read (meterBlock's runs skip the others).
        int counter = meter->shortTermCount;
        int at[meterAhead], lastOf[meterAhead];
        int renewals = 0;
        for (int b = k, start = 0; b < end; start += sizes[b++])
        {
            lastOf[b - k] = meter->lastRenewal (sizes[b], counter);
            if (lastOf[b - k] >= 0)
                at[renewals++] = start + lastOf[b - k];
        }
        float sums[meterAhead];
        meter->shortTermSumsAt (meterPowers.data(), at, renewals, sums);

        for (int b = k, start = 0, next = 0; b < end; start += sizes[b++])
        {
            const float* p = meterPowers.data() + start;
            auto powerOf = [p] (int i) { return p[i]; };
            blockLevels.push_back (lastOf[b - k] >= 0 ? meter->shortTermRunSummed (sizes[b], powerOf, sums[next++])
                                                      : meter->shortTermRun (sizes[b], powerOf));
        }
        left += total;
        right = right != nullptr ? right + total : nullptr;
        k = end;
    }
}

void MultiFrequencyAnalysis::analyseBlock (const float* left, const float* right, int n)
{
    analyseBlockBands (left, right, n, 0, numBands);
}

void MultiFrequencyAnalysis::analyseBlockBands (const float* left, const float* right, int n, int firstBand,
                                                int lastBand)
{
    if (n <= 0 || stereoTyped[0] == nullptr)
    {
        std::fill (stereoBands.begin() + firstBand, stereoBands.begin() + lastBand, silentLevel);
        std::fill (midBands.begin() + firstBand, midBands.begin() + lastBand, silentLevel);
        std::fill (sideBands.begin() + firstBand, sideBands.begin() + lastBand, silentLevel);
        return;
    }

    // The block is taken in pieces small enough for the 28 filtered signals to stay in the
    // cache, which carries filter and processor state on just the same.
    for (int start = 0; start < n; start += chunkFrames)
        analyseChunk (left + start, right != nullptr ? right + start : nullptr, std::min (chunkFrames, n - start),
                      start % blockSize, firstBand, lastBand);
}

void MultiFrequencyAnalysis::analyseChunk (const float* left, const float* right, int n, int offset, int firstBand,
                                           int lastBand)
{
    const bool stereo = right != nullptr;
    constexpr int stride = scratchStride;

    // Every band's filter runs through the whole piece first, on its own delay lines. Each
    // band has its own place in the scratch, so that two ranges of bands can run at once.
    auto bandLeft = [this] (int b) { return bandScratch.data() + (size_t) (2 * b * stride); };
    auto bandRight = [this] (int b) { return bandScratch.data() + (size_t) ((2 * b + 1) * stride); };
    float* outs[2 * numBands];
    for (int b = firstBand; b < lastBand; ++b)
        outs[2 * (b - firstBand)] = bandLeft (b), outs[2 * (b - firstBand) + 1] = bandRight (b);
    filterBands (filters.data() + firstBand, lastBand - firstBand, left, right, outs, n, bandKernel);
    if (lastBand == numBands)
    {
        std::copy (bandLeft (numBands - 1), bandLeft (numBands - 1) + n, leftBand.begin() + offset);
        if (stereo)
            std::copy (bandRight (numBands - 1), bandRight (numBands - 1) + n, rightBand.begin() + offset);
    }

    // The power each processor is fed on frame k of the block: plain stereo, mid (the plain
    // sum) and side (the plain difference); mono feeds mid and side nothing.
    auto stereoPower = [&] (int b, int k)
    {
        const float l = bandLeft (b)[k];
        if (! stereo)
            return l * l;
        const float r = bandRight (b)[k];
        return l * l + r * r;
    };
    auto midPower = [&] (int b, int k)
    {
        if (! stereo)
            return 0.0f;
        const float sum = bandLeft (b)[k] + bandRight (b)[k];
        return sum * sum;
    };
    auto sidePower = [&] (int b, int k)
    {
        if (! stereo)
            return 0.0f;
        const float difference = bandLeft (b)[k] - bandRight (b)[k];
        return difference * difference;
    };

    // The 42 processors are stepped side by side: between the frames on which one of them
    // forms a block or gates, each takes its powers in one run; on such a frame the block
    // sums of all that form one are added together. Each processor sees exactly the steps
    // of being fed frame by frame.
    constexpr int count = 3 * numBands;
    int done = 0;
    while (done < n)
    {
        int run = n - done;
        for (int b = firstBand; b < lastBand; ++b)
        {
            run = std::min (run, stereoTyped[(size_t) b]->integratedStepsWithoutEvent());
            run = std::min (run, midTyped[(size_t) b]->integratedStepsWithoutEvent());
            run = std::min (run, sideTyped[(size_t) b]->integratedStepsWithoutEvent());
        }
        if (run > 0)
        {
            const int from = done;
            for (int b = firstBand; b < lastBand; ++b)
            {
                // The powers written out per layout, so that each fill is one plain loop the
                // compiler can run in vectors (the same operations on every element).
                const float* l = bandLeft (b) + from;
                const float* r = bandRight (b) + from;
                if (stereo)
                {
                    stereoTyped[(size_t) b]->integratedFill (run, [l, r] (int k) { return l[k] * l[k] + r[k] * r[k]; });
                    midTyped[(size_t) b]->integratedFill (run, [l, r] (int k) { return (l[k] + r[k]) * (l[k] + r[k]); });
                    sideTyped[(size_t) b]->integratedFill (run, [l, r] (int k) { return (l[k] - r[k]) * (l[k] - r[k]); });
                }
                else
                {
                    stereoTyped[(size_t) b]->integratedFill (run, [l] (int k) { return l[k] * l[k]; });
                    midTyped[(size_t) b]->integratedFill (run, [] (int) { return 0.0f; });
                    sideTyped[(size_t) b]->integratedFill (run, [] (int) { return 0.0f; });
                }
            }
            done += run;
            continue;
        }

        // Frame `done` is an event for at least one processor; the others take it plainly.
        const float* rings[count];
        RingPrefix* prefixes[count];
        float sums[count] {};
        int blocks = 0;
        int marks[count];
        bool due[count] {};
        auto begin = [&] (auto* p, int q, float power)
        {
            if (p->integratedStepsWithoutEvent() > 0)
            {
                p->integratedFill (1, [power] (int) { return power; });
                return;
            }
            due[q] = true;
            if (p->beginIntegratedEvent (power))
            {
                marks[blocks] = p->blockWrite + 1;
                prefixes[blocks] = &p->blockPrefix;
                rings[blocks++] = p->blockRing.get();
            }
        };
        for (int b = firstBand; b < lastBand; ++b)
        {
            begin (stereoTyped[(size_t) b], b, stereoPower (b, done));
            begin (midTyped[(size_t) b], numBands + b, midPower (b, done));
            begin (sideTyped[(size_t) b], 2 * numBands + b, sidePower (b, done));
        }
        sumRingsFromSideBySide (rings, prefixes, marks, blocks, stereoTyped[0]->blockLength, sums);
        int next = 0;
        auto finish = [&] (auto* p, int q)
        {
            if (! due[q])
                return;
            const bool formsBlock = p->blockCount == p->blockHop + p->startCount;
            p->finishIntegratedEvent (formsBlock ? sums[next++] : 0.0f);
        };
        for (int b = firstBand; b < lastBand; ++b)
        {
            finish (stereoTyped[(size_t) b], b);
            finish (midTyped[(size_t) b], numBands + b);
            finish (sideTyped[(size_t) b], 2 * numBands + b);
        }
        ++done;
    }

    for (int b = firstBand; b < lastBand; ++b)
    {
        stereoBands[(size_t) b] = stereoTyped[(size_t) b]->integratedValue;
        midBands[(size_t) b] = midTyped[(size_t) b]->integratedValue;
        sideBands[(size_t) b] = sideTyped[(size_t) b]->integratedValue;
    }
}

// ---------------------------------------------------------------------------------------------

std::vector<int> chooseLoudBlocks (const std::vector<float>& blockLevels)
{
    std::vector<int> chosen;
    if (blockLevels.empty())
        return chosen;

    float loudest = blockLevels.front();
    for (float level : blockLevels)
        if (level > loudest)
            loudest = level;

    for (size_t j = 0; j < blockLevels.size(); ++j)
        if (loudest - blockLevels[j] < MultiFrequencyAnalysis::bandGate)
            chosen.push_back ((int) j);
    return chosen;
}
