#pragma once

#include "targets/EQCurve.h"

#include <juce_graphics/juce_graphics.h>

#include <vector>

// Draws the EQ plot into any juce::Graphics: the window's plot paints through it, and so can a
// program with no window that writes the same picture to an image file. Needs juce_graphics
// only; the caller chooses the font of the labels.
namespace eqpicture
{
// The dB scale: 2 * dbRange + 1 lines across the width; the centre one solid, the others
// dashed 1 on, 3 off.
void drawScale (juce::Graphics& g, int width, int height, int dbRange);
juce::Image makeScaleImage (int width, int height, int dbRange);

// The path of one curve: from the left edge, one point every 4 pixels, and back to the centre
// line at the right edge.
juce::Path curvePath (const std::vector<float>& values, int width, int height, int dbRange);
void strokeCurve (juce::Graphics& g, const juce::Path& path, juce::Colour colour);

// The two 1-pixel lines at the plot's left and right edges.
void drawEdges (juce::Graphics& g, int width, int height);

// A whole plot without a window: the scale, the frequency labels along the bottom, the
// "0 dB" mark at the left of the centre line, and one curve per entry drawn against a preset
// (the centre line) in its colour, in an area of the given size.
struct Curve
{
    EQPreset::Bands differences {};
    juce::Colour colour;
};

void drawPlot (juce::Graphics& g, juce::Rectangle<int> area, const std::vector<Curve>& curves, int dbRange,
               const juce::Font& labelFont);

// The margin drawPlot keeps left of the plot for the "0 dB" mark.
constexpr int plotLeftMargin = 38;
} // namespace eqpicture
