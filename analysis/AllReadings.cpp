#include "analysis/AllReadings.h"

void AllReadings::fillRings()
{
    correlationRing.fill (1.0f);
    balanceRing.fill (1.0f);
}

void AllReadings::clear()
{
    maxShortTermLUFS = minusInfinity;
    shortTermPoints.clear();
    shortTermOutOfRange = false;
    integratedLUFS = minusInfinity;
    integratedPoints.clear();
    plainIntegrated = minusInfinity;
    samplePeak = 0.0f;
    samplePeakPoints.clear();
    maxSamplePeakDb = minusInfinity;
    truePeakLinear = 0.0f;
    truePeakPoints.clear();
    maxTruePeakDb = minusInfinity;
    fillRings();
    ringFilled = false;
    correlationSmoothed.clear();
    balanceSmoothed.clear();
    correlationSteps.clear();
    balanceSteps.clear();
    balanceOutOfRange = false;
    correlationOutOfRange = false;
    loudnessRangePoints.clear();
    loudnessRange = 0.0f;
    loudnessRangeOutOfRange = false;
    minDynamicRange = plusInfinity;
    dynamicRangeSteps.clear();
    unusedSequence1.clear();
    dynamicRangeOutOfRange = false;
    unusedSequence2.clear();
}

void AllReadings::reserve()
{
    constexpr size_t room = 2000;
    shortTermPoints.reserve (room);
    integratedPoints.reserve (room);
    samplePeakPoints.reserve (room);
    truePeakPoints.reserve (room);
    loudnessRangePoints.reserve (room);
    balanceSteps.reserve (room);
    correlationSteps.reserve (room);
    fillRings();
}
