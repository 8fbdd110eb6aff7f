// The true-peak processor's vectorised sums held against the sums written out phase by
// phase, each phase with its own ring: estimates, phase outputs, rings and positions must
// agree to the last bit, whatever the input and whatever came before.

#include "measure/TruePeakProcessor.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace
{
// The interpolator the long way round: every phase stores each sample in its own ring and
// sums its taps newest first, wrapping round the ring.
template <int P, int T>
struct LiteralTruePeak
{
    struct Phase
    {
        double coefficients[T] {};
        double history[T] {};
        int position = 0;
    };

    void loadPrototype (const double* h)
    {
        for (int p = 0; p < P; ++p)
            for (int k = 0; k < T; ++k)
                phase[p].coefficients[k] = h[k * P + p];
    }

    float process (float sample)
    {
        const double x = sample;
        for (int p = 0; p < P; ++p)
        {
            auto& f = phase[p];
            f.history[f.position] = x;
            double y = 0.0;
            for (int k = 0; k < T; ++k)
            {
                int index = f.position - k;
                if (index < 0)
                    index += T;
                y += f.coefficients[k] * f.history[index];
            }
            if (++f.position == T)
                f.position = 0;
            outputs[p] = static_cast<float> (y);
        }
        float largest = 0.0f;
        for (int p = 0; p < P; ++p)
        {
            const float magnitude = outputs[p] < 0.0f ? -outputs[p] : outputs[p];
            if (magnitude > largest)
                largest = magnitude;
        }
        return static_cast<float> (P) * largest;
    }

    Phase phase[P];
    float outputs[P] {};
};

uint32_t bitsOf (float v)
{
    uint32_t b;
    std::memcpy (&b, &v, sizeof b);
    return b;
}

// Every instruction set this machine can run, so that each is held against the oracle.
using Kernel = TruePeakKernel;

std::vector<Kernel> kernelsHere()
{
    std::vector<Kernel> kernels;
    for (Kernel k : { Kernel::portable, Kernel::sse2, Kernel::avx, Kernel::avx512 })
        if (TruePeakProcessor<16, 16>::kernelAvailable (k))
            kernels.push_back (k);
    return kernels;
}

const char* nameOf (Kernel k)
{
    switch (k)
    {
        case Kernel::sse2: return "SSE2";
        case Kernel::avx: return "AVX";
        case Kernel::avx512: return "AVX-512";
        default: return "portable";
    }
}

// Processor and oracle side by side, fed the same samples.
template <int P, int T>
struct Pair
{
    explicit Pair (Kernel k = TruePeakProcessor<16, 16>::fastestKernel()) { use (k); }

    void use (Kernel k) { fast.kernel = k; }

    TruePeakProcessor<P, T> fast;
    LiteralTruePeak<P, T> literal;

    void load (const double* h)
    {
        fast.loadPrototype (h);
        literal.loadPrototype (h);
    }

    // Feeds the samples to both and stops at the first estimate or phase output that differs.
    void feed (const std::vector<float>& samples)
    {
        for (size_t i = 0; i < samples.size(); ++i)
        {
            const float a = fast.process (samples[i]);
            const float b = literal.process (samples[i]);
            ASSERT_EQ (bitsOf (a), bitsOf (b)) << "sample " << i << " (" << samples[i] << "): " << a << " vs " << b;
            for (int p = 0; p < P; ++p)
                ASSERT_EQ (bitsOf (fast.outputs[p]), bitsOf (literal.outputs[p])) << "sample " << i << " phase " << p;
        }
    }

    void expectSameRings()
    {
        fast.syncPhaseHistories();
        for (int p = 0; p < P; ++p)
        {
            EXPECT_EQ (fast.phase[p].position, literal.phase[p].position) << "phase " << p;
            EXPECT_EQ (0, std::memcmp (fast.phase[p].history, literal.phase[p].history, sizeof (double) * T)) << "phase " << p;
            EXPECT_EQ (0, std::memcmp (fast.phase[p].coefficients, literal.phase[p].coefficients, sizeof (double) * T))
                << "phase " << p;
        }
    }
};

const double* const tables[] = { truepeak::prototypeA, truepeak::prototypeB, truepeak::prototypeC, truepeak::prototypeD };

// Input of many kinds: noise at several levels, clipped square-ish runs that overshoot
// between samples, sines near the top of the band, runs of silence and of tiny values.
std::vector<float> mixedSignal (std::mt19937& rng, int length)
{
    std::uniform_real_distribution<float> unit (-1.0f, 1.0f);
    std::uniform_int_distribution<int> kind (0, 5);
    std::uniform_int_distribution<int> runLength (1, 90);
    std::vector<float> x;
    x.reserve ((size_t) length);
    while ((int) x.size() < length)
    {
        const int n = runLength (rng);
        const int k = kind (rng);
        const float level = std::pow (10.0f, -3.0f * std::abs (unit (rng)));
        const double f = 0.2 + 0.3 * std::abs ((double) unit (rng));
        for (int i = 0; i < n && (int) x.size() < length; ++i)
        {
            switch (k)
            {
                case 0: x.push_back (level * unit (rng)); break;
                case 1: x.push_back (unit (rng) < 0.0f ? -1.0f : 1.0f); break;
                case 2: x.push_back ((float) (level * std::sin (2.0 * 3.14159265358979 * f * i))); break;
                case 3: x.push_back (i % 2 == 0 ? 0.0f : -0.0f); break;
                case 4: x.push_back (1e-39f * unit (rng)); break; // below the normal range of float
                default: x.push_back (16.0f * unit (rng)); break;
            }
        }
    }
    return x;
}

template <int P, int T>
void compareOnTables (std::mt19937& rng)
{
    for (Kernel kernel : kernelsHere())
    {
        SCOPED_TRACE (testing::Message() << P << " x " << T << ", " << nameOf (kernel));
        Pair<P, T> pair (kernel);
        for (const double* table : tables)
        {
            pair.load (table);
            for (int trial = 0; trial < 3; ++trial)
            {
                pair.feed (mixedSignal (rng, 1200));
                if (testing::Test::HasFatalFailure())
                    return;
            }
            pair.expectSameRings();
        }
    }
}

template <int P, int T>
void compareOnRandomCoefficients (std::mt19937& rng)
{
    std::normal_distribution<double> spread (0.0, 0.05);
    std::uniform_real_distribution<float> unit (-1.0f, 1.0f);
    std::uniform_int_distribution<int> runLength (T, 3 * T);
    for (Kernel kernel : kernelsHere())
    {
        SCOPED_TRACE (testing::Message() << P << " x " << T << ", " << nameOf (kernel));
        Pair<P, T> pair (kernel);
        for (int trial = 0; trial < 10; ++trial)
        {
            // Every other set adds huge taps of alternating sign, and the input holds still
            // for runs longer than a ring: the huge products cancel, and what is left of the
            // small ones depends on the order of the additions, so any change of order shows.
            const bool cancelling = trial % 2 == 1;
            double h[256];
            for (int i = 0; i < 256; ++i)
                h[i] = spread (rng) + (cancelling ? ((i / P) % 2 == 0 ? 1e9 : -1e9) : 0.0);
            pair.load (h);

            std::vector<float> x;
            while (x.size() < 700)
            {
                const float level = unit (rng);
                const int n = runLength (rng);
                for (int i = 0; i < n; ++i)
                    x.push_back (cancelling ? level : unit (rng));
            }
            pair.feed (x);
            if (testing::Test::HasFatalFailure())
                return;
        }
        pair.expectSameRings();
    }
}

// A first run, then reset and a new prototype, then a second run: the second starts with
// the tail of the first in every phase.
template <int P, int T>
void compareAcrossResetAndReload (std::mt19937& rng, Kernel kernel)
{
    SCOPED_TRACE (testing::Message() << P << " x " << T << ", " << nameOf (kernel));
    Pair<P, T> pair (kernel);
    pair.load (truepeak::prototypeA);
    // A length that leaves the rings part way round, ending loud.
    auto first = mixedSignal (rng, 5 * T + 7);
    std::uniform_real_distribution<float> loud (0.5f, 1.0f);
    for (size_t i = first.size() - (size_t) T; i < first.size(); ++i)
        first[i] = i % 2 == 0 ? loud (rng) : -loud (rng);
    pair.feed (first);
    ASSERT_FALSE (testing::Test::HasFatalFailure());
    pair.fast.syncPhaseHistories();
    const int positionBefore = pair.fast.phase[0].position;
    EXPECT_NE (positionBefore, 0);

    pair.fast.reset();
    pair.load (truepeak::prototypeD);
    pair.expectSameRings();
    EXPECT_EQ (pair.fast.phase[P - 1].position, positionBefore);

    // Silence after loud audio: only the carried tail makes the first T estimates.
    const std::vector<float> quiet ((size_t) (2 * T), 0.0f);
    std::vector<float> estimates;
    for (float v : quiet)
    {
        estimates.push_back (pair.fast.process (v));
        EXPECT_EQ (estimates.back(), pair.literal.process (v));
    }
    float tail = 0.0f;
    for (int i = 0; i < T - 1; ++i)
        tail = std::max (tail, estimates[(size_t) i]);
    EXPECT_GT (tail, 0.0f);
    EXPECT_EQ (estimates.back(), 0.0f);
    pair.expectSameRings();

    pair.feed (mixedSignal (rng, 3 * T + 3));
    pair.expectSameRings();
}
} // namespace

TEST (TruePeakOracle, MatchesTheLiteralSumsOnTheTablesBitForBit)
{
    std::mt19937 rng (20240611);
    compareOnTables<16, 16> (rng);
    compareOnTables<8, 32> (rng);
    compareOnTables<4, 64> (rng);
}

TEST (TruePeakOracle, MatchesTheLiteralSumsOnRandomCoefficients)
{
    std::mt19937 rng (99);
    compareOnRandomCoefficients<16, 16> (rng);
    compareOnRandomCoefficients<8, 32> (rng);
    compareOnRandomCoefficients<4, 64> (rng);
}

TEST (TruePeakOracle, CarriesTheRingsAcrossResetAndANewPrototype)
{
    std::mt19937 rng (5);
    for (Kernel kernel : kernelsHere())
    {
        compareAcrossResetAndReload<16, 16> (rng, kernel);
        compareAcrossResetAndReload<8, 32> (rng, kernel);
        compareAcrossResetAndReload<4, 64> (rng, kernel);
    }
}

TEST (TruePeakOracle, VersionsTakeOverFromEachOtherMidStream)
{
    // All versions keep the same rings, so switching between them changes nothing.
    std::mt19937 rng (41);
    const auto kernels = kernelsHere();
    Pair<16, 16> pair;
    pair.load (truepeak::prototypeA);
    for (int block = 0; block < 24; ++block)
    {
        pair.use (kernels[(size_t) block % kernels.size()]);
        pair.feed (mixedSignal (rng, 37));
        ASSERT_FALSE (testing::Test::HasFatalFailure()) << "block " << block;
    }
    pair.expectSameRings();
}

TEST (TruePeakOracle, OneObjectFedTwoChannelsInTurnMatchesTheLiteralStream)
{
    // Above 96 kHz left and right go through one processor, its prototype loaded twice.
    std::mt19937 rng (17);
    const auto left = mixedSignal (rng, 1000);
    const auto right = mixedSignal (rng, 1000);
    for (Kernel kernel : kernelsHere())
    {
        SCOPED_TRACE (nameOf (kernel));
        Pair<4, 64> pair (kernel);
        pair.load (truepeak::prototypeD);
        pair.load (truepeak::prototypeD);
        for (size_t i = 0; i < left.size(); ++i)
        {
            for (float v : { left[i], right[i] })
            {
                const float a = pair.fast.process (v);
                const float b = pair.literal.process (v);
                ASSERT_EQ (bitsOf (a), bitsOf (b)) << "frame " << i;
            }
        }
        pair.expectSameRings();
    }
}

TEST (TruePeakOracle, NonFiniteInputPassesAsInTheLiteralSums)
{
    // A NaN or an infinity in a float file poisons the sums that hold it; such outputs are
    // passed over in the comparison, and both versions do the same with them.
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    std::mt19937 rng (3);
    auto signal = mixedSignal (rng, 400);
    signal[50] = nan;
    signal[200] = inf;
    signal[201] = -inf;
    signal[330] = nan;

    for (Kernel kernel : kernelsHere())
    {
        SCOPED_TRACE (nameOf (kernel));
        Pair<16, 16> a (kernel);
        a.load (truepeak::prototypeB);
        a.feed (signal);
        Pair<8, 32> b (kernel);
        b.load (truepeak::prototypeC);
        b.feed (signal);
        Pair<4, 64> c (kernel);
        c.load (truepeak::prototypeD);
        c.feed (signal);

        // Once the poison has left the rings the estimates are ordinary numbers again.
        EXPECT_TRUE (std::isfinite (a.fast.process (0.5f)));
        EXPECT_TRUE (std::isfinite (c.fast.process (0.5f)));
    }
}

namespace
{
// Left and right through processors side by side; `shared` feeds both channels to one
// processor, as above 96 kHz.
template <int P, int T>
void comparePairs (std::mt19937& rng, Kernel kernel, bool shared)
{
    SCOPED_TRACE (testing::Message() << P << " x " << T << ", " << nameOf (kernel) << (shared ? ", shared" : ""));
    TruePeakProcessor<P, T> left, right;
    LiteralTruePeak<P, T> literalLeft, literalRight;
    auto& second = shared ? left : right;
    auto& literalSecond = shared ? literalLeft : literalRight;
    left.kernel = right.kernel = kernel;

    const double* table = P == 16 ? truepeak::prototypeA : P == 8 ? truepeak::prototypeC : truepeak::prototypeD;
    for (auto* tp : { &left, &right })
        tp->loadPrototype (table);
    literalLeft.loadPrototype (table);
    literalRight.loadPrototype (table);

    // Some frames one channel at a time first, so the pair starts part way round the rings.
    const auto warmUp = mixedSignal (rng, T / 2 + 3);
    for (float v : warmUp)
    {
        left.process (v);
        literalLeft.process (v);
    }

    // One frame of both channels, two frames of both, or two frames of the left alone, in a
    // random order.
    const auto l = mixedSignal (rng, 900);
    const auto r = mixedSignal (rng, 900);
    for (size_t i = 0; i < l.size(); ++i)
    {
        const int way = i + 1 < l.size() ? std::uniform_int_distribution<int> (0, 2) (rng) : 0;
        if (way == 0)
        {
            float a = 0.0f, b = 0.0f;
            left.processPair (second, l[i], r[i], a, b);
            const float expectedA = literalLeft.process (l[i]);
            const float expectedB = literalSecond.process (r[i]);
            ASSERT_EQ (bitsOf (a), bitsOf (expectedA)) << "frame " << i;
            ASSERT_EQ (bitsOf (b), bitsOf (expectedB)) << "frame " << i;
        }
        else if (way == 1)
        {
            float e[4];
            left.processTwoPairs (second, l[i], r[i], l[i + 1], r[i + 1], e);
            const float expected[4] { literalLeft.process (l[i]), literalSecond.process (r[i]),
                                      literalLeft.process (l[i + 1]), literalSecond.process (r[i + 1]) };
            for (int k = 0; k < 4; ++k)
                ASSERT_EQ (bitsOf (e[k]), bitsOf (expected[k])) << "two frames from " << i << ", estimate " << k;
            ++i;
        }
        else
        {
            float a = 0.0f, b = 0.0f;
            left.processTwo (l[i], l[i + 1], a, b);
            ASSERT_EQ (bitsOf (a), bitsOf (literalLeft.process (l[i]))) << "left alone from " << i;
            ASSERT_EQ (bitsOf (b), bitsOf (literalLeft.process (l[i + 1]))) << "left alone from " << i;
            ++i;
        }
        for (int p = 0; p < P; ++p)
        {
            ASSERT_EQ (bitsOf (left.outputs[p]), bitsOf (literalLeft.outputs[p])) << "frame " << i << " phase " << p;
            ASSERT_EQ (bitsOf (second.outputs[p]), bitsOf (literalSecond.outputs[p])) << "frame " << i << " phase " << p;
        }
    }
    left.syncPhaseHistories();
    second.syncPhaseHistories();
    for (int p = 0; p < P; ++p)
    {
        EXPECT_EQ (left.phase[p].position, literalLeft.phase[p].position);
        EXPECT_EQ (second.phase[p].position, literalSecond.phase[p].position);
        EXPECT_EQ (0, std::memcmp (left.phase[p].history, literalLeft.phase[p].history, sizeof (double) * T));
        EXPECT_EQ (0, std::memcmp (second.phase[p].history, literalSecond.phase[p].history, sizeof (double) * T));
    }

    // Single samples after pairs go on from the same rings.
    for (float v : mixedSignal (rng, 2 * T))
        ASSERT_EQ (bitsOf (second.process (v)), bitsOf (literalSecond.process (v)));
}
} // namespace

TEST (TruePeakOracle, PairedChannelsAndFramesMatchTheLiteralSumsOneAfterTheOther)
{
    std::mt19937 rng (1234);
    for (Kernel kernel : kernelsHere())
    {
        for (bool shared : { false, true })
        {
            comparePairs<16, 16> (rng, kernel, shared);
            comparePairs<8, 32> (rng, kernel, shared);
            comparePairs<4, 64> (rng, kernel, shared);
        }
    }
}

TEST (TruePeakOracle, StereoFeedPairsLikeProcessorsAndFallsBackForMixedOnes)
{
    // Whatever the feed resolves to, it gives what process() on left then right gives.
    std::mt19937 rng (77);
    TruePeakProcessor<16, 16> a, b;
    TruePeakProcessor<8, 32> c;
    TruePeakProcessor<4, 64> d;
    LiteralTruePeak<16, 16> la, lb;
    LiteralTruePeak<8, 32> lc;
    LiteralTruePeak<4, 64> ld;
    a.loadPrototype (truepeak::prototypeB);
    b.loadPrototype (truepeak::prototypeB);
    c.loadPrototype (truepeak::prototypeC);
    d.loadPrototype (truepeak::prototypeD);
    la.loadPrototype (truepeak::prototypeB);
    lb.loadPrototype (truepeak::prototypeB);
    lc.loadPrototype (truepeak::prototypeC);
    ld.loadPrototype (truepeak::prototypeD);

    EXPECT_NE (truepeak::stereoFeedFor (a, b), &truepeak::feedOneByOne);
    EXPECT_NE (truepeak::stereoFeedFor (d, d), &truepeak::feedOneByOne);
    EXPECT_EQ (truepeak::stereoFeedFor (a, c), &truepeak::feedOneByOne);

    auto check = [&] (TruePeakProcessorBase& x, TruePeakProcessorBase& y, auto& lx, auto& ly, const char* what)
    {
        SCOPED_TRACE (what);
        const auto feed = truepeak::stereoFeedFor (x, y);
        const auto l = mixedSignal (rng, 300);
        const auto r = mixedSignal (rng, 300);
        for (size_t i = 0; i < l.size(); ++i)
        {
            float e = 0.0f, f = 0.0f;
            feed (x, y, l[i], r[i], e, f);
            ASSERT_EQ (bitsOf (e), bitsOf (lx.process (l[i]))) << i;
            ASSERT_EQ (bitsOf (f), bitsOf (ly.process (r[i]))) << i;
        }
        // Two frames at a time: both channels, then the left alone.
        const auto twoFrames = truepeak::stereoTwoFrameFeedFor (x, y);
        const auto twoOfLeft = truepeak::twoFrameFeedFor (x);
        for (size_t i = 0; i + 1 < l.size(); i += 2)
        {
            float e[4];
            twoFrames (x, y, l[i], r[i], l[i + 1], r[i + 1], e);
            const float expected[4] { lx.process (l[i]), ly.process (r[i]), lx.process (l[i + 1]), ly.process (r[i + 1]) };
            for (int k = 0; k < 4; ++k)
                ASSERT_EQ (bitsOf (e[k]), bitsOf (expected[k])) << i << ", estimate " << k;
        }
        for (size_t i = 0; i + 1 < l.size(); i += 2)
        {
            float e = 0.0f, f = 0.0f;
            twoOfLeft (x, l[i], l[i + 1], e, f);
            ASSERT_EQ (bitsOf (e), bitsOf (lx.process (l[i]))) << i;
            ASSERT_EQ (bitsOf (f), bitsOf (lx.process (l[i + 1]))) << i;
        }
    };
    check (a, b, la, lb, "two 16 x 16");
    check (c, c, lc, lc, "one 8 x 32 for both");
    check (d, d, ld, ld, "one 4 x 64 for both");
    check (a, c, la, lc, "16 x 16 and 8 x 32");
}

// The bound the frame walk uses to leave sums out: no estimate is above the ceiling times the
// largest magnitude among the last T samples, not even for the window that lines up with
// the signs of the loudest phase's taps (where the sum reaches the bound bar rounding), and
// skipping a sample keeps the history as processing it does.
template <int P, int T>
void expectCeilingHolds (const double* prototype, std::mt19937& rng)
{
    TruePeakProcessor<P, T> tp, twin;
    tp.loadPrototype (prototype);
    twin.loadPrototype (prototype);
    int loudest = 0;
    double largestGain = 0.0;
    for (int p = 0; p < P; ++p)
    {
        double gain = 0.0;
        for (int k = 0; k < T; ++k)
            gain += std::abs (tp.phase[p].coefficients[k]);
        if (gain > largestGain)
            largestGain = gain, loudest = p;
    }
    std::vector<float> signal = mixedSignal (rng, 2000);
    for (int k = T - 1; k >= 0; --k) // newest last: tap 0 meets the newest sample
        signal.push_back (tp.phase[loudest].coefficients[k] < 0.0 ? -0.75f : 0.75f);
    std::vector<float> recent;
    float estimate = 0.0f;
    for (size_t i = 0; i < signal.size(); ++i)
    {
        recent.push_back (std::abs (signal[i]));
        if (recent.size() > (size_t) T)
            recent.erase (recent.begin());
        estimate = tp.process (signal[i]);
        const double largest = *std::max_element (recent.begin(), recent.end());
        ASSERT_LE ((double) estimate, tp.estimateCeiling() * largest) << i;
        twin.skip (signal[i]);
    }
    // The aligned window comes within a hair of the bound: it is tight, and was met.
    EXPECT_GT ((double) estimate, 0.99999 * tp.estimateCeiling() * 0.75);
    twin.syncPhaseHistories();
    tp.syncPhaseHistories();
    for (int p = 0; p < P; ++p)
        ASSERT_EQ (0, std::memcmp (tp.phase[p].history, twin.phase[p].history, sizeof (double) * T)) << p;
}

TEST (TruePeakOracle, CeilingBoundsEveryEstimateAndSkippingKeepsTheHistory)
{
    std::mt19937 rng (23);
    expectCeilingHolds<16, 16> (truepeak::prototypeA, rng);
    expectCeilingHolds<16, 16> (truepeak::prototypeB, rng);
    expectCeilingHolds<8, 32> (truepeak::prototypeC, rng);
    expectCeilingHolds<4, 64> (truepeak::prototypeD, rng);
}
