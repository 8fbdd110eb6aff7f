#include "analysis/Model.h"
#include "measure/ModifiedAkimaInterpolation.h"
#include "measure/MultiFrequencyAnalysis.h"
#include "targets/EQCurve.h"
#include "targets/EQPicture.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
// Band differences with a shape: a bass bump, a dip in the mids, a rising top.
const EQPreset::Bands shaped { 3.0f, 5.5f, 4.0f, 1.0f, -0.5f, -2.0f, -1.0f, 0.5f, 1.5f, 2.5f, 3.0f, 2.0f, -1.0f, -4.0f };

// The curve's value at f, read straight from the interpolation routine over the 16 knots.
double akimaAt (const EQPreset::Bands& d, double f)
{
    std::vector<double> ys { d.front() };
    ys.insert (ys.end(), d.begin(), d.end());
    ys.push_back (d.back());
    std::vector<bws::ModifiedAkimaInterpolation::Cubic> cubics;
    bws::ModifiedAkimaInterpolation (eqcurve::knotFrequencies(), ys).computeCubics (cubics);
    const auto& xs = eqcurve::knotFrequencies();
    size_t i = 0;
    while (i + 2 < xs.size() && f >= xs[i + 1])
        ++i;
    const auto& c = cubics[i];
    return c.a * f * f * f + c.b * f * f + c.c * f + c.d;
}
} // namespace

TEST (EQCurve, ValuesAtTheKnotsAndBetweenFollowTheInterpolation)
{
    std::vector<float> at;
    for (const int centre : MultiFrequencyAnalysis::bandCentres)
        at.push_back ((float) centre);
    const auto values = eqcurve::curveValues (shaped, at);
    ASSERT_EQ (values.size(), at.size());
    for (size_t k = 0; k < at.size(); ++k)
        EXPECT_NEAR (values[k], shaped[k], 1.0e-3) << at[k] << " Hz";

    // Between the knots, over the plot's own grid, which starts near 10 Hz.
    const auto grid = eqcurve::makePlotFrequencies (1000);
    ASSERT_EQ (grid.size(), 250u);
    EXPECT_NEAR (grid.front(), 10.02f, 0.01f);
    EXPECT_LT (grid.back(), 20000.0f);
    const auto curve = eqcurve::curveValues (shaped, grid);
    for (size_t i = 0; i < grid.size(); ++i)
        EXPECT_NEAR (curve[i], akimaAt (shaped, grid[i]), 1.0e-3) << grid[i] << " Hz";

    // Held flat out to 0 Hz and to 20000 Hz, and no overshoot beside the bass bump's peak.
    const auto edges = eqcurve::curveValues (shaped, { 12.0f, 19000.0f });
    EXPECT_NEAR (edges[0], shaped.front(), 0.6f);
    EXPECT_NEAR (edges[1], shaped.back(), 0.5f);
    for (size_t i = 0; i < grid.size(); ++i)
        EXPECT_LE (curve[i], 5.5f + 1.0e-3f);
}

TEST (EQCurve, FlatDataReadsAsTheCentreLine)
{
    // A track of a preset's own material gives all zeros; any flat stretch of five knots or more
    // has cubics that aren't numbers, and reads 0 whatever its level.
    const auto grid = eqcurve::makePlotFrequencies (800);
    EQPreset::Bands flat {};
    for (const float v : eqcurve::curveValues (flat, grid))
        EXPECT_EQ (v, 0.0f);
    flat.fill (3.0f);
    for (const float v : eqcurve::curveValues (flat, grid))
        EXPECT_EQ (v, 0.0f);
}

TEST (EQCurve, ScaleRangeAndPlacement)
{
    struct Step { int from, to; };
    for (const auto s : { Step { 5, 10 }, Step { 10, 15 }, Step { 15, 20 }, Step { 20, 5 } })
        EXPECT_EQ (eqcurve::nextRange (s.from), s.to);

    struct Fit { float difference; int range; };
    for (const auto f : { Fit { 0.0f, 5 }, Fit { 4.9f, 5 }, Fit { -5.0f, 5 }, Fit { 5.1f, 10 }, Fit { 14.2f, 15 },
                          Fit { 21.0f, 20 }, Fit { INFINITY, 20 }, Fit { NAN, 20 } })
        EXPECT_EQ (eqcurve::fitRange (f.difference), f.range) << f.difference;

    struct Y { float value; int range; float y; };
    for (const auto c : { Y { 0.0f, 5, 100.0f }, Y { 5.0f, 5, 0.0f }, Y { -2.5f, 5, 150.0f }, Y { 21.0f, 20, 0.0f },
                          Y { -21.0f, 20, 200.0f }, Y { 10.0f, 20, 50.0f } })
        EXPECT_FLOAT_EQ (eqcurve::valueToY (c.value, 200.0f, c.range), c.y) << c.value << " dB at range " << c.range;

    // Labels: 20 Hz at the end of the first division, 1k at the sixth, the last one kept inside.
    EXPECT_EQ (eqcurve::frequencyLabelX (0, 1100), 80);
    EXPECT_EQ (eqcurve::frequencyLabelX (5, 1100), 646);
    EXPECT_EQ (eqcurve::frequencyLabelX (9, 1100), 1072);
    EXPECT_EQ (eqcurve::frequencyAtX (100.0f, 1100.0f), 20);
    EXPECT_NEAR (eqcurve::frequencyAtX (1100.0f, 1100.0f), 20000, 5);
    EXPECT_EQ (eqcurve::frequencyAtX (1200.0f, 1100.0f), 20000);
    EXPECT_FLOAT_EQ (eqcurve::dbAtY (50.0f, 200.0f, 10), 5.0f);

    // Seven colours a palette, then they repeat.
    for (const bool contrast : { true, false })
        for (int t = 0; t < 7; ++t)
            EXPECT_EQ (eqcurve::curveColour (t, contrast), eqcurve::curveColour (t + 7, contrast));
    EXPECT_EQ (eqcurve::curveColour (2, true), 0xff4cc84du);
    EXPECT_EQ (eqcurve::curveColour (6, false), 0xff2f3998u);
}

TEST (EQCurve, DifferencesByModeAndTheLargestOneForTheRange)
{
    Model model;
    const auto& preset = *model.getEQPresetForId (61);
    auto bandsOf = [] (const EQPreset::Bands& b, float shift) { std::vector<float> v (b.begin(), b.end()); for (auto& x : v) x += shift; return v; };

    Track track (&model);
    track.wholeFileReadings.integratedLUFS = preset.integratedLUFS + 2.0f;
    track.wholeFileReadings.plainIntegrated = preset.integratedLUFS;
    track.multiFrequencyIntegratedLUFS = bandsOf (preset.multiFrequencyIntegratedLUFS, 2.0f);
    track.midMultiFrequencyIntegratedLUFS = bandsOf (preset.midMultiFrequencyIntegratedLUFS, 5.0f);
    track.sideMultiFrequencyIntegratedLUFS = bandsOf (preset.sideMultiFrequencyIntegratedLUFS, -7.0f);
    track.sideMultiFrequencyIntegratedLUFS[3] += 9.0f;

    struct Case { int mode; float curveAt0; float largest; };
    // The curve levels with the weighted loudness, the range with the unweighted one.
    for (const auto c : { Case { eqcurve::stereoMode, 0.0f, 2.0f }, Case { eqcurve::midMode, 3.0f, 5.0f },
                          Case { eqcurve::sideMode, -9.0f, 7.0f } })
    {
        const auto d = eqcurve::curveDifferences (track, preset, c.mode);
        ASSERT_TRUE (d.has_value());
        EXPECT_NEAR ((*d)[0], c.curveAt0, 1.0e-4) << c.mode;
        EXPECT_NEAR (eqcurve::largestEQDifference ({ &track }, &preset, c.mode), c.largest, 1.0e-4) << c.mode;
    }
    EXPECT_NEAR (eqcurve::largestEQDifference ({ &track }, &preset, 7), 7.0f, 1.0e-4);

    Track unanalysed (&model);
    EXPECT_FALSE (eqcurve::curveDifferences (unanalysed, preset, eqcurve::stereoMode).has_value());
    EXPECT_EQ (eqcurve::largestEQDifference ({ &unanalysed }, &preset, 1), 0.0f);
    EXPECT_EQ (eqcurve::largestEQDifference ({ &track }, nullptr, 1), 0.0f);
}

TEST (EQPicture, PlotDrawnWithoutAWindow)
{
    // The scale's centre line at half the height, a curve in its colour above it, the edges.
    juce::Image image (juce::Image::RGB, 438, 200, true);
    {
        juce::Graphics g (image);
        EQPreset::Bands up {};
        up.fill (0.0f);
        up[6] = up[7] = up[8] = 4.0f;  // 1 to 3 kHz, 4 dB over
        eqpicture::drawPlot (g, image.getBounds(), { { up, juce::Colour (0xff4cc84d) } }, 5, juce::Font (11.0f));
    }
    // 2 kHz lies 7.67 divisions of 400 / 11 pixels in.
    const int x2k = eqpicture::plotLeftMargin + 279;
    auto firstRow = [&] (int x, juce::uint32 argb)
    {
        for (int y = 0; y < 200; ++y)
            if (image.getPixelAt (x, y).getARGB() == argb)
                return y;
        return -1;
    };
    EXPECT_EQ (firstRow (x2k, eqcurve::centreLineColour), 100);
    EXPECT_EQ (firstRow (x2k - 3, eqcurve::gridLineColour), 0);
    EXPECT_EQ (image.getPixelAt (x2k - 3, 40).getARGB(), eqcurve::gridLineColour);
    EXPECT_NE (image.getPixelAt (x2k - 2, 40).getARGB(), eqcurve::gridLineColour);  // dashed 1 on, 3 off
    EXPECT_NEAR (firstRow (x2k, 0xff4cc84d), 100 - 4 * 20, 2);
    EXPECT_EQ (image.getPixelAt (eqpicture::plotLeftMargin, 50).getARGB(), eqcurve::edgeColour);
}
