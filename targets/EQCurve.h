#pragma once

#include "targets/EQPresets.h"

#include <juce_core/juce_core.h>

#include <array>
#include <cmath>
#include <optional>
#include <vector>

class Track;

// The numbers of the EQ plot without any drawing: its frequency axis, the curve of one track
// against a preset, the dB scale and its automatic range, and the curve colours. The window's
// plot and the checker's pictures both read them from here. Plain functions, any thread.
namespace eqcurve
{
// The plot's 11 equal divisions each span a factor of 1000^0.1; the left edge of the second
// lies at 20 Hz, so the plot runs from about 10 Hz to 20000 Hz.
constexpr int numDivisions = 11;
inline const float divisionFactor = (float) std::pow (1000.0, 0.1);
constexpr int pixelsPerPoint = 4;

// The 16 knots: 0 Hz, the 14 band centres, then 20000 Hz.
constexpr int numKnots = EQPreset::numBands + 2;
const std::vector<double>& knotFrequencies();

// The curve modes: one bit each for the stereo, mid and side lists.
constexpr int stereoMode = 1;
constexpr int midMode = 2;
constexpr int sideMode = 4;
constexpr std::array<int, 3> modeBits { stereoMode, midMode, sideMode };

// One frequency for every 4 pixels of a plot of this width.
std::vector<float> makePlotFrequencies (int width);

// The curve through 14 band differences: held flat from the 20 Hz band to 0 Hz and from the
// 18000 Hz band to 20000 Hz, interpolated by the modified Akima rule, and evaluated at each
// plot frequency. A cubic that isn't a number gives 0 at that point.
std::vector<float> curveValues (const EQPreset::Bands& differences, const std::vector<float>& plotFrequencies);

// The band list of a track or a preset that a mode bit picks.
const std::vector<float>& trackBands (const Track& track, int modeBit);
const EQPreset::Bands& presetBands (const EQPreset& preset, int modeBit);

// The differences a curve is drawn from: each band of the track less the preset's, plus the
// preset's integrated loudness less the track's. Empty when the track has no band values.
std::optional<EQPreset::Bands> curveDifferences (const Track& track, const EQPreset& preset, int modeBit);

// The largest magnitude of track band - preset band + d over every track and every band of the
// lists the mode selects, where d levels with the track's unweighted loudness. 0 without
// tracks or preset; tracks without band values or loudness are passed over.
float largestEQDifference (const std::vector<const Track*>& tracks, const EQPreset* preset, int eqCurveMode);

// The dB scale: dbRange is the distance in dB from the centre line to the edge.
constexpr int startRange = 5;
constexpr int largestRange = 20;
// 5, 10, 15, 20, then 5 again.
int nextRange (int dbRange);
// The range that fits a difference: the next multiple of 5 up, at least 5, at most 20.
int fitRange (float difference);
// A value's y in a plot of this height, clamped to the plot.
float valueToY (float value, float height, int dbRange);

// The ten frequency labels: their values, texts and x in a plot of this width.
struct FrequencyLabel
{
    int value;
    const char* text;
};
const std::array<FrequencyLabel, 10>& frequencyLabels();
int frequencyLabelX (int labelIndex, int width);
constexpr int frequencyLabelWidth = 30;
constexpr int frequencyLabelHeight = 10;

// What the floating labels read at a mouse position over a plot of this size.
float dbAtY (float y, float height, int dbRange);
int frequencyAtX (float x, float width);

// A curve's colour by the track's index in the list.
juce::uint32 curveColour (int trackIndex, bool maxContrast);
constexpr juce::uint8 fadedAlpha = 0x33;

// The colours of the scale and the plot's edges.
constexpr juce::uint32 centreLineColour = 0xff325463;
constexpr juce::uint32 gridLineColour = 0xff424d4e;
constexpr juce::uint32 edgeColour = 0xffe6e7fa;
} // namespace eqcurve
