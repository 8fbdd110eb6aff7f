#pragma once

#include "measure/BiQuad.h"
#include "measure/ILUFSProcessor.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

// A zeroed float array whose pages are only made resident when written: the 3 s rings of
// the 42 band processors are allocated for every load though most are never touched.
struct ZeroedFloatsDeleter
{
    std::size_t count = 0;
    void operator() (float* p) const;
};
using ZeroedFloats = std::unique_ptr<float[], ZeroedFloatsDeleter>;
ZeroedFloats makeZeroedFloats (std::size_t count);
void* allocateProcessor (std::size_t bytes);
void releaseProcessor (void* p, std::size_t bytes);

// A ring's sum is taken in index order, so the sum of its first `end` entries stays good
// while none of them is written: each renewal goes on from where the entries changed since
// the last one begin, and keeps the partial sum up to where the next changes will begin.
// Every write through the steps lowers `end` to the index written; whoever writes a ring
// otherwise must call forget().
struct RingPrefix
{
    int end = 0;
    float sum = 0.0f;
    void touch (int index) { end = index < end ? index : end; }
    void forget() { end = 0; }
};

// Gated loudness, 3 s short-term loudness, a rolling 3 s peak and the loudness range
// of a stream of per-sample powers. N is how many 400 ms block powers the gate keeps.
// Every step returns the value held after that sample; values change only at the hops.
// Fields are public: the analysis loop sets several of them directly at its start.
template <int N>
class LUFSProcessor final : public ILUFSProcessor
{
public:
    LUFSProcessor();
    ~LUFSProcessor() override = default;

    // A processor with a long bag comes from the kernel's zero pages, so that the part of the
    // bag no block has reached yet never becomes resident.
    static void* operator new (std::size_t bytes) { return allocateProcessor (bytes); }
    static void operator delete (void* p, std::size_t bytes) { releaseProcessor (p, bytes); }

    // Which measures a processor serves: each has a ring of its own, seconds long, so a
    // processor that serves only some of them leaves the others' rings unmade.
    enum Measures : unsigned
    {
        integratedMeasure = 1, // integratedStep (the 400 ms block ring)
        shortTermMeasure = 2,  // shortTermStep and resetShortTermWindow (the 3 s ring)
        rollingPeakMeasure = 4, // rollingPeakStep (the 3 s peak ring)
        allMeasures = 7,
    };

    // sampleRate and startCount are set first.
    void prepare (unsigned measures = allMeasures);

    // Both channels through their two K-weighting stages, squared and summed.
    float kWeightedPower (float left, float right)
    {
        const float l = leftStage2.BiQuad<float>::process (leftStage1.BiQuad<float>::process (left));
        const float r = rightStage2.BiQuad<float>::process (rightStage1.BiQuad<float>::process (right));
        return l * l + r * r;
    }

    float plainPower (float left, float right) override { return left * left + right * right; }

    // kWeightedPower and plainPower for n frames in a row, giving just their values and
    // leaving the filters as n calls would. The four filters run on local copies the compiler
    // keeps in registers: called one by one on the members they go through memory, and every
    // sample waits on the stores of the one before it.
    void kWeightedPowers (const float* left, const float* right, int n, float* weighted, float* plain)
    {
        BiQuad<float> l1 (leftStage1), l2 (leftStage2), r1 (rightStage1), r2 (rightStage2);
        for (int k = 0; k < n; ++k)
        {
            const float x = left[k], z = right[k];
            const float l = l2.BiQuad<float>::process (l1.BiQuad<float>::process (x));
            const float r = r2.BiQuad<float>::process (r1.BiQuad<float>::process (z));
            weighted[k] = l * l + r * r;
            plain[k] = x * x + z * z;
        }
        leftStage1 = l1, leftStage2 = l2, rightStage1 = r1, rightStage2 = r2;
    }

    float shortTermStep (float power, bool* renewed = nullptr) override
    {
        return shortTermAdvance (power, [&] { renewShortTerm (renewed); });
    }

    // The renewals shortTermStep would make over the next n powers, summed ahead, side by side
    // in lanes: each the in-order sum of the window as that renewal would find it. Their
    // offsets into `powers` go to `at` and their sums to `sums`; returns how many there are, at
    // most maxAhead, which is all of them when n is at most maxAhead hops and under the window's
    // length. Changes nothing but the kept partial sum of the window's unchanged front.
    static constexpr int maxAhead = 16;
    int sumRenewalsAhead (const float* powers, int n, int* at, float* sums);

    // The block sums that integrated steps of a and b on their next n powers would form, for
    // two processors in step with each other (the same block counter, ring position and
    // prefix), summed ahead side by side: offsets go to `at`, a's sums to sums[0 .. count) and
    // b's to sums[count .. 2 count). Returns how many there are: those within a ring's length
    // of frames, at most maxBlocksAhead; none for processors out of step. Changes nothing but the
    // kept partial sums of the rings' unchanged fronts.
    static constexpr int maxBlocksAhead = 4;
    static int blockSumsAhead (LUFSProcessor& a, const float* aPowers, LUFSProcessor& b, const float* bPowers, int n,
                               int* at, float* sums);

    // Whether the next integrated step forms a block.
    bool blockDue() const { return blockCount == blockHop + startCount; }

    // integratedStep for a power whose step forms a block with the ring's sum `blockSum`, or
    // forms none (the sum is then ignored).
    float integratedStepSummed (float power, float blockSum)
    {
        beginIntegratedEvent (power);
        return finishIntegratedEvent (blockSum);
    }

    // shortTermStep for a frame whose renewal, if it makes one, has the window sum `sum`.
    float shortTermStepSummed (float power, float sum)
    {
        return shortTermAdvance (power, [&] { renewShortTermWith (sum); });
    }

    // Short-term steps that can be taken before the next one that renews the value; INT_MAX
    // when none will come.
    int shortTermStepsWithoutRenewal() const { return stepsUntil (shortTermHop + startCount, shortTermCount); }

    // n short-term steps on powers[0 .. n), none of which renews (n is at most
    // shortTermStepsWithoutRenewal()): the powers go into the 3 s ring as n calls would put them.
    void shortTermFill (int n, const float* powers)
    {
        if (n <= 0)
            return;
        float* ring = shortTermRing.get();
        shortTermPrefix.touch (n > shortTermLength - shortTermWrite ? 0 : shortTermWrite);
        for (int k = 0; k < n;)
        {
            const int run = std::min (n - k, shortTermLength - shortTermWrite);
            std::copy (powers + k, powers + k + run, ring + shortTermWrite);
            k += run;
            shortTermWrite += run;
            if (shortTermWrite == shortTermLength)
                shortTermWrite = 0;
        }
        shortTermCount += n;
    }

    // Rolling-peak steps that can be taken before the next one that renews the peak; INT_MAX
    // when none will come.
    int peakStepsWithoutRenewal() const { return stepsUntil (peakHop + startCount, peakCount); }

    // n short-term steps on powerOf (k) for k = 0 .. n - 1, leaving what n calls of
    // shortTermStep leave; only the last renewal among them is summed, as the ones before
    // it are overwritten unread.
    template <typename PowerOf>
    float shortTermRun (int n, PowerOf&& powerOf)
    {
        return shortTermRunWith (n, powerOf, [this] { renewShortTerm (nullptr); });
    }

    // shortTermRun for powers whose last renewal, if they make one, has the window sum `sum`
    // (from shortTermSumsAt).
    template <typename PowerOf>
    float shortTermRunSummed (int n, PowerOf&& powerOf, float sum)
    {
        return shortTermRunWith (n, powerOf, [this, sum] { renewShortTermWith (sum); });
    }

    // The offset of the last renewal among the next n short-term steps of a window whose
    // counter stands at `counter`, or -1 when they make none; the counter moves on past them.
    int lastRenewal (int n, int& counter) const
    {
        int last = -1;
        for (int k = 0; k < n; ++k, ++counter)
            if (counter == shortTermHop + startCount)
            {
                last = k;
                counter = startCount;
            }
        return last;
    }

    // The window sums of renewals on frames at[0] < at[1] < ... of powers, all under the
    // window's length, as sumRenewalsAhead takes them (at most maxAhead).
    void shortTermSumsAt (const float* powers, const int* at, int count, float* sums);

    float integratedStep (float power) override
    {
        if (beginIntegratedEvent (power))
            formBlock();
        return endIntegratedStep();
    }

    // Steps that can be taken before the next one that forms a block or makes a gating pass;
    // INT_MAX when none will come (counters set past their hops never meet them again).
    int integratedStepsWithoutEvent() const
    {
        const long long untilBlock = (long long) blockHop + startCount - blockCount;
        const long long untilGate = (long long) integratedHop + startCount - integratedCount;
        long long until = 0x7fffffff;
        if (untilBlock >= 0)
            until = std::min (until, untilBlock);
        if (untilGate >= 0)
            until = std::min (until, untilGate);
        return (int) until;
    }

    // n integrated steps, none of which may form a block or gate (n is at most
    // integratedStepsWithoutEvent()): powerOf (k) for k = 0 .. n - 1 goes into the block ring.
    template <typename PowerOf>
    void integratedFill (int n, PowerOf&& powerOf)
    {
        float* ring = blockRing.get();
        blockPrefix.touch (n >= blockLength - blockWrite ? 0 : blockWrite);
        int k = 0;
        while (k < n)
        {
            const int run = std::min (n - k, blockLength - blockWrite);
            float* to = ring + blockWrite;
            for (int j = 0; j < run; ++j)
                to[j] = powerOf (k + j);
            k += run;
            blockWrite += run;
            if (blockWrite == blockLength)
                blockWrite = 0;
        }
        blockCount += n;
        integratedCount += n;
    }

    // The step that forms a block or gates, in two halves, so that the block sums of several
    // processors can be taken side by side (sumInOrderSideBySide): the first stores the power
    // and says whether a block is due; the second takes that block's sum, the whole block
    // ring added in index order (ignored when no block is due), and returns the held value.
    bool beginIntegratedEvent (float power)
    {
        blockPrefix.touch (blockWrite);
        blockRing.get()[blockWrite] = power;
        return blockCount == blockHop + startCount;
    }
    float finishIntegratedEvent (float blockSum)
    {
        if (blockCount == blockHop + startCount)
            storeBlock (blockSum);
        return endIntegratedStep();
    }

    float rollingPeakStep (float magnitude) override
    {
        return peakAdvance (magnitude, [this] { renewRollingPeak(); });
    }

    // rollingPeakStep for magnitudes that never fall and are never negative since the window
    // was last filled with zeros, such as the record sample peak of a walk: the largest in
    // the window is then always the one just written, and a renewal needs no search.
    float risingPeakStep (float magnitude)
    {
        return peakAdvance (magnitude, [&]
                            {
                                rollingPeak = magnitude;
                                peakCount = startCount;
                            });
    }

    // Appends a short-term level to the history and renews the range from all of it.
    // The history may be emptied from outside between calls; it is otherwise only grown here.
    float updateLoudnessRange (float shortTermLevel);

    void resetMeasure (bool keepLevel, float level);
    // Fills the 3 s window with the -70 LUFS power and forgets the held short-term value,
    // as every analysis does before its first sample.
    void resetShortTermWindow();

    // The one gating pass over all N block powers; renews integratedValue.
    void gatingPass();

    double sampleRate = 0.0;
    int blockHop = 0, shortTermHop = 0, peakHop = 0, rangeHop = 0;
    int integratedHop = 0;

    BiQuad<float> leftStage1, rightStage1, leftStage2, rightStage2;

    ZeroedFloats shortTermRing;
    std::vector<float> shortTermHistory;
    ZeroedFloats blockRing;
    // The bag of block powers. Entries from blockPowersFilled on hold blockPowersFill without
    // being written: a reset fills the bag with a level under the gate, and an entry under
    // the gate is never moved by a pass, so only the front that blocks reached is ever kept.
    float blockPowers[(std::size_t) N];
    int capacity = N;
    int blockPowersFilled = 0;
    float blockPowersFill = 0.0f;
    float blockPower (int i) const { return i < blockPowersFilled ? blockPowers[i] : blockPowersFill; }
    // Writes the fill into every entry not yet written; whoever writes the bag directly calls it first.
    void materialiseBlockPowers();

    int startCount = 0;
    int shortTermCount = 0, peakCount = 0, blockCount = 0, integratedCount = 0;
    int rangeTrigger = 0;
    int shortTermLength = 0;
    int shortTermWrite = 0;
    int blockLength = 0;
    int blockWrite = 0;
    int powerWrite = 0;
    float shortTermValue;
    float integratedValue;
    float rangeValue;

    ZeroedFloats peakRing;
    int peakLength = 0;
    int peakWrite = 0;
    float rollingPeak = 0.0f;

    // Partial sums of the front of the 3 s and 400 ms rings (see RingPrefix).
    RingPrefix shortTermPrefix, blockPrefix;

private:
    template <typename PowerOf, typename Renew>
    float shortTermRunWith (int n, PowerOf& powerOf, Renew&& renew)
    {
        int counter = shortTermCount;
        const int last = lastRenewal (n, counter);
        auto write = [&] (int from, int to)
        {
            float* ring = shortTermRing.get();
            for (int k = from; k < to; ++k)
            {
                shortTermPrefix.touch (shortTermWrite);
                ring[shortTermWrite] = powerOf (k);
                if (++shortTermWrite == shortTermLength)
                    shortTermWrite = 0;
            }
        };
        if (last >= 0)
        {
            write (0, last);
            shortTermPrefix.touch (shortTermWrite);
            shortTermRing.get()[shortTermWrite] = powerOf (last);
            renew();
            if (++shortTermWrite == shortTermLength)
                shortTermWrite = 0;
            shortTermCount = startCount + 1;
            write (last + 1, n);
            shortTermCount += n - last - 1;
        }
        else
        {
            write (0, n);
            shortTermCount += n;
        }
        return shortTermValue;
    }

    // Steps before a counter that moves on by one a step reaches `due`; a counter already past
    // it never meets it again.
    static int stepsUntil (int due, int counter) { return due >= counter ? due - counter : 0x7fffffff; }

    // One short-term step; `renew` renews the value on the hop's frame.
    template <typename Renew>
    float shortTermAdvance (float power, Renew&& renew)
    {
        shortTermPrefix.touch (shortTermWrite);
        shortTermRing.get()[shortTermWrite] = power;
        if (shortTermCount == shortTermHop + startCount)
            renew();
        if (++shortTermWrite == shortTermLength)
            shortTermWrite = 0;
        ++shortTermCount;
        return shortTermValue;
    }

    // One rolling-peak step; `renew` renews the peak on the hop's frame.
    template <typename Renew>
    float peakAdvance (float magnitude, Renew&& renew)
    {
        peakRing.get()[peakWrite] = magnitude;
        if (peakCount == peakHop + startCount)
            renew();
        if (++peakWrite == peakLength)
            peakWrite = 0;
        ++peakCount;
        return rollingPeak;
    }

    void renewShortTerm (bool* renewed);
    void renewShortTermWith (float sum);
    void formBlock();
    void storeBlock (float sum);

    // The rest of an integrated step once its block, if one was due, is stored.
    float endIntegratedStep()
    {
        if (integratedCount == integratedHop + startCount)
        {
            gatingPass();
            integratedCount = startCount;
        }
        if (++blockWrite == blockLength)
            blockWrite = 0;
        ++blockCount;
        ++integratedCount;
        return integratedValue;
    }
    void renewRollingPeak();
    void syncRangeCache();

    // Kept beside shortTermHistory so that a range update needs neither a power nor a sort
    // per entry: the power of every history entry in the history's own order, and the
    // entries that are numbers (with their powers) in ascending order.
    std::vector<float> historyPowers;
    std::vector<float> sortedLevels, sortedPowers;
    std::size_t historyNaNs = 0;
};

// The sums of count float arrays of one length, each added in index order from 0 as a plain
// loop does, eight at a time side by side so that the additions of one don't wait on the last.
void sumInOrderSideBySide (const float* const* arrays, int count, int length, float* sums);

// How arrays are added side by side: in plain loops, eight arrays at a time; or eight arrays'
// next eight entries turned into eight vectors of one entry each (AVX), so that each lane
// still adds its own array in index order.
enum class SumKernel
{
    portable,
    avx
};
bool sumKernelAvailable (SumKernel kernel);
// Adds arrays[j][from .. to) in index order onto sums[j] for every j < count.
void addInOrderSideBySide (const float* const* arrays, int count, int from, int to, float* sums, SumKernel kernel);

// The in-order sum of each ring[0 .. length) going on from its prefix, as a renewal takes it
// (the prefix then ends at marks[j] when that lies ahead); side by side when all the prefixes
// and marks are at one place, as those of processors stepped together are.
void sumRingsFromSideBySide (const float* const* rings, RingPrefix* const* prefixes, const int* marks, int count,
                             int length, float* sums);

// The level of a power: 10 log10(p) - 0.691, in float.
float loudnessOfPower (float power);

// The largest power whose level is not above gateLevel: a power p passes a gate
// "loudnessOfPower (p) > gateLevel" exactly when p > gatePowerFor (gateLevel), since the
// float level never falls as the power rises. +infinity when no power can pass.
float gatePowerFor (float gateLevel);

// K-weighting of ITU-R BS.1770 redesigned for a sample rate, in double.
struct KWeightingCoefficients
{
    double b0, b1, b2, a0, a1, a2;
};
KWeightingCoefficients kWeightingShelf (double sampleRate);
KWeightingCoefficients kWeightingHighPass (double sampleRate);

// One process-wide buffer of ones, trunc(sampleRate) * 3 long, made anew by every load.
// The gated sums may be taken as dot products with it.
void makeOnesVector (double sampleRate);
const float* onesVector();
int onesVectorLength();

extern template class LUFSProcessor<3000>;
extern template class LUFSProcessor<180000>;
