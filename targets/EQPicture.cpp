#include "targets/EQPicture.h"

namespace eqpicture
{
void drawScale (juce::Graphics& g, int width, int height, int dbRange)
{
    // Whole pixel rows, so that every line is one crisp pixel; the last line, at the bottom
    // edge, is kept on the plot's last row.
    const float spacing = (float) height / (2.0f * (float) dbRange);
    for (int i = 0; i <= 2 * dbRange; ++i)
    {
        const int y = std::min ((int) ((float) i * spacing), height - 1);
        if (i == dbRange)
        {
            g.setColour (juce::Colour (eqcurve::centreLineColour));
            g.fillRect (0, y, width, 1);
            continue;
        }
        g.setColour (juce::Colour (eqcurve::gridLineColour));
        for (int x = 0; x < width; x += 4)
            g.fillRect (x, y, 1, 1);
    }
}

juce::Image makeScaleImage (int width, int height, int dbRange)
{
    juce::Image image (juce::Image::ARGB, std::max (1, width), std::max (1, height), true);
    juce::Graphics g (image);
    drawScale (g, width, height, dbRange);
    return image;
}

juce::Path curvePath (const std::vector<float>& values, int width, int height, int dbRange)
{
    juce::Path path;
    if (values.empty())
        return path;
    const float h = (float) height;
    path.startNewSubPath (0.0f, eqcurve::valueToY (values.front(), h, dbRange));
    float x = 0.0f;
    for (const float v : values)
    {
        x += (float) eqcurve::pixelsPerPoint;
        path.lineTo (x, eqcurve::valueToY (v, h, dbRange));
    }
    // Every curve returns to the centre line at the right edge, however far off it was.
    path.lineTo ((float) width, h / 2.0f);
    return path;
}

void strokeCurve (juce::Graphics& g, const juce::Path& path, juce::Colour colour)
{
    g.setColour (colour);
    g.strokePath (path, juce::PathStrokeType (2.0f));
}

void drawEdges (juce::Graphics& g, int width, int height)
{
    g.setColour (juce::Colour (eqcurve::edgeColour));
    g.fillRect (0, 0, 1, height);
    g.fillRect (width - 1, 0, 1, height);
}

void drawPlot (juce::Graphics& g, juce::Rectangle<int> area, const std::vector<Curve>& curves, int dbRange,
               const juce::Font& labelFont)
{
    const auto plot = area.withTrimmedLeft (plotLeftMargin);
    const int w = plot.getWidth();
    const int h = plot.getHeight();
    if (w <= 0 || h <= 0)
        return;

    g.setColour (juce::Colour (eqcurve::edgeColour));
    g.setFont (labelFont);
    g.drawText ("0 dB", area.getX() + 7, plot.getCentreY() - 10, 28, 20, juce::Justification::centredLeft);

    juce::Graphics::ScopedSaveState state (g);
    g.reduceClipRegion (plot);
    g.setOrigin (plot.getTopLeft());
    drawScale (g, w, h, dbRange);

    const auto frequencies = eqcurve::makePlotFrequencies (w);
    for (const auto& curve : curves)
        strokeCurve (g, curvePath (eqcurve::curveValues (curve.differences, frequencies), w, h, dbRange), curve.colour);
    drawEdges (g, w, h);

    g.setColour (juce::Colour (eqcurve::edgeColour));
    g.setFont (labelFont);
    for (int i = 0; i < (int) eqcurve::frequencyLabels().size(); ++i)
        g.drawText (eqcurve::frequencyLabels()[(size_t) i].text, eqcurve::frequencyLabelX (i, w), h - 13,
                    eqcurve::frequencyLabelWidth, eqcurve::frequencyLabelHeight, juce::Justification::centred);
}
} // namespace eqpicture
