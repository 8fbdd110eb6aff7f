#pragma once

#include "measure/BiQuad.h"
#include "measure/ILUFSProcessor.h"

#include <cstddef>
#include <memory>
#include <vector>

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

    float shortTermStep (float power, bool* renewed = nullptr) override
    {
        shortTermRing.get()[shortTermWrite] = power;
        if (shortTermCount == shortTermHop + startCount)
            renewShortTerm (renewed);
        if (++shortTermWrite == shortTermLength)
            shortTermWrite = 0;
        ++shortTermCount;
        return shortTermValue;
    }

    float integratedStep (float power) override
    {
        blockRing.get()[blockWrite] = power;
        if (blockCount == blockHop + startCount)
            formBlock();
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

    float rollingPeakStep (float magnitude) override
    {
        peakRing.get()[peakWrite] = magnitude;
        if (peakCount == peakHop + startCount)
            renewRollingPeak();
        if (++peakWrite == peakLength)
            peakWrite = 0;
        ++peakCount;
        return rollingPeak;
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

    std::unique_ptr<float[]> shortTermRing;
    std::vector<float> shortTermHistory;
    std::unique_ptr<float[]> blockRing;
    float blockPowers[(std::size_t) N];
    int capacity = N;

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

    std::unique_ptr<float[]> peakRing;
    int peakLength = 0;
    int peakWrite = 0;
    float rollingPeak = 0.0f;

private:
    void renewShortTerm (bool* renewed);
    void formBlock();
    void renewRollingPeak();
    void syncRangeCache();

    // Kept beside shortTermHistory so that a range update needs neither a power nor a sort
    // per entry: the power of every history entry in the history's own order, and the
    // entries that are numbers (with their powers) in ascending order.
    std::vector<float> historyPowers;
    std::vector<float> sortedLevels, sortedPowers;
    std::size_t historyNaNs = 0;
};

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
