#include "measure/LUFSProcessor.h"
#include "measure/MultiFrequencyAnalysis.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cstring>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace
{
using testaudio::Signal;
constexpr int numBands = MultiFrequencyAnalysis::numBands;
constexpr int band1k = 6, band2k = 7, band3k = 8, band4k = 9;

double magnitude (const BiQuadBandpassVector& f, double frequency, double rate)
{
    const auto z1 = std::polar (1.0, -2.0 * M_PI * frequency / rate);
    return std::abs ((f.b0 + f.b1 * z1 + f.b2 * z1 * z1) / (f.a0 + f.a1 * z1 + f.a2 * z1 * z1));
}

// Gated level of a steady power fed to a band processor straight after its reset. Blocks of
// 0.4 s are made every rate/10 samples; block k holds k * hop + 1 samples of audio and -70 fill
// for the rest (which adds nothing), and each pass once a second takes all blocks so far.
float expectedGatedLevel (double power, int frames, int rate)
{
    const int hop = rate / 10, blockLength = (int) (0.4 * rate), blocks = 10 * ((frames - 1) / rate);
    double sum = 0;
    for (int k = 1; k <= blocks; ++k)
        sum += std::min (k * hop + 1, blockLength) / (double) blockLength;
    return (float) (10.0 * std::log10 (power * sum / blocks) - 0.691);
}

Signal noise (double rate, double seconds, float amplitude, unsigned seed, int channels = 2)
{
    std::mt19937 gen (seed);
    std::uniform_real_distribution<float> dist (-amplitude, amplitude);
    return testaudio::generate (rate, channels, (int) (seconds * rate), [&] (int, int) { return dist (gen); });
}

const float* rightOf (const Signal& s) { return s.numChannels() > 1 ? s.channels[1].data() : nullptr; }

// Second pass over a whole signal in read blocks of 16384.
void analyseAll (MultiFrequencyAnalysis& mf, const Signal& s)
{
    for (int pos = 0; pos < s.numFrames(); pos += 16384)
        mf.analyseBlock (s.channels[0].data() + pos, rightOf (s) ? rightOf (s) + pos : nullptr, std::min (16384, s.numFrames() - pos));
}

// Both passes as a loading track drives them: meter every read block (with a last empty
// round for a whole number of blocks), then analyse the chosen ones.
std::vector<int> runTwoPasses (MultiFrequencyAnalysis& mf, const Signal& s)
{
    mf.resetBands();
    const float* r = rightOf (s);
    for (int pos = 0; pos <= s.numFrames(); pos += 16384)
        mf.meterBlock (s.channels[0].data() + pos, r ? r + pos : nullptr, std::min (16384, s.numFrames() - pos));
    const auto chosen = chooseLoudBlocks (mf.blockLevels);
    for (int j : chosen)
        mf.analyseBlock (s.channels[0].data() + j * 16384, r ? r + j * 16384 : nullptr,
                         std::max (0, std::min (16384, s.numFrames() - j * 16384)));
    return chosen;
}

bool at70 (const std::array<float, numBands>& bands)
{
    return std::all_of (bands.begin(), bands.end(), [] (float v) { return v == -70.0f; });
}

// Equal bits, or both NaN.
template <typename T>
bool sameBits (T a, T b)
{
    return std::memcmp (&a, &b, sizeof a) == 0 || (std::isnan (a) && std::isnan (b));
}

bool allSilent (const MultiFrequencyAnalysis& mf) { return at70 (mf.stereoBands) && at70 (mf.midBands) && at70 (mf.sideBands); }

// The band filter written out plainly: division by a0 on every sample, in double. (The
// analysis runs both channels in one loop on coefficients divided through beforehand.)
void literalFilter (const BiQuadBandpassVector& f, double st[4], std::vector<double>& v)
{
    for (auto& x : v)
    {
        const double y = (f.b0 * x + f.b1 * st[0] + f.b2 * st[1] - f.a1 * st[2] - f.a2 * st[3]) / f.a0;
        st[1] = st[0], st[0] = x, st[3] = st[2], st[2] = y;
        x = y;
    }
}

// A band processor as the analysis sets one up.
std::unique_ptr<LUFSProcessor<3000>> bandProcessor (double rate)
{
    auto p = std::make_unique<LUFSProcessor<3000>>();
    p->sampleRate = (float) rate;
    p->prepare();
    p->resetMeasure (true, -70.0f);
    return p;
}
} // namespace

TEST (BandFilter, PeakGainIsUnityAtCentreAndHalfPowerPointsAreAnOctaveApart)
{
    for (double rate : { 44100.0, 48000.0, 96000.0 })
        for (int centre : MultiFrequencyAnalysis::bandCentres)
        {
            SCOPED_TRACE (std::to_string (centre) + " Hz at " + std::to_string (rate));
            BiQuadBandpassVector f;
            f.calculateCoefficients (rate, centre, 1.0f);
            EXPECT_NEAR (magnitude (f, centre, rate), 1.0, 1e-9);
            if (centre > rate / 4) // the warped top bands are wider, and lopsided
                continue;
            const auto halfPower = [&] (double inside, double outside)
            {
                for (int k = 0; k < 100; ++k)
                {
                    const double m = (inside + outside) / 2;
                    (std::pow (magnitude (f, m, rate), 2) > 0.5 ? inside : outside) = m;
                }
                return inside;
            };
            EXPECT_NEAR (std::log2 (halfPower (centre, rate / 2) / halfPower (centre, 1e-3)), 1.0, 0.015);
        }
}

// Every kernel against the scalar one (two bands a loop, as the analysis ran them before it
// had lanes), piece after piece on the same delay lines: real bands at rates from 22.05 to
// 192 kHz, pieces of every length up to a few thousand, and signals that now and then hold
// denormals, huge values, infinities and NaNs. Every bit agrees but a NaN's sign, which the
// compiler's choice of operand order decides and no result shows.
TEST (BandFilter, EveryKernelLeavesTheScalarFiltersBitsAndDelayLines)
{
    const float specials[] = { 1e-40f, -3e-39f, 3e38f, -0.0f, -2.5e38f, INFINITY, -INFINITY, NAN };
    std::mt19937 gen (21);
    for (auto kernel : { BandKernel::portable, BandKernel::avx, BandKernel::avx512 })
    {
        if (! bandKernelAvailable (kernel))
            continue;
        for (int trial = 0; trial < 24; ++trial)
        {
            SCOPED_TRACE (testing::Message() << "kernel " << (int) kernel << " trial " << trial);
            const int channels = (trial / 4) % 2 + 1;
            const double rate = std::uniform_real_distribution<double> (22050.0, 192000.0) (gen);
            const int count = trial % 3 == 0 ? numBands : std::uniform_int_distribution<int> (1, 16) (gen);
            std::vector<BiQuadBandpassVector> fast ((size_t) count);
            for (int b = 0; b < count; ++b)
            {
                fast[(size_t) b].calculateCoefficients (rate, MultiFrequencyAnalysis::bandCentres[b % numBands] * (1.0 + b / 14),
                                                        std::uniform_real_distribution<float> (0.3f, 2.0f) (gen));
                fast[(size_t) b].initialiseState();
                for (auto& channel : fast[(size_t) b].state)
                    for (auto& v : channel)
                        v = std::uniform_real_distribution<double> (-0.1, 0.1) (gen);
            }
            auto plain = fast;
            const int specialKinds = trial % 4 == 3 ? 8 : trial % 4 == 1 ? 4 : 0; // all, or the finite ones
            for (int piece = 0; piece < 8; ++piece)
            {
                const int n = piece % 2 == 0 ? std::uniform_int_distribution<int> (0, 9) (gen)
                                             : std::uniform_int_distribution<int> (10, 3000) (gen);
                std::vector<float> in[2];
                for (auto& c : in)
                    for (int i = 0; i < n; ++i)
                        c.push_back (specialKinds > 0 && piece > 4 && gen() % 97 == 0 ? specials[gen() % specialKinds]
                                                            : std::uniform_real_distribution<float> (-1.0f, 1.0f) (gen));
                if (specialKinds == 4 && n > 0) // a -0 that the delay lines must keep
                    in[0].back() = in[1].back() = -0.0f;
                const float* right = channels == 2 ? in[1].data() : nullptr;
                // A guard after each output: nothing may be written past n.
                std::vector<std::vector<float>> got ((size_t) (2 * count), std::vector<float> ((size_t) n + 1, 7.0f));
                auto want = got;
                auto run = [&] (std::vector<BiQuadBandpassVector>& filters, std::vector<std::vector<float>>& outputs, BandKernel k)
                {
                    std::vector<float*> outs;
                    for (auto& o : outputs)
                        outs.push_back (o.data());
                    filterBands (filters.data(), count, in[0].data(), right, outs.data(), n, k);
                };
                run (fast, got, kernel);
                run (plain, want, BandKernel::portable);
                for (size_t o = 0; o < got.size(); ++o)
                    ASSERT_TRUE (std::equal (got[o].begin(), got[o].end(), want[o].begin(), sameBits<float>))
                        << "piece " << piece << " output " << o << " of " << n;
                for (int b = 0; b < count; ++b)
                    ASSERT_TRUE (std::equal (fast[(size_t) b].state[0], fast[(size_t) b].state[0] + 8, plain[(size_t) b].state[0],
                                             sameBits<double>)) << b;
            }
        }
    }
}

TEST (BandAnalysis, MatchesThePlainFrameByFrameMeasure)
{
    for (int channels : { 2, 1 })
    {
        SCOPED_TRACE (channels);
        auto signal = noise (44100.0, 2.2, 0.7f, 11, channels);
        for (int i = 0; i < signal.numFrames(); ++i) // a swell, so the gates have work to do
            for (auto& c : signal.channels)
                c[i] *= (float) (0.05 + i / (double) signal.numFrames());
        MultiFrequencyAnalysis mf;
        mf.prepareBands (44100.0);
        for (int pos = 0, n = 16384; pos < signal.numFrames(); pos += n, n = n == 16384 ? 5000 : 16384)
        {
            n = std::min (n, signal.numFrames() - pos);
            mf.analyseBlock (signal.channels[0].data() + pos, channels == 2 ? signal.channels[1].data() + pos : nullptr, n);
        }
        // The plain reading: the whole signal through the literal filter, narrowed to float,
        // and the stereo, mid and side powers fed frame by frame to a processor each.
        for (int b = 0; b < numBands; ++b)
        {
            BiQuadBandpassVector f;
            f.calculateCoefficients (44100.0, MultiFrequencyAnalysis::bandCentres[b], 1.0f);
            double state[2][4] {};
            std::vector<double> l (signal.channels[0].begin(), signal.channels[0].end()), r (l.size(), 0.0);
            literalFilter (f, state[0], l);
            if (channels == 2)
                r.assign (signal.channels[1].begin(), signal.channels[1].end()), literalFilter (f, state[1], r);
            auto stereo = bandProcessor (44100.0), mid = bandProcessor (44100.0), side = bandProcessor (44100.0);
            float s = 0.0f, m = 0.0f, d = 0.0f;
            for (size_t i = 0; i < l.size(); ++i)
            {
                const float lf = (float) l[i], rf = (float) r[i];
                s = stereo->integratedStep (channels == 2 ? lf * lf + rf * rf : lf * lf);
                m = mid->integratedStep (channels == 2 ? (lf + rf) * (lf + rf) : 0.0f);
                d = side->integratedStep (channels == 2 ? (lf - rf) * (lf - rf) : 0.0f);
            }
            EXPECT_TRUE (std::abs (mf.stereoBands[b] - s) < 0.001f && std::abs (mf.midBands[b] - m) < 0.001f
                         && std::abs (mf.sideBands[b] - d) < 0.001f) << b << ": " << s << " " << m << " " << d;
        }
        EXPECT_GT (mf.stereoBands[band1k], -40.0f);
    }

    // At 32 kHz the 18 kHz band, above Nyquist, still reads a number.
    MultiFrequencyAnalysis mf;
    mf.prepareBands (32000.0);
    analyseAll (mf, noise (32000.0, 1.2, 0.5f, 3));
    for (int b = 0; b < numBands; ++b)
        EXPECT_TRUE (std::isfinite (mf.stereoBands[b]) && std::isfinite (mf.midBands[b]) && std::isfinite (mf.sideBands[b])) << b;
    EXPECT_GT (mf.stereoBands[numBands - 1], -70.0f);
}

// The band pass as it is written plainly: each band's filter over the block, then its three
// processors fed frame by frame. The side-by-side version must leave the same bits.
TEST (BandAnalysis, SideBySideMatchesTheBandByBandWalkBitForBit)
{
    for (int channels : { 2, 1 })
        for (double rate : { 44100.0, 48000.0, 22050.0 })
        {
            SCOPED_TRACE (testing::Message() << channels << " channels at " << rate);
            auto signal = noise (rate, 3.3, 0.6f, 5 + channels, channels);
            for (int i = 0; i < signal.numFrames(); ++i)
                for (auto& c : signal.channels)
                    c[(size_t) i] *= (float) (0.02 + i / (double) signal.numFrames());
            MultiFrequencyAnalysis fast, plain;
            fast.prepareBands (rate);
            plain.prepareBands (rate);
            std::vector<float> l (16384), r (16384);
            const int sizes[] = { 16384, 1, 4410, 16384, 777, 9000 };
            for (int pos = 0, k = 0; pos < signal.numFrames(); ++k)
            {
                const int n = std::min (sizes[k % 6], signal.numFrames() - pos);
                const float* left = signal.channels[0].data() + pos;
                const float* right = channels == 2 ? signal.channels[1].data() + pos : nullptr;
                fast.analyseBlock (left, right, n);
                for (int b = 0; b < numBands; ++b)
                {
                    plain.filters[(size_t) b].filterBlock (left, right, l.data(), r.data(), n);
                    for (int i = 0; i < n; ++i)
                    {
                        const float lf = l[(size_t) i], rf = channels == 2 ? r[(size_t) i] : 0.0f;
                        plain.stereoBands[(size_t) b] = plain.stereoProcessors[(size_t) b]->integratedStep (channels == 2 ? lf * lf + rf * rf : lf * lf);
                        plain.midBands[(size_t) b] = plain.midProcessors[(size_t) b]->integratedStep (channels == 2 ? (lf + rf) * (lf + rf) : 0.0f);
                        plain.sideBands[(size_t) b] = plain.sideProcessors[(size_t) b]->integratedStep (channels == 2 ? (lf - rf) * (lf - rf) : 0.0f);
                    }
                }
                pos += n;
                ASSERT_EQ (0, std::memcmp (fast.stereoBands.data(), plain.stereoBands.data(), sizeof (float) * numBands)) << "block " << k;
                ASSERT_EQ (0, std::memcmp (fast.midBands.data(), plain.midBands.data(), sizeof (float) * numBands)) << "block " << k;
                ASSERT_EQ (0, std::memcmp (fast.sideBands.data(), plain.sideBands.data(), sizeof (float) * numBands)) << "block " << k;
            }
            EXPECT_GT (fast.stereoBands[band1k], -40.0f);
            for (int b = 0; b < numBands; ++b)
                EXPECT_EQ (0, std::memcmp (fast.filters[(size_t) b].state, plain.filters[(size_t) b].state, sizeof (double) * (channels == 2 ? 8 : 4)));
        }
}

// The pass split in two ranges of bands, each on a thread of its own as the load runs it,
// leaves the bits of one call over every band: lists, delay lines and the last band's output,
// an empty block included.
TEST (BandAnalysis, TwoRangesOfBandsOnTwoThreadsLeaveWhatOneCallLeaves)
{
    for (int channels : { 2, 1 })
    {
        SCOPED_TRACE (testing::Message() << channels << " channels");
        auto signal = noise (44100.0, 2.7, 0.7f, 11 + channels, channels);
        MultiFrequencyAnalysis whole, split;
        whole.prepareBands (44100.0);
        split.prepareBands (44100.0);
        const int frames = signal.numFrames();
        const float* left = signal.channels[0].data();
        const float* right = rightOf (signal);
        std::vector<std::pair<int, int>> blocks;
        for (int pos = 0; pos < frames; pos += 16384)
            blocks.emplace_back (pos, std::min (16384, frames - pos));
        blocks.emplace_back (frames, 0);
        for (auto [pos, n] : blocks)
        {
            whole.analyseBlock (left + pos, right != nullptr ? right + pos : nullptr, n);
            std::thread upper ([&, pos = pos, n = n]
                               { split.analyseBlockBands (left + pos, right != nullptr ? right + pos : nullptr, n, 6, numBands); });
            split.analyseBlockBands (left + pos, right != nullptr ? right + pos : nullptr, n, 0, 6);
            upper.join();
            EXPECT_EQ (0, std::memcmp (whole.stereoBands.data(), split.stereoBands.data(), sizeof (float) * numBands));
            EXPECT_EQ (0, std::memcmp (whole.midBands.data(), split.midBands.data(), sizeof (float) * numBands));
            EXPECT_EQ (0, std::memcmp (whole.sideBands.data(), split.sideBands.data(), sizeof (float) * numBands));
            if (n == 16384)
            {
                EXPECT_EQ (whole.leftBand, split.leftBand);
                EXPECT_EQ (whole.rightBand, split.rightBand);
            }
            if (pos == 16384 * 2)
                EXPECT_GT (split.stereoBands[band1k], -40.0f);
        }
        EXPECT_EQ (split.stereoBands[band1k], -70.0f); // the empty block last
        for (int b = 0; b < numBands; ++b)
            EXPECT_EQ (0, std::memcmp (whole.filters[(size_t) b].state, split.filters[(size_t) b].state, sizeof (double) * 8)) << b;
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
        for (int b : { band1k, band2k, band3k, band4k })
        {
            const double gain = magnitude (mf.filters[b], frequency, rate);
            EXPECT_NEAR (mf.stereoBands[b], expectedGatedLevel (amplitude * amplitude * gain * gain, signal.numFrames(), rate), 0.02)
                << frequency << " Hz in band " << b;
            // mid = (l + r)^2 = 4 l^2 against 2 l^2: +3.01 dB; nothing passes the side gate.
            EXPECT_NEAR (mf.midBands[b] - mf.stereoBands[b], 10.0 * std::log10 (2.0), 0.01);
        }
        EXPECT_TRUE (at70 (mf.sideBands));
    }
    EXPECT_LT (mf.stereoBands[band4k], mf.stereoBands[band3k] - 3.0f);

    // Mono counts the left channel alone, as a silent right would, and leaves mid and side at -70.
    const auto mono = testaudio::sine (rate, 1, 1.5, 1000.0, amplitude);
    auto silentRight = mono;
    silentRight.channels.emplace_back (mono.channels[0].size(), 0.0f);
    MultiFrequencyAnalysis withSilentRight;
    withSilentRight.prepareBands (rate);
    mf.resetBands();
    analyseAll (mf, mono);
    analyseAll (withSilentRight, silentRight);
    EXPECT_NEAR (mf.stereoBands[band1k], expectedGatedLevel (amplitude * amplitude / 2, mono.numFrames(), rate), 0.02);
    EXPECT_EQ (mf.stereoBands, withSilentRight.stereoBands);
    EXPECT_TRUE (at70 (mf.midBands) && at70 (mf.sideBands));
}

TEST (BandAnalysis, UnderASecondOrAnEmptyBlockReadsMinus70AndResetStartsOver)
{
    MultiFrequencyAnalysis mf;
    mf.prepareBands (44100);
    analyseAll (mf, noise (44100, 0.99, 0.9f, 1));
    EXPECT_TRUE (allSilent (mf));
    analyseAll (mf, noise (44100, 0.5, 0.9f, 2)); // now past a second: a gated value
    EXPECT_GT (mf.stereoBands[band1k], -30.0f);
    mf.analyseBlock (nullptr, nullptr, 0);
    EXPECT_TRUE (allSilent (mf));

    // A reset starts over like a fresh preparation; the lists wait for the next analysis.
    const auto first = noise (44100, 1.3, 0.9f, 8), second = noise (44100, 1.2, 0.1f, 9);
    MultiFrequencyAnalysis fresh;
    fresh.prepareBands (44100);
    runTwoPasses (mf, first);
    const auto kept = mf.stereoBands;
    mf.resetBands();
    EXPECT_TRUE (mf.blockLevels.empty());
    EXPECT_EQ (mf.stereoBands, kept);
    runTwoPasses (mf, second);
    runTwoPasses (fresh, second);
    EXPECT_EQ (mf.stereoBands, fresh.stereoBands);
    EXPECT_EQ (mf.midBands, fresh.midBands);
    EXPECT_EQ (mf.sideBands, fresh.sideBands);
}

TEST (BlockMeter, ReadsTheUnfilteredThreeSecondLevelOfEachBlock)
{
    const double amplitude = 0.5;
    MultiFrequencyAnalysis mf;
    mf.prepareBands (44100);
    for (int channels : { 2, 1 })
    {
        const auto chosen = runTwoPasses (mf, testaudio::sine (44100, channels, 16384 * 12 / 44100.0, 1000.0, amplitude));
        ASSERT_EQ (mf.blockLevels.size(), 13u); // a whole number of blocks: a last empty round
        EXPECT_EQ (mf.blockLevels.back(), -70.0f);
        const float steady = (float) (10.0 * std::log10 (amplitude * amplitude * channels / 2.0) - 0.691);
        for (size_t j = 9; j < 12; ++j) // windows wholly inside the audio
            EXPECT_NEAR (mf.blockLevels[j], steady, 0.01) << j;
        EXPECT_LT (mf.blockLevels[0], steady - 6.0f); // the window starts out filled with -70
        EXPECT_EQ (chosen.back(), 11);
    }

    // Digital silence: -infinity once the -70 fill is gone, and the bands stay at -70.
    runTwoPasses (mf, testaudio::generate (48000, 2, 48000 * 5, [] (int, int) { return 0.0f; }));
    EXPECT_EQ (mf.blockLevels[10], -std::numeric_limits<float>::infinity());
    EXPECT_TRUE (allSilent (mf));
}

// Only the last renewal in a block is summed; every level and the state left behind must be
// those of stepping the meter frame by frame, over blocks shorter than a hop and longer than
// the whole window.
TEST (BlockMeter, ARunLeavesWhatFrameByFrameStepsLeaveBitForBit)
{
    for (int channels : { 2, 1 })
        for (double rate : { 44100.0, 48000.0 })
        {
            SCOPED_TRACE (testing::Message() << channels << " channels at " << rate);
            auto signal = noise (rate, 9.0, 0.6f, 11 + channels, channels);
            for (int i = 0; i < signal.numFrames(); ++i)
                for (auto& c : signal.channels)
                    c[(size_t) i] *= (float) (0.01 + (i % 100000) / 100000.0);
            MultiFrequencyAnalysis fast, plain;
            fast.prepareBands (rate);
            plain.prepareBands (rate);
            auto& meter = *plain.stereoProcessors[0];
            const int sizes[] = { 16384, 1, 4410, 4411, 777, 150000, 0, 16384 };
            for (int pos = 0, k = 0; pos < signal.numFrames(); ++k)
            {
                const int n = std::min (sizes[k % 8], signal.numFrames() - pos);
                const float* left = signal.channels[0].data() + pos;
                const float* right = channels == 2 ? signal.channels[1].data() + pos : nullptr;
                fast.meterBlock (left, right, n);
                float level = -70.0f;
                for (int i = 0; i < n; ++i)
                    level = meter.shortTermStep (right != nullptr ? meter.plainPower (left[i], right[i]) : left[i] * left[i]);
                pos += n;
                ASSERT_EQ (std::bit_cast<std::uint32_t> (fast.blockLevels.back()), std::bit_cast<std::uint32_t> (level)) << "block " << k;
            }
            EXPECT_GT (fast.blockLevels.back(), -40.0f);
        }
}

TEST (BlockMeter, BlocksTakenTogetherLeaveTheLevelsOfBlocksTakenOneByOne)
{
    // Batches of every size, blocks from empty to longer than the window, both layouts.
    std::mt19937 gen (17);
    for (int channels : { 2, 1 })
    {
        SCOPED_TRACE (testing::Message() << channels << " channels");
        auto signal = noise (44100.0, 40.0, 0.6f, 21 + channels, channels);
        for (int i = 0; i < signal.numFrames(); ++i)
            for (auto& c : signal.channels)
                c[(size_t) i] *= (float) (0.01 + (i % 300000) / 300000.0);
        MultiFrequencyAnalysis together, alone;
        together.prepareBands (44100.0);
        alone.prepareBands (44100.0);
        const int frames = signal.numFrames();
        int pos = 0;
        while (pos < frames)
        {
            std::vector<int> sizes;
            int batchFrames = 0;
            for (int k = std::uniform_int_distribution<int> (1, 12) (gen); k > 0 && pos + batchFrames < frames; --k)
            {
                const int pick = std::uniform_int_distribution<int> (0, 9) (gen);
                int n = pick == 0 ? 0 : pick == 1 ? std::uniform_int_distribution<int> (1, 50) (gen)
                                      : pick == 2 ? 140000 : 16384;
                n = std::min (n, frames - pos - batchFrames);
                sizes.push_back (n);
                batchFrames += n;
            }
            const float* left = signal.channels[0].data() + pos;
            const float* right = channels == 2 ? signal.channels[1].data() + pos : nullptr;
            together.meterBlocks (left, right, sizes.data(), (int) sizes.size());
            for (int n : sizes)
            {
                alone.meterBlock (left, right, n);
                left += n;
                right = right != nullptr ? right + n : nullptr;
            }
            pos += batchFrames;
            ASSERT_EQ (together.blockLevels.size(), alone.blockLevels.size());
            for (size_t j = 0; j < alone.blockLevels.size(); ++j)
                ASSERT_EQ (std::bit_cast<std::uint32_t> (together.blockLevels[j]), std::bit_cast<std::uint32_t> (alone.blockLevels[j]))
                    << "block " << j;
        }
        EXPECT_GT (together.blockLevels.size(), 40u);
        EXPECT_GT (together.blockLevels.back(), -40.0f);
    }
}

TEST (BlockChoice, TakesBlocksLessThanOneAndAHalfDecibelsUnderTheLoudest)
{
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ (chooseLoudBlocks ({ -14.0f, -14.0f, -14.0f }), (std::vector<int> { 0, 1, 2 }));
    EXPECT_EQ (chooseLoudBlocks ({ -11.75f, -10.25f, -11.7499f, -30.0f }), (std::vector<int> { 1, 2 }));
    EXPECT_EQ (chooseLoudBlocks ({ -inf, -12.0f, -inf, -12.5f }), (std::vector<int> { 1, 3 }));
    EXPECT_TRUE (chooseLoudBlocks ({ -inf, -inf }).empty());
    EXPECT_TRUE (chooseLoudBlocks ({}).empty());

    // A quiet verse and a loud chorus: the chorus alone is measured.
    auto signal = testaudio::sine (44100, 2, 4.0, 1000.0, 0.05);
    testaudio::append (signal, testaudio::sine (44100, 2, 6.0, 1000.0, 0.5));
    MultiFrequencyAnalysis mf;
    mf.prepareBands (44100);
    const auto chosen = runTwoPasses (mf, signal);
    ASSERT_GE (chosen.size(), 5u); // enough chorus for the gate to speak
    int frames = 0;
    for (int j : chosen)
    {
        EXPECT_GE (j * 16384, 4 * 44100) << j; // no chosen block holds verse
        frames += std::min (16384, signal.numFrames() - j * 16384);
    }
    EXPECT_NEAR (mf.stereoBands[band1k], expectedGatedLevel (0.25, frames, 44100), 0.05);
}
