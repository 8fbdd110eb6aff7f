// analyseRange held against the frame loop written out plainly: one loop for every layout,
// every branch asked on every frame, each true-peak processor called on its own and progress
// written on every frame. Two models run the same sequence of analyses, one through each, and
// every reading, counter and processor state must agree to the last bit.

#include "analysis/Model.h"
#include "measure/StereoMeasures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

namespace
{
constexpr float minusInfinity = -std::numeric_limits<float>::infinity();
constexpr float plusInfinity = std::numeric_limits<float>::infinity();

void literalAnalyseRange (Track& t, int startSample, int endSample, AllReadings* readings, float progressBase)
{
    auto& m = *t.model;
    t.analysing = true;
    m.rangeAnalysing = true;
    t.progress = 0.0f;
    t.stepCount = 0;

    const int bucketLength = t.numSamples / Track::pixelCount;

    m.leftTruePeak->reset();
    if (t.numChannels == 2)
        m.rightTruePeak->reset();

    auto& loudness = *m.loudnessProcessor;
    auto& plain = *m.plainLoudnessProcessor;

    loudness.resetMeasure (false, -70.0f);
    loudness.resetShortTermWindow();
    std::fill (loudness.peakRing.get(), loudness.peakRing.get() + loudness.peakLength, 0.0f);
    loudness.peakWrite = 0;
    loudness.rollingPeak = 0.0f;
    loudness.shortTermHistory.clear();
    loudness.rangeValue = plusInfinity;
    loudness.rangeTrigger = loudness.startCount + loudness.rangeHop;

    plain.resetMeasure (false, -70.0f);

    t.stepLength = std::min (stereo::stepLengthForRate (t.sampleRate), bucketLength);

    auto& r = *readings;
    r.clear();

    float bucketShortTerm = minusInfinity;
    float bucketIntegrated = minusInfinity;
    float bucketSamplePeak = 0.0f;
    float bucketTruePeak = 0.0f;
    float bucketRange = plusInfinity;
    int bucketCounter = 0;
    int rangeCounter = 0;
    int ringIndex = 0;

    const bool stereo = t.numChannels == 2;
    const bool mono = t.numChannels == 1;
    const float* leftSamples = t.leftChannel.get();
    const float* rightSamples = t.rightChannel.get();
    const float span = (float) (endSample - startSample);

    for (int i = startSample; i < endSample; ++i)
    {
        if (t.abortRequested)
            break;

        const float L = leftSamples[i];
        const float R = stereo ? rightSamples[i] : 0.0f;

        float weighted = 0.0f, unweighted = 0.0f;
        if (stereo)
        {
            weighted = loudness.kWeightedPower (L, R);
            unweighted = plain.plainPower (L, R);
        }
        else if (mono)
        {
            const float k = loudness.leftStage2.process (loudness.leftStage1.process (L));
            weighted = k * k;
            unweighted = L * L;
        }

        const float S = loudness.shortTermStep (weighted);
        bucketShortTerm = std::max (bucketShortTerm, S);

        r.integratedLUFS = loudness.integratedStep (weighted);
        r.plainIntegrated = plain.integratedStep (unweighted);
        bucketIntegrated = std::max (bucketIntegrated, r.integratedLUFS);

        if (! t.isReference)
        {
            if (rangeCounter == t.rangeInterval)
            {
                r.loudnessRange = loudness.updateLoudnessRange (S);
                rangeCounter = 0;
            }
            else
            {
                ++rangeCounter;
            }
            bucketRange = std::min (bucketRange, r.loudnessRange);

            const float magnitude = std::max (std::abs (L), std::abs (R));
            r.samplePeak = std::max (r.samplePeak, magnitude);
            bucketSamplePeak = std::max (bucketSamplePeak, magnitude);

            const float P = loudness.rollingPeakStep (r.samplePeak);

            float tp = m.leftTruePeak->process (L);
            if (stereo)
                tp = std::max (tp, m.rightTruePeak->process (R));
            r.truePeakLinear = std::max (r.truePeakLinear, tp);
            bucketTruePeak = std::max (bucketTruePeak, tp);

            const int remaining = endSample - i;
            if ((t.stepLength > 0 && i % t.stepLength == 0) || remaining < t.stepLength)
            {
                const int n = std::min (t.stepLength, remaining);
                if (stereo)
                {
                    const auto v = stereo::measureStep (leftSamples + i, rightSamples + i, n);
                    r.balanceSteps.push_back (v.balance - 1.0f);
                    r.balanceSmoothed.push_back (stereo::pushAndSmooth (r.balanceRing, ringIndex, r.ringFilled, v.balance));
                    r.correlationSteps.push_back (v.correlation - 1.0f);
                    r.correlationSmoothed.push_back (
                        stereo::pushAndSmooth (r.correlationRing, ringIndex, r.ringFilled, v.correlation));
                }
                if (++ringIndex == stereo::ringSize)
                {
                    ringIndex = 0;
                    r.ringFilled = true;
                }
                ++t.stepCount;
                r.dynamicRangeSteps.push_back (stereo::dynamicRange (S, P));
            }
        }

        if (bucketCounter == bucketLength || i == endSample - 1)
        {
            r.shortTermPoints.push_back (bucketShortTerm);
            r.integratedPoints.push_back (bucketIntegrated);
            r.samplePeakPoints.push_back (20.0f * std::log10 (bucketSamplePeak));
            r.truePeakPoints.push_back (20.0f * std::log10 (bucketTruePeak));
            r.loudnessRangePoints.push_back (bucketRange);

            bucketShortTerm = minusInfinity;
            bucketIntegrated = minusInfinity;
            bucketSamplePeak = 0.0f;
            bucketTruePeak = 0.0f;
            bucketRange = plusInfinity;
            bucketCounter = 0;
        }
        ++bucketCounter;

        t.progress = ((float) (i - startSample) / span) * 5.0f / 10.0f + progressBase;
    }

    t.analysing = false;
    m.rangeAnalysing = false;
}

// ---------------------------------------------------------------------------------------

bool sameBits (float a, float b)
{
    return std::memcmp (&a, &b, sizeof a) == 0;
}

void expectSameValues (const std::vector<float>& a, const std::vector<float>& b, const char* what)
{
    ASSERT_EQ (a.size(), b.size()) << what;
    for (size_t i = 0; i < a.size(); ++i)
        ASSERT_TRUE (sameBits (a[i], b[i])) << what << " [" << i << "]: " << a[i] << " vs " << b[i];
}

template <size_t N>
void expectSameValues (const std::array<float, N>& a, const std::array<float, N>& b, const char* what)
{
    expectSameValues (std::vector<float> (a.begin(), a.end()), std::vector<float> (b.begin(), b.end()), what);
}

#define EXPECT_SAME_FLOAT(a, b) EXPECT_TRUE (sameBits ((a), (b))) << #a << ": " << (a) << " vs " << (b)

// The true peak can be left out: after a stop it holds only the buckets finished before it.
void expectSameReadings (const AllReadings& a, const AllReadings& b, bool truePeak = true)
{
    EXPECT_SAME_FLOAT (a.integratedLUFS, b.integratedLUFS);
    EXPECT_SAME_FLOAT (a.plainIntegrated, b.plainIntegrated);
    EXPECT_SAME_FLOAT (a.samplePeak, b.samplePeak);
    if (truePeak)
        EXPECT_SAME_FLOAT (a.truePeakLinear, b.truePeakLinear);
    EXPECT_SAME_FLOAT (a.loudnessRange, b.loudnessRange);
    EXPECT_EQ (a.ringFilled, b.ringFilled);
    expectSameValues (a.shortTermPoints, b.shortTermPoints, "shortTermPoints");
    expectSameValues (a.integratedPoints, b.integratedPoints, "integratedPoints");
    expectSameValues (a.samplePeakPoints, b.samplePeakPoints, "samplePeakPoints");
    if (truePeak)
        expectSameValues (a.truePeakPoints, b.truePeakPoints, "truePeakPoints");
    expectSameValues (a.loudnessRangePoints, b.loudnessRangePoints, "loudnessRangePoints");
    expectSameValues (a.balanceSteps, b.balanceSteps, "balanceSteps");
    expectSameValues (a.balanceSmoothed, b.balanceSmoothed, "balanceSmoothed");
    expectSameValues (a.correlationSteps, b.correlationSteps, "correlationSteps");
    expectSameValues (a.correlationSmoothed, b.correlationSmoothed, "correlationSmoothed");
    expectSameValues (a.dynamicRangeSteps, b.dynamicRangeSteps, "dynamicRangeSteps");
    expectSameValues (a.balanceRing, b.balanceRing, "balanceRing");
    expectSameValues (a.correlationRing, b.correlationRing, "correlationRing");
}

template <int P, int T>
// The history carries into the next analysis; the phase outputs are only those of the last
// sample summed (the walk leaves out sums that cannot raise a bucket's largest).
void expectSameTruePeakState (TruePeakProcessor<P, T>& a, TruePeakProcessor<P, T>& b)
{
    a.syncPhaseHistories();
    b.syncPhaseHistories();
    for (int p = 0; p < P; ++p)
    {
        EXPECT_EQ (a.phase[p].position, b.phase[p].position);
        EXPECT_EQ (0, std::memcmp (a.phase[p].history, b.phase[p].history, sizeof (double) * T)) << "phase " << p;
    }
}

// A model with its processors set up for a rate as a load does it, and a track of generated
// audio that it analyses.
struct Rig
{
    Model model;
    Track track { &model };

    void prepare (double rate, int channels, int frames, bool reference, unsigned seed)
    {
        makeOnesVector (rate);
        for (auto* slot : { &model.loudnessProcessor, &model.plainLoudnessProcessor })
        {
            auto p = std::make_unique<LUFSProcessor<3000>>();
            p->startCount = 0;
            p->sampleRate = (double) (float) rate;
            p->peakLength = (int) (p->sampleRate * 3.0);
            p->prepare();
            *slot = std::move (p);
        }
        model.chooseTruePeakProcessors (rate);

        track.sampleRate = rate;
        track.numChannels = channels;
        track.numSamples = frames;
        track.rangeInterval = (int) (rate * (double) 0.1f);
        track.isReference = reference;
        track.leftChannel.reset (new float[(size_t) frames]);
        track.rightChannel.reset (channels == 2 ? new float[(size_t) frames] : nullptr);
        fill (rate, seed);
    }

    // Noise under a tone, in sections of changing level, with a few clipped runs, so that the
    // gates, the range, the peaks and the stereo steps all have work.
    void fill (double rate, unsigned seed)
    {
        std::mt19937 rng (seed);
        std::normal_distribution<float> noise (0.0f, 1.0f);
        const int frames = track.numSamples;
        for (int i = 0; i < frames; ++i)
        {
            const double t = i / rate;
            const float level = (float) (0.05 + 0.3 * (0.5 + 0.5 * std::sin (2.0 * 3.14159265358979 * 0.4 * t)));
            const float tone = (float) std::sin (2.0 * 3.14159265358979 * 0.23 * rate / 4.0 * t);
            const float common = noise (rng);
            float l = level * (0.5f * tone + 0.4f * common + 0.2f * noise (rng));
            float r = level * (0.4f * tone + 0.4f * common + 0.3f * noise (rng));
            if ((i / 3000) % 17 == 5)
                l = std::clamp (l * 8.0f, -1.0f, 1.0f);
            track.leftChannel[(size_t) i] = l;
            if (track.rightChannel != nullptr)
                track.rightChannel[(size_t) i] = r;
        }
    }
};

// Both rigs through one analysis, then everything compared.
void analyseBoth (Rig& fast, Rig& literal, int start, int end, bool span, float progressBase)
{
    bool called = false;
    AllReadings& a = span ? fast.track.loopReadings : fast.track.wholeFileReadings;
    AllReadings& b = span ? literal.track.loopReadings : literal.track.wholeFileReadings;
    fast.track.analyseRange (start, end, &a, progressBase, [&called] { called = true; });
    literalAnalyseRange (literal.track, start, end, &b, progressBase);
    EXPECT_TRUE (called);
    EXPECT_FALSE (fast.track.analysing);
    EXPECT_FALSE (fast.model.rangeAnalysing);

    expectSameReadings (a, b);
    EXPECT_EQ (fast.track.stepCount, literal.track.stepCount);
    EXPECT_EQ (fast.track.stepLength, literal.track.stepLength);
    EXPECT_SAME_FLOAT (fast.track.progress, literal.track.progress);

    auto& x = *fast.model.loudnessProcessor;
    auto& y = *literal.model.loudnessProcessor;
    EXPECT_SAME_FLOAT (x.shortTermValue, y.shortTermValue);
    EXPECT_SAME_FLOAT (x.integratedValue, y.integratedValue);
    EXPECT_SAME_FLOAT (x.rangeValue, y.rangeValue);
    EXPECT_SAME_FLOAT (x.rollingPeak, y.rollingPeak);
    EXPECT_EQ (x.shortTermCount, y.shortTermCount);
    EXPECT_EQ (x.peakCount, y.peakCount);
    expectSameValues (x.shortTermHistory, y.shortTermHistory, "shortTermHistory");

    expectSameTruePeakState (fast.model.truePeak16a, literal.model.truePeak16a);
    expectSameTruePeakState (fast.model.truePeak16b, literal.model.truePeak16b);
    expectSameTruePeakState (fast.model.truePeak8a, literal.model.truePeak8a);
    expectSameTruePeakState (fast.model.truePeak8b, literal.model.truePeak8b);
    expectSameTruePeakState (fast.model.truePeak4a, literal.model.truePeak4a);
}

void prepareBoth (Rig& fast, Rig& literal, double rate, int channels, int frames, bool reference, unsigned seed)
{
    fast.prepare (rate, channels, frames, reference, seed);
    literal.prepare (rate, channels, frames, reference, seed);
}

// A true-peak processor that raises a track's stop flag on its n-th sample, so that a stop
// lands on a known frame.
class Tripwire : public TruePeakProcessorBase
{
public:
    Tripwire (TruePeakProcessorBase& real, Track& t, int n) : inner (real), track (t), remaining (n) {}

    void loadPrototype (const double* h) override { inner.loadPrototype (h); }
    void reset() override { inner.reset(); }
    float process (float sample) override
    {
        if (--remaining == 0)
            track.abortRequested = true;
        return inner.process (sample);
    }
    void skip (float sample) override
    {
        if (--remaining == 0)
            track.abortRequested = true;
        inner.skip (sample);
    }
    double estimateCeiling() const override { return inner.estimateCeiling(); }
    int tapCount() const override { return inner.tapCount(); }
    const double* tapMajorCoefficients() const override { return inner.tapMajorCoefficients(); }

private:
    TruePeakProcessorBase& inner;
    Track& track;
    int remaining;
};
} // namespace

TEST (AnalyseRangeOracle, StereoFileThenSpansMatchThePlainLoopBitForBit)
{
    Rig fast, literal;
    prepareBoth (fast, literal, 44100.0, 2, 44100 * 5 + 777, false, 1);
    analyseBoth (fast, literal, 0, fast.track.numSamples, false, 0.1f);
    {
        SCOPED_TRACE ("a span off the step grid");
        analyseBoth (fast, literal, 12345, 150001, true, 0.5f);
    }
    {
        SCOPED_TRACE ("a span on the grid, shorter than a step at its end");
        analyseBoth (fast, literal, 1024 * 7, 1024 * 7 + 1500, true, 0.5f);
    }
    // The readings are real ones, not two equal sets of nothing.
    EXPECT_GT (fast.track.wholeFileReadings.integratedLUFS, -40.0f);
    EXPECT_GT (fast.track.wholeFileReadings.truePeakLinear, fast.track.wholeFileReadings.samplePeak);
    EXPECT_FALSE (fast.track.wholeFileReadings.balanceSteps.empty());
}

TEST (AnalyseRangeOracle, MonoReferenceAndOtherLayoutsMatchThePlainLoop)
{
    Rig fast, literal;
    {
        SCOPED_TRACE ("mono at 48 kHz");
        prepareBoth (fast, literal, 48000.0, 1, 48000 * 4 + 5, false, 2);
        analyseBoth (fast, literal, 0, fast.track.numSamples, false, 0.1f);
        EXPECT_TRUE (fast.track.wholeFileReadings.balanceSteps.empty());
        EXPECT_FALSE (fast.track.wholeFileReadings.dynamicRangeSteps.empty());
    }
    {
        SCOPED_TRACE ("a stereo reference track");
        prepareBoth (fast, literal, 44100.0, 2, 44100 * 4, true, 3);
        analyseBoth (fast, literal, 0, fast.track.numSamples, false, 0.2f);
        EXPECT_EQ (fast.track.stepCount, 0);
        EXPECT_GT (fast.track.wholeFileReadings.integratedLUFS, -40.0f);
    }
    {
        SCOPED_TRACE ("a mono reference track");
        prepareBoth (fast, literal, 44100.0, 1, 44100 * 2, true, 4);
        analyseBoth (fast, literal, 0, fast.track.numSamples, false, 0.2f);
    }
    {
        SCOPED_TRACE ("three channels: no powers, the first channel's peaks");
        prepareBoth (fast, literal, 44100.0, 3, 44100 * 2, false, 5);
        analyseBoth (fast, literal, 0, fast.track.numSamples, false, 0.1f);
        EXPECT_GT (fast.track.wholeFileReadings.samplePeak, 0.0f);
    }
}

TEST (AnalyseRangeOracle, HighRatesAndCarriedTruePeakHistoryMatchThePlainLoop)
{
    // Each analysis starts with the true-peak history the one before left behind, so the
    // order of the runs matters and both rigs keep it.
    Rig fast, literal;
    for (double rate : { 96000.0, 192000.0, 88200.0, 176400.0, 44100.0 })
    {
        SCOPED_TRACE (rate);
        prepareBoth (fast, literal, rate, 2, (int) rate + 333, false, (unsigned) rate);
        analyseBoth (fast, literal, 0, fast.track.numSamples, false, 0.1f);
        analyseBoth (fast, literal, 4097, fast.track.numSamples - 10, true, 0.5f);
    }
}

TEST (AnalyseRangeOracle, AStopLeavesTheReadingsOfTheFramesWalked)
{
    for (int channels : { 1, 2 })
    {
        for (int stopAt : { 1, 700, 5000, 20000 })
        {
            SCOPED_TRACE (testing::Message() << channels << " channels, stop at sample " << stopAt);
            // New models: the true-peak history a stopped run leaves depends on how far the
            // estimates had gone.
            Rig fast, literal;
            prepareBoth (fast, literal, 44100.0, channels, 44100 * 2, false, 6);
            const int frames = fast.track.numSamples;

            // The true-peak estimates run ahead of the walk on their own thread and raise the
            // stop there; the walk stops on the next frame it begins.
            Tripwire fastWire (*fast.model.leftTruePeak, fast.track, stopAt);
            fast.model.leftTruePeak = &fastWire;
            fast.track.abortRequested = false;
            auto& a = fast.track.wholeFileReadings;
            fast.track.analyseRange (0, frames, &a, 0.1f, nullptr);
            fast.model.leftTruePeak = &fast.model.truePeak16a;
            EXPECT_TRUE (fast.track.abortRequested);

            // The frames walked, from the progress the last of them left.
            int walked = 0;
            while (walked < frames
                   && ! sameBits (fast.track.progress, ((float) walked / (float) frames) * 5.0f / 10.0f + 0.1f))
                ++walked;
            if (walked == frames)
            {
                EXPECT_SAME_FLOAT (fast.track.progress, 0.0f);
                EXPECT_TRUE (a.shortTermPoints.empty());
                continue;
            }
            ++walked;

            // Every reading is that of a walk stopped after as many frames; each true-peak point
            // is the literal one, but for the last, which may come from a bucket the stop cut.
            Tripwire literalWire (*literal.model.leftTruePeak, literal.track, walked);
            literal.model.leftTruePeak = &literalWire;
            literal.track.abortRequested = false;
            auto& b = literal.track.wholeFileReadings;
            literalAnalyseRange (literal.track, 0, frames, &b, 0.1f);
            literal.model.leftTruePeak = &literal.model.truePeak16a;

            expectSameReadings (a, b, false);
            EXPECT_SAME_FLOAT (fast.track.progress, literal.track.progress);
            ASSERT_EQ (a.truePeakPoints.size(), b.truePeakPoints.size());
            float largest = 0.0f;
            for (size_t k = 0; k < a.truePeakPoints.size(); ++k)
            {
                if (k + 1 < a.truePeakPoints.size())
                    EXPECT_TRUE (sameBits (a.truePeakPoints[k], b.truePeakPoints[k])) << k;
                largest = std::max (largest, std::pow (10.0f, a.truePeakPoints[k] / 20.0f));
            }
            EXPECT_NEAR (a.truePeakLinear, largest, 1e-6f * largest);
            EXPECT_LE (a.truePeakLinear, b.truePeakLinear);
        }
    }
}
