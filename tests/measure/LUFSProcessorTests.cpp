#include "measure/LUFSProcessor.h"

#include <gtest/gtest.h>

#include <cstring>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace
{
constexpr float minusInfinity = -std::numeric_limits<float>::infinity();
constexpr float plusInfinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
const float fill70 = powf (10.0f, (-70.0f + 0.691f) / 10.0f); // what a reset at -70 fills with

template <int N = 3000>
std::unique_ptr<LUFSProcessor<N>> makeProcessor (double rate)
{
    auto p = std::make_unique<LUFSProcessor<N>>();
    p->sampleRate = (double) (float) rate;
    p->prepare();
    return p;
}

// The state the analysis loop puts a processor in before a run.
template <int N>
void startAnalysis (LUFSProcessor<N>& p)
{
    p.resetMeasure (false, -70.0f);
    std::fill_n (p.shortTermRing.get(), p.shortTermLength, powf (10.0f, -6.9309f));
    std::fill_n (p.peakRing.get(), p.peakLength, 0.0f);
    p.shortTermValue = minusInfinity;
    p.shortTermWrite = p.peakWrite = 0;
    p.rollingPeak = 0.0f;
    p.shortTermHistory.clear();
    p.rangeValue = plusInfinity;
}

std::uint32_t bitsOf (float f) { return std::bit_cast<std::uint32_t> (f); }
bool sameFloat (float a, float b) { return bitsOf (a) == bitsOf (b) || (std::isnan (a) && std::isnan (b)); }

// ---------------------------------------------------------------------------------------------
// The measures written out plainly, a logarithm or power per entry, std::partition and a full
// sort: the oracles for the faster passes of the processor.

float plainLevel (float p) { return 10.0f * log10f (p) - 0.691f; }

template <typename Pass>
int moveToFront (std::vector<float>& v, int count, Pass&& pass)
{
    return (int) (std::partition (v.begin(), v.begin() + count, pass) - v.begin());
}

float sumOf (const std::vector<float>& v, int n, float (*f) (float) = [] (float x) { return x; })
{
    float sum = 0.0f;
    for (int i = 0; i < n; ++i)
        sum += f (v[(size_t) i]);
    return sum;
}

void literalGatingPass (std::vector<float>& bag, float& integrated)
{
    const int m = moveToFront (bag, (int) bag.size(), [] (float b) { return plainLevel (b) > -70.0f; });
    if (m == 0)
        return;
    const float gate = std::max (-70.0f, plainLevel (sumOf (bag, m) / (float) m) - 10.0f);
    const int n = moveToFront (bag, m, [gate] (float b) { return plainLevel (b) > gate; });
    integrated = plainLevel (sumOf (bag, n) / (float) n);
}

float literalRange (std::vector<float>& history, float s, float current)
{
    history.push_back (s);
    const int m = moveToFront (history, (int) history.size(), [] (float v) { return v >= -70.0f; });
    if (m == 0)
        return current;
    const float g = 10.0f * log10f (sumOf (history, m, [] (float v) { return powf (10.0f, v / 10.0f); }) / (float) m) - 20.0f;
    const int n = moveToFront (history, m, [g] (float v) { return v >= g; });
    if (n == 0)
        return current;
    std::sort (history.begin(), history.begin() + n);
    const float c = (float) (n - 1);
    return history[(size_t) roundf (c * 95.0f / 100.0f)] - history[(size_t) roundf (c * 10.0f / 100.0f)];
}

// ---------------------------------------------------------------------------------------------

double magnitudeDb (const KWeightingCoefficients& c, double frequency, double rate)
{
    const auto z1 = std::polar (1.0, -2.0 * M_PI * frequency / rate);
    return 20.0 * std::log10 (std::abs ((c.b0 + c.b1 * z1 + c.b2 * z1 * z1) / (c.a0 + c.a1 * z1 + c.a2 * z1 * z1)));
}

// The analogue prototypes of shelf and high-pass, mapped by the bilinear transform with the
// corner prewarped: u = j tan(pi f / fs) / tan(pi f0 / fs). The high-pass keeps the numerator
// 1, -2, 1 of the published table instead of scaling it to unit gain, which lifts it by
// 1 + k/q + k^2 over the prototype (about 0.04 dB).
double prototypeDb (double frequency, double rate)
{
    const double w = std::tan (M_PI * frequency / rate), k = std::tan (M_PI * 38.13547087602444 / rate);
    const std::complex<double> u (0.0, w / std::tan (M_PI * 1681.974450955533 / rate)), v (0.0, w / k);
    const double q1 = 0.7071752369554196, vh = 1.584864701130855, vb = 1.258720930232562, q2 = 0.5003270373238773;
    return 20.0 * std::log10 (std::abs ((vh * u * u + vb * u / q1 + 1.0) / (u * u + u / q1 + 1.0)))
         + 20.0 * std::log10 (std::abs ((v * v) / (v * v + v / q2 + 1.0)) * (1.0 + k / q2 + k * k));
}

TEST (KWeighting, PublishedCoefficientsAt48kHzAndTheSameAnalogueDesignAtOtherRates)
{
    const double published[2][6] = { { 1.5351248595869695, -2.6916961894063793, 1.1983928108528497, 1.0,
                                       -1.6906592931824103, 0.7324807742158501 },
                                     { 1.0, -2.0, 1.0, 1.0, -1.9900474548339797, 0.9900722503662099 } };
    const KWeightingCoefficients design[2] = { kWeightingShelf (48000.0), kWeightingHighPass (48000.0) };
    // The processor holds them rounded to float, the same on both channels.
    auto p = makeProcessor (48000.0);
    const BiQuad<float>* held[2][2] = { { &p->leftStage1, &p->rightStage1 }, { &p->leftStage2, &p->rightStage2 } };
    for (int stage = 0; stage < 2; ++stage)
    {
        const auto& d = design[stage];
        const double designed[] = { d.b0, d.b1, d.b2, d.a0, d.a1, d.a2 };
        for (const auto* f : held[stage])
        {
            const float rounded[] = { f->b0, f->b1, f->b2, f->a0, f->a1, f->a2 };
            for (int i = 0; i < 6; ++i)
            {
                EXPECT_NEAR (designed[i], published[stage][i], 1e-13) << stage << "/" << i;
                EXPECT_EQ (rounded[i], (float) published[stage][i]) << stage << "/" << i;
            }
        }
    }
    for (double rate : { 44100.0, 32000.0, 96000.0, 192000.0 })
        for (double f : { 10.0, 20.0, 38.0, 100.0, 997.0, 1681.0, 5000.0, 0.45 * rate })
            EXPECT_NEAR (magnitudeDb (kWeightingShelf (rate), f, rate) + magnitudeDb (kWeightingHighPass (rate), f, rate),
                         prototypeDb (f, rate), 1e-7) << rate << " Hz, " << f;
    // A 44.1 kHz processor holds the 44.1 kHz design.
    auto q = makeProcessor (44100.0);
    EXPECT_EQ (q->leftStage1.a1, (float) kWeightingShelf (44100.0).a1);
    EXPECT_EQ (q->rightStage2.a2, (float) kWeightingHighPass (44100.0).a2);
}

// The run of powers must be the frame-by-frame powers to the bit, and leave the four filters
// where the frame-by-frame calls leave them, over runs of any length (none included) and
// samples of every kind: loud, tiny, denormal, signed zeros, infinities and NaN (which files
// never bring, as the reader zeroes them, but overflowing filters can make).
TEST (KWeighting, PowersOfARunAreTheFrameByFramePowersBitForBit)
{
    std::mt19937 random (11);
    std::uniform_real_distribution<float> level (-1.5f, 1.5f);
    const float odd[] = { 0.0f, -0.0f, 1e-40f, -3e-39f, plusInfinity, minusInfinity, notANumber, 1e30f };
    auto sample = [&]
    {
        const auto pick = random() % 64;
        return pick < (int) std::size (odd) ? odd[pick] : pick < 20 ? level (random) * 1e-6f : level (random);
    };
    // A NaN's sign depends on which operand the compiler puts first; any NaN stands for any other.
    const auto same = [] (float a, float b)
    { return (std::isnan (a) && std::isnan (b)) || std::bit_cast<std::uint32_t> (a) == std::bit_cast<std::uint32_t> (b); };

    for (double rate : { 44100.0, 48000.0, 96000.0 })
    {
        auto literal = makeProcessor (rate);
        auto run = makeProcessor (rate);
        for (int round = 0; round < 60; ++round)
        {
            const int n = round == 0 ? 0 : (int) (random() % 2500);
            std::vector<float> left ((size_t) n), right ((size_t) n), weighted ((size_t) n), plain ((size_t) n);
            for (int k = 0; k < n; ++k)
                left[(size_t) k] = sample(), right[(size_t) k] = sample();
            // After a NaN or infinity the filters hold it for good; now and then they start over.
            if (round % 7 == 0)
                for (auto* f : { &literal->leftStage1, &literal->leftStage2, &literal->rightStage1, &literal->rightStage2,
                                 &run->leftStage1, &run->leftStage2, &run->rightStage1, &run->rightStage2 })
                    f->clearHistory();
            run->kWeightedPowers (left.data(), right.data(), n, weighted.data(), plain.data());
            for (int k = 0; k < n; ++k)
            {
                const float w = literal->kWeightedPower (left[(size_t) k], right[(size_t) k]);
                const float p = literal->plainPower (left[(size_t) k], right[(size_t) k]);
                ASSERT_TRUE (same (w, weighted[(size_t) k])) << rate << " round " << round << " frame " << k << ": " << w << " vs " << weighted[(size_t) k];
                ASSERT_TRUE (same (p, plain[(size_t) k])) << rate << " round " << round << " frame " << k;
            }
            const BiQuad<float>* a[] = { &literal->leftStage1, &literal->leftStage2, &literal->rightStage1, &literal->rightStage2 };
            const BiQuad<float>* b[] = { &run->leftStage1, &run->leftStage2, &run->rightStage1, &run->rightStage2 };
            for (int f = 0; f < 4; ++f)
                ASSERT_TRUE (same (a[f]->x1, b[f]->x1) && same (a[f]->x2, b[f]->x2) && same (a[f]->y1, b[f]->y1)
                             && same (a[f]->y2, b[f]->y2))
                    << rate << " round " << round << " filter " << f;
        }
    }
}

// ---------------------------------------------------------------------------------------------

TEST (LoudnessProcessor, ShortTermRenewsOnItsHopIndexAndReadsLowUntilTheWindowFills)
{
    constexpr double rate = 8000.0;
    auto p = makeProcessor (rate);
    startAnalysis (*p);
    const int hop = p->shortTermHop;
    float value = 0.0f;
    for (int i = 0; i < 4 * (int) rate; ++i)
    {
        bool renewed = false;
        value = p->shortTermStep (0.5f, &renewed);
        ASSERT_EQ (renewed, i > 0 && i % hop == 0) << i;
        if (i < hop)
            ASSERT_EQ (value, minusInfinity) << i;
        if (i == hop) // a tenth of the window holds audio, the rest the -70 fill
            EXPECT_NEAR (value, plainLevel (0.5f * (float) (hop + 1) / (3.0f * (float) rate)), 0.01);
    }
    EXPECT_NEAR (value, plainLevel (0.5f), 1e-4);

    // A new run keeps the hop phase of the short-term and peak side; the gated side starts over.
    const int phase = p->shortTermCount, peakPhase = p->peakCount;
    startAnalysis (*p);
    EXPECT_TRUE (p->shortTermCount == phase && p->peakCount == peakPhase && p->blockCount + p->integratedCount == 0);

    // The short-term level of digital silence is -infinity.
    std::fill_n (p->shortTermRing.get(), p->shortTermLength, 0.0f);
    for (int i = 0; i <= hop; ++i)
        value = p->shortTermStep (0.0f);
    EXPECT_EQ (value, minusInfinity);

    // A rate with a fraction: hops from the truncated rate, the three-second windows from the
    // whole one, peakLength worked out again whatever the caller left in it.
    auto q = std::make_unique<LUFSProcessor<3000>>();
    q->sampleRate = 22050.5;
    q->peakLength = 7;
    q->prepare();
    EXPECT_EQ (std::vector<int> ({ q->blockHop, q->shortTermHop, q->peakHop, q->rangeHop, q->integratedHop, q->blockLength,
                                   q->shortTermLength, q->peakLength }),
               std::vector<int> ({ 2205, 2205, 2205, 2205, 22050, 8820, 66151, 66151 }));
}

TEST (LoudnessProcessor, RenewalsSummedAheadMatchTheStepsBitForBit)
{
    // Runs of random length from random ring positions and hop phases, with powers of every
    // kind, stepped once through shortTermStep and once through sums made ahead.
    std::mt19937 gen (11);
    auto stepped = makeProcessor (8000.0), ahead = makeProcessor (8000.0);
    startAnalysis (*stepped);
    startAnalysis (*ahead);
    using Processor = LUFSProcessor<3000>;
    const int most = Processor::maxAhead * stepped->shortTermHop;
    const float odd[] { 0.0f, -0.0f, 1e-40f, 3e38f, std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::quiet_NaN() };
    for (int round = 0; round < 60; ++round)
    {
        const int n = std::uniform_int_distribution<int> (1, most) (gen);
        std::vector<float> powers ((size_t) n);
        for (auto& v : powers)
            v = std::uniform_int_distribution<int> (0, 999) (gen) == 0 && round % 4 == 3
                    ? odd[std::uniform_int_distribution<int> (0, 5) (gen)]
                    : std::uniform_real_distribution<float> (0.0f, 1.0f) (gen);
        int at[Processor::maxAhead];
        float sums[Processor::maxAhead];
        const int count = ahead->sumRenewalsAhead (powers.data(), n, at, sums);
        int next = 0, renewed = 0;
        for (int k = 0; k < n; ++k)
        {
            bool renewal = false;
            const float expected = stepped->shortTermStep (powers[(size_t) k], &renewal);
            renewed += renewal ? 1 : 0;
            const float sum = next < count && at[next] == k ? sums[next++] : 0.0f;
            ASSERT_EQ (bitsOf (ahead->shortTermStepSummed (powers[(size_t) k], sum)), bitsOf (expected))
                << "round " << round << ", frame " << k;
        }
        ASSERT_EQ (count, renewed) << round;
        // Some single steps between runs move the ring and the hop phase on.
        for (int k = std::uniform_int_distribution<int> (0, 3 * stepped->shortTermHop) (gen); k > 0; --k)
            ASSERT_EQ (bitsOf (ahead->shortTermStep (0.25f)), bitsOf (stepped->shortTermStep (0.25f)));
    }
}

TEST (LoudnessProcessor, BlockSumsFormedAheadForTwoProcessorsMatchTheStepsBitForBit)
{
    // Two processors in step (weighted and plain powers), stepped once through integratedStep
    // and once through block sums formed ahead side by side, from random ring positions, with
    // powers of every kind; the gating passes between must read the same blocks.
    std::mt19937 gen (12);
    using Processor = LUFSProcessor<3000>;
    auto a = makeProcessor (8000.0), b = makeProcessor (8000.0), aAhead = makeProcessor (8000.0),
         bAhead = makeProcessor (8000.0);
    for (auto* p : { a.get(), b.get(), aAhead.get(), bAhead.get() })
        p->resetMeasure (false, -70.0f);
    const float odd[] { 0.0f, -0.0f, 1e-40f, 3e38f, std::numeric_limits<float>::infinity(),
                        std::numeric_limits<float>::quiet_NaN() };
    auto power = [&] (int round)
    {
        return std::uniform_int_distribution<int> (0, 999) (gen) == 0 && round % 4 == 3
                   ? odd[std::uniform_int_distribution<int> (0, 5) (gen)]
                   : std::uniform_real_distribution<float> (0.0f, 1.0f) (gen);
    };
    int formed = 0;
    for (int round = 0; round < 80; ++round)
    {
        const int n = std::uniform_int_distribution<int> (1, 2 * a->blockLength) (gen);
        std::vector<float> x ((size_t) n), y ((size_t) n);
        for (int k = 0; k < n; ++k)
            x[(size_t) k] = power (round), y[(size_t) k] = power (round);
        int at[Processor::maxBlocksAhead];
        float sums[2 * Processor::maxBlocksAhead];
        const int count = Processor::blockSumsAhead (*aAhead, x.data(), *bAhead, y.data(), n, at, sums);
        ASSERT_LE (count, Processor::maxBlocksAhead);
        int next = 0;
        for (int k = 0; k < n; ++k)
        {
            const bool due = aAhead->blockDue();
            float got, gotPlain;
            if (next < count && at[next] == k)
            {
                ASSERT_TRUE (due) << round << " " << k;
                got = aAhead->integratedStepSummed (x[(size_t) k], sums[next]);
                gotPlain = bAhead->integratedStepSummed (y[(size_t) k], sums[count + next]);
                ++next, ++formed;
            }
            else
            {
                // Past the sums formed ahead (beyond a ring's length) blocks form one by one.
                ASSERT_TRUE (! due || next == count) << round << " " << k;
                got = aAhead->integratedStep (x[(size_t) k]);
                gotPlain = bAhead->integratedStep (y[(size_t) k]);
            }
            ASSERT_EQ (bitsOf (got), bitsOf (a->integratedStep (x[(size_t) k]))) << round << " " << k;
            ASSERT_EQ (bitsOf (gotPlain), bitsOf (b->integratedStep (y[(size_t) k]))) << round << " " << k;
        }
        ASSERT_EQ (next, count);
    }
    EXPECT_GT (formed, 100);
    EXPECT_EQ (0, std::memcmp (a->blockPowers, aAhead->blockPowers, sizeof (float) * (size_t) a->blockPowersFilled));

    // Processors out of step get no sums.
    aAhead->integratedStep (0.5f);
    int at[Processor::maxBlocksAhead];
    float sums[2 * Processor::maxBlocksAhead];
    const float one = 1.0f;
    EXPECT_EQ (Processor::blockSumsAhead (*aAhead, &one, *bAhead, &one, 1, at, sums), 0);
}

TEST (LoudnessProcessor, IntegratedWaitsForItsFirstSecondAndHoldsTheResetLevel)
{
    constexpr double rate = 8000.0;
    for (bool keep : { false, true })
    {
        SCOPED_TRACE (keep);
        auto p = makeProcessor (rate);
        p->resetMeasure (keep, -70.0f);
        const float held = keep ? -70.0f : minusInfinity;
        for (int i = 0; i < p->integratedHop; ++i)
            ASSERT_EQ (p->integratedStep (1.0f), held) << i;
        const float first = p->integratedStep (1.0f); // renewed once a second, held in between
        EXPECT_GT (first, -10.0f);
        for (int i = 1; i < p->integratedHop; ++i)
            ASSERT_EQ (p->integratedStep (1.0f), first) << i;
        EXPECT_GT (p->integratedStep (1.0f), first);
        // Reset again, silence and powers under -70 leave the reset level: no block passes.
        p->resetMeasure (keep, -70.0f);
        for (int i = 0; i < 3 * (int) rate; ++i)
            ASSERT_EQ (p->integratedStep (i % 2 == 0 ? 0.0f : 1e-9f), held) << i;
    }

    // Shorter than a second, however loud: never gated.
    auto p = makeProcessor (rate);
    startAnalysis (*p);
    for (int i = 0; i < (int) rate; ++i)
        ASSERT_EQ (p->integratedStep (p->kWeightedPower (0.9f, -0.9f)), minusInfinity);

    // A reset fills ring and bag at its level and clears the delay lines of all four filter
    // stages; before a rate it does nothing.
    p->resetMeasure (false, -23.0f);
    const float fill = powf (10.0f, (-23.0f + 0.691f) / 10.0f);
    EXPECT_TRUE (std::all_of (p->blockRing.get(), p->blockRing.get() + p->blockLength, [fill] (float b) { return b == fill; }));
    // The bag holds the fill with nothing of it written.
    EXPECT_EQ (p->blockPowersFilled, 0);
    for (int i = 0; i < 3000; ++i)
        ASSERT_EQ (p->blockPower (i), fill) << i;
    auto fresh = makeProcessor (rate);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ (p->kWeightedPower (0.3f, -0.2f), fresh->kWeightedPower (0.3f, -0.2f)) << i;
    LUFSProcessor<3000> unprepared;
    unprepared.resetMeasure (true, -20.0f);
    EXPECT_EQ (unprepared.integratedValue, minusInfinity);
}

// ---------------------------------------------------------------------------------------------
// The gating pass

TEST (LoudnessGating, TheMinus70FillCountsForNothing)
{
    // The fill of a reset at -70, and the -70 power the analysis puts in the short-term ring,
    // both read exactly -70 in float and so fail the gate, which wants strictly more; the fill
    // sits a few float steps under the first power that passes.
    EXPECT_EQ (loudnessOfPower (fill70), -70.0f);
    EXPECT_EQ (loudnessOfPower (powf (10.0f, -6.9309f)), -70.0f);
    EXPECT_GT (bitsOf (gatePowerFor (-70.0f)) - bitsOf (fill70), 2u);

    auto p = makeProcessor (8000.0);
    p->resetMeasure (true, -70.0f);
    p->integratedValue = -31.5f;
    p->gatingPass();
    EXPECT_EQ (p->integratedValue, -31.5f);
    // Mixed with real blocks, the fill doesn't drag the mean down.
    p->materialiseBlockPowers();
    std::fill_n (p->blockPowers, 40, 0.001f);
    p->gatingPass();
    EXPECT_NEAR (p->integratedValue, plainLevel (0.001f), 1e-4);
}

TEST (LoudnessGating, PartitionOrderIsTheTwoPointerOne)
{
    // pass, fail, pass, fail, pass at the end of a bag that fails from entry 1 on: the first
    // failing entry swaps with the last passing one, and so on inwards.
    auto p = makeProcessor (8000.0);
    p->materialiseBlockPowers();
    const float a = 0.5f, b = 1e-9f, c = 0.25f, e = 0.125f, tail[] = { a, b, c, 0.0f, e };
    std::copy (std::begin (tail), std::end (tail), p->blockPowers + 2995);
    p->blockPowers[0] = 0.3f;
    p->gatingPass();
    EXPECT_EQ (std::vector<float> (p->blockPowers, p->blockPowers + 4), (std::vector<float> { 0.3f, e, c, a }));
    EXPECT_EQ (std::vector<float> (p->blockPowers + 2996, p->blockPowers + 3000), (std::vector<float> { b, 0.0f, 0.0f, 0.0f }));
}

TEST (LoudnessGating, ThresholdPowerIsTheLastPowerThatFailsTheGate)
{
    // With the level never falling as the power rises (checked below), "level > gate" is
    // "power > threshold" when the threshold fails and the next float up passes. The gates:
    // some fixed ones, and levels of random powers less 10 LU, as the relative gate is.
    std::mt19937 gen (2024);
    std::vector<float> gates { -70.0f, -69.99999f, -23.0f, 0.0f, 3.0103f, 40.0f };
    for (int i = 0; i < 200; ++i)
        gates.push_back (std::max (-70.0f, plainLevel (std::uniform_real_distribution<float> (1e-7f, 10.0f) (gen)) - 10.0f));
    for (float gate : gates)
    {
        const float t = gatePowerFor (gate);
        ASSERT_TRUE (std::isfinite (t) && ! (plainLevel (t) > gate)) << gate;
        ASSERT_TRUE (plainLevel (std::nextafter (t, plusInfinity)) > gate) << gate;
    }
    EXPECT_EQ (gatePowerFor (plusInfinity), plusInfinity);
    EXPECT_EQ (gatePowerFor (notANumber), plusInfinity);
}

// Checked over every float from 0 to infinity; too slow for every run (about a minute), so run
// it by hand with --gtest_also_run_disabled_tests after a change of compiler or C library.
TEST (LoudnessGating, DISABLED_LevelNeverFallsOverAllFloats)
{
    long falls = 0, differ = 0;
    float previous = minusInfinity;
    const float t = gatePowerFor (-70.0f);
    for (std::uint32_t b = 0u; b <= 0x7f800000u; ++b)
    {
        const float level = plainLevel (std::bit_cast<float> (b));
        falls += level < previous;
        differ += (level > -70.0f) != (std::bit_cast<float> (b) > t);
        previous = level;
    }
    EXPECT_EQ (falls, 0);
    EXPECT_EQ (differ, 0);
}

// Arrays added side by side by every kernel against a loop over one array at a time: any
// number of arrays, stretches of every length from every start (tails and stretches under
// eight included), entries over forty decades so that the order of the additions shows, and
// now and then infinities, NaNs, denormals and -0. Every bit agrees but a NaN's sign, which
// the compiler's choice of operand order decides (the plain kernel's own group sizes differ
// there) and which no result shows.
TEST (SideBySideSums, EveryKernelAddsEachArrayInIndexOrder)
{
    const float specials[] = { plusInfinity, minusInfinity, notANumber, -notANumber, 1e-41f, -0.0f };
    std::mt19937 gen (17);
    for (int trial = 0; trial < 300; ++trial)
    {
        const int count = trial % 5 == 0 ? 42 : std::uniform_int_distribution<int> (1, 50) (gen);
        const int length = std::uniform_int_distribution<int> (0, trial % 2 == 0 ? 12 : 700) (gen);
        const int from = std::uniform_int_distribution<int> (0, length) (gen);
        const int to = std::uniform_int_distribution<int> (from, length) (gen);
        std::vector<std::vector<float>> data ((size_t) count);
        std::vector<const float*> arrays;
        std::vector<float> start, plain;
        for (auto& a : data)
        {
            for (int i = 0; i < length; ++i)
                a.push_back (trial % 7 == 3 && gen() % 50 == 0
                                 ? specials[gen() % 6]
                                 : std::ldexp (std::uniform_real_distribution<float> (-1.0f, 1.0f) (gen),
                                               std::uniform_int_distribution<int> (-60, 60) (gen)));
            arrays.push_back (a.data());
            start.push_back (std::uniform_real_distribution<float> (-1.0f, 1.0f) (gen));
            float sum = start.back();
            for (int i = from; i < to; ++i)
                sum += a[(size_t) i];
            plain.push_back (sum);
        }
        for (auto kernel : { SumKernel::portable, SumKernel::avx })
        {
            if (! sumKernelAvailable (kernel))
                continue;
            auto sums = start;
            addInOrderSideBySide (arrays.data(), count, from, to, sums.data(), kernel);
            for (int j = 0; j < count; ++j)
                ASSERT_TRUE (sameFloat (plain[(size_t) j], sums[(size_t) j]))
                    << "kernel " << (int) kernel << " trial " << trial << " array " << j << " of " << count;
        }
    }
}

// Random bags of every kind of entry through the processor's pass and the literal one: the
// value and the arrangement they leave must agree exactly, pass after pass on the same bag.
template <int N>
void compareGatingOnRandomBags (unsigned seed, int bags, int passesPerBag)
{
    std::mt19937 gen (seed);
    auto p = makeProcessor<N> (8000.0);
    const float edge = gatePowerFor (-70.0f);
    const auto randomBlock = [&]() -> float
    {
        const int kind = std::uniform_int_distribution<int> (0, 9) (gen);
        return kind < 4 ? std::array<float, 4> { 0.0f, fill70, edge, std::nextafter (edge, 1.0f) }[(size_t) kind]
                        : powf (10.0f, (std::uniform_real_distribution<float> (-95.0f, 12.0f) (gen) + 0.691f) / 10.0f);
    };
    for (int bag = 0; bag < bags; ++bag)
    {
        // Some bags are mostly fill with a run of real blocks, as in a band processor; some
        // are full of blocks spread over the whole scale.
        const int written = bag % 2 == 0 ? std::uniform_int_distribution<int> (0, N / 10) (gen) : N;
        p->materialiseBlockPowers();
        std::fill_n (p->blockPowers, N, fill70);
        for (int i = 0; i < written; ++i)
            p->blockPowers[i] = randomBlock();
        std::vector<float> literal (p->blockPowers, p->blockPowers + N);
        float literalValue = p->integratedValue = -123.0f;
        for (int pass = 0; pass < passesPerBag; ++pass)
        {
            // New blocks land by position between passes, as the write index goes on.
            for (int k = 0; pass > 0 && k < 10; ++k)
            {
                const int at = std::uniform_int_distribution<int> (0, N - 1) (gen);
                literal[(size_t) at] = p->blockPowers[at] = randomBlock();
            }
            p->gatingPass();
            literalGatingPass (literal, literalValue);
            ASSERT_TRUE (sameFloat (p->integratedValue, literalValue)) << bag << "/" << pass;
            ASSERT_TRUE (std::equal (literal.begin(), literal.end(), p->blockPowers, sameFloat)) << bag << "/" << pass;
        }
    }
}

TEST (LoudnessGating, FastPassMatchesTheLiteralPassOnRandomBags)
{
    compareGatingOnRandomBags<3000> (11, 120, 4);
    compareGatingOnRandomBags<180000> (12, 4, 3);
}

// Loud, quiet, silent and sub-gate stretches through integratedStep beside the gated measure
// written out step by step: a 0.4 s ring summed into the bag every tenth of a second, the
// literal pass over the whole bag every second. The short bag wraps; the long one is the band
// processors', whose back is never written.
template <int N>
void compareGatingThroughARun (int seconds)
{
    constexpr int rate = 400;
    auto p = makeProcessor<N> (rate);
    p->resetMeasure (true, -70.0f);
    std::vector<float> ring ((size_t) (0.4 * rate), fill70), bag ((size_t) N, fill70);
    float literal = -70.0f;
    std::mt19937 gen (5);
    for (int i = 0, bagWrite = 0; i < seconds * rate; ++i)
    {
        const float gain[] = { 1.0f, 1e-3f, 0.0f, 1e-8f };
        const float power = gain[(i / 1700) % 4] * std::uniform_real_distribution<float> (0.0f, 1.0f) (gen);
        ring[(size_t) i % ring.size()] = power;
        if (i > 0 && i % (rate / 10) == 0)
            bag[(size_t) bagWrite++ % bag.size()] = sumOf (ring, (int) ring.size()) / (float) ring.size();
        if (i > 0 && i % rate == 0)
            literalGatingPass (bag, literal);
        ASSERT_TRUE (sameFloat (p->integratedStep (power), literal)) << i;
    }
    for (int i = 0; i < N; ++i)
        ASSERT_TRUE (sameFloat (bag[(size_t) i], p->blockPower (i))) << i;
    EXPECT_GT (literal, -10.0f);
    EXPECT_LE (p->blockPowersFilled, std::min (N, seconds * 10));
}

TEST (LoudnessGating, FastPassMatchesTheLiteralPassThroughARun)
{
    compareGatingThroughARun<3000> (400);
    compareGatingThroughARun<180000> (60);
}

// ---------------------------------------------------------------------------------------------

TEST (RollingPeak, HoldsTheLargestMagnitudeOfTheLastThreeSecondsFromItsHopIndexOn)
{
    auto p = makeProcessor (1000.0);
    startAnalysis (*p);
    for (int i = 0; i < p->peakHop; ++i)
        ASSERT_EQ (p->rollingPeakStep (i == 5 ? -0.75f : 0.1f), 0.0f);
    EXPECT_EQ (p->rollingPeakStep (0.2f), 0.75f); // as an absolute value

    // The lane search agrees with the plain search for the largest magnitude on random rings.
    std::mt19937 gen (3);
    for (int round = 0; round < 30; ++round)
    {
        float largest = 0.0f;
        for (int i = 0; i < p->peakLength; ++i)
        {
            p->peakRing[(size_t) i] = (round % 3 == 0 ? 1e-20f : 1.0f) * std::uniform_real_distribution<float> (-1.0f, 1.0f) (gen);
            largest = std::max (largest, std::fabs (p->peakRing[(size_t) i]));
        }
        p->peakCount = p->peakHop + p->startCount;
        p->rollingPeakStep (p->peakRing[(size_t) p->peakWrite]);
        ASSERT_EQ (p->rollingPeak, largest) << round;
    }

    // Fed a record peak (never falling, from zeros), the search-free step gives the same
    // values at every step, across hops and ring wraps.
    auto searching = makeProcessor (1000.0), rising = makeProcessor (1000.0);
    for (auto* q : { searching.get(), rising.get() })
    {
        startAnalysis (*q);
        std::fill (q->peakRing.get(), q->peakRing.get() + q->peakLength, 0.0f);
    }
    float record = 0.0f;
    for (int i = 0; i < 4 * searching->peakLength; ++i)
    {
        if (std::uniform_int_distribution<int> (0, 99) (gen) == 0)
            record = std::max (record, std::uniform_real_distribution<float> (0.0f, 2.0f) (gen));
        ASSERT_EQ (rising->risingPeakStep (record), searching->rollingPeakStep (record)) << i;
    }
}

// ---------------------------------------------------------------------------------------------

TEST (LoudnessRange, EdgeCases)
{
    auto p = makeProcessor (8000.0);
    startAnalysis (*p);
    EXPECT_EQ (p->updateLoudnessRange (minusInfinity), plusInfinity);
    EXPECT_EQ (p->updateLoudnessRange (-70.5f), plusInfinity);
    // -70 itself passes here (at or above), and one entry gives a range of 0.
    EXPECT_EQ (p->updateLoudnessRange (-70.0f), 0.0f);
    EXPECT_EQ (p->updateLoudnessRange (-20.0f), 0.0f); // -70 now falls under the 20 LU gate

    // Six entries: hi = roundf(4.75) = 5, lo = roundf(0.5) = 1 (halves away from zero).
    startAnalysis (*p);
    float range = 0.0f;
    for (float s : { -12.0f, -5.0f, -9.0f, -10.0f, -7.0f, -6.0f })
        range = p->updateLoudnessRange (s);
    EXPECT_EQ (range, -5.0f - -10.0f);

    // Twenty-one entries from -20 to 0: hi = 19, lo = 2.
    startAnalysis (*p);
    for (int i = 20; i >= 0; --i)
        range = p->updateLoudnessRange ((float) -i);
    EXPECT_EQ (range, -1.0f - -18.0f);

    // An emptied history starts again from nothing.
    p->shortTermHistory.clear();
    p->rangeValue = plusInfinity;
    EXPECT_EQ (p->updateLoudnessRange (-30.0f), 0.0f);
    EXPECT_EQ (p->updateLoudnessRange (-33.0f), 3.0f);
}

TEST (LoudnessRange, FastUpdateMatchesTheLiteralUpdate)
{
    std::mt19937 gen (99);
    auto p = makeProcessor (8000.0);
    startAnalysis (*p);
    std::vector<float> literal;
    float literalValue = plusInfinity, drift = -20.0f;
    for (int call = 0; call < 2500; ++call)
    {
        if (call == 1500) // a new run empties the history from outside
        {
            p->shortTermHistory.clear();
            p->rangeValue = literalValue = plusInfinity;
            literal.clear();
        }
        // Mostly a wandering programme level, with jumps, repeats and the odd special value.
        drift = std::clamp (drift + std::uniform_real_distribution<float> (-1.5f, 1.5f) (gen), -75.0f, 0.0f);
        float s = drift;
        switch (std::uniform_int_distribution<int> (0, 19) (gen))
        {
            case 0: s = minusInfinity; break;
            case 1: s = notANumber; break;
            case 2: s = -70.0f; break;
            case 3: s = std::uniform_real_distribution<float> (-80.0f, 0.0f) (gen); break;
            case 4: s = literal.empty() ? s : literal[(size_t) call % literal.size()]; break;
            default: break;
        }
        const float fast = p->updateLoudnessRange (s);
        literalValue = literalRange (literal, s, literalValue);
        ASSERT_TRUE (sameFloat (fast, literalValue)) << call;
        ASSERT_TRUE (std::equal (literal.begin(), literal.end(), p->shortTermHistory.begin(), p->shortTermHistory.end(), sameFloat)) << call;
    }
}

// ---------------------------------------------------------------------------------------------
// Reference signals: a 1 kHz sine on both channels at 48 kHz through (seconds, dBFS peak)
// segments, driven as the analysis drives the processor for a stereo file. The meter renews
// its gated value once a second and never flushes a last part; the cases are long enough for
// that not to matter at the tolerance of the test.

struct Segment
{
    double seconds, dbfs;
};

TEST (ReferenceSignals, IntegratedShortTermAndRange)
{
    struct Case
    {
        std::vector<Segment> segments;
        float integrated, shortTerm, range; // NaN: not checked
    };
    std::vector<Segment> bursts; // every full 3 s window reads -23
    for (int k = 0; k < 6; ++k)
        bursts.insert (bursts.end(), { { 1.34, -20.0 }, { 1.66, -30.0 } });
    const float no = notANumber;
    const Case cases[] = {
        { { { 20.0, -23.0 } }, -23.0f, -23.0f, no },
        { { { 10.0, -36.0 }, { 60.0, -23.0 }, { 10.0, -36.0 } }, -23.0f, no, no },
        { { { 10.0, -72.0 }, { 10.0, -36.0 }, { 60.0, -23.0 }, { 10.0, -36.0 }, { 10.0, -72.0 } }, -23.0f, no, no },
        { { { 20.0, -26.0 }, { 20.1, -20.0 }, { 20.0, -26.0 } }, -23.0f, no, no },
        { bursts, no, -23.0f, no },
        { { { 20.0, -20.0 }, { 20.0, -30.0 } }, no, no, 10.0f },
        { { { 20.0, -20.0 }, { 20.0, -15.0 } }, no, no, 5.0f },
        { { { 20.0, -40.0 }, { 20.0, -20.0 } }, no, no, 20.0f },
        { { { 20.0, -50.0 }, { 20.0, -35.0 }, { 20.0, -20.0 }, { 20.0, -35.0 }, { 20.0, -50.0 } }, no, no, 15.0f },
    };
    constexpr double rate = 48000.0;
    const int rangeInterval = (int) (0.10000000149011612 * rate);
    double period[48]; // 1 kHz repeats every 48 frames
    for (int i = 0; i < 48; ++i)
        period[i] = std::sin (2.0 * M_PI * i / 48.0);
    for (const auto& c : cases)
    {
        SCOPED_TRACE ("case " + std::to_string (&c - cases));
        auto p = makeProcessor (rate);
        startAnalysis (*p);
        float s = minusInfinity, integrated = minusInfinity, range = plusInfinity;
        float lowest = plusInfinity, highest = minusInfinity; // short-term, once the window is full
        const bool withShortTerm = ! std::isnan (c.shortTerm) || ! std::isnan (c.range); // the costly part
        long frame = 0;
        for (int rangeCounter = 0; const auto& segment : c.segments)
        {
            const double amplitude = std::pow (10.0, segment.dbfs / 20.0);
            for (const long end = frame + std::lround (segment.seconds * rate); frame < end; ++frame)
            {
                const auto x = (float) (amplitude * period[(size_t) (frame % 48)]);
                const float power = p->kWeightedPower (x, x);
                s = withShortTerm ? p->shortTermStep (power) : s;
                integrated = p->integratedStep (power);
                if (rangeCounter++ == rangeInterval)
                    range = p->updateLoudnessRange (s), rangeCounter = 0;
                if (frame >= (long) (3.0 * rate) + p->shortTermHop)
                    lowest = std::min (lowest, s), highest = std::max (highest, s);
            }
        }
        EXPECT_TRUE (std::isnan (c.integrated) || std::abs (integrated - c.integrated) < 0.1f) << integrated;
        EXPECT_TRUE (std::isnan (c.shortTerm) || (std::abs (lowest - c.shortTerm) < 0.1f && std::abs (highest - c.shortTerm) < 0.1f))
            << lowest << " .. " << highest;
        EXPECT_TRUE (std::isnan (c.range) || std::abs (range - c.range) < 1.0f) << range;
    }
}
} // namespace
