#pragma once

#include "analysis/AllReadings.h"
#include "targets/ThresholdPresets.h"

class Track;

// The out-of-range tests a track's readings are judged by. They write the running extremes
// (maxShortTermLUFS, maxSamplePeakDb, maxTruePeakDb, minDynamicRange) and OR into the sticky
// flags of the readings; nothing here ever clears a flag.
namespace problemscan
{
// Stereo and dynamics faults count only when this many values in a row are out (~0.7 s).
constexpr int windowLength = 30;

// Which readings the heat map judges.
enum HeatMapCategory
{
    allReadings = 0,
    peakAndTruePeak = 1,
    peakOnly = 2,
    truePeakOnly = 3,
    loudness = 4,
    shortTermOnly = 5,
    integratedOnly = 6,
    stereo = 7,
    balanceOnly = 8,
    correlationOnly = 9,
    dynamics = 10,
    dynamicRangeOnly = 11,
    loudnessRangeOnly = 12
};

// [first, last): too loud only. Raises maxShortTermLUFS; ORs into shortTermOutOfRange.
bool checkShortTerm (int first, int last, float threshold, float range, AllReadings& readings);

// [first, last), gated by the whole-file integrated reading. Sets no flag.
bool checkIntegrated (int first, int last, float threshold, float range, const AllReadings& readings);

// Window tests over [first, last] (both inclusive). Balance and correlation are never out on a
// one-channel track.
bool checkBalance (int numChannels, int first, int last, float threshold, AllReadings& readings);
bool checkCorrelation (int numChannels, int first, int last, float threshold, AllReadings& readings);
bool checkDynamicRange (int first, int last, float threshold, AllReadings& readings);

// [first, last) of loudnessRangePoints, gated by the overall loudness range. ORs into
// loudnessRangeOutOfRange.
bool checkLoudnessRange (int first, int last, float threshold, AllReadings& readings);

// The stretch of a series that display column x stands for, for one column ratio.
struct Stretch
{
    int start = 0;
    int end = 0;
};
Stretch columnStretch (float ratio, int x, int seriesLength);

// One column of the track's waveform under the track's heatMapCategory, using the ratios of
// the last scanForProblems.
bool isOutOfRange (Track& track, const ThresholdPreset& preset, int x, AllReadings& readings);

// Sets the three column ratios for this width and the track's hasProblems, judging every
// column of the first marked region (or of the whole width) with all readings.
void scanForProblems (Track& track, const ThresholdPreset& preset, int width);

// The whole-track tests run when a strip is brought up to date with a preset: balance and
// correlation (stereo only), dynamic range and loudness range, on currentReadings. Does nothing
// before the analysis has finished.
void runWholeTrackTests (Track& track, const ThresholdPreset& preset);
} // namespace problemscan
