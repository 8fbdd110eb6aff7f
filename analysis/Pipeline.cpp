// The analysis of one track: decoding into memory, the band pass over the loudest blocks,
// the per-frame walk through every measure, and the waveform points.

#include "analysis/Model.h"
#include "analysis/Track.h"
#include "measure/StereoMeasures.h"
#include "measure/TruePeakScreen.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <future>
#include <limits>
#include <mutex>
#include <optional>
#include <thread>
#include <type_traits>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

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

// A file's samples fill tens of megabytes at once; in pages of 2 MB the first writes cost a
// few hundred faults instead of tens of thousands. Only a hint: nothing changes if refused.
float* withLargePages (float* samples, size_t count)
{
    constexpr uintptr_t large = 2u << 20;
    const auto begin = (reinterpret_cast<uintptr_t> (samples) + large - 1) & ~(large - 1);
    const auto end = (reinterpret_cast<uintptr_t> (samples + count)) & ~(large - 1);
#if defined(MADV_HUGEPAGE)
    if (end > begin)
        madvise (reinterpret_cast<void*> (begin), end - begin, MADV_HUGEPAGE);
#endif
    return samples;
}

// Makes the pages under [samples, samples + count) resident and writable where the system
// can be asked to; only a hint.
void populate (float* samples, size_t count)
{
#if defined(MADV_POPULATE_WRITE)
    static const auto page = (uintptr_t) std::max (4096L, sysconf (_SC_PAGESIZE));
    const auto begin = reinterpret_cast<uintptr_t> (samples) & ~(page - 1);
    const auto end = reinterpret_cast<uintptr_t> (samples + count);
    madvise (reinterpret_cast<void*> (begin), end - begin, MADV_POPULATE_WRITE);
#else
    (void) samples;
    (void) count;
#endif
}

// Frames decoded into memory so far, handed from the decoder to the walk that follows it.
class FrameSupply
{
public:
    void publish (int frames)
    {
        {
            std::lock_guard<std::mutex> guard (lock);
            ready.store (frames, std::memory_order_release);
        }
        changed.notify_all();
    }

    // No more frames will come.
    void close()
    {
        {
            std::lock_guard<std::mutex> guard (lock);
            closed = true;
        }
        changed.notify_all();
    }

    // Waits until at least `frames` are in or the supply is closed; returns how many are in.
    int waitFor (int frames)
    {
        const int now = ready.load (std::memory_order_acquire);
        if (now >= frames)
            return now;
        std::unique_lock<std::mutex> guard (lock);
        changed.wait (guard, [&] { return closed || ready.load (std::memory_order_acquire) >= frames; });
        return ready.load (std::memory_order_acquire);
    }

private:
    std::atomic<int> ready { 0 };
    bool closed = false;
    std::mutex lock;
    std::condition_variable changed;
};

// Progress after frame `frame` of a walk over [startSample, endSample).
float walkProgress (int frame, int startSample, int endSample, float progressBase)
{
    return ((float) (frame - startSample) / (float) (endSample - startSample)) * 5.0f / 10.0f + progressBase;
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

// A walk's buckets: the first holds bucketLength + 1 frames, each later one bucketLength, and
// the last frame of the walk ends one whatever it holds. Counts like the walk's own counter.
struct BucketCounter
{
    int length;
    int counter = 0;

    // Whether frame i, of a walk that ends before endSample, ends a bucket.
    bool endsAt (int i, int endSample) const { return counter == length || i == endSample - 1; }

    // The same, and moves on a frame.
    bool ends (int i, int endSample)
    {
        const bool end = endsAt (i, endSample);
        if (end)
            counter = 0;
        ++counter;
        return end;
    }
};

// The true-peak estimates of a walk, made on a thread of their own beside it: only each
// bucket's largest estimate is kept, and the walk takes them as it reaches each bucket's end.
// The processors take every frame, as in a walk that made the estimates itself, so they end
// with the same history.
//
// Only the largest estimate of a bucket is kept, and none is larger than `ceiling` times the
// largest sample magnitude among the last `taps` frames. So while no frame since lastLoud
// could beat what the bucket holds, the sums are left out. lastLoud starts on the frame before
// the walk (the history before it is unknown) and moves to a bucket's end, whose largest
// starts again from 0.
class TruePeakScan
{
public:
    TruePeakScan (Track& t, const float* leftSamples, const float* rightSamples, int start, int end, int bucketLength,
                  FrameSupply* frameSupply)
        : track (t), left (leftSamples), right (t.numChannels == 2 ? rightSamples : nullptr), startSample (start),
          endSample (end), buckets (bucketLength), supply (frameSupply),
          largest (new float[(size_t) ((end - start) / std::max (bucketLength, 1) + 3)])
    {
        auto& m = *track.model;
        ceiling = m.leftTruePeak->estimateCeiling();
        taps = m.leftTruePeak->tapCount();
        if (right != nullptr)
        {
            ceiling = std::max (ceiling, m.rightTruePeak->estimateCeiling());
            taps = std::max (taps, m.rightTruePeak->tapCount());
            feed = truepeak::stereoFeedFor (*m.leftTruePeak, *m.rightTruePeak);
            feedTwo = truepeak::stereoTwoFrameFeedFor (*m.leftTruePeak, *m.rightTruePeak);
        }
        feedTwoOfOne = truepeak::twoFrameFeedFor (*m.leftTruePeak);
        if (right != nullptr)
        {
            screen.prepare (*m.leftTruePeak, *m.rightTruePeak);
            auto* l = dynamic_cast<Plain*> (m.leftTruePeak);
            auto* r = dynamic_cast<Plain*> (m.rightTruePeak);
            if (l != nullptr && r != nullptr && l != r)
                plainPair = { l, r };
        }
        worker = std::thread ([this] { run(); });
    }

    ~TruePeakScan()
    {
        stopRequested = true;
        worker.join();
    }

    // Waits until bucket k of the walk is scanned and gives its largest estimate; 0 when the
    // scan stopped before it (an abort, or a supply that closed early).
    float bucketLargest (int k)
    {
        for (;;)
        {
            const int now = state.load (std::memory_order_acquire);
            if (now / 2 > k)
                return largest[(size_t) k];
            if ((now & stoppedBit) != 0)
                return 0.0f;
            state.wait (now, std::memory_order_acquire);
        }
    }

private:
    // `state` holds twice the buckets scanned, plus stoppedBit once the scan has ended early.
    static constexpr int stoppedBit = 1;

    void publish (int value)
    {
        state.store (value, std::memory_order_release);
        state.notify_all();
    }

    void run()
    {
        auto& m = *track.model;
        auto& leftTruePeak = *m.leftTruePeak;
        auto& rightTruePeak = *m.rightTruePeak;
        BucketCounter counter { buckets };
        float bucketTruePeak = 0.0f;
        int lastLoud = startSample - 1;
        int bucket = 0;
        int available = supply == nullptr ? endSample : 0;
        // The screen's bounds for frames screenedFrom .. screenedFrom + 15, made when a pair
        // first needs them.
        double screened[TruePeakScreen::blockFrames];
        int screenedFrom = startSample - 2 * TruePeakScreen::blockFrames;
        // The usual processors are skipped through direct calls the compiler can inline.
        auto skipFrame = [&] (float l, float r)
        {
            if (plainPair[0] != nullptr)
            {
                plainPair[0]->Plain::skip (l);
                plainPair[1]->Plain::skip (r);
            }
            else
            {
                leftTruePeak.skip (l);
                rightTruePeak.skip (r);
            }
        };
        auto boundsOfPair = [&] (int i, int supplied) -> const double*
        {
            constexpr int block = TruePeakScreen::blockFrames;
            if (i < screenedFrom || i + 1 >= screenedFrom + block)
            {
                // The window of the first frame lies in the walk, the last frame's samples are in.
                if (i - (block - 1) < startSample || i + block > supplied)
                    return nullptr;
                screen.blockBounds (left, right, i, screened);
                screenedFrom = i;
            }
            return screened + (i - screenedFrom);
        };

        for (int i = startSample; i < endSample; ++i)
        {
            if (track.abortRequested || stopRequested)
                return publish (2 * bucket + stoppedBit);
            if (available <= i)
            {
                available = supply->waitFor (std::min (endSample, i + Track::readBlock));
                if (available <= i)
                    return publish (2 * bucket + stoppedBit);
            }

            // Two frames at a time where the first doesn't end a bucket: their sums run side by
            // side. Whether the second is loud is asked before the first's estimate is in, so
            // the pair is summed whenever either frame would be; a frame summed that could
            // have been left out cannot raise the bucket's largest.
            if (i + 1 < available && ! counter.endsAt (i, endSample))
            {
                const float L0 = left[i], L1 = left[i + 1];
                const float R0 = right != nullptr ? right[i] : 0.0f;
                const float R1 = right != nullptr ? right[i + 1] : 0.0f;
                if ((double) std::max (std::abs (L0), std::abs (R0)) * ceiling > (double) bucketTruePeak)
                    lastLoud = i;
                if ((double) std::max (std::abs (L1), std::abs (R1)) * ceiling > (double) bucketTruePeak)
                    lastLoud = i + 1;
                bool quiet = i - lastLoud >= taps;
                // A pair whose bounds stay under the bucket's largest can't raise it.
                if (! quiet && screen.ready())
                    if (const double* bound = boundsOfPair (i, available))
                        quiet = std::max (bound[0], bound[1]) < (double) bucketTruePeak;
                float t0 = 0.0f, t1 = 0.0f;
                if (right != nullptr)
                {
                    if (quiet)
                    {
                        skipFrame (L0, R0);
                        skipFrame (L1, R1);
                    }
                    else
                    {
                        float e[4];
                        feedTwo (leftTruePeak, rightTruePeak, L0, R0, L1, R1, e);
                        t0 = std::max (e[0], e[1]);
                        t1 = std::max (e[2], e[3]);
                    }
                }
                else
                {
                    if (quiet)
                    {
                        leftTruePeak.skip (L0);
                        leftTruePeak.skip (L1);
                    }
                    else
                    {
                        feedTwoOfOne (leftTruePeak, L0, L1, t0, t1);
                    }
                }
                bucketTruePeak = std::max (bucketTruePeak, t0);
                counter.ends (i, endSample);
                bucketTruePeak = std::max (bucketTruePeak, t1);
                if (counter.ends (i + 1, endSample))
                {
                    largest[(size_t) bucket] = bucketTruePeak;
                    publish (2 * ++bucket);
                    bucketTruePeak = 0.0f;
                    lastLoud = i + 1;
                }
                ++i;
                continue;
            }

            const float L = left[i];
            const float R = right != nullptr ? right[i] : 0.0f;
            const float magnitude = std::max (std::abs (L), std::abs (R));
            if ((double) magnitude * ceiling > (double) bucketTruePeak)
                lastLoud = i;
            const bool quiet = i - lastLoud >= taps;
            float t = 0.0f;
            if (right != nullptr)
            {
                if (quiet)
                {
                    leftTruePeak.skip (L);
                    rightTruePeak.skip (R);
                }
                else
                {
                    float r = 0.0f;
                    feed (leftTruePeak, rightTruePeak, L, R, t, r);
                    t = std::max (t, r);
                }
            }
            else
            {
                if (quiet)
                    leftTruePeak.skip (L);
                else
                    t = leftTruePeak.process (L);
            }
            bucketTruePeak = std::max (bucketTruePeak, t);

            if (counter.ends (i, endSample))
            {
                largest[(size_t) bucket] = bucketTruePeak;
                publish (2 * ++bucket);
                bucketTruePeak = 0.0f;
                lastLoud = i;
            }
        }
    }

    Track& track;
    const float* left;
    const float* right;
    int startSample, endSample, buckets;
    FrameSupply* supply;
    std::unique_ptr<float[]> largest;
    double ceiling = 0.0;
    int taps = 0;
    StereoTruePeakFeed feed = nullptr;
    StereoTruePeakTwoFrameFeed feedTwo = nullptr;
    TruePeakTwoFrameFeed feedTwoOfOne = nullptr;
    // Reads the samples of each frame's window from the walk's own arrays.
    TruePeakScreen screen;
    using Plain = TruePeakProcessor<16, 16>;
    std::array<Plain*, 2> plainPair {};
    std::atomic<int> state { 0 };
    std::atomic<bool> stopRequested { false };
    std::thread worker;
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
    // Null for a reference track, whose walk makes no true-peak estimates.
    TruePeakScan* truePeak;
    // During a load the walk follows the decoder: frames are taken only once the supply has
    // them, and progress goes to `walked` (the load thread owns the track's progress).
    FrameSupply* supply = nullptr;
    std::atomic<int>* walked = nullptr;

    float bucketShortTerm = minusInfinity;
    float bucketIntegrated = minusInfinity;
    float bucketSamplePeak = 0.0f;
    float bucketRange = plusInfinity;
    BucketCounter buckets { bucketLength };
    int bucketIndex = 0;
    int rangeCounter = 0;
    int ringIndex = 0;

    // The value progress has after frame i.
    float progressAt (int i) const { return walkProgress (i, startSample, endSample, progressBase); }

    void report (int i) const
    {
        if (walked != nullptr)
            walked->store (i + 1, std::memory_order_relaxed);
        else
            track.progress = progressAt (i);
    }
};

// Progress is written once every this many frames, on the last frame, and on the frame
// before a stop: the values at those frames are those a write on every frame would leave.
constexpr int progressInterval = 1024;

// How many frames from frame i on (before runEnd) are quiet: none renews the short-term value
// or the rolling peak, forms a block, gates, renews the range, measures a step, ends a bucket
// or reports progress. On a quiet frame the walk's held values stay as they are.
template <bool reference, typename Loudness>
int quietFrames (const Walk& w, const Loudness& loudness, const Loudness& plain, int i, int runEnd, int untilStep,
                 int untilProgress)
{
    const int endSample = w.endSample;
    int n = std::min ({ runEnd - i, endSample - 1 - i, untilProgress, loudness.shortTermStepsWithoutRenewal(),
                        loudness.integratedStepsWithoutEvent(), plain.integratedStepsWithoutEvent() });
    if (w.buckets.counter <= w.buckets.length)
        n = std::min (n, w.buckets.length - w.buckets.counter);
    if constexpr (! reference)
    {
        n = std::min (n, loudness.peakStepsWithoutRenewal());
        if (w.rangeCounter <= w.track.rangeInterval)
            n = std::min (n, w.track.rangeInterval - w.rangeCounter);
        if (untilStep >= 0)
            n = std::min (n, untilStep);
        // The last stepLength - 1 frames each measure a step.
        if (w.track.stepLength > 0)
            n = std::min (n, endSample - w.track.stepLength - i + 1);
    }
    return n;
}

// The sample peaks of n quiet frames from frame i: the record and the bucket's largest, and
// the record after each frame into the rolling-peak ring.
template <Layout layout, typename Loudness>
void risingPeaks (Walk& w, Loudness& loudness, int i, int n)
{
    const float* left = w.leftSamples + i;
    const float* right = layout == Layout::stereo ? w.rightSamples + i : nullptr;
    float record = w.r.samplePeak, bucket = w.bucketSamplePeak;
    float* ring = loudness.peakRing.get();
    int write = loudness.peakWrite;
    for (int k = 0; k < n;)
    {
        const int run = std::min (n - k, loudness.peakLength - write);
        for (int j = 0; j < run; ++j, ++k)
        {
            const float L = left[k];
            const float R = layout == Layout::stereo ? right[k] : 0.0f;
            const float magnitude = std::max (std::abs (L), std::abs (R));
            record = std::max (record, magnitude);
            bucket = std::max (bucket, magnitude);
            ring[write + j] = record;
        }
        write += run;
        if (write == loudness.peakLength)
            write = 0;
    }
    w.r.samplePeak = record;
    w.bucketSamplePeak = bucket;
    loudness.peakWrite = write;
    loudness.peakCount += n;
}

// The frame loop with the channel layout and the reference mode fixed, so that neither is
// asked again on every frame. Returns the frame it ended before: endSample, the frame of a
// stop, or -1 when the supply closed before the frames the walk needed.
template <Layout layout, bool reference>
int walkFrames (Walk& w)
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
    // Frames that may be read: a step measures up to stepLength frames ahead of its first.
    int available = w.supply == nullptr ? endSample : 0;

    // The powers are made a run of frames ahead of the measures that take them, so that the
    // short-term renewals among them can be summed side by side before the run is stepped.
    using Loudness = std::remove_reference_t<decltype (loudness)>;
    // No place of the 3 s window may be written twice within a run (only at absurdly low rates
    // would 16 hops exceed it).
    const int runLength = std::max (1, std::min (Loudness::maxAhead * loudness.shortTermHop, loudness.shortTermLength));
    std::vector<float> weightedRun ((size_t) runLength), unweightedRun ((size_t) runLength);
    int runStart = w.startSample, runEnd = w.startSample;
    int renewalAt[Loudness::maxAhead];
    float renewalSum[Loudness::maxAhead];
    int renewals = 0, nextRenewal = 0;
    // The block sums of both processors, formed ahead side by side where a block falls due:
    // frame blockFrame[k] forms blocks of sums blockSums[k] and blockSums[blocksAhead + k].
    int blockFrame[Loudness::maxBlocksAhead];
    float blockSums[2 * Loudness::maxBlocksAhead];
    int blocksAhead = 0, nextBlock = 0;

    for (int i = w.startSample; i < endSample; ++i)
    {
        if (track.abortRequested)
        {
            if (i > w.startSample)
                w.report (i - 1);
            return i;
        }
        if (available < endSample && available < i + stepLength + 1)
        {
            available = w.supply->waitFor (std::min (endSample, i + stepLength + Track::readBlock));
            if (available < std::min (endSample, i + stepLength + 1))
                return -1;
        }

        if (i == runEnd)
        {
            // A whole run where the decoder is far enough ahead: the renewals are summed
            // together only within a run.
            if (available < endSample && available < i + runLength)
                available = w.supply->waitFor (std::min (endSample, i + runLength + Track::readBlock));
            runStart = i;
            runEnd = std::min ({ endSample, available, i + runLength });
            if constexpr (layout == Layout::stereo)
            {
                loudness.kWeightedPowers (leftSamples + runStart, rightSamples + runStart, runEnd - runStart,
                                          weightedRun.data(), unweightedRun.data());
            }
            else
            {
                for (int k = runStart; k < runEnd; ++k)
                {
                    float weighted = 0.0f, unweighted = 0.0f;
                    if constexpr (layout == Layout::mono)
                    {
                        const float x = leftSamples[k];
                        const float y = loudness.leftStage2.BiQuad<float>::process (loudness.leftStage1.BiQuad<float>::process (x));
                        weighted = y * y;
                        unweighted = x * x;
                    }
                    weightedRun[(size_t) (k - runStart)] = weighted;
                    unweightedRun[(size_t) (k - runStart)] = unweighted;
                }
            }
            renewals = loudness.sumRenewalsAhead (weightedRun.data(), runEnd - runStart, renewalAt, renewalSum);
            nextRenewal = 0;
        }

        // Frames on which nothing but the rings and the peaks move are taken as one stretch:
        // every value a frame returns stays what it was, and only the bucket's extremes and
        // the counters need to learn of them.
        if (const int n = quietFrames<reference> (w, loudness, plain, i, runEnd, untilStep, untilProgress); n > 0)
        {
            const int offset = i - runStart;
            loudness.shortTermFill (n, weightedRun.data() + offset);
            loudness.integratedFill (n, [p = weightedRun.data() + offset] (int k) { return p[k]; });
            plain.integratedFill (n, [p = unweightedRun.data() + offset] (int k) { return p[k]; });
            w.bucketShortTerm = std::max (w.bucketShortTerm, loudness.shortTermValue);
            r.integratedLUFS = loudness.integratedValue;
            r.plainIntegrated = plain.integratedValue;
            w.bucketIntegrated = std::max (w.bucketIntegrated, r.integratedLUFS);
            if constexpr (! reference)
            {
                w.rangeCounter += n;
                w.bucketRange = std::min (w.bucketRange, r.loudnessRange);
                risingPeaks<layout> (w, loudness, i, n);
                if (untilStep >= 0)
                    untilStep -= n;
            }
            w.buckets.counter += n;
            untilProgress -= n;
            i += n - 1;
            continue;
        }

        const float L = leftSamples[i];
        const float R = layout == Layout::stereo ? rightSamples[i] : 0.0f;
        const float weighted = weightedRun[(size_t) (i - runStart)];
        const float unweighted = unweightedRun[(size_t) (i - runStart)];

        float sum = 0.0f;
        if (nextRenewal < renewals && renewalAt[nextRenewal] == i - runStart)
            sum = renewalSum[nextRenewal++];
        const float S = loudness.shortTermStepSummed (weighted, sum);
        w.bucketShortTerm = std::max (w.bucketShortTerm, S);

        bool stepped = false;
        if (loudness.blockDue() && plain.blockDue())
        {
            if (nextBlock >= blocksAhead || blockFrame[nextBlock] != i)
            {
                int at[Loudness::maxBlocksAhead];
                const int offset = i - runStart;
                blocksAhead = Loudness::blockSumsAhead (loudness, weightedRun.data() + offset, plain,
                                                        unweightedRun.data() + offset, runEnd - i, at, blockSums);
                for (int k = 0; k < blocksAhead; ++k)
                    blockFrame[k] = i + at[k];
                nextBlock = 0;
            }
            if (nextBlock < blocksAhead && blockFrame[nextBlock] == i)
            {
                r.integratedLUFS = loudness.integratedStepSummed (weighted, blockSums[nextBlock]);
                r.plainIntegrated = plain.integratedStepSummed (unweighted, blockSums[blocksAhead + nextBlock]);
                ++nextBlock;
                stepped = true;
            }
        }
        if (! stepped)
        {
            r.integratedLUFS = loudness.integratedStep (weighted);
            r.plainIntegrated = plain.integratedStep (unweighted);
        }
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

            // The rolling peak is fed the record peak so far, not this frame's magnitude; as
            // that never falls, the window's largest is the value just fed.
            const float P = loudness.risingPeakStep (r.samplePeak);

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
                    {
                        const std::lock_guard<std::mutex> guard (track.stereoStepsLock);
                        r.balanceSteps.push_back (v.balance - 1.0f);
                        r.correlationSteps.push_back (v.correlation - 1.0f);
                    }
                    r.balanceSmoothed.push_back (stereo::pushAndSmooth (r.balanceRing, w.ringIndex, r.ringFilled, v.balance));
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

        if (w.buckets.ends (i, endSample))
        {
            // The record true peak is the largest of the buckets' largest estimates.
            const float bucketTruePeak = reference ? 0.0f : w.truePeak->bucketLargest (w.bucketIndex);
            r.truePeakLinear = std::max (r.truePeakLinear, bucketTruePeak);
            ++w.bucketIndex;

            r.shortTermPoints.push_back (w.bucketShortTerm);
            r.integratedPoints.push_back (w.bucketIntegrated);
            r.samplePeakPoints.push_back (20.0f * std::log10 (w.bucketSamplePeak));
            r.truePeakPoints.push_back (20.0f * std::log10 (bucketTruePeak));
            r.loudnessRangePoints.push_back (w.bucketRange);

            w.bucketShortTerm = minusInfinity;
            w.bucketIntegrated = minusInfinity;
            w.bucketSamplePeak = 0.0f;
            w.bucketRange = plusInfinity;
        }

        if (--untilProgress < 0 || i == endSample - 1)
        {
            w.report (i);
            untilProgress = progressInterval - 1;
        }
    }
    return endSample;
}

template <bool reference>
int walkFrames (Walk& w, int numChannels)
{
    if (numChannels == 2)
        return walkFrames<Layout::stereo, reference> (w);
    if (numChannels == 1)
        return walkFrames<Layout::mono, reference> (w);
    return walkFrames<Layout::other, reference> (w);
}

// Set-up steps 2 to 8 of an analysis, then the walk; the caller holds analysisLock.
int walkRange (Track& track, int startSample, int endSample, AllReadings& r, float progressBase,
               FrameSupply* supply, std::atomic<int>* walked)
{
    auto& m = *track.model;
    if (walked == nullptr)
        track.progress = 0.0f;
    track.stepCount = 0;

    const int bucketLength = track.numSamples / Track::pixelCount;

    m.leftTruePeak->reset();
    if (track.numChannels == 2)
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

    track.stepLength = std::min (stereo::stepLengthForRate (track.sampleRate), bucketLength);

    {
        const std::lock_guard<std::mutex> guard (track.stereoStepsLock);
        r.clear();
    }

    // The true-peak estimates run ahead on their own thread; it ends before this returns.
    std::optional<TruePeakScan> truePeak;
    if (! track.isReference)
        truePeak.emplace (track, track.leftChannel.get(), track.rightChannel.get(), startSample, endSample, bucketLength,
                          supply);

    Walk w { track, m, r, track.leftChannel.get(), track.rightChannel.get(), startSample, endSample, bucketLength,
             progressBase, truePeak ? &*truePeak : nullptr, supply, walked };
    return track.isReference ? walkFrames<true> (w, track.numChannels) : walkFrames<false> (w, track.numChannels);
}

// Marks an analysis as under way for as long as it lives.
struct AnalysisUnderWay
{
    explicit AnalysisUnderWay (Track& t) : track (t) { track.model->analysisStarting(); track.analysing = true; }
    ~AnalysisUnderWay() { end(); }
    void end()
    {
        if (! ended)
        {
            track.analysing = false;
            track.model->analysisEnded();
        }
        ended = true;
    }
    Track& track;
    bool ended = false;
};

// The true-peak processors as an analysis found them: a load whose walk went ahead of a stop
// puts them back, so that the next file begins with the history it would have had.
struct TruePeakSnapshot
{
    explicit TruePeakSnapshot (const Model& m)
        : a16 (m.truePeak16a), b16 (m.truePeak16b), a8 (m.truePeak8a), b8 (m.truePeak8b), a4 (m.truePeak4a), b4 (m.truePeak4b)
    {
    }
    void restore (Model& m) const
    {
        m.truePeak16a = a16;
        m.truePeak16b = b16;
        m.truePeak8a = a8;
        m.truePeak8b = b8;
        m.truePeak4a = a4;
        m.truePeak4b = b4;
    }
    TruePeakProcessor<16, 16> a16, b16;
    TruePeakProcessor<8, 32> a8, b8;
    TruePeakProcessor<4, 64> a4, b4;
};
} // namespace

void Track::analyseRange (int startSample, int endSample, AllReadings* readings, float progressBase,
                          std::function<void()> finished)
{
    AnalysisUnderWay underWay (*this);
    {
        std::lock_guard<std::mutex> hold (model->analysisLock);
        walkRange (*this, startSample, endSample, *readings, progressBase, nullptr, nullptr);
    }

    if (finished)
        finished();
}

void Track::loadAndAnalyse (juce::AudioBuffer<float>* blockBuffer)
{
    loading = true;
    progress = 0.0f;

    auto& m = *model;
    std::unique_lock<std::mutex> hold (m.analysisLock);

    m.multiFrequency.prepareBands (sampleRate);
    makeOnesVector (sampleRate);
    m.loudnessProcessor = makeLoudnessProcessor (sampleRate, LUFSProcessor<3000>::allMeasures);
    m.plainLoudnessProcessor = makeLoudnessProcessor (sampleRate, LUFSProcessor<3000>::integratedMeasure);
    m.chooseTruePeakProcessors (sampleRate);
    const auto truePeakBefore = std::make_unique<TruePeakSnapshot> (m);

    const bool stereo = numChannels == 2;
    // Not zeroed: the first pass writes every frame that is kept.
    const auto frames = (size_t) std::max (numSamples, 1);
    leftChannel.reset (withLargePages (new float[frames], frames));
    rightChannel.reset (stereo ? withLargePages (new float[frames], frames) : nullptr);
    float* left = leftChannel.get();
    float* right = rightChannel.get();

    // The arrays' pages are made on a thread of their own, a little ahead of the decoder that
    // fills them: the kernel clears each new page, which costs as much as decoding into it.
    // Stopped and joined once the first pass is over (or on the way out of an exception).
    std::jthread prefault ([left, right, frames] (std::stop_token stop)
                           {
                               constexpr size_t step = (2u << 20) / sizeof (float);
                               for (size_t at = 0; at < frames && ! stop.stop_requested(); at += step)
                                   for (float* samples : { left, right })
                                       if (samples != nullptr)
                                           populate (samples + at, std::min (step, frames - at));
                           });

    blockBuffer->clear();
    m.bulkReading = true;
    readerSource->setNextReadPosition (0);
    samplesRead = 0;
    m.multiFrequency.resetBands();

    // The walk over every frame runs beside the two passes, following the decoder: the
    // measures it feeds are not those of the band pass, and it reads only frames already
    // in memory. The true-peak and loudness processors end as a walk after the passes
    // leaves them; if a stop cuts the passes short, the walk is made again below as it
    // would have been.
    const int walkEnd = numSamples;
    FrameSupply supply;
    std::atomic<int> walked { 0 };
    AnalysisUnderWay underWay (*this);
    auto walk = std::async (std::launch::async, [this, &supply, &walked, walkEnd]
                            { return walkRange (*this, 0, walkEnd, wholeFileReadings, 0.0f, &supply, &walked); });
    struct CloseOnExit
    {
        FrameSupply& supply;
        ~CloseOnExit() { supply.close(); }
    } closeOnExit { supply };

    bool stopped = false;
    const juce::AudioSourceChannelInfo block (blockBuffer, 0, readBlock);
    const float* channel0 = blockBuffer->getReadPointer (0);
    const float* channel1 = blockBuffer->getReadPointer (1);

    // First pass: the whole file into memory, with an unfiltered level for every block.
    int meterSizes[MultiFrequencyAnalysis::meterAhead];
    int metered = 0, meteredFrames = 0;
    auto meterPending = [&]
    {
        m.multiFrequency.meterBlocks (left + meteredFrames, stereo ? right + meteredFrames : nullptr, meterSizes, metered);
        for (int k = 0; k < metered; ++k)
            meteredFrames += meterSizes[k];
        metered = 0;
    };
    while (readerSource->getNextReadPosition() <= (juce::int64) numSamples)
    {
        if (m.stopAll || abortRequested)
        {
            stopped = true;
            break;
        }
        readerSource->getNextAudioBlock (block);
        const int n = framesInBlock (numSamples, readerSource->getNextReadPosition());

        std::memcpy (left + samplesRead, channel0, sizeof (float) * (size_t) n);
        if (stereo)
            std::memcpy (right + samplesRead, channel1, sizeof (float) * (size_t) n);
        samplesRead += n;
        supply.publish (samplesRead);

        // The block levels are taken a few blocks at a time, from the arrays.
        meterSizes[metered++] = n;
        if (metered == MultiFrequencyAnalysis::meterAhead)
            meterPending();
        progress = ((float) samplesRead / (float) numSamples) / 10.0f;
    }
    supply.close();
    prefault.request_stop();
    prefault.join();
    meterPending();

    // Second pass: the blocks within 1.5 dB of the loudest are taken again for the bands,
    // from memory: every reader gives at a position just what it gave there in order.
    const auto& levels = m.multiFrequency.blockLevels;
    if (! levels.empty())
    {
        float loudest = levels[0];
        for (float level : levels)
            if (level > loudest)
                loudest = level;

        // The upper bands run on a thread of their own, never ahead of this loop: it takes
        // block j once this loop has passed its stop check for j, so both halves end after the
        // same blocks.
        constexpr int split = MultiFrequencyAnalysis::numBands / 2;
        auto& bands = m.multiFrequency;
        auto analyse = [&] (int j, int firstBand, int lastBand)
        {
            const int start = readBlock * j;
            const int n = framesInBlock (numSamples, (juce::int64) start + readBlock);
            bands.analyseBlockBands (left + start, stereo ? right + start : nullptr, n, firstBand, lastBand);
        };
        const int count = (int) levels.size();
        // Blocks cleared so far; once the loop has ended, `last` holds how many it cleared
        // and `cleared` is raised past every block so that a waiting thread wakes.
        std::atomic<int> cleared { 0 }, last { 0 };
        std::thread upper ([&]
                           {
                               for (int j = 0; j < count; ++j)
                               {
                                   int now = cleared.load (std::memory_order_acquire);
                                   for (; now <= j; now = cleared.load (std::memory_order_acquire))
                                       cleared.wait (now, std::memory_order_acquire);
                                   if (now > count && j >= last.load())
                                       return;
                                   if (loudest - levels[(size_t) j] < bandGate)
                                       analyse (j, split, MultiFrequencyAnalysis::numBands);
                               }
                           });
        int j = 0;
        // However this loop ends, the other thread learns where and is joined.
        struct EndUpper
        {
            std::atomic<int>& cleared;
            std::atomic<int>& last;
            std::thread& upper;
            const int& j;
            int count;
            ~EndUpper()
            {
                last.store (j);
                cleared.store (count + 1, std::memory_order_release);
                cleared.notify_one();
                upper.join();
            }
        } endUpper { cleared, last, upper, j, count };
        for (; j < count; ++j)
        {
            if (m.stopAll || abortRequested)
            {
                stopped = true;
                break;
            }
            cleared.store (j + 1, std::memory_order_release);
            cleared.notify_one();
            if (loudest - levels[(size_t) j] < bandGate)
                analyse (j, 0, split);
            progress = ((float) j / (float) count) * 4.0f / 10.0f + 0.1f;
        }
    }

    // Finish, also after a stop: what was read keeps its readings.
    multiFrequencyIntegratedLUFS.assign (m.multiFrequency.stereoBands.begin(), m.multiFrequency.stereoBands.end());
    midMultiFrequencyIntegratedLUFS.assign (m.multiFrequency.midBands.begin(), m.multiFrequency.midBands.end());
    sideMultiFrequencyIntegratedLUFS.assign (m.multiFrequency.sideBands.begin(), m.multiFrequency.sideBands.end());

    const float progressBase = progress;
    while (walk.wait_for (std::chrono::milliseconds (10)) != std::future_status::ready)
        progress = std::max (progress, walkProgress (walked.load (std::memory_order_relaxed) - 1, 0, walkEnd, progressBase));
    const int walkedTo = walk.get();

    if (stopped)
    {
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
            shrink (leftChannel);
            shrink (rightChannel);
        }
        numSamples = samplesRead;

        // Walked as it would have been after the passes: from the processors as they were.
        truePeakBefore->restore (m);
        m.loudnessProcessor = makeLoudnessProcessor (sampleRate, LUFSProcessor<3000>::allMeasures);
        m.plainLoudnessProcessor = makeLoudnessProcessor (sampleRate, LUFSProcessor<3000>::integratedMeasure);
        walkRange (*this, 0, numSamples, wholeFileReadings, progressBase, nullptr, nullptr);
    }
    else if (walkedTo > 0)
    {
        progress = walkProgress (walkedTo - 1, 0, walkEnd, progressBase);
    }
    else
    {
        progress = 0.0f;
    }

    underWay.end();
    m.bulkReading = false;
    loading = false;
    analysisComplete = true;
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
