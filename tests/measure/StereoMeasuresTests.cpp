#include "measure/StereoMeasures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace
{
std::vector<float> tone (int n, float amplitude, float cyclesPerFrame = 0.01f)
{
    std::vector<float> v ((size_t) n);
    for (int i = 0; i < n; ++i)
        v[(size_t) i] = amplitude * std::sin (6.2831853f * cyclesPerFrame * (float) i);
    return v;
}

stereo::StepValues measure (const std::vector<float>& l, const std::vector<float>& r)
{
    return stereo::measureStep (l.data(), r.data(), (int) l.size());
}
} // namespace

TEST (StereoStep, BalanceAndCorrelationOfTheTelltaleChannelPairs)
{
    const auto a = tone (1024, 0.8f);
    std::vector<float> inverted (a.size()), silent (a.size(), 0.0f);
    for (size_t i = 0; i < a.size(); ++i)
        inverted[i] = -a[i];

    // Identical channels: centred, fully correlated (ring values are offset by +1).
    auto v = measure (a, a);
    EXPECT_FLOAT_EQ (v.balance - 1.0f, 0.0f);
    EXPECT_NEAR (v.correlation - 1.0f, 1.0f, 1e-6);

    v = measure (a, inverted);
    EXPECT_FLOAT_EQ (v.balance - 1.0f, 0.0f);
    EXPECT_NEAR (v.correlation - 1.0f, -1.0f, 1e-6);

    // Loud left, silent right: all left, and a silent channel reads as no correlation.
    v = measure (a, silent);
    EXPECT_FLOAT_EQ (v.balance, 0.0f);
    EXPECT_FLOAT_EQ (v.correlation, 1.0f);
    v = measure (silent, a);
    EXPECT_FLOAT_EQ (v.balance, 2.0f);
}

TEST (StereoStep, QuietPassagesReadCentredWhateverTheirBalance)
{
    // RMS over both channels of a one-sided sine at amplitude A is A/2: -36 dB needs A = 2·10^(-36/20).
    const auto quiet = tone (2048, 2.0f * std::pow (10.0f, -36.0f / 20.0f));
    const std::vector<float> silent (quiet.size(), 0.0f);
    auto v = measure (quiet, silent);
    EXPECT_FLOAT_EQ (v.balance, 1.0f);
    EXPECT_FLOAT_EQ (v.correlation, 1.0f);

    // Just above the gate the same passage reads fully left.
    const auto louder = tone (2048, 2.0f * std::pow (10.0f, -34.0f / 20.0f));
    v = measure (louder, silent);
    EXPECT_FLOAT_EQ (v.balance, 0.0f);

    // Digital silence gives no number in the balance formula; the gate keeps it centred.
    v = measure (silent, silent);
    EXPECT_FLOAT_EQ (v.balance, 1.0f);
    EXPECT_FLOAT_EQ (v.correlation, 1.0f);
}

TEST (StereoStep, CorrelationIsTheCosineOfTheWindowsSoOffsetCounts)
{
    // Two DC levels are perfectly correlated, though neither moves.
    std::vector<float> l (512, 0.5f), r (512, 0.25f);
    auto v = measure (l, r);
    EXPECT_NEAR (v.correlation - 1.0f, 1.0f, 1e-6);
    // Sine and cosine are orthogonal over whole cycles.
    const auto s = tone (1000, 0.5f, 0.01f);
    std::vector<float> c (1000);
    for (int i = 0; i < 1000; ++i)
        c[(size_t) i] = 0.5f * std::cos (6.2831853f * 0.01f * (float) i);
    v = measure (s, c);
    EXPECT_NEAR (v.correlation - 1.0f, 0.0f, 1e-3);
}

TEST (StereoSmoothing, RingAveragesFilledEntriesThenAll33)
{
    std::array<float, stereo::ringSize> ring;
    ring.fill (1.0f);
    // First entry: the smoothed value equals the step value.
    EXPECT_FLOAT_EQ (stereo::pushAndSmooth (ring, 0, false, 1.5f), 0.5f);
    EXPECT_FLOAT_EQ (stereo::pushAndSmooth (ring, 1, false, 0.5f), 0.0f);

    // Fill all 33 with known values; the mean then covers all of them.
    for (int i = 0; i < stereo::ringSize; ++i)
        stereo::pushAndSmooth (ring, i, false, 2.0f);
    EXPECT_FLOAT_EQ (stereo::pushAndSmooth (ring, 0, true, 2.0f), 1.0f);
    // The oldest place (index 0 after wrapping) is the one overwritten next.
    const float after = stereo::pushAndSmooth (ring, 0, true, 0.0f);
    EXPECT_NEAR (after, (32.0f * 2.0f) / 33.0f - 1.0f, 1e-6);
}

TEST (DynamicRange, PeakOverShortTermLevelWithItsFloors)
{
    const float minusInf = -std::numeric_limits<float>::infinity();
    // Before the first short-term value the reading is high: 120 dB against a peak of 1.
    EXPECT_NEAR (stereo::dynamicRange (minusInf, 1.0f), 120.0f, 1e-4);
    // A -20 LUFS short-term level under a 0 dBFS peak.
    EXPECT_NEAR (stereo::dynamicRange (-20.0f, 1.0f), 20.0f, 1e-4);
    // The peak has a floor of -60 dB.
    EXPECT_NEAR (stereo::dynamicRange (-20.0f, 0.0f), -40.0f, 1e-4);
    EXPECT_NEAR (stereo::dynamicRange (-10.0f, 0.5f), 10.0f + 20.0f * std::log10 (0.5f), 1e-4);
}

TEST (StepLength, FallsWithTheRateBands)
{
    EXPECT_EQ (stereo::stepLengthForRate (44100.0), 1024);
    EXPECT_EQ (stereo::stepLengthForRate (48000.0), 1024);
    EXPECT_EQ (stereo::stepLengthForRate (48001.0), 2048);
    EXPECT_EQ (stereo::stepLengthForRate (96000.0), 2048);
    EXPECT_EQ (stereo::stepLengthForRate (192000.0), 4096);
}
