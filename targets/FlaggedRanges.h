#pragma once

#include "targets/ProblemScan.h"

#include <array>
#include <vector>

class Track;

// Where on a track's timeline each reading is out of range: the columns the heat map draws red
// when one readout line is chosen, gathered into runs, and the stretches of audio they stand for.
namespace problemscan
{
// The rate of the series a reading is judged on, which decides how a column maps to time.
enum class SeriesRate
{
    points,      // one value per bucket, judged over [start, end) of a column's stretch
    steps,       // one value per step, judged by windows of 30 steps over [start, end]
    rangePoints, // loudnessRangePoints: one per bucket, judged over [start, end)
};

// A reading kind that names one reading, as a readout line chooses it.
struct ReadingKind
{
    HeatMapCategory category;
    const char* name; // as the readout list names it
    const char* key;  // lower camel case, for machine-readable output
    SeriesRate rate;
};

// The eight single readings, in the order of the readout list: Integrated LUFS, Short Term
// LUFS, True Peak, Peak, Balance, Correlation, Dynamic Range, Loudness Range.
extern const std::array<ReadingKind, 8> singleReadingKinds;

// Columns first to last, both inclusive, counted from the left edge of the waveform.
struct ColumnRun
{
    int first = 0;
    int last = 0;
};

// The runs of columns that the heat map of this width draws red with the track's heat map
// showing the given category, by the very colour rule of the image: none on a reference track
// or one without problems, none outside the first marked region. Needs the ratios and
// hasProblems of scanForProblems at this width. The tests run on a copy of the current
// readings, so the sticky flags and running extremes stay as the scan left them.
std::vector<ColumnRun> flaggedColumns (Track& track, const ThresholdPreset& preset, int width, int category);

struct TimeRange
{
    double start = 0.0; // seconds from the start of the file
    double end = 0.0;
};

// The duration of one column of a waveform this wide, in seconds.
double columnSeconds (const Track& track, int width);

// One reading kind with the columns its heat map draws red and the stretches of audio they
// stand for, in whole-file readings. A stretch is timed by the values the test looked at, not by
// the column's place on the waveform: the steps don't spread evenly over the columns (each of
// the last stepLength - 1 frames makes a step), a window test that trips at a step speaks of
// the 30 steps before it, and of the values a run of columns shares with its clean neighbours
// only those that are out count.
struct FlaggedKind
{
    ReadingKind kind;
    std::vector<ColumnRun> columns;
    std::vector<TimeRange> times;
};

// All eight single reading kinds, in their order, each with what it flags at this width.
std::vector<FlaggedKind> flaggedByKind (Track& track, const ThresholdPreset& preset, int width);
} // namespace problemscan
