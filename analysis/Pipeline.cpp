// The analysis of one track: decoding into memory, the band pass over the loudest blocks,
// the per-frame walk through every measure, and the waveform points.

#include "analysis/Model.h"
#include "analysis/Track.h"
#include "measure/StereoMeasures.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
constexpr float minusInfinity = -std::numeric_limits<float>::infinity();
constexpr float plusInfinity = std::numeric_limits<float>::infinity();

// Frames that a block read really delivered: the source moves on by a whole block whatever
// the file holds, so the last read of a file that ends on a block boundary delivers none.
int framesInBlock (int numSamples, juce::int64 positionAfterRead)
{
    const juce::int64 difference = (juce::int64) numSamples - positionAfterRead;
    juce::int64 n = Track::readBlock;
    if (difference < 0)
        n = Track::readBlock + difference;
    return (int) std::max<juce::int64> (0, n);
}

std::unique_ptr<LUFSProcessor<3000>> makeLoudnessProcessor (double sampleRate, unsigned measures)
{
    auto processor = std::make_unique<LUFSProcessor<3000>>();
    processor->startCount = 0;
    processor->sampleRate = (double) (float) sampleRate;
    processor->peakLength = (int) (processor->sampleRate * 3.0);
    processor->prepare (measures);
    return processor;
}
} // namespace

void Track::loadAndAnalyse (juce::AudioBuffer<float>* blockBuffer)
{
    loading = true;
    progress = 0.0f;

    auto& m = *model;
    m.multiFrequency.prepareBands (sampleRate);
    makeOnesVector (sampleRate);
    m.loudnessProcessor = makeLoudnessProcessor (sampleRate, LUFSProcessor<3000>::allMeasures);
    m.plainLoudnessProcessor = makeLoudnessProcessor (sampleRate, LUFSProcessor<3000>::integratedMeasure);
    m.chooseTruePeakProcessors (sampleRate);

    const bool stereo = numChannels == 2;
    std::unique_ptr<float[]> left (new float[(size_t) std::max (numSamples, 1)]());
    std::unique_ptr<float[]> right (stereo ? new float[(size_t) std::max (numSamples, 1)]() : nullptr);

    blockBuffer->clear();
    m.bulkReading = true;
    readerSource->setNextReadPosition (0);
    samplesRead = 0;
    m.multiFrequency.resetBands();

    const juce::AudioSourceChannelInfo block (blockBuffer, 0, readBlock);
    const float* channel0 = blockBuffer->getReadPointer (0);
    const float* channel1 = blockBuffer->getReadPointer (1);

    // First pass: the whole file into memory, with an unfiltered level for every block.
    while (readerSource->getNextReadPosition() <= (juce::int64) numSamples)
    {
        if (m.stopAll || abortRequested)
        {
            m.bulkReading = false;
            break;
        }
        readerSource->getNextAudioBlock (block);
        const int n = framesInBlock (numSamples, readerSource->getNextReadPosition());

        std::memcpy (left.get() + samplesRead, channel0, sizeof (float) * (size_t) n);
        if (stereo)
            std::memcpy (right.get() + samplesRead, channel1, sizeof (float) * (size_t) n);

        m.multiFrequency.meterBlock (channel0, stereo ? channel1 : nullptr, n);

        samplesRead += n;
        progress = ((float) samplesRead / (float) numSamples) / 10.0f;
    }

    // Second pass: the blocks within 1.5 dB of the loudest are read again for the bands.
    const auto& levels = m.multiFrequency.blockLevels;
    if (! levels.empty())
    {
        float loudest = levels[0];
        for (float level : levels)
            if (level > loudest)
                loudest = level;

        const int count = (int) levels.size();
        for (int j = 0; j < count; ++j)
        {
            if (m.stopAll || abortRequested)
            {
                m.bulkReading = false;
                break;
            }
            if (loudest - levels[(size_t) j] < bandGate)
            {
                readerSource->setNextReadPosition ((juce::int64) readBlock * j);
                readerSource->getNextAudioBlock (block);
                const int n = framesInBlock (numSamples, readerSource->getNextReadPosition());
                m.multiFrequency.analyseBlock (channel0, stereo ? channel1 : nullptr, n);
            }
            progress = ((float) j / (float) count) * 4.0f / 10.0f + 0.1f;
        }
    }

    // Finish, also after a stop: what was read keeps its readings.
    multiFrequencyIntegratedLUFS.assign (m.multiFrequency.stereoBands.begin(), m.multiFrequency.stereoBands.end());
    midMultiFrequencyIntegratedLUFS.assign (m.multiFrequency.midBands.begin(), m.multiFrequency.midBands.end());
    sideMultiFrequencyIntegratedLUFS.assign (m.multiFrequency.sideBands.begin(), m.multiFrequency.sideBands.end());

    if (samplesRead < numSamples)
    {
        auto shrink = [this] (std::unique_ptr<float[]>& samples)
        {
            if (samples == nullptr)
                return;
            std::unique_ptr<float[]> exact (new float[(size_t) std::max (samplesRead, 1)]);
            std::memcpy (exact.get(), samples.get(), sizeof (float) * (size_t) samplesRead);
            samples = std::move (exact);
        };
        shrink (left);
        shrink (right);
    }
    numSamples = samplesRead;
    leftChannel = std::move (left);
    rightChannel = std::move (right);

    analyseRange (0, numSamples, &wholeFileReadings, progress, nullptr);

    m.bulkReading = false;
    loading = false;
    analysisComplete = true;
}

namespace
{
// How a frame is turned into powers: two channels through the K-weighting pair, one channel
// through the left stages, or (any other count) no powers at all.
enum class Layout
{
    stereo,
    mono,
    other
};

// What the frame walk works on, and the state it carries from frame to frame: the records
// of the point being built and the range and ring counters.
struct Walk
{
    Track& track;
    Model& model;
    AllReadings& r;
    const float* leftSamples;
    const float* rightSamples;
    int startSample;
    int endSample;
    int bucketLength;
    float progressBase;
    StereoTruePeakFeed stereoTruePeak;

    float bucketShortTerm = minusInfinity;
    float bucketIntegrated = minusInfinity;
    float bucketSamplePeak = 0.0f;
    float bucketTruePeak = 0.0f;
    float bucketRange = plusInfinity;
    int bucketCounter = 0;
    int rangeCounter = 0;
    int ringIndex = 0;

    // The value progress has after frame i.
    float progressAt (int i) const
    {
        return ((float) (i - startSample) / (float) (endSample - startSample)) * 5.0f / 10.0f + progressBase;
    }
};

// Progress is written once every this many frames, on the last frame, and on the frame
// before a stop: the values at those frames are those a write on every frame would leave.
constexpr int progressInterval = 1024;

// The frame loop with the channel layout and the reference mode fixed, so that neither is
// asked again on every frame.
template <Layout layout, bool reference>
void walkFrames (Walk& w)
{
    auto& track = w.track;
    auto& m = w.model;
    auto& r = w.r;
    auto& loudness = *m.loudnessProcessor;
    auto& plain = *m.plainLoudnessProcessor;
    const float* leftSamples = w.leftSamples;
    const float* rightSamples = w.rightSamples;
    const int endSample = w.endSample;
    const int stepLength = track.stepLength;
    const int rangeInterval = track.rangeInterval;

    // Frames until the next whole multiple of the step, counted from the file's start.
    int untilStep = stepLength > 0 ? (stepLength - w.startSample % stepLength) % stepLength : -1;
    int untilProgress = 0;

    for (int i = w.startSample; i < endSample; ++i)
    {
        if (track.abortRequested)
        {
            if (i > w.startSample)
                track.progress = w.progressAt (i - 1);
            break;
        }

        const float L = leftSamples[i];
        const float R = layout == Layout::stereo ? rightSamples[i] : 0.0f;

        float weighted = 0.0f, unweighted = 0.0f;
        if constexpr (layout == Layout::stereo)
        {
            weighted = loudness.kWeightedPower (L, R);
            unweighted = plain.plainPower (L, R);
        }
        else if constexpr (layout == Layout::mono)
        {
            const float k = loudness.leftStage2.BiQuad<float>::process (loudness.leftStage1.BiQuad<float>::process (L));
            weighted = k * k;
            unweighted = L * L;
        }

        const float S = loudness.shortTermStep (weighted);
        w.bucketShortTerm = std::max (w.bucketShortTerm, S);

        r.integratedLUFS = loudness.integratedStep (weighted);
        r.plainIntegrated = plain.integratedStep (unweighted);
        w.bucketIntegrated = std::max (w.bucketIntegrated, r.integratedLUFS);

        if constexpr (! reference)
        {
            if (w.rangeCounter == rangeInterval)
            {
                r.loudnessRange = loudness.updateLoudnessRange (S);
                w.rangeCounter = 0;
            }
            else
            {
                ++w.rangeCounter;
            }
            w.bucketRange = std::min (w.bucketRange, r.loudnessRange);

            const float magnitude = std::max (std::abs (L), std::abs (R));
            r.samplePeak = std::max (r.samplePeak, magnitude);
            w.bucketSamplePeak = std::max (w.bucketSamplePeak, magnitude);

            // The rolling peak is fed the record peak so far, not this frame's magnitude.
            const float P = loudness.rollingPeakStep (r.samplePeak);

            float t;
            if constexpr (layout == Layout::stereo)
            {
                float right = 0.0f;
                w.stereoTruePeak (*m.leftTruePeak, *m.rightTruePeak, L, R, t, right);
                t = std::max (t, right);
            }
            else
            {
                t = m.leftTruePeak->process (L);
            }
            r.truePeakLinear = std::max (r.truePeakLinear, t);
            w.bucketTruePeak = std::max (w.bucketTruePeak, t);

            const int remaining = endSample - i;
            const bool onGrid = untilStep == 0;
            if (untilStep >= 0 && --untilStep < 0)
                untilStep = stepLength - 1;
            if (onGrid || remaining < stepLength)
            {
                const int n = std::min (stepLength, remaining);
                if constexpr (layout == Layout::stereo)
                {
                    const auto v = stereo::measureStep (leftSamples + i, rightSamples + i, n);
                    r.balanceSteps.push_back (v.balance - 1.0f);
                    r.balanceSmoothed.push_back (stereo::pushAndSmooth (r.balanceRing, w.ringIndex, r.ringFilled, v.balance));
                    r.correlationSteps.push_back (v.correlation - 1.0f);
                    r.correlationSmoothed.push_back (
                        stereo::pushAndSmooth (r.correlationRing, w.ringIndex, r.ringFilled, v.correlation));
                }
                if (++w.ringIndex == stereo::ringSize)
                {
                    w.ringIndex = 0;
                    r.ringFilled = true;
                }
                ++track.stepCount;
                r.dynamicRangeSteps.push_back (stereo::dynamicRange (S, P));
            }
        }

        if (w.bucketCounter == w.bucketLength || i == endSample - 1)
        {
            r.shortTermPoints.push_back (w.bucketShortTerm);
            r.integratedPoints.push_back (w.bucketIntegrated);
            r.samplePeakPoints.push_back (20.0f * std::log10 (w.bucketSamplePeak));
            r.truePeakPoints.push_back (20.0f * std::log10 (w.bucketTruePeak));
            r.loudnessRangePoints.push_back (w.bucketRange);

            w.bucketShortTerm = minusInfinity;
            w.bucketIntegrated = minusInfinity;
            w.bucketSamplePeak = 0.0f;
            w.bucketTruePeak = 0.0f;
            w.bucketRange = plusInfinity;
            w.bucketCounter = 0;
        }
        ++w.bucketCounter;

        if (--untilProgress < 0 || i == endSample - 1)
        {
            track.progress = w.progressAt (i);
            untilProgress = progressInterval - 1;
        }
    }
}

template <bool reference>
void walkFrames (Walk& w, int numChannels)
{
    if (numChannels == 2)
        walkFrames<Layout::stereo, reference> (w);
    else if (numChannels == 1)
        walkFrames<Layout::mono, reference> (w);
    else
        walkFrames<Layout::other, reference> (w);
}
} // namespace

void Track::analyseRange (int startSample, int endSample, AllReadings* readings, float progressBase,
                          std::function<void()> finished)
{
    auto& m = *model;
    analysing = true;
    m.rangeAnalysing = true;
    progress = 0.0f;
    stepCount = 0;

    const int bucketLength = numSamples / pixelCount;

    m.leftTruePeak->reset();
    if (numChannels == 2)
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

    stepLength = std::min (stereo::stepLengthForRate (sampleRate), bucketLength);

    auto& r = *readings;
    r.clear();

    Walk w { *this, m, r, leftChannel.get(), rightChannel.get(), startSample, endSample, bucketLength, progressBase,
             numChannels == 2 ? truepeak::stereoFeedFor (*m.leftTruePeak, *m.rightTruePeak) : nullptr };
    if (isReference)
        walkFrames<true> (w, numChannels);
    else
        walkFrames<false> (w, numChannels);

    if (finished)
        finished();

    analysing = false;
    m.rangeAnalysing = false;
}

void Track::buildWaveformPoints()
{
    const int bucketLength = numSamples / pixelCount;
    const bool stereo = numChannels == 2 && rightChannel != nullptr;
    float leftSum = 0.0f, rightSum = 0.0f;
    int c = 0;

    waveformPoints.clear();
    waveformPoints.reserve ((size_t) pixelCount + 2);

    for (int i = 0; i < numSamples; ++i)
    {
        const float L = leftChannel[(size_t) i];
        leftSum += L * L;
        if (stereo)
        {
            const float R = rightChannel[(size_t) i];
            rightSum += R * R;
        }
        if (c == bucketLength || i == numSamples - 1)
        {
            const float leftRoot = std::sqrt (leftSum / (float) c);
            const float rightRoot = std::sqrt (rightSum / (float) c);
            waveformPoints.push_back ((leftRoot + rightRoot) / 2.0f);
            leftSum = rightSum = 0.0f;
            c = 0;
        }
        ++c;
    }

    float largest = waveformPoints.empty() ? 0.0f : waveformPoints[0];
    for (float v : waveformPoints)
        if (v > largest)
            largest = v;
    for (float& v : waveformPoints)
        v = v * waveformHeadroom / largest;

    waveformComplete = true;
}
