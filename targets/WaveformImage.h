#pragma once

#include "targets/ThresholdPresets.h"

#include <juce_graphics/juce_graphics.h>

class Track;

// The waveform picture of a track with its heat map, drawn from waveformPoints into one image
// of the display's size. Needs no window: the strips paint the image, and the checker can write
// the same picture to a file. Message thread only in the window.
namespace waveformimage
{
constexpr juce::uint32 plainColour = 0xff4c58c8;    // nothing to report, or outside the judged range
constexpr juce::uint32 flaggedColour = 0xfffa4d42;  // a column that isOutOfRange flags
constexpr juce::uint32 dimColour = 0xff43476c;      // judged and clean on a track with problems; a reference

// The columns that are judged: all of them, or those of the first span (later spans don't count).
struct JudgedRange
{
    int start = 0;
    int end = 0;  // inclusive for a span, the width without one
};
JudgedRange judgedRange (const Track& track, int width);

// The colour of column x under the track's heatMapCategory. Needs the ratios and hasProblems of
// scanForProblems at the same width.
juce::uint32 columnColour (Track& track, const ThresholdPreset& preset, int x, JudgedRange range);

// Makes track.waveformImage anew (width by height, one mean level per column centred on the middle
// line) and sets imageReady. Does nothing without waveform points or with an empty size.
void renderWaveformImage (Track& track, const ThresholdPreset& preset, int width, int height);

// scanForProblems, then renderWaveformImage: the heat map for one size, preset and category.
void rebuildHeatMap (Track& track, const ThresholdPreset& preset, int width, int height);
} // namespace waveformimage
