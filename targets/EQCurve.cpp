#include "targets/EQCurve.h"

#include "analysis/Track.h"
#include "measure/ModifiedAkimaInterpolation.h"
#include "measure/MultiFrequencyAnalysis.h"

#include <algorithm>

namespace eqcurve
{
const std::vector<double>& knotFrequencies()
{
    static const std::vector<double> knots = []
    {
        std::vector<double> k { 0.0 };
        for (const int centre : MultiFrequencyAnalysis::bandCentres)
            k.push_back ((double) centre);
        k.push_back (20000.0);
        return k;
    }();
    return knots;
}

std::vector<float> makePlotFrequencies (int width)
{
    std::vector<float> frequencies;
    if (width <= 0)
        return frequencies;
    const float division = (float) width / (float) numDivisions;
    for (int p = 0; p < width; p += pixelsPerPoint)
    {
        // The grid sits 2 pixels left of the points, so the first two share 10 Hz.
        const float q = std::trunc (std::max ((float) p - 2.0f, 0.0f));
        frequencies.push_back (20.0f * std::pow (divisionFactor, q / division - 1.0f));
    }
    return frequencies;
}

std::vector<float> curveValues (const EQPreset::Bands& differences, const std::vector<float>& plotFrequencies)
{
    std::vector<double> ordinates;
    ordinates.reserve (numKnots);
    ordinates.push_back (differences.front());
    for (const float d : differences)
        ordinates.push_back (d);
    ordinates.push_back (differences.back());

    std::vector<bws::ModifiedAkimaInterpolation::Cubic> cubics;
    bws::ModifiedAkimaInterpolation (knotFrequencies(), ordinates).computeCubics (cubics);

    const auto& centres = MultiFrequencyAnalysis::bandCentres;
    std::vector<float> values;
    values.reserve (plotFrequencies.size());
    for (const float f : plotFrequencies)
    {
        const auto above = std::find_if (std::begin (centres), std::end (centres), [f] (int c) { return (float) c > f; });
        const auto& c = cubics[(size_t) (above - std::begin (centres))];
        if (std::isnan (c.a) || std::isnan (c.b) || std::isnan (c.c) || std::isnan (c.d))
        {
            values.push_back (0.0f);
            continue;
        }
        const double x = f;
        values.push_back ((float) (c.a * x * x * x + c.b * x * x + c.c * x + c.d));
    }
    return values;
}

const std::vector<float>& trackBands (const Track& track, int modeBit)
{
    if (modeBit == midMode)
        return track.midMultiFrequencyIntegratedLUFS;
    if (modeBit == sideMode)
        return track.sideMultiFrequencyIntegratedLUFS;
    return track.multiFrequencyIntegratedLUFS;
}

const EQPreset::Bands& presetBands (const EQPreset& preset, int modeBit)
{
    if (modeBit == midMode)
        return preset.midMultiFrequencyIntegratedLUFS;
    if (modeBit == sideMode)
        return preset.sideMultiFrequencyIntegratedLUFS;
    return preset.multiFrequencyIntegratedLUFS;
}

std::optional<EQPreset::Bands> curveDifferences (const Track& track, const EQPreset& preset, int modeBit)
{
    const auto& bands = trackBands (track, modeBit);
    if (bands.empty())
        return std::nullopt;
    return eqpresets::eqDifferences (bands, track.wholeFileReadings.integratedLUFS, presetBands (preset, modeBit),
                                     preset.integratedLUFS);
}

float largestEQDifference (const std::vector<const Track*>& tracks, const EQPreset* preset, int eqCurveMode)
{
    float largest = 0.0f;
    if (preset == nullptr)
        return largest;
    for (const auto* track : tracks)
    {
        const float level = track->wholeFileReadings.plainIntegrated;
        if (! std::isfinite (level))
            continue;
        const float d = preset->integratedLUFS - level;
        for (const int bit : modeBits)
        {
            if ((eqCurveMode & bit) == 0)
                continue;
            const auto& bands = trackBands (*track, bit);
            const auto& reference = presetBands (*preset, bit);
            for (size_t i = 0; i < std::min (bands.size(), reference.size()); ++i)
                largest = std::max (largest, std::abs (bands[i] - reference[i] + d));
        }
    }
    return largest;
}

int nextRange (int dbRange)
{
    return dbRange % largestRange + startRange;
}

int fitRange (float difference)
{
    if (! std::isfinite (difference))
        return largestRange;
    const int r = (int) std::ceil (std::abs (difference) / 5.0f) * 5;
    return std::clamp (r, startRange, largestRange);
}

float valueToY (float value, float height, int dbRange)
{
    const float y = height / 2.0f - value * (height / (2.0f * (float) dbRange));
    return std::clamp (y, 0.0f, height);
}

const std::array<FrequencyLabel, 10>& frequencyLabels()
{
    static const std::array<FrequencyLabel, 10> labels { { { 20, "20" }, { 50, "50" }, { 100, "100" },
                                                          { 200, "200" }, { 500, "500" }, { 1000, "1k" },
                                                          { 2000, "2k" }, { 5000, "5k" }, { 10000, "10k" },
                                                          { 20000, "20k" } } };
    return labels;
}

int frequencyLabelX (int labelIndex, int width)
{
    // The last label would stand half outside the plot: it is kept inside.
    if (labelIndex == (int) frequencyLabels().size() - 1)
        return width - 28;
    const double v = frequencyLabels()[(size_t) labelIndex].value;
    const double division = (double) width / numDivisions;
    return (int) std::trunc ((std::log (v / 20.0) / std::log ((double) divisionFactor) + 1.0) * division) - 20;
}

float dbAtY (float y, float height, int dbRange)
{
    return (float) dbRange - 2.0f * (y / height) * (float) dbRange;
}

int frequencyAtX (float x, float width)
{
    const float f = 20.0f * std::pow (divisionFactor, x / (width / (float) numDivisions) - 1.0f);
    return std::min (20000, (int) std::trunc (f));
}

juce::uint32 curveColour (int trackIndex, bool maxContrast)
{
    static constexpr juce::uint32 contrasting[7] { 0xff4c58c8, 0xff4cc7c8, 0xff4cc84d, 0xffbdc84c,
                                                   0xffc84c59, 0xffa44bbb, 0xff8f8f8f };
    static constexpr juce::uint32 blues[7] { 0xff868eda, 0xff737cd4, 0xff5f6ace, 0xff4c58c8,
                                             0xff3b48bf, 0xff3540ac, 0xff2f3998 };
    const int i = ((trackIndex % 7) + 7) % 7;
    return maxContrast ? contrasting[i] : blues[i];
}
} // namespace eqcurve
