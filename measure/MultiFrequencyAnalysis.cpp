#include "measure/MultiFrequencyAnalysis.h"

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

void MultiFrequencyAnalysis::analyseBlock (const float* left, const float* right, int n)
{
    if (n <= 0 || stereoTyped[0] == nullptr)
    {
        stereoBands.fill (silentLevel);
        midBands.fill (silentLevel);
        sideBands.fill (silentLevel);
        return;
    }

    // The block is taken in pieces small enough for the 28 filtered signals to stay in the
    // cache, which carries filter and processor state on just the same.
    for (int start = 0; start < n; start += chunkFrames)
        analyseChunk (left + start, right != nullptr ? right + start : nullptr, std::min (chunkFrames, n - start),
                      start % blockSize);
}

void MultiFrequencyAnalysis::analyseChunk (const float* left, const float* right, int n, int offset)
{
    const bool stereo = right != nullptr;
    bandScratch.resize ((size_t) (2 * numBands * chunkFrames));

    // Every band's filter runs through the whole piece first, on its own delay lines.
    auto bandLeft = [this] (int b) { return bandScratch.data() + (size_t) (2 * b) * chunkFrames; };
    auto bandRight = [this] (int b) { return bandScratch.data() + (size_t) (2 * b + 1) * chunkFrames; };
    for (int b = 0; b < numBands; b += 2)
    {
        if (b + 1 < numBands)
            BiQuadBandpassVector::filterTwoBlocks (filters[(size_t) b], filters[(size_t) b + 1], left, right,
                                                   bandLeft (b), bandRight (b), bandLeft (b + 1), bandRight (b + 1), n);
        else
            filters[(size_t) b].filterBlock (left, right, bandLeft (b), bandRight (b), n);
    }
    std::copy (bandLeft (numBands - 1), bandLeft (numBands - 1) + n, leftBand.begin() + offset);
    if (stereo)
        std::copy (bandRight (numBands - 1), bandRight (numBands - 1) + n, rightBand.begin() + offset);

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
        for (int b = 0; b < numBands; ++b)
        {
            run = std::min (run, stereoTyped[(size_t) b]->integratedStepsWithoutEvent());
            run = std::min (run, midTyped[(size_t) b]->integratedStepsWithoutEvent());
            run = std::min (run, sideTyped[(size_t) b]->integratedStepsWithoutEvent());
        }
        if (run > 0)
        {
            const int from = done;
            for (int b = 0; b < numBands; ++b)
            {
                stereoTyped[(size_t) b]->integratedFill (run, [&] (int k) { return stereoPower (b, from + k); });
                midTyped[(size_t) b]->integratedFill (run, [&] (int k) { return midPower (b, from + k); });
                sideTyped[(size_t) b]->integratedFill (run, [&] (int k) { return sidePower (b, from + k); });
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
        for (int b = 0; b < numBands; ++b)
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
        for (int b = 0; b < numBands; ++b)
        {
            finish (stereoTyped[(size_t) b], b);
            finish (midTyped[(size_t) b], numBands + b);
            finish (sideTyped[(size_t) b], 2 * numBands + b);
        }
        ++done;
    }

    for (int b = 0; b < numBands; ++b)
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
