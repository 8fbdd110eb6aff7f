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
    float level = 0.0f;
    if (right != nullptr)
    {
        for (int i = 0; i < n; ++i)
            level = meter->Meter::shortTermStep (meter->Meter::plainPower (left[i], right[i]));
    }
    else
    {
        for (int i = 0; i < n; ++i)
            level = meter->Meter::shortTermStep (left[i] * left[i]);
    }
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

    // The pipeline never hands over more than one read block; a longer run is taken in pieces,
    // which carries filter and processor state on just the same.
    for (int start = 0; start < n; start += blockSize)
        analyseChunk (left + start, right != nullptr ? right + start : nullptr, std::min (blockSize, n - start));
}

void MultiFrequencyAnalysis::analyseChunk (const float* left, const float* right, int n)
{
    using Stereo = LUFSProcessor<180000>;
    using MidSide = LUFSProcessor<3000>;

    float* l = leftBand.data();
    float* r = rightBand.data();

    for (int b = 0; b < numBands; ++b)
    {
        const auto band = (size_t) b;
        filters[band].filterBlock (left, right, l, r, n);

        // Each processor is independent of the others, so each runs through the whole block in
        // turn; the values are those of feeding the three frame by frame.
        auto* stereo = stereoTyped[band];
        auto* mid = midTyped[band];
        auto* side = sideTyped[band];
        float s = 0.0f, m = 0.0f, d = 0.0f;

        if (right != nullptr)
        {
            for (int i = 0; i < n; ++i)
                s = stereo->Stereo::integratedStep (stereo->Stereo::plainPower (l[i], r[i]));
            for (int i = 0; i < n; ++i)
            {
                const float sum = l[i] + r[i];
                m = mid->MidSide::integratedStep (sum * sum);
            }
            for (int i = 0; i < n; ++i)
            {
                const float difference = l[i] - r[i];
                d = side->MidSide::integratedStep (difference * difference);
            }
        }
        else
        {
            for (int i = 0; i < n; ++i)
                s = stereo->Stereo::integratedStep (l[i] * l[i]);
            for (int i = 0; i < n; ++i)
                m = mid->MidSide::integratedStep (0.0f);
            for (int i = 0; i < n; ++i)
                d = side->MidSide::integratedStep (0.0f);
        }

        stereoBands[band] = s;
        midBands[band] = m;
        sideBands[band] = d;
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
