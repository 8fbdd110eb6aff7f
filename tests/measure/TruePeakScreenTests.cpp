// The screen's bound against the exact estimates: never under them, whatever the signal, and
// close enough above them on loud material that it leaves the sums out where it should.

#include "measure/TruePeakProcessor.h"
#include "measure/TruePeakScreen.h"

#include <gtest/gtest.h>

#if defined(__SSE__)
 #include <xmmintrin.h>
#endif

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace
{
struct Signal
{
    const char* name;
    std::vector<float> left, right;
};

// Loud and quiet noise, full-scale square waves that ring the filters hardest, a limiter-like
// master pressed against its ceiling, lone impulses, denormals and tiny values, and huge ones.
std::vector<Signal> signals (int frames)
{
    std::mt19937 gen (5);
    std::vector<Signal> all;
    auto add = [&] (const char* name, auto&& sample)
    {
        Signal s { name, {}, {} };
        for (int i = 0; i < frames; ++i)
        {
            s.left.push_back (sample (i, 0));
            s.right.push_back (sample (i, 1));
        }
        all.push_back (std::move (s));
    };
    std::uniform_real_distribution<float> unit (-1.0f, 1.0f);
    add ("loud noise", [&] (int, int) { return unit (gen); });
    add ("quiet noise", [&] (int, int) { return 1e-3f * unit (gen); });
    add ("squares", [&] (int i, int c) { return ((i / (2 + c)) % 2 == 0 ? 1.0f : -1.0f) * 0.999f; });
    add ("limited master", [&] (int i, int c)
         { return std::clamp (1.6f * std::sin (0.07f * (float) i + (float) c) + 0.3f * unit (gen), -0.98f, 0.98f); });
    add ("impulses", [&] (int i, int c) { return (i + c) % 37 == 0 ? (i % 2 == 0 ? 1.0f : -1.0f) : 0.0f; });
    add ("denormals", [&] (int, int) { return 1e-42f * unit (gen); });
    add ("tiny and zero", [&] (int i, int) { return i % 3 == 0 ? 0.0f : 3e-30f * unit (gen); });
    add ("huge", [&] (int, int) { return 1e25f * unit (gen); });
    return all;
}

// The exact estimates of one stereo frame pair from processors that took every sample before.
struct Exact
{
    TruePeakProcessor<16, 16> left, right;
    explicit Exact (const double* prototype)
    {
        left.loadPrototype (prototype);
        right.loadPrototype (prototype);
    }
    float frame (float l, float r)
    {
        float a = 0.0f, b = 0.0f;
        left.processPair (right, l, r, a, b);
        return std::max (a, b);
    }
};
} // namespace

// Denormals flushed to zero and read as zero, as a thread that asked for it runs (x86 only).
struct FlushDenormals
{
    explicit FlushDenormals (bool on)
    {
#if defined(__SSE__)
        if (on)
            _mm_setcsr (saved | 0x8040);
#else
        (void) on;
#endif
    }
    ~FlushDenormals()
    {
#if defined(__SSE__)
        _mm_setcsr (saved);
#endif
    }
#if defined(__SSE__)
    unsigned saved = _mm_getcsr();
#endif
};

TEST (TruePeakScreen, NeverUnderTheExactEstimateAndCloseAboveItOnLoudMaterial)
{
    for (bool flush : { false, true })
    for (const double* prototype : { truepeak::prototypeA, truepeak::prototypeB })
    {
        SCOPED_TRACE (flush ? "denormals flushed" : "denormals kept");
        FlushDenormals mode (flush);
        TruePeakProcessor<16, 16> a, b;
        a.loadPrototype (prototype);
        b.loadPrototype (prototype);
        TruePeakScreen screen;
        if (! screen.prepare (a, b))
            GTEST_SKIP() << "no AVX-512 here";

        for (const auto& s : signals (4000))
        {
            SCOPED_TRACE (s.name);
            Exact exact (prototype);
            const int frames = (int) s.left.size();
            std::vector<float> estimates;
            for (int i = 0; i < frames; ++i)
                estimates.push_back (exact.frame (s.left[i], s.right[i]));

            // Blocks at every offset, overlapping, as a walk asks for them.
            constexpr int block = TruePeakScreen::blockFrames;
            double worst = 0.0;
            int checked = 0;
            const float largest = *std::max_element (s.left.begin(), s.left.end(), [] (float a, float b) { return std::abs (a) < std::abs (b); });
            for (int n0 = block - 1; n0 + 2 * block <= frames; n0 += 7)
            {
                double bounds[block];
                screen.blockBounds (s.left.data(), s.right.data(), n0, bounds);
                for (int f = 0; f < block; ++f)
                {
                    const float e = estimates[(size_t) (n0 + f)];
                    ASSERT_LE ((double) e, bounds[f]) << "frame " << n0 + f;
                    if (e > 0.1f * std::abs (largest))
                        worst = std::max (worst, bounds[f] / (double) e), ++checked;
                }
            }
            // On anything but silence the bound lies within half a percent of the estimate, not a guess.
            if (checked > 0 && std::abs (largest) > 1e-20f)
                EXPECT_LT (worst, 1.005) << checked << " frames";
        }
    }
}

TEST (TruePeakScreen, GivesNoBoundForUnfitSamplesOrProcessors)
{
    TruePeakProcessor<16, 16> a, b;
    a.loadPrototype (truepeak::prototypeA);
    b.loadPrototype (truepeak::prototypeB);
    TruePeakScreen screen;
    // Different coefficients on the two channels, or another layout of phases: no screen.
    EXPECT_FALSE (screen.prepare (a, b));
    TruePeakProcessor<8, 32> c, d;
    c.loadPrototype (truepeak::prototypeC);
    d.loadPrototype (truepeak::prototypeC);
    EXPECT_FALSE (screen.prepare (c, d));
    EXPECT_FALSE (screen.ready());
    // One processor for both channels holds them interleaved: its windows are not the arrays'.
    EXPECT_FALSE (screen.prepare (a, a));

    b.loadPrototype (truepeak::prototypeA);
    if (! screen.prepare (a, b))
        GTEST_SKIP() << "no AVX-512 here";
    // A sample that isn't a finite number, or one too large for float sums, anywhere among
    // those a block reads: no bound for any of its frames.
    constexpr int block = TruePeakScreen::blockFrames;
    for (int at : { 0, 15, 30 })
        for (float odd : { std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN(), 1e35f })
        {
            std::vector<float> x (48, 0.5f), y (48, -0.25f);
            (at % 2 == 0 ? x : y)[(size_t) at] = odd;
            double bounds[block];
            screen.blockBounds (x.data(), y.data(), 15, bounds);
            for (double b : bounds)
                EXPECT_TRUE (std::isinf (b)) << at << " " << odd;
        }
    std::vector<float> x (48, 0.5f);
    double bounds[block];
    screen.blockBounds (x.data(), x.data(), 15, bounds);
    EXPECT_TRUE (std::isfinite (bounds[0]) && bounds[0] > 0.0);
}
