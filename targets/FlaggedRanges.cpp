#include "targets/FlaggedRanges.h"

#include "analysis/Track.h"

namespace problemscan
{
const std::array<ReadingKind, 8> singleReadingKinds { {
    { integratedOnly, "Integrated LUFS", "integrated", SeriesRate::points },
    { shortTermOnly, "Short Term LUFS", "shortTerm", SeriesRate::points },
    { truePeakOnly, "True Peak", "truePeak", SeriesRate::points },
    { peakOnly, "Peak", "samplePeak", SeriesRate::points },
    { balanceOnly, "Balance", "balance", SeriesRate::steps },
    { correlationOnly, "Correlation", "correlation", SeriesRate::steps },
    { dynamicRangeOnly, "Dynamic Range", "dynamicRange", SeriesRate::steps },
    { loudnessRangeOnly, "Loudness Range", "loudnessRange", SeriesRate::rangePoints },
} };

namespace
{
// The judged range of the image: the first region's columns, its end included, or the whole width.
ColumnRun judgedColumns (const Track& track, int width)
{
    if (track.loops.empty())
        return { 0, width - 1 };
    return { juce::jmax (0, track.loops.front().startPixel), juce::jmin (width - 1, track.loops.front().endPixel) };
}
} // namespace

std::vector<ColumnRun> flaggedColumns (Track& track, const ThresholdPreset& preset, int width, int category)
{
    std::vector<ColumnRun> runs;
    if (width <= 0 || track.isReference || ! track.hasProblems || track.currentReadings == nullptr)
        return runs;

    const auto judged = judgedColumns (track, width);

    AllReadings readings = *track.currentReadings;
    const int savedCategory = track.heatMapCategory;
    track.heatMapCategory = category;

    for (int x = judged.first; x <= judged.last; ++x)
    {
        if (! isOutOfRange (track, preset, x - judged.first, readings))
            continue;
        if (! runs.empty() && runs.back().last == x - 1)
            runs.back().last = x;
        else
            runs.push_back ({ x, x });
    }

    track.heatMapCategory = savedCategory;
    return runs;
}

double columnSeconds (const Track& track, int width)
{
    if (width <= 0 || track.sampleRate <= 0.0)
        return 0.0;
    return (double) track.numSamples / track.sampleRate / width;
}

namespace
{
// The frame at which step k begins: steps lie on the grid of stepLength while a whole step
// remains, and after that every frame of the last stepLength - 1 makes one.
double stepFrame (const Track& track, int k)
{
    const int length = juce::jmax (1, track.stepLength);
    const int onGrid = track.numSamples / length;
    if (k < onGrid)
        return (double) k * length;
    return (double) juce::jmax (0, track.numSamples - (track.stepCount - k));
}

// The frame at which value k of a series of n values per file begins.
double pointFrame (const Track& track, int k, int n)
{
    return n > 0 ? (double) k / n * track.numSamples : 0.0;
}
} // namespace

std::vector<TimeRange> toTimeRanges (const std::vector<ColumnRun>& runs, const Track& track, int width,
                                     SeriesRate rate)
{
    std::vector<TimeRange> ranges;
    if (track.sampleRate <= 0.0 || width <= 0)
        return ranges;

    const auto& r = *track.currentReadings;
    const int n = rate == SeriesRate::points ? (int) r.samplePeakPoints.size()
                  : rate == SeriesRate::steps ? (int) r.dynamicRangeSteps.size()
                                              : (int) r.loudnessRangePoints.size();
    const float ratio = rate == SeriesRate::points ? track.pointsPerPixel
                        : rate == SeriesRate::steps ? track.stepsPerPixel
                                                    : track.rangePointsPerPixel;
    const auto judged = judgedColumns (track, width);
    auto stretch = [&] (int column) { return columnStretch (ratio, column - judged.first, n); };

    for (const auto& run : runs)
    {
        const auto first = stretch (run.first);
        const auto last = stretch (run.last);
        double from = 0.0, to = 0.0;
        if (rate == SeriesRate::steps)
        {
            // A window that trips at step i holds the 30 steps before it, up to i - 1.
            from = stepFrame (track, juce::jmax (0, first.start - windowLength));
            to = last.end < n ? stepFrame (track, last.end) : (double) track.numSamples;
        }
        else
        {
            // A column looks at the values from start up to but excluding end, or at start alone,
            // and neighbouring columns share a value. The out values of a run's first column are
            // none that the clean column before it looked at, and likewise at its end.
            auto lookedAt = [] (Stretch s) { return Stretch { s.start, juce::jmax (s.start + 1, s.end) }; };
            int lo = lookedAt (first).start, hi = lookedAt (last).end;
            if (run.first > judged.first)
                lo = juce::jmax (lo, lookedAt (stretch (run.first - 1)).end);
            if (run.last < judged.last)
                hi = juce::jmin (hi, lookedAt (stretch (run.last + 1)).start);
            if (hi <= lo)
            {
                lo = lookedAt (first).start;
                hi = lookedAt (last).end;
            }
            from = pointFrame (track, lo, n);
            to = pointFrame (track, hi, n);
        }
        ranges.push_back ({ from / track.sampleRate, juce::jmax (from, to) / track.sampleRate });
    }
    return ranges;
}

std::vector<FlaggedKind> flaggedByKind (Track& track, const ThresholdPreset& preset, int width)
{
    std::vector<FlaggedKind> result;
    for (const auto& kind : singleReadingKinds)
    {
        auto columns = flaggedColumns (track, preset, width, kind.category);
        auto times = toTimeRanges (columns, track, width, kind.rate);
        result.push_back ({ kind, std::move (columns), std::move (times) });
    }
    return result;
}
} // namespace problemscan
