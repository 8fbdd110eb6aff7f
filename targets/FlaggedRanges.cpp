#include "targets/FlaggedRanges.h"

#include "analysis/Track.h"
#include "targets/WaveformImage.h"

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
// Points the track at a copy of its current readings for as long as it lives, so that the tests
// leave the sticky flags and running extremes of the real ones as the scan left them.
class ScratchReadings
{
public:
    ScratchReadings (Track& t, int category)
        : track (t), copy (*t.currentReadings), saved (t.currentReadings), savedCategory (t.heatMapCategory)
    {
        track.currentReadings = &copy;
        track.heatMapCategory = category;
    }
    ~ScratchReadings()
    {
        track.currentReadings = saved;
        track.heatMapCategory = savedCategory;
    }
    AllReadings& readings() { return copy; }

private:
    Track& track;
    AllReadings copy;
    AllReadings* saved;
    int savedCategory;
};

// The frame at which step k begins: steps lie on the grid of stepLength while a whole step
// remains, and after that every frame of the last stepLength - 1 makes one.
double stepFrame (const Track& track, int k)
{
    const int length = juce::jmax (1, track.stepLength);
    if (k < track.numSamples / length)
        return (double) k * length;
    return (double) juce::jmax (0, track.numSamples - (track.stepCount - k));
}

// The frame at which value k of a series of n values per file begins.
double pointFrame (const Track& track, int k, int n) { return n > 0 ? (double) k / n * track.numSamples : 0.0; }

// One value of a bucket-rate series judged on its own by the test its columns use. Each of these
// tests flags a stretch when any one value in it is out, so the values that make a run red are
// exactly the ones that are out alone.
bool valueOut (int category, const ThresholdPreset& p, int i, AllReadings& r)
{
    auto above = [i] (const std::vector<float>& series, float limit)
    { return i < (int) series.size() && series[(size_t) i] > limit; };
    switch (category)
    {
        case integratedOnly:    return checkIntegrated (i, i + 1, p.integratedLUFS, p.integratedLUFSRange, r);
        case shortTermOnly:     return checkShortTerm (i, i + 1, p.shortTermLUFS, p.shortTermLUFSRange, r);
        case truePeakOnly:      return above (r.truePeakPoints, p.truePeak + p.truePeakRange);
        case peakOnly:          return above (r.samplePeakPoints, p.peak + p.truePeakRange);
        case loudnessRangeOnly: return checkLoudnessRange (i, i + 1, p.loudnessRange, r);
        default:                return false;
    }
}

std::vector<TimeRange> toTimeRanges (const std::vector<ColumnRun>& runs, const Track& track,
                                     const ThresholdPreset& preset, int width, const ReadingKind& kind,
                                     AllReadings& scratch)
{
    std::vector<TimeRange> ranges;
    if (track.sampleRate <= 0.0 || width <= 0)
        return ranges;

    const auto rate = kind.rate;
    const int n = rate == SeriesRate::points  ? (int) scratch.samplePeakPoints.size()
                  : rate == SeriesRate::steps ? (int) scratch.dynamicRangeSteps.size()
                                              : (int) scratch.loudnessRangePoints.size();
    const float ratio = rate == SeriesRate::points  ? track.pointsPerPixel
                        : rate == SeriesRate::steps ? track.stepsPerPixel
                                                    : track.rangePointsPerPixel;
    const int firstColumn = waveformimage::judgedRange (track, width).start;

    for (const auto& run : runs)
    {
        const auto first = columnStretch (ratio, run.first - firstColumn, n);
        const auto last = columnStretch (ratio, run.last - firstColumn, n);
        double from = 0.0, to = 0.0;
        if (rate == SeriesRate::steps)
        {
            // A window that trips at step i holds the 30 steps before it, up to i - 1.
            from = stepFrame (track, juce::jmax (0, first.start - windowLength));
            to = last.end < n ? stepFrame (track, last.end) : (double) track.numSamples;
        }
        else
        {
            // A column looks at the values from start up to but excluding end, or at start alone;
            // neighbouring columns share one. The run stands for the out values among them.
            int lo = first.start, hi = juce::jmax (last.start + 1, last.end);
            while (lo < hi - 1 && ! valueOut (kind.category, preset, lo, scratch))
                ++lo;
            while (hi - 1 > lo && ! valueOut (kind.category, preset, hi - 1, scratch))
                --hi;
            from = pointFrame (track, lo, n);
            to = pointFrame (track, hi, n);
        }
        ranges.push_back ({ from / track.sampleRate, juce::jmax (from, to) / track.sampleRate });
    }
    return ranges;
}
} // namespace

std::vector<ColumnRun> flaggedColumns (Track& track, const ThresholdPreset& preset, int width, int category)
{
    std::vector<ColumnRun> runs;
    if (width <= 0 || track.currentReadings == nullptr)
        return runs;

    ScratchReadings scratch (track, category);
    const auto range = waveformimage::judgedRange (track, width);
    for (int x = 0; x < width; ++x)
    {
        if (waveformimage::columnColour (track, preset, x, range) != waveformimage::flaggedColour)
            continue;
        if (! runs.empty() && runs.back().last == x - 1)
            runs.back().last = x;
        else
            runs.push_back ({ x, x });
    }
    return runs;
}

double columnSeconds (const Track& track, int width)
{
    if (width <= 0 || track.sampleRate <= 0.0)
        return 0.0;
    return (double) track.numSamples / track.sampleRate / width;
}

std::vector<FlaggedKind> flaggedByKind (Track& track, const ThresholdPreset& preset, int width)
{
    std::vector<FlaggedKind> result;
    for (const auto& kind : singleReadingKinds)
    {
        auto columns = flaggedColumns (track, preset, width, kind.category);
        std::vector<TimeRange> times;
        if (track.currentReadings != nullptr)
        {
            AllReadings scratch = *track.currentReadings;
            times = toTimeRanges (columns, track, preset, width, kind, scratch);
        }
        result.push_back ({ kind, std::move (columns), std::move (times) });
    }
    return result;
}
} // namespace problemscan
