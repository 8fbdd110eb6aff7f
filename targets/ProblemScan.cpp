#include "targets/ProblemScan.h"

#include "analysis/Track.h"

#include <cmath>
#include <cstdlib>

namespace problemscan
{
namespace
{
int lengthOf (const std::vector<float>& series)
{
    return (int) series.size();
}

// The value a stretch [first, last) yields: its largest (or smallest) value, the earliest on a
// tie; an empty stretch yields the value at first. False when there is no such value.
template <typename Better>
bool pickValue (const std::vector<float>& series, int first, int last, Better better, float& result)
{
    const int n = lengthOf (series);
    if (first < 0 || first >= n)
        return false;

    result = series[(size_t) first];
    const int end = juce::jmin (last, n);

    for (int i = first + 1; i < end; ++i)
        if (better (series[(size_t) i], result))
            result = series[(size_t) i];

    return true;
}

bool pickMaximum (const std::vector<float>& series, int first, int last, float& result)
{
    return pickValue (series, first, last, [] (float a, float b) { return a > b; }, result);
}

bool pickMinimum (const std::vector<float>& series, int first, int last, float& result)
{
    return pickValue (series, first, last, [] (float a, float b) { return a < b; }, result);
}

// Each index i of [first, last] looks at the window of up to 30 values just before it; the
// result is whether the last window counted was all out.
template <typename Condition>
bool windowTest (const std::vector<float>& series, int first, int last, Condition isOut)
{
    if (first > last)
        return false;

    const int n = lengthOf (series);
    int count = 0;

    for (int i = first; i <= last; ++i)
    {
        const int windowStart = juce::jmax (i - windowLength, 0);
        const int windowEnd = juce::jmin (i, n);
        count = 0;

        if (windowStart >= windowEnd)
            continue;

        for (int j = windowStart; j < windowEnd; ++j)
            if (isOut (series[(size_t) j]))
                ++count;

        if (count == windowLength)
            break;
    }

    return count == windowLength;
}

bool checkPeakSeries (const std::vector<float>& series, Stretch s, float limit, float& runningMaximum)
{
    float value = 0.0f;
    if (! pickMaximum (series, s.start, s.end, value))
        return false;

    if (value > runningMaximum)
        runningMaximum = value;

    return value > limit;
}
} // namespace

bool checkShortTerm (int first, int last, float threshold, float range, AllReadings& readings)
{
    float value = 0.0f;
    if (! pickMaximum (readings.shortTermPoints, first, last, value))
        return false;

    if (value > readings.maxShortTermLUFS)
        readings.maxShortTermLUFS = value;

    // Silence reads as minus infinity and is never too loud.
    if (std::isinf (value))
        return false;

    const bool out = range != 0.0f ? value > threshold + range : value > threshold;
    readings.shortTermOutOfRange = readings.shortTermOutOfRange || out;
    return out;
}

bool checkIntegrated (int first, int last, float threshold, float range, const AllReadings& readings)
{
    const auto& series = readings.integratedPoints;
    const int end = juce::jmin (last, lengthOf (series));
    const int begin = juce::jmax (first, 0);
    const float overall = readings.integratedLUFS;

    if (range != 0.0f)
    {
        const float low = threshold - range;
        const float high = threshold + range;

        if (overall >= low && overall <= high)
            return false;

        for (int i = begin; i < end; ++i)
            if (series[(size_t) i] < low || series[(size_t) i] > high)
                return true;

        return false;
    }

    // With no tolerance: stretches under the target of a file that is over it.
    if (! (overall > threshold))
        return false;

    for (int i = begin; i < end; ++i)
        if (series[(size_t) i] < threshold)
            return true;

    return false;
}

bool checkBalance (int numChannels, int first, int last, float threshold, AllReadings& readings)
{
    if (numChannels == 1)
        return false;

    const bool out = windowTest (readings.balanceSmoothed, first, last,
                                 [threshold] (float v) { return std::abs (v) > threshold; });
    readings.balanceOutOfRange = readings.balanceOutOfRange || out;
    return out;
}

bool checkCorrelation (int numChannels, int first, int last, float threshold, AllReadings& readings)
{
    if (numChannels == 1)
        return false;

    const bool out = windowTest (readings.correlationSmoothed, first, last,
                                 [threshold] (float v) { return threshold > v; });
    readings.correlationOutOfRange = readings.correlationOutOfRange || out;
    return out;
}

bool checkDynamicRange (int first, int last, float threshold, AllReadings& readings)
{
    float lowest = 0.0f;
    if (pickMinimum (readings.dynamicRangeSteps, first, last, lowest) && lowest < readings.minDynamicRange)
        readings.minDynamicRange = lowest;

    const bool out = windowTest (readings.dynamicRangeSteps, first, last,
                                 [threshold] (float v) { return threshold > std::abs (v); });
    readings.dynamicRangeOutOfRange = readings.dynamicRangeOutOfRange || out;
    return out;
}

bool checkLoudnessRange (int first, int last, float threshold, AllReadings& readings)
{
    // A wide enough range passes, and so does a reading of 0 (too short a file to measure).
    if (readings.loudnessRange > threshold || readings.loudnessRange == 0.0f)
        return false;

    const auto& series = readings.loudnessRangePoints;
    const int end = juce::jmin (last, lengthOf (series));
    bool out = false;

    for (int i = juce::jmax (first, 0); i < end && ! out; ++i)
        out = series[(size_t) i] < threshold;

    readings.loudnessRangeOutOfRange = readings.loudnessRangeOutOfRange || out;
    return out;
}

Stretch columnStretch (float ratio, int x, int seriesLength)
{
    Stretch s;
    s.start = (int) (ratio * (float) x);
    s.end = juce::jmin ((int) std::ceil (ratio * (float) (x + 1)), seriesLength - 1);
    if (s.end < s.start)
        s.end = s.start;
    return s;
}

bool isOutOfRange (Track& track, const ThresholdPreset& preset, int x, AllReadings& readings)
{
    const auto points = columnStretch (track.pointsPerPixel, x, lengthOf (readings.samplePeakPoints));
    const auto steps = columnStretch (track.stepsPerPixel, x, lengthOf (readings.dynamicRangeSteps));
    const auto ranges = columnStretch (track.rangePointsPerPixel, x, lengthOf (readings.loudnessRangePoints));

    auto peak = [&]
    {
        return checkPeakSeries (readings.samplePeakPoints, points, preset.peak + preset.truePeakRange,
                                readings.maxSamplePeakDb);
    };
    auto truePeak = [&]
    {
        return checkPeakSeries (readings.truePeakPoints, points, preset.truePeak + preset.truePeakRange,
                                readings.maxTruePeakDb);
    };
    auto shortTerm = [&]
    { return checkShortTerm (points.start, points.end, preset.shortTermLUFS, preset.shortTermLUFSRange, readings); };
    auto integrated = [&]
    {
        return checkIntegrated (points.start, points.end, preset.integratedLUFS, preset.integratedLUFSRange,
                                readings);
    };
    auto balance = [&]
    { return checkBalance (track.numChannels, steps.start, steps.end, preset.stereoBalance, readings); };
    auto correlation = [&]
    { return checkCorrelation (track.numChannels, steps.start, steps.end, preset.stereoCorrelation, readings); };
    auto dynamicRange = [&]
    { return checkDynamicRange (steps.start, steps.end, preset.dynamicRange, readings); };
    auto loudnessRange = [&]
    { return checkLoudnessRange (ranges.start, ranges.end, preset.loudnessRange, readings); };

    switch (track.heatMapCategory)
    {
        case allReadings:
        {
            // Every test runs, so that all flags and running extremes are kept up.
            const bool results[] = { peak(),    truePeak(),    shortTerm(),    integrated(),
                                     balance(), correlation(), dynamicRange(), loudnessRange() };
            bool any = false;
            for (bool r : results)
                any = any || r;
            return any;
        }
        case peakAndTruePeak:
        {
            const bool p = peak();
            const bool t = truePeak();
            return p || t;
        }
        case peakOnly:          return peak();
        case truePeakOnly:      return truePeak();
        case loudness:          return shortTerm() || integrated();
        case shortTermOnly:     return shortTerm();
        case integratedOnly:    return integrated();
        case stereo:            return balance() || correlation();
        case balanceOnly:       return balance();
        case correlationOnly:   return correlation();
        case dynamics:          return dynamicRange() || loudnessRange();
        case dynamicRangeOnly:  return dynamicRange();
        case loudnessRangeOnly: return loudnessRange();
        default:                return false;
    }
}

void scanForProblems (Track& track, const ThresholdPreset& preset, int width)
{
    const int savedCategory = track.heatMapCategory;
    track.heatMapCategory = allReadings;

    int firstColumn = 0;
    int endColumn = width;
    if (! track.loops.empty())
    {
        firstColumn = track.loops.front().startPixel;
        endColumn = track.loops.front().endPixel;
    }

    if (width > 0)
    {
        const float w = (float) width;
        track.pointsPerPixel = (float) track.waveformPoints.size() / w;
        // The whole track's ratios, also while a span is shown: a span's steps have the file's
        // length, so its columns count from its start at the file's rate. (stepCount holds the
        // last analysis's count, a span's after a span.)
        track.stepsPerPixel = (float) track.wholeFileReadings.dynamicRangeSteps.size() / w;
        track.rangePointsPerPixel = (float) track.wholeFileReadings.loudnessRangePoints.size() / w;
    }
    else
    {
        track.pointsPerPixel = track.stepsPerPixel = track.rangePointsPerPixel = 0.0f;
        endColumn = firstColumn;
    }

    track.hasProblems = false;

    if (! track.isReference)
    {
        auto& readings = *track.currentReadings;
        for (int column = firstColumn; column < endColumn; ++column)
            track.hasProblems = isOutOfRange (track, preset, column - firstColumn, readings) || track.hasProblems;
    }

    track.heatMapCategory = savedCategory;
}

void runWholeTrackTests (Track& track, const ThresholdPreset& preset)
{
    if (! track.analysisComplete)
        return;

    auto& readings = *track.currentReadings;

    if (track.numChannels == 2)
    {
        checkBalance (track.numChannels, 0, lengthOf (readings.balanceSmoothed) - 1, preset.stereoBalance, readings);
        checkCorrelation (track.numChannels, 0, lengthOf (readings.correlationSmoothed) - 1,
                          preset.stereoCorrelation, readings);
    }

    checkDynamicRange (0, lengthOf (readings.dynamicRangeSteps) - 1, preset.dynamicRange, readings);
    checkLoudnessRange (0, lengthOf (readings.loudnessRangePoints) - 1, preset.loudnessRange, readings);
}
} // namespace problemscan
