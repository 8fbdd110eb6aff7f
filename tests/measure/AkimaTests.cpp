#include "measure/ModifiedAkimaInterpolation.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using bws::ModifiedAkimaInterpolation;
using Cubic = ModifiedAkimaInterpolation::Cubic;

double value (const Cubic& c, double x) { return ((c.a * x + c.b) * x + c.c) * x + c.d; }
double derivative (const Cubic& c, double x) { return (3 * c.a * x + 2 * c.b) * x + c.c; }

// The 16 abscissae of the EQ plot: the band grid with 10 Hz and 20 kHz at the ends.
const std::vector<double> plotXs { 10, 20, 40, 80, 160, 320, 640, 1000, 2000, 3000, 4000, 6000, 10000, 15000, 18000, 20000 };

std::vector<Cubic> cubicsOf (const std::vector<double>& xs, const std::vector<double>& ys)
{
    std::vector<Cubic> cubics;
    ModifiedAkimaInterpolation (xs, ys).computeCubics (cubics);
    return cubics;
}
} // namespace

TEST (Akima, EachCubicMeetsItsPointsWithTheDerivativesFound)
{
    const std::vector<double> ys { -30, -22, -18, -17.5, -19, -21, -20, -23, -26, -25, -28, -31, -36, -44, -50, -60 };
    ModifiedAkimaInterpolation akima (plotXs, ys);
    std::vector<Cubic> cubics { { 1, 2, 3, 4 } };
    akima.computeCubics (cubics); // appends
    ASSERT_EQ (cubics.size(), 16u);
    EXPECT_EQ (cubics[0].d, 4.0);
    for (int i = 0; i < 15; ++i)
    {
        const Cubic& c = cubics[(size_t) i + 1];
        double slopes[2];
        akima.intervalDerivatives (slopes, i);
        const double x0 = plotXs[(size_t) i], x1 = plotXs[(size_t) i + 1];
        EXPECT_NEAR (value (c, x0), ys[(size_t) i], 1e-6) << i;
        EXPECT_NEAR (value (c, x1), ys[(size_t) i + 1], 1e-6) << i;
        EXPECT_NEAR (derivative (c, x0), slopes[0], 1e-9 + 1e-6 * std::abs (slopes[0])) << i;
        EXPECT_NEAR (derivative (c, x1), slopes[1], 1e-9 + 1e-6 * std::abs (slopes[1])) << i;
        // A point's derivative lies between the slopes on its two sides.
        EXPECT_GE (slopes[0], std::min (akima.slope (i - 1), akima.slope (i)) - 1e-12) << i;
        EXPECT_LE (slopes[0], std::max (akima.slope (i - 1), akima.slope (i)) + 1e-12) << i;
    }
}

TEST (Akima, StraightLineStaysStraightAndAStepDoesNotOvershoot)
{
    std::vector<double> line;
    for (double x : plotXs)
        line.push_back (-0.002 * x + 3.0);
    const auto straight = cubicsOf (plotXs, line);
    ASSERT_EQ (straight.size(), 15u);
    for (size_t i = 0; i < straight.size(); ++i)
    {
        const double x1 = plotXs[i + 1], mid = (plotXs[i] + x1) / 2;
        EXPECT_NEAR (straight[i].a * x1 * x1 * x1, 0.0, 1e-6) << i;
        EXPECT_NEAR (straight[i].b * x1 * x1, 0.0, 1e-6) << i;
        EXPECT_NEAR (value (straight[i], mid), -0.002 * mid + 3.0, 1e-6) << i;
    }

    // Beside a step the curve stays flat, and across it between the two levels.
    const std::vector<double> xs { 20, 40, 80, 160, 320, 640, 1000, 2000 }, ys { 0, 0, 0, 0, 1, 1, 1, 1 };
    const auto step = cubicsOf (xs, ys);
    for (size_t i = 2; i <= 4; ++i)
        for (int k = 0; k <= 50; ++k)
        {
            const double v = value (step[i], xs[i] + (xs[i + 1] - xs[i]) * k / 50.0);
            EXPECT_TRUE (v >= -1e-9 && v <= 1.0 + 1e-9) << i << ": " << v;
            if (i != 3)
                EXPECT_NEAR (v, ys[i], 1e-9) << i;
        }
}

TEST (Akima, FlatStretchGivesNaNAndDegenerateInputsGiveNothingUsable)
{
    // Four zero slopes around a point make its derivative 0/0: the cubics inside are NaN.
    const auto flat = cubicsOf ({ 0, 1, 2, 3, 4, 5, 6, 7 }, { 0, 1, 1, 1, 1, 1, 3, 2 });
    ASSERT_EQ (flat.size(), 7u);
    for (size_t i = 0; i < flat.size(); ++i)
        for (double v : { flat[i].a, flat[i].b, flat[i].c, flat[i].d })
            EXPECT_EQ (std::isnan (v), i == 2 || i == 3) << i;

    EXPECT_TRUE (cubicsOf ({ 5.0 }, { 5.0 }).empty());
    // Two equal abscissae make the system singular.
    const auto bad = cubicsOf ({ 0, 1, 1, 2 }, { 0, 1, 2, 3 });
    ASSERT_EQ (bad.size(), 3u);
    EXPECT_FALSE (std::isfinite (bad[1].a) && std::isfinite (bad[1].d));
}
