#include "measure/StereoMeasures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace
{
// A sine of 0.01 cycles a frame, or a cosine, or with amplitude 0 silence.
std::vector<float> tone (int n, float amplitude, bool cosine = false)
{
    std::vector<float> v ((size_t) n);
    for (int i = 0; i < n; ++i)
        v[(size_t) i] = amplitude * (cosine ? std::cos (6.2831853f * 0.01f * (float) i) : std::sin (6.2831853f * 0.01f * (float) i));
    return v;
}
} // namespace

TEST (StereoStep, BalanceAndCorrelationOfTheTelltaleChannelPairs)
{
    // RMS over both channels of a one-sided sine at amplitude A is A/2: -36 dB (under the gate)
    // needs A = 2·10^(-36/20).
    const float quiet = 2.0f * std::pow (10.0f, -36.0f / 20.0f), louder = 2.0f * std::pow (10.0f, -34.0f / 20.0f);
    std::vector<float> inverted = tone (1024, 0.8f);
    for (auto& x : inverted)
        x = -x;
    struct Case
    {
        const char* name;
        std::vector<float> left, right;
        float balance, correlation, tolerance; // both as ring values, offset by +1
    };
    const Case cases[] = {
        { "identical", tone (1024, 0.8f), tone (1024, 0.8f), 1.0f, 2.0f, 1e-6f },
        { "inverted", tone (1024, 0.8f), inverted, 1.0f, 0.0f, 1e-6f },
        { "left only: a silent channel reads as no correlation", tone (1024, 0.8f), tone (1024, 0.0f), 0.0f, 1.0f, 0.0f },
        { "right only", tone (1024, 0.0f), tone (1024, 0.8f), 2.0f, 1.0f, 0.0f },
        { "quiet left only reads centred", tone (2048, quiet), tone (2048, 0.0f), 1.0f, 1.0f, 0.0f },
        { "just above the gate, all left", tone (2048, louder), tone (2048, 0.0f), 0.0f, 1.0f, 0.0f },
        { "digital silence, no number in the formula", tone (512, 0.0f), tone (512, 0.0f), 1.0f, 1.0f, 0.0f },
        { "two DC levels, perfectly correlated", std::vector<float> (512, 0.5f), std::vector<float> (512, 0.25f), 0.4f, 2.0f, 1e-6f },
        { "sine and cosine over whole cycles", tone (1000, 0.5f), tone (1000, 0.5f, true), 1.0f, 1.0f, 1e-3f },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE (c.name);
        const auto v = stereo::measureStep (c.left.data(), c.right.data(), (int) c.left.size());
        EXPECT_NEAR (v.balance, c.balance, std::max (c.tolerance, 1e-6f));
        EXPECT_NEAR (v.correlation, c.correlation, c.tolerance);
    }
}

TEST (StereoSmoothing, RingAveragesFilledEntriesThenAll33)
{
    std::array<float, stereo::ringSize> ring;
    ring.fill (1.0f);
    EXPECT_FLOAT_EQ (stereo::pushAndSmooth (ring, 0, false, 1.5f), 0.5f); // the first entry alone
    EXPECT_FLOAT_EQ (stereo::pushAndSmooth (ring, 1, false, 0.5f), 0.0f);
    for (int i = 0; i < stereo::ringSize; ++i)
        stereo::pushAndSmooth (ring, i, false, 2.0f);
    EXPECT_FLOAT_EQ (stereo::pushAndSmooth (ring, 0, true, 2.0f), 1.0f);
    // The oldest place (index 0 after wrapping) is the one overwritten next.
    EXPECT_NEAR (stereo::pushAndSmooth (ring, 0, true, 0.0f), (32.0f * 2.0f) / 33.0f - 1.0f, 1e-6);
}

TEST (StereoStep, DynamicRangeWithItsFloorsAndStepLengthByRate)
{
    // Before the first short-term value the reading is high: 120 dB against a peak of 1.
    EXPECT_NEAR (stereo::dynamicRange (-std::numeric_limits<float>::infinity(), 1.0f), 120.0f, 1e-4);
    EXPECT_NEAR (stereo::dynamicRange (-20.0f, 1.0f), 20.0f, 1e-4);
    EXPECT_NEAR (stereo::dynamicRange (-20.0f, 0.0f), -40.0f, 1e-4); // the peak's floor of -60 dB
    EXPECT_NEAR (stereo::dynamicRange (-10.0f, 0.5f), 10.0f + 20.0f * std::log10 (0.5f), 1e-4);

    const std::pair<double, int> lengths[] = { { 44100.0, 1024 }, { 48000.0, 1024 }, { 48001.0, 2048 },
                                               { 96000.0, 2048 }, { 192000.0, 4096 } };
    for (auto [rate, length] : lengths)
        EXPECT_EQ (stereo::stepLengthForRate (rate), length) << rate;
}
