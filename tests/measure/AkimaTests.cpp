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
const std::vector<double> plotXs { 10, 20, 40, 80, 160, 320, 640, 1000, 2000,
                                   3000, 4000, 6000, 10000, 15000, 18000, 20000 };

std::vector<Cubic> cubicsOf (const std::vector<double>& xs, const std::vector<double>& ys)
{
    std::vector<Cubic> cubics;
    ModifiedAkimaInterpolation (xs, ys).computeCubics (cubics);
    return cubics;
}
} // namespace

TEST (Akima, StraightLineGivesStraightCubics)
{
    std::vector<double> ys;
    for (double x : plotXs)
        ys.push_back (-0.002 * x + 3.0);
    const auto cubics = cubicsOf (plotXs, ys);
    ASSERT_EQ (cubics.size(), 15u);
    for (size_t i = 0; i < cubics.size(); ++i)
    {
        const double x1 = plotXs[i + 1];
        EXPECT_NEAR (cubics[i].a * x1 * x1 * x1, 0.0, 1e-6) << i;
        EXPECT_NEAR (cubics[i].b * x1 * x1, 0.0, 1e-6) << i;
        const double mid = (plotXs[i] + x1) / 2;
        EXPECT_NEAR (value (cubics[i], mid), -0.002 * mid + 3.0, 1e-6) << i;
    }
}

TEST (Akima, EachCubicMeetsItsPointsWithTheDerivativesFound)
{
    const std::vector<double> ys { -30, -22, -18, -17.5, -19, -21, -20, -23, -26,
                                   -25, -28, -31, -36, -44, -50, -60 };
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
        const double before = akima.slope (i - 1), after = akima.slope (i);
        EXPECT_GE (slopes[0], std::min (before, after) - 1e-12);
        EXPECT_LE (slopes[0], std::max (before, after) + 1e-12);
    }
}

TEST (Akima, FlatStretchOfFivePointsGivesNaNInsideIt)
{
    const std::vector<double> xs { 0, 1, 2, 3, 4, 5, 6, 7 }, ys { 0, 1, 1, 1, 1, 1, 3, 2 };
    const auto cubics = cubicsOf (xs, ys);
    ASSERT_EQ (cubics.size(), 7u);
    for (size_t i = 0; i < cubics.size(); ++i)
    {
        const bool inside = i == 2 || i == 3;
        for (double v : { cubics[i].a, cubics[i].b, cubics[i].c, cubics[i].d })
            EXPECT_EQ (std::isnan (v), inside) << i;
    }
}

TEST (Akima, StepDoesNotOvershootBesideIt)
{
    const std::vector<double> xs { 20, 40, 80, 160, 320, 640, 1000, 2000 }, ys { 0, 0, 0, 0, 1, 1, 1, 1 };
    const auto cubics = cubicsOf (xs, ys);
    for (size_t i = 2; i <= 4; ++i)
        for (int k = 0; k <= 50; ++k)
        {
            const double x = xs[i] + (xs[i + 1] - xs[i]) * k / 50.0, v = value (cubics[i], x);
            EXPECT_GE (v, -1e-9) << i;
            EXPECT_LE (v, 1.0 + 1e-9) << i;
            if (i != 3)
                EXPECT_NEAR (v, ys[i], 1e-9);
        }
}

TEST (Akima, DegenerateInputs)
{
    std::vector<Cubic> cubics;
    const std::vector<double> one { 5.0 };
    ModifiedAkimaInterpolation (one, one).computeCubics (cubics);
    EXPECT_TRUE (cubics.empty());

    // Two equal abscissae make the system singular.
    const auto bad = cubicsOf ({ 0, 1, 1, 2 }, { 0, 1, 2, 3 });
    ASSERT_EQ (bad.size(), 3u);
    EXPECT_FALSE (std::isfinite (bad[1].a) && std::isfinite (bad[1].d));
}

TEST (Akima, SolverPivotsPastAZeroLeadingEntry)
{
    double m[4][4] = { { 0, 2, 1, 1 }, { 1, 1, 0, 0 }, { 3, 0, 1, 2 }, { 1, 1, 1, 1 } };
    const double x[4] = { 1, -2, 3, 0.5 };
    double rhs[4];
    for (int r = 0; r < 4; ++r)
        rhs[r] = m[r][0] * x[0] + m[r][1] * x[1] + m[r][2] * x[2] + m[r][3] * x[3];
    bws::solveLinear4 (m, rhs);
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR (rhs[i], x[i], 1e-12);
}
