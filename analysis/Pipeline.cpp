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

std::unique_ptr<LUFSProcessor<3000>> makeLoudnessProcessor (double sampleRate)
{
    auto processor = std::make_unique<LUFSProcessor<3000>>();
    processor->startCount = 0;
    processor->sampleRate = (double) (float) sampleRate;
    processor->peakLength = (int) (processor->sampleRate * 3.0);
    processor->prepare();
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
    m.loudnessProcessor = makeLoudnessProcessor (sampleRate);
    m.plainLoudnessProcessor = makeLoudnessProcessor (sampleRate);
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
    std::fill (loudness.shortTermRing.get(), loudness.shortTermRing.get() + loudness.shortTermLength,
               std::pow (10.0f, -6.9309f));
    loudness.shortTermValue = minusInfinity;
    loudness.shortTermWrite = 0;
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

    float bucketShortTerm = minusInfinity;
    float bucketIntegrated = minusInfinity;
    float bucketSamplePeak = 0.0f;
    float bucketTruePeak = 0.0f;
    float bucketRange = plusInfinity;
    int bucketCounter = 0;
    int rangeCounter = 0;
    int ringIndex = 0;

    const bool stereo = numChannels == 2;
    const bool mono = numChannels == 1;
    const float* leftSamples = leftChannel.get();
    const float* rightSamples = rightChannel.get();
    const float span = (float) (endSample - startSample);

    for (int i = startSample; i < endSample; ++i)
    {
        if (abortRequested)
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

        if (! isReference)
        {
            if (rangeCounter == rangeInterval)
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

            // The rolling peak is fed the record peak so far, not this frame's magnitude.
            const float P = loudness.rollingPeakStep (r.samplePeak);

            float t = m.leftTruePeak->process (L);
            if (stereo)
                t = std::max (t, m.rightTruePeak->process (R));
            r.truePeakLinear = std::max (r.truePeakLinear, t);
            bucketTruePeak = std::max (bucketTruePeak, t);

            const int remaining = endSample - i;
            if ((stepLength > 0 && i % stepLength == 0) || remaining < stepLength)
            {
                const int n = std::min (stepLength, remaining);
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
                ++stepCount;
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

        progress = ((float) (i - startSample) / span) * 5.0f / 10.0f + progressBase;
    }

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
