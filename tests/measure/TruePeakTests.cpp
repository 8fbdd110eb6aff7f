#include "measure/TruePeakProcessor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <random>
#include <vector>

namespace
{
constexpr double pi = 3.14159265358979323846;

double toDb (double linear) { return 20.0 * std::log10 (linear); }

// One prototype with the rate it runs at and what its response has to be.
struct Prototype
{
    const char* name;
    const double* taps;
    double gain;          // sum of the taps
    int phases;           // oversampling factor it is used with
    double inputRate;     // the input rate it serves (the top of its range)
    double passHz;        // end of the flat pass band
    double nominalPassHz; // the pass edge as quoted; the response is only slightly down there
    double stopHz;        // start of the stop band
    double rippleDb;      // pass band within +- this
    double stopDb;        // stop band at or under this
};

const Prototype prototypes[] = {
    { "A", truepeak::prototypeA, 0.9971113003694516, 16, 44100.0, 20000.0, 0.029 * 705600.0, 28000.0, 0.05, -57.1 },
    { "B", truepeak::prototypeB, 0.9956283715356075, 16, 48000.0, 20000.0, 0.0268 * 768000.0, 28000.0, 0.08, -53.6 },
    { "C", truepeak::prototypeC, 0.9980966327401471, 8, 96000.0, 44000.0, 0.0579 * 768000.0, 52000.0, 0.03, -46.9 },
    { "D", truepeak::prototypeD, 0.9994018485827472, 4, 192000.0, 91000.0, 0.119 * 768000.0, 101000.0, 0.01, -56.9 },
};

// |H(f)| of 256 taps, f as a fraction of the rate they run at, by a plain DFT sum.
double magnitude (const double* h, double f)
{
    const std::complex<double> step = std::polar (1.0, -2.0 * pi * f);
    std::complex<double> rotor = 1.0, sum = 0.0;
    for (int n = 0; n < 256; ++n)
    {
        sum += h[n] * rotor;
        rotor *= step;
    }
    return std::abs (sum);
}

struct BandLevels
{
    double lowest = 1e300, highest = -1e300;
};

BandLevels levelsDb (const double* h, double from, double to, int points)
{
    BandLevels b;
    for (int i = 0; i <= points; ++i)
    {
        const double db = toDb (magnitude (h, from + (to - from) * i / points));
        b.lowest = std::min (b.lowest, db);
        b.highest = std::max (b.highest, db);
    }
    return b;
}

// The interpolator written the long way: P - 1 zeros after every sample, the 256-tap
// prototype run at the oversampled rate, P times the largest magnitude of each group of P.
struct Oversampled
{
    std::vector<double> points; // the filtered stream at P times the rate
    std::vector<double> estimates;
};

Oversampled upsampleAndFilter (const double* h, int P, const std::vector<float>& x)
{
    const size_t n = x.size();
    std::vector<double> stuffed (n * (size_t) P, 0.0);
    for (size_t i = 0; i < n; ++i)
        stuffed[i * (size_t) P] = x[i];

    Oversampled out;
    out.points.resize (stuffed.size());
    for (size_t m = 0; m < stuffed.size(); ++m)
    {
        double y = 0.0;
        for (size_t j = 0; j < 256 && j <= m; ++j)
            y += h[j] * stuffed[m - j];
        out.points[m] = y;
    }
    for (size_t i = 0; i < n; ++i)
    {
        double largest = 0.0;
        for (int p = 0; p < P; ++p)
            largest = std::max (largest, std::abs (out.points[i * (size_t) P + (size_t) p]));
        out.estimates.push_back (P * largest);
    }
    return out;
}

std::unique_ptr<TruePeakProcessorBase> makeProcessor (int phases)
{
    switch (phases)
    {
        case 16: return std::make_unique<TruePeakProcessor<16, 16>>();
        case 8: return std::make_unique<TruePeakProcessor<8, 32>>();
        default: return std::make_unique<TruePeakProcessor<4, 64>>();
    }
}

std::unique_ptr<TruePeakProcessorBase> makeLoaded (const Prototype& proto)
{
    auto p = makeProcessor (proto.phases);
    p->loadPrototype (proto.taps);
    return p;
}

// Largest estimate over the signal, skipping the first `skip` samples.
float largestEstimate (TruePeakProcessorBase& tp, const std::vector<float>& x, size_t skip)
{
    float largest = 0.0f;
    for (size_t i = 0; i < x.size(); ++i)
    {
        const float v = tp.process (x[i]);
        if (i >= skip)
            largest = std::max (largest, v);
    }
    return largest;
}

std::vector<float> sineSamples (int count, double cyclesPerSample, double amplitude, double phaseDegrees)
{
    std::vector<float> x ((size_t) count);
    for (int n = 0; n < count; ++n)
        x[(size_t) n] = (float) (amplitude * std::sin (2.0 * pi * cyclesPerSample * n + phaseDegrees * pi / 180.0));
    return x;
}

float samplePeak (const std::vector<float>& x)
{
    float m = 0.0f;
    for (float v : x)
        m = std::max (m, std::abs (v));
    return m;
}
} // namespace

// ---------------------------------------------------------------------------------------
// The prototype tables

TEST (TruePeakPrototypes, AreSymmetricAndSumToTheirGain)
{
    for (const auto& proto : prototypes)
    {
        SCOPED_TRACE (proto.name);
        double sum = 0.0;
        for (int i = 0; i < 256; ++i)
        {
            sum += proto.taps[i];
            EXPECT_NEAR (proto.taps[i], proto.taps[255 - i], 3e-11) << "tap " << i;
        }
        EXPECT_NEAR (sum, proto.gain, 1e-12);
        EXPECT_LT (sum, 1.0);
        // Linear-phase low-pass: the largest taps are the two in the middle.
        const auto* centre = std::max_element (proto.taps, proto.taps + 256);
        EXPECT_TRUE (centre == proto.taps + 127 || centre == proto.taps + 128);
    }
}

TEST (TruePeakPrototypes, HaveAFlatPassBandAndADeepStopBand)
{
    for (const auto& proto : prototypes)
    {
        SCOPED_TRACE (proto.name);
        const double rate = proto.inputRate * proto.phases;

        const auto pass = levelsDb (proto.taps, 0.0, proto.passHz / rate, 3000);
        EXPECT_LE (pass.highest, proto.rippleDb);
        EXPECT_GE (pass.lowest, -proto.rippleDb);
        // Equiripple: the ripple uses most of its room rather than sagging towards the edge.
        EXPECT_GT (pass.highest - pass.lowest, 0.5 * proto.rippleDb);

        const double atQuotedEdge = toDb (magnitude (proto.taps, proto.nominalPassHz / rate));
        EXPECT_LT (atQuotedEdge, 0.0);
        EXPECT_GT (atQuotedEdge, -0.3);

        const auto stop = levelsDb (proto.taps, proto.stopHz / rate, 0.5, 12000);
        EXPECT_LE (stop.highest, proto.stopDb + 0.3);
        EXPECT_GT (stop.highest, proto.stopDb - 1.5); // flat: it doesn't fall away further out

        // The stop band begins past the input's Nyquist frequency: half the input rate is
        // still in the transition, a long way above the stop band.
        EXPECT_GT (toDb (magnitude (proto.taps, 0.5 / proto.phases)), proto.stopDb + 20.0);
    }
}

// ---------------------------------------------------------------------------------------
// The processor's mechanics

template <int P, int T>
void checkPhaseSplit()
{
    SCOPED_TRACE (P);
    double ramp[256];
    for (int i = 0; i < 256; ++i)
        ramp[i] = (i % 3 == 1 ? -1.0 : 1.0) * (i + 1) / 256.0;

    TruePeakProcessor<P, T> tp;
    EXPECT_EQ (tp.phases, P);
    EXPECT_EQ (tp.taps, T);
    tp.loadPrototype (ramp);
    for (int p = 0; p < P; ++p)
    {
        EXPECT_EQ (tp.phase[p].length, T);
        for (int k = 0; k < T; ++k)
            ASSERT_EQ (tp.phase[p].coefficients[k], ramp[k * P + p]) << "phase " << p << " tap " << k;
    }

    // An impulse walks through the taps of each phase in order, newest sample first.
    for (int step = 0; step < T + 2; ++step)
    {
        const float estimate = tp.process (step == 0 ? 1.0f : 0.0f);
        float largest = 0.0f;
        for (int p = 0; p < P; ++p)
        {
            const float expected = step < T ? (float) ramp[step * P + p] : 0.0f;
            ASSERT_EQ (tp.outputs[p], expected) << "step " << step << " phase " << p;
            largest = std::max (largest, std::abs (expected));
        }
        ASSERT_EQ (estimate, (float) P * largest);
    }
}

TEST (TruePeakProcessor, LoadPrototypeDealsTheTapsRoundThePhases)
{
    checkPhaseSplit<16, 16>();
    checkPhaseSplit<8, 32>();
    checkPhaseSplit<4, 64>();
}

TEST (TruePeakProcessor, EqualsUpsamplingAndFilteringAtTheHigherRate)
{
    std::mt19937 rng (7);
    std::uniform_real_distribution<float> noise (-1.0f, 1.0f);
    std::vector<float> x (700);
    for (auto& v : x)
        v = noise (rng);

    for (const auto& proto : prototypes)
    {
        SCOPED_TRACE (proto.name);
        auto tp = makeLoaded (proto);
        const auto reference = upsampleAndFilter (proto.taps, proto.phases, x);
        for (size_t i = 0; i < x.size(); ++i)
            ASSERT_NEAR (tp->process (x[i]), reference.estimates[i], 2e-6) << "sample " << i;
    }
}

TEST (TruePeakProcessor, SilenceAndConstants)
{
    for (const auto& proto : prototypes)
    {
        SCOPED_TRACE (proto.name);
        auto tp = makeLoaded (proto);
        for (int i = 0; i < 600; ++i)
            ASSERT_EQ (tp->process (0.0f), 0.0f);
        for (int i = 0; i < 600; ++i)
            ASSERT_EQ (tp->process (-0.0f), 0.0f);

        // A constant settles on the gain of each phase: on average the taps' sum, a little
        // under the level (see below); the largest phase may sit a hair above it.
        const float level = -0.5f;
        float estimate = 0.0f;
        for (int i = 0; i < 600; ++i)
            estimate = tp->process (level);
        EXPECT_NEAR (toDb (estimate / 0.5), 0.0, 0.15);
    }
}

TEST (TruePeakProcessor, ConstantAveragedOverThePhasesReadsTheTapSum)
{
    const float level = 0.25f;
    auto averageOf = [&] (auto& tp, const Prototype& proto) {
        tp.loadPrototype (proto.taps);
        for (int i = 0; i < 300; ++i)
            tp.process (level);
        // The P phase outputs add up to the level times the sum of all taps.
        double total = 0.0;
        for (float o : tp.outputs)
            total += o;
        EXPECT_NEAR (total, level * proto.gain, 1e-6) << proto.name;
        EXPECT_LT (total, level) << proto.name;
    };
    TruePeakProcessor<16, 16> a, b;
    TruePeakProcessor<8, 32> c;
    TruePeakProcessor<4, 64> d;
    averageOf (a, prototypes[0]);
    averageOf (b, prototypes[1]);
    averageOf (c, prototypes[2]);
    averageOf (d, prototypes[3]);
}

TEST (TruePeakProcessor, HistoryCarriesOverResetAndNewPrototype)
{
    const auto loud = sineSamples (400, 0.1, 0.9, 0.0);
    for (const auto& proto : prototypes)
    {
        SCOPED_TRACE (proto.name);
        const int T = 256 / proto.phases;
        auto used = makeLoaded (proto);
        for (float v : loud)
            used->process (v);

        used->reset();
        used->loadPrototype (proto.taps); // reloading doesn't clear the rings either
        auto fresh = makeLoaded (proto);

        // A second run starts with the tail of the first, for exactly T samples.
        float tail = 0.0f;
        for (int i = 0; i < T - 1; ++i)
        {
            tail = std::max (tail, used->process (0.0f));
            EXPECT_EQ (fresh->process (0.0f), 0.0f);
        }
        EXPECT_GT (tail, 0.01f);
        for (int i = 0; i < 2 * T; ++i)
            ASSERT_EQ (used->process (0.0f), 0.0f) << "sample " << T - 1 + i;
    }
}

// ---------------------------------------------------------------------------------------
// Readings

TEST (TruePeakReadings, QuarterRateSineBetweenItsCrestsReadsItsTruePeak)
{
    // Samples at +-0.707 (-3 dB); the waveform itself reaches 1.0.
    for (const auto& proto : prototypes)
    {
        SCOPED_TRACE (proto.name);
        auto tp = makeLoaded (proto);
        const auto x = sineSamples (1200, 0.25, 1.0, 45.0);
        const double reading = toDb (largestEstimate (*tp, x, 300));
        EXPECT_NEAR (toDb (samplePeak (x)), -3.01, 0.01);
        EXPECT_GE (reading, -0.4);
        EXPECT_LE (reading, 0.2);
    }
}

TEST (TruePeakReadings, BroadcastConformanceSignalsAt48k)
{
    const auto& proto = prototypes[1];
    struct Case
    {
        int number;
        double cyclesPerSample, amplitude, phaseDegrees, expectedDb;
    };
    const Case sines[] = {
        { 15, 1.0 / 4.0, 0.50, 0.0, -6.0 },  { 16, 1.0 / 4.0, 0.50, 45.0, -6.0 },
        { 17, 1.0 / 6.0, 0.50, 60.0, -6.0 }, { 18, 1.0 / 8.0, 0.50, 67.5, -6.0 },
        { 19, 1.0 / 4.0, 1.41, 45.0, 3.0 },
    };
    // The signals start abruptly, and a sudden start overshoots in any band-limited
    // reconstruction; the readings are taken once that has passed.
    const size_t settle = 400;
    for (const auto& c : sines)
    {
        SCOPED_TRACE (c.number);
        TruePeakProcessor<16, 16> tp;
        tp.loadPrototype (proto.taps);
        const auto x = sineSamples (4800, c.cyclesPerSample, c.amplitude, c.phaseDegrees);
        const double reading = toDb (largestEstimate (tp, x, settle));
        EXPECT_GE (reading, c.expectedDb - 0.4);
        EXPECT_LE (reading, c.expectedDb + 0.2);
    }

    // Cases 20 to 23: band-limited pulses peaking at 0 dBTP, their crests 0, 1/4, 2/4 and 3/4
    // of a sample after a sample. Equal-phase cosines on a 100 Hz grid up to 20 kHz with a
    // raised-cosine taper: a crest is where all of them peak together, so it is exactly 1.
    // The train repeats every 480 samples, every crest at the same offset.
    const int harmonics = 200;
    std::vector<double> weight (harmonics + 1);
    double weightSum = 0.0;
    for (int k = 1; k <= harmonics; ++k)
    {
        const double c = std::cos (0.5 * pi * k / (harmonics + 1));
        weight[(size_t) k] = c * c;
        weightSum += c * c;
    }
    for (int offset = 0; offset < 4; ++offset)
    {
        SCOPED_TRACE (20 + offset);
        const double crest = 960.0 + offset / 4.0;
        std::vector<float> x (1440);
        for (int n = 0; n < 1440; ++n)
        {
            double v = 0.0;
            for (int k = 1; k <= harmonics; ++k)
                v += weight[(size_t) k] * std::cos (2.0 * pi * k / 480.0 * (n - crest));
            x[(size_t) n] = (float) (v / weightSum);
        }
        TruePeakProcessor<16, 16> tp;
        tp.loadPrototype (proto.taps);
        const double reading = toDb (largestEstimate (tp, x, settle));
        EXPECT_GE (reading, -0.4);
        EXPECT_LE (reading, 0.2);
        if (offset == 2)
            EXPECT_LT (toDb (samplePeak (x)), -0.5); // the crest falls half-way between samples
    }
}

namespace
{
// A sum of sines with random frequencies, amplitudes and phases, its peak 0.5 to 1.
struct SineSum
{
    std::vector<double> frequency, amplitude, phase; // frequency in cycles per sample

    double at (double t) const
    {
        double v = 0.0;
        for (size_t i = 0; i < frequency.size(); ++i)
            v += amplitude[i] * std::sin (2.0 * pi * frequency[i] * t + phase[i]);
        return v;
    }

    // The largest magnitude over [from, to], found on a grid of 16 points a sample and
    // refined finely round the larger grid maxima.
    double peak (double from, double to) const
    {
        const double step = 1.0 / 16.0;
        const int count = (int) ((to - from) / step) + 1;
        std::vector<double> grid ((size_t) count);
        double coarse = 0.0;
        for (int i = 0; i < count; ++i)
        {
            grid[(size_t) i] = std::abs (at (from + i * step));
            coarse = std::max (coarse, grid[(size_t) i]);
        }
        double best = coarse;
        for (int i = 0; i < count; ++i)
        {
            if (grid[(size_t) i] < 0.98 * coarse)
                continue;
            if ((i > 0 && grid[(size_t) i - 1] > grid[(size_t) i]) || (i + 1 < count && grid[(size_t) i + 1] > grid[(size_t) i]))
                continue;
            for (int j = -64; j <= 64; ++j)
                best = std::max (best, std::abs (at (from + (i + j / 64.0) * step)));
        }
        return best;
    }
};

SineSum randomSineSum (std::mt19937& rng, double highestCyclesPerSample)
{
    std::uniform_real_distribution<double> unit (0.0, 1.0);
    SineSum s;
    double total = 0.0;
    for (int i = 0; i < 6; ++i)
    {
        s.frequency.push_back (0.001 + (highestCyclesPerSample - 0.001) * unit (rng));
        s.amplitude.push_back (0.05 + unit (rng));
        s.phase.push_back (2.0 * pi * unit (rng));
        total += s.amplitude.back();
    }
    const double scale = (0.5 + 0.5 * unit (rng)) / total;
    for (auto& a : s.amplitude)
        a *= scale;
    return s;
}
} // namespace

TEST (TruePeakReadings, FollowTheIdealPeakOfBandLimitedSignals)
{
    struct Rate
    {
        double sampleRate;
        const Prototype& proto;
        double highestHz;
    };
    // At 44100 Hz the stop band begins at 28 kHz, so images of content above about 16 kHz
    // fall in the transition band and aren't fully removed; the signals keep under it.
    // At 192000 Hz four-times oversampling is coarse close to Nyquist; they keep under 0.3 fs.
    const Rate rates[] = {
        { 44100.0, prototypes[0], 16000.0 },       { 48000.0, prototypes[1], 20000.0 },
        { 88200.0, prototypes[2], 0.45 * 88200.0 }, { 96000.0, prototypes[2], 0.45 * 96000.0 },
        { 192000.0, prototypes[3], 0.3 * 192000.0 },
    };
    std::mt19937 rng (2024);
    const int length = 1024;
    for (const auto& rate : rates)
    {
        const int P = rate.proto.phases;
        const int T = 256 / P;
        const double delay = 127.5 / P; // in input samples
        for (int trial = 0; trial < 8; ++trial)
        {
            SCOPED_TRACE (testing::Message() << rate.sampleRate << " Hz, trial " << trial);
            const auto signal = randomSineSum (rng, rate.highestHz / rate.sampleRate);
            std::vector<float> x ((size_t) length);
            for (int n = 0; n < length; ++n)
                x[(size_t) n] = (float) signal.at (n);

            auto tp = makeLoaded (rate.proto);
            const double reading = largestEstimate (*tp, x, (size_t) T);
            // Sample n's estimate covers the waveform from n - delay to n - delay + (P-1)/P.
            const double ideal = signal.peak (T - delay, length - delay);
            const double error = toDb (reading / ideal);
            EXPECT_GE (error, -0.4);
            EXPECT_LE (error, 0.2);
        }
    }
}

TEST (TruePeakReadings, AboveNinetySixKilohertzOneObjectReadsBothChannelsInterleaved)
{
    // Left and right go through the same processor one after the other, so the estimate
    // is that of the interleaved stream.
    const auto& proto = prototypes[3];
    const auto left = sineSamples (600, 30000.0 / 192000.0, 0.5, 0.0);
    const auto right = sineSamples (600, 30000.0 / 192000.0, 0.5, 0.0);

    std::vector<float> stream;
    for (size_t i = 0; i < left.size(); ++i)
    {
        stream.push_back (left[i]);
        stream.push_back (right[i]);
    }
    const auto reference = upsampleAndFilter (proto.taps, 4, stream);

    TruePeakProcessor<4, 64> shared;
    shared.loadPrototype (proto.taps);
    shared.loadPrototype (proto.taps);
    float interleaved = 0.0f;
    for (size_t i = 0; i < left.size(); ++i)
    {
        const float a = shared.process (left[i]);
        const float b = shared.process (right[i]);
        ASSERT_NEAR (a, reference.estimates[2 * i], 2e-6);
        ASSERT_NEAR (b, reference.estimates[2 * i + 1], 2e-6);
        if (i >= 64)
            interleaved = std::max (interleaved, std::max (a, b));
    }

    // Each sample held for two, the stream reads a 30 kHz tone high where a processor of
    // its own reads it at its level.
    TruePeakProcessor<4, 64> own;
    own.loadPrototype (proto.taps);
    const double alone = toDb (largestEstimate (own, left, 64) / 0.5);
    EXPECT_NEAR (alone, 0.0, 0.2);
    EXPECT_GT (toDb (interleaved / 0.5), alone + 0.5);
}
