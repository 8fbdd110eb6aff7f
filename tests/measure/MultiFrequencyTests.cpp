#include "measure/LUFSProcessor.h"
#include "measure/MultiFrequencyAnalysis.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>

namespace
{
using testaudio::Signal;
constexpr int numBands = MultiFrequencyAnalysis::numBands;

double magnitude (const BiQuadBandpassVector& f, double frequency, double rate)
{
    const auto z1 = std::polar (1.0, -2.0 * M_PI * frequency / rate);
    return std::abs ((f.b0 + f.b1 * z1 + f.b2 * z1 * z1) / (f.a0 + f.a1 * z1 + f.a2 * z1 * z1));
}

int bandOf (int centre)
{
    for (int b = 0; b < numBands; ++b)
        if (MultiFrequencyAnalysis::bandCentres[b] == centre)
            return b;
    return -1;
}

// Gated level of a steady power fed to a band processor straight after its reset. Blocks of
// 0.4 s are made every rate/10 samples; block k holds k * hop + 1 samples of audio and -70 fill
// for the rest (which adds nothing), and each pass once a second takes all blocks so far.
float expectedGatedLevel (double power, int frames, int rate)
{
    const int hop = rate / 10, blockLength = (int) (0.4 * rate);
    const int blocks = 10 * ((frames - 1) / rate);
    double sum = 0;
    for (int k = 1; k <= blocks; ++k)
        sum += std::min (k * hop + 1, blockLength) / (double) blockLength;
    return (float) (10.0 * std::log10 (power * sum / blocks) - 0.691);
}

Signal noise (double rate, int channels, double seconds, float amplitude, unsigned seed)
{
    std::mt19937 gen (seed);
    std::uniform_real_distribution<float> dist (-amplitude, amplitude);
    return testaudio::generate (rate, channels, (int) (seconds * rate), [&] (int, int) { return dist (gen); });
}

// Second pass over a whole signal in read blocks of 16384.
void analyseAll (MultiFrequencyAnalysis& mf, const Signal& s)
{
    for (int pos = 0; pos < s.numFrames(); pos += 16384)
        mf.analyseBlock (s.channels[0].data() + pos, s.numChannels() > 1 ? s.channels[1].data() + pos : nullptr,
                         std::min (16384, s.numFrames() - pos));
}

// Both passes as a loading track drives them: meter every read block (with a last empty
// round for a whole number of blocks), then analyse the chosen ones.
std::vector<int> runTwoPasses (MultiFrequencyAnalysis& mf, const Signal& s)
{
    mf.resetBands();
    const float* r = s.numChannels() > 1 ? s.channels[1].data() : nullptr;
    for (int pos = 0; pos <= s.numFrames(); pos += 16384)
        mf.meterBlock (s.channels[0].data() + pos, r ? r + pos : nullptr, std::min (16384, s.numFrames() - pos));
    const auto chosen = chooseLoudBlocks (mf.blockLevels);
    for (int j : chosen)
    {
        const int pos = j * 16384, n = std::max (0, std::min (16384, s.numFrames() - pos));
        mf.analyseBlock (s.channels[0].data() + pos, r ? r + pos : nullptr, n);
    }
    return chosen;
}

// The plain reading of the band measure: division by a0 on every sample, separate widen,
// filter and narrow steps, and the three processors fed frame by frame through the interface.
struct LiteralBands
{
    explicit LiteralBands (double rate)
    {
        for (int b = 0; b < numBands; ++b)
        {
            filters[b].calculateCoefficients (rate, MultiFrequencyAnalysis::bandCentres[b], 1.0f);
            stereo[b] = make<180000> (rate);
            mid[b] = make<3000> (rate);
            side[b] = make<3000> (rate);
        }
    }

    template <int N>
    static std::unique_ptr<ILUFSProcessor> make (double rate)
    {
        auto p = std::make_unique<LUFSProcessor<N>>();
        p->sampleRate = (float) rate;
        p->prepare();
        p->resetMeasure (true, -70.0f);
        return p;
    }

    static void filter (const BiQuadBandpassVector& f, double st[4], std::vector<double>& v)
    {
        for (auto& x : v)
        {
            const double y = (f.b0 * x + f.b1 * st[0] + f.b2 * st[1] - f.a1 * st[2] - f.a2 * st[3]) / f.a0;
            st[1] = st[0], st[0] = x, st[3] = st[2], st[2] = y;
            x = y;
        }
    }

    void analyseBlock (const float* left, const float* right, int n)
    {
        for (int b = 0; b < numBands; ++b)
        {
            std::vector<double> l (left, left + n), r (n, 0.0);
            filter (filters[b], state[b][0], l);
            if (right)
                r.assign (right, right + n), filter (filters[b], state[b][1], r);
            for (int i = 0; i < n; ++i)
            {
                const float lf = (float) l[i], rf = (float) r[i];
                s[b] = stereo[b]->integratedStep (right ? stereo[b]->plainPower (lf, rf) : lf * lf);
                m[b] = mid[b]->integratedStep (right ? (lf + rf) * (lf + rf) : 0.0f);
                d[b] = side[b]->integratedStep (right ? (lf - rf) * (lf - rf) : 0.0f);
            }
        }
    }

    BiQuadBandpassVector filters[numBands];
    double state[numBands][2][4] {};
    std::unique_ptr<ILUFSProcessor> stereo[numBands], mid[numBands], side[numBands];
    float s[numBands] {}, m[numBands] {}, d[numBands] {};
};
} // namespace

TEST (BandFilter, PeakGainIsUnityAtCentreAndHalfPowerPointsAreAnOctaveApart)
{
    for (double rate : { 44100.0, 48000.0, 96000.0 })
        for (int centre : MultiFrequencyAnalysis::bandCentres)
        {
            BiQuadBandpassVector f;
            f.calculateCoefficients (rate, centre, 1.0f);
            EXPECT_NEAR (magnitude (f, centre, rate), 1.0, 1e-9) << centre << " Hz at " << rate;
            if (centre > rate / 4) // the warped top bands are wider, and lopsided
                continue;
            auto halfPower = [&] (double inside, double outside)
            {
                for (int k = 0; k < 100; ++k)
                {
                    const double m = (inside + outside) / 2;
                    (std::pow (magnitude (f, m, rate), 2) > 0.5 ? inside : outside) = m;
                }
                return inside;
            };
            const double octaves = std::log2 (halfPower (centre, rate / 2) / halfPower (centre, 1e-3));
            EXPECT_NEAR (octaves, 1.0, 0.015) << centre << " Hz at " << rate;
        }
}

TEST (BandFilter, RunningFilterMatchesDivisionByA0AcrossAnySplit)
{
    std::mt19937 gen (7);
    std::uniform_real_distribution<float> dist (-1.0f, 1.0f);
    std::vector<float> left (20000), right (20000);
    for (size_t i = 0; i < left.size(); ++i)
        left[i] = dist (gen), right[i] = dist (gen) * 0.01f;

    for (double rate : { 32000.0, 44100.0, 96000.0 })
        for (int centre : MultiFrequencyAnalysis::bandCentres)
        {
            BiQuadBandpassVector f;
            f.calculateCoefficients (rate, centre, 1.0f);
            f.initialiseState();
            double literalState[2][4] {};
            std::vector<double> expectL (left.begin(), left.end()), expectR (right.begin(), right.end());
            LiteralBands::filter (f, literalState[0], expectL);
            LiteralBands::filter (f, literalState[1], expectR);

            std::vector<float> outL (left.size()), outR (right.size());
            std::vector<double> plain (left.begin(), left.end());
            for (int pos = 0, step = 1; pos < (int) left.size(); pos += step, step = step * 3 + 1)
            {
                const int n = std::min (step, (int) left.size() - pos);
                f.filterBlock (&left[pos], &right[pos], &outL[pos], &outR[pos], n);
            }
            BiQuadBandpassVector g = f;
            g.clearState();
            g.filterInPlace (0, plain.data(), 777);
            g.filterInPlace (0, plain.data() + 777, (int) plain.size() - 777);

            for (size_t i = 0; i < left.size(); ++i)
            {
                ASSERT_NEAR (outL[i], expectL[i], 1e-6 * std::max (1e-2, std::abs (expectL[i])));
                ASSERT_NEAR (outR[i], expectR[i], 1e-6 * std::max (1e-4, std::abs (expectR[i])));
                ASSERT_NEAR (plain[i], expectL[i], 1e-12);
            }
        }
}

TEST (BandFilter, EighteenKilohertzIsDesignedAbove32kNyquist)
{
    MultiFrequencyAnalysis mf;
    mf.prepareBands (32000.0);
    for (const auto& f : mf.filters)
        for (double c : { f.b0, f.b1, f.b2, f.a0, f.a1, f.a2 })
            EXPECT_TRUE (std::isfinite (c));
    analyseAll (mf, noise (32000.0, 2, 1.2, 0.5f, 3));
    for (int b = 0; b < numBands; ++b)
        EXPECT_TRUE (std::isfinite (mf.stereoBands[b]) && std::isfinite (mf.midBands[b])
                     && std::isfinite (mf.sideBands[b])) << b;
    EXPECT_GT (mf.stereoBands[13], -70.0f);
}

TEST (BandAnalysis, MatchesThePlainFrameByFrameMeasure)
{
    for (int channels : { 2, 1 })
    {
        auto signal = noise (44100.0, channels, 2.2, 0.7f, 11);
        for (int i = 0; i < signal.numFrames(); ++i) // a swell, so the gates have work to do
            for (auto& c : signal.channels)
                c[i] *= (float) (0.05 + i / (double) signal.numFrames());

        MultiFrequencyAnalysis mf;
        mf.prepareBands (44100.0);
        LiteralBands literal (44100.0);
        for (int pos = 0, n = 16384; pos < signal.numFrames(); pos += n, n = n == 16384 ? 5000 : 16384)
        {
            n = std::min (n, signal.numFrames() - pos);
            const float* r = channels == 2 ? signal.channels[1].data() + pos : nullptr;
            mf.analyseBlock (signal.channels[0].data() + pos, r, n);
            literal.analyseBlock (signal.channels[0].data() + pos, r, n);
        }
        for (int b = 0; b < numBands; ++b)
        {
            EXPECT_NEAR (mf.stereoBands[b], literal.s[b], 0.001) << b;
            EXPECT_NEAR (mf.midBands[b], literal.m[b], 0.001) << b;
            EXPECT_NEAR (mf.sideBands[b], literal.d[b], 0.001) << b;
        }
        EXPECT_GT (mf.stereoBands[6], -40.0f);
    }
}

TEST (BandAnalysis, SineLandsInItsBandsAtTheFiltersGain)
{
    const int rate = 44100;
    const double amplitude = 0.5;
    MultiFrequencyAnalysis mf;
    mf.prepareBands (rate);

    // Both channels equal: l^2 + r^2 has mean amplitude^2 after a filter of gain |H|.
    for (double frequency : { 1000.0, 2450.0 })
    {
        mf.resetBands();
        const auto signal = testaudio::sine (rate, 2, 2.1, frequency, amplitude);
        analyseAll (mf, signal);
        for (int centre : { 1000, 2000, 3000, 4000 })
        {
            const int b = bandOf (centre);
            const double gain = magnitude (mf.filters[b], frequency, rate);
            const float expected = expectedGatedLevel (amplitude * amplitude * gain * gain, signal.numFrames(), rate);
            EXPECT_NEAR (mf.stereoBands[b], expected, 0.02) << frequency << " Hz in band " << centre;
            // mid = (l + r)^2 = 4 l^2 against 2 l^2: +3.01 dB; nothing passes the side gate.
            EXPECT_NEAR (mf.midBands[b] - mf.stereoBands[b], 10.0 * std::log10 (2.0), 0.01);
        }
        for (float side : mf.sideBands)
            EXPECT_EQ (side, -70.0f);
    }
    EXPECT_LT (mf.stereoBands[bandOf (4000)], mf.stereoBands[bandOf (3000)] - 3.0f);
}

TEST (BandAnalysis, MonoCountsTheLeftChannelOnlyAndLeavesMidAndSideSilent)
{
    const auto mono = testaudio::sine (44100, 1, 1.5, 1000.0, 0.5);
    auto silentRight = mono;
    silentRight.channels.emplace_back (mono.channels[0].size(), 0.0f);

    MultiFrequencyAnalysis a, b;
    a.prepareBands (44100);
    b.prepareBands (44100);
    analyseAll (a, mono);
    analyseAll (b, silentRight);
    EXPECT_NEAR (a.stereoBands[6], expectedGatedLevel (0.125, mono.numFrames(), 44100), 0.02);
    for (int band = 0; band < numBands; ++band)
    {
        EXPECT_EQ (a.stereoBands[band], b.stereoBands[band]);
        EXPECT_EQ (a.midBands[band], -70.0f);
        EXPECT_EQ (a.sideBands[band], -70.0f);
    }
}

TEST (BandAnalysis, IndependentNoiseGivesMidAboutEqualToSide)
{
    MultiFrequencyAnalysis mf;
    mf.prepareBands (44100);
    analyseAll (mf, noise (44100, 2, 3.1, 0.5f, 5));
    for (int b = bandOf (2000); b < numBands; ++b)
    {
        EXPECT_NEAR (mf.midBands[b], mf.sideBands[b], 0.5) << b;
        EXPECT_NEAR (mf.midBands[b], mf.stereoBands[b], 0.5) << b;
    }
}

TEST (BandAnalysis, UnderASecondOrAnEmptyBlockReadsMinus70)
{
    MultiFrequencyAnalysis mf;
    mf.prepareBands (44100);
    analyseAll (mf, noise (44100, 2, 0.99, 0.9f, 1));
    for (int b = 0; b < numBands; ++b)
        EXPECT_TRUE (mf.stereoBands[b] == -70.0f && mf.midBands[b] == -70.0f && mf.sideBands[b] == -70.0f) << b;

    analyseAll (mf, noise (44100, 2, 0.5, 0.9f, 2)); // now past a second: a gated value
    EXPECT_GT (mf.stereoBands[6], -30.0f);
    mf.analyseBlock (nullptr, nullptr, 0);
    for (int b = 0; b < numBands; ++b)
        EXPECT_TRUE (mf.stereoBands[b] == -70.0f && mf.midBands[b] == -70.0f && mf.sideBands[b] == -70.0f);
}

TEST (BandAnalysis, ResetBandsStartsOverLikeAFreshPreparation)
{
    const auto first = noise (44100, 2, 1.3, 0.9f, 8), second = noise (44100, 2, 1.2, 0.1f, 9);
    MultiFrequencyAnalysis used, fresh;
    used.prepareBands (44100);
    fresh.prepareBands (44100);
    runTwoPasses (used, first);
    const auto kept = used.stereoBands;
    used.resetBands();
    EXPECT_TRUE (used.blockLevels.empty());
    EXPECT_EQ (used.stereoBands, kept); // the lists wait for the next analysis
    runTwoPasses (used, second);
    runTwoPasses (fresh, second);
    EXPECT_EQ (used.stereoBands, fresh.stereoBands);
    EXPECT_EQ (used.midBands, fresh.midBands);
    EXPECT_EQ (used.sideBands, fresh.sideBands);
}

TEST (BlockMeter, ReadsTheUnfilteredThreeSecondLevelOfEachBlock)
{
    const double amplitude = 0.5;
    MultiFrequencyAnalysis mf;
    mf.prepareBands (44100);
    for (int channels : { 2, 1 })
    {
        const auto signal = testaudio::sine (44100, channels, 16384 * 12 / 44100.0, 1000.0, amplitude);
        const auto chosen = runTwoPasses (mf, signal);
        ASSERT_EQ (mf.blockLevels.size(), 13u); // a whole number of blocks: a last empty round
        EXPECT_EQ (mf.blockLevels.back(), -70.0f);
        const float steady = (float) (10.0 * std::log10 (amplitude * amplitude * channels / 2.0) - 0.691);
        for (size_t j = 9; j < 12; ++j) // windows wholly inside the audio
            EXPECT_NEAR (mf.blockLevels[j], steady, 0.01) << j;
        EXPECT_LT (mf.blockLevels[0], steady - 6.0f); // the window starts out filled with -70
        EXPECT_EQ (chosen.back(), 11);
    }
}

TEST (BlockChoice, TakesBlocksLessThanOneAndAHalfDecibelsUnderTheLoudest)
{
    EXPECT_EQ (chooseLoudBlocks ({ -14.0f, -14.0f, -14.0f }), (std::vector<int> { 0, 1, 2 }));
    EXPECT_EQ (chooseLoudBlocks ({ -11.75f, -10.25f, -11.7499f, -30.0f }), (std::vector<int> { 1, 2 }));
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ (chooseLoudBlocks ({ -inf, -12.0f, -inf, -12.5f }), (std::vector<int> { 1, 3 }));
    EXPECT_TRUE (chooseLoudBlocks ({ -inf, -inf }).empty());
    EXPECT_TRUE (chooseLoudBlocks ({}).empty());
}

TEST (BlockChoice, QuietVerseAndLoudChorusMeasureTheChorusAlone)
{
    auto signal = testaudio::sine (44100, 2, 4.0, 1000.0, 0.05);
    testaudio::append (signal, testaudio::sine (44100, 2, 6.0, 1000.0, 0.5));
    MultiFrequencyAnalysis mf;
    mf.prepareBands (44100);
    const auto chosen = runTwoPasses (mf, signal);

    ASSERT_GE (chosen.size(), 5u); // enough chorus for the gate to speak
    for (int j : chosen)
        EXPECT_GE (j * 16384, 4 * 44100) << j; // no chosen block holds verse
    int frames = 0;
    for (int j : chosen)
        frames += std::min (16384, signal.numFrames() - j * 16384);
    EXPECT_NEAR (mf.stereoBands[6], expectedGatedLevel (0.25, frames, 44100), 0.05);
}

TEST (BlockChoice, DigitalSilenceLeavesTheBandsAtMinus70)
{
    MultiFrequencyAnalysis mf;
    mf.prepareBands (48000);
    const auto silence = testaudio::generate (48000, 2, 48000 * 5, [] (int, int) { return 0.0f; });
    runTwoPasses (mf, silence);
    EXPECT_EQ (mf.blockLevels[10], -std::numeric_limits<float>::infinity()); // once the -70 fill is gone
    for (int b = 0; b < numBands; ++b)
        EXPECT_TRUE (mf.stereoBands[b] == -70.0f && mf.midBands[b] == -70.0f && mf.sideBands[b] == -70.0f);
}
