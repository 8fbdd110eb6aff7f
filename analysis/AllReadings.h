#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

// A span drawn on a track's waveform.
struct Loop
{
    int64_t id = 0;
    int startPixel = 0;
    int endPixel = 0;
    int startSample = 0;
    int endSample = 0;
    bool selected = false;
    bool edgeHot = false;
};

// The record of one analysis run. "Points" hold one value per bucket of numSamples / 2000
// frames; "steps" one value per stereo and dynamics measurement.
struct AllReadings
{
    static constexpr int ringSize = 33;
    static constexpr float minusInfinity = -std::numeric_limits<float>::infinity();
    static constexpr float plusInfinity = std::numeric_limits<float>::infinity();

    float maxShortTermLUFS = minusInfinity;
    std::vector<float> shortTermPoints;
    bool shortTermOutOfRange = false;
    float integratedLUFS = minusInfinity;
    std::vector<float> integratedPoints;
    float plainIntegrated = minusInfinity;
    float samplePeak = 0.0f;
    std::vector<float> samplePeakPoints;
    float maxSamplePeakDb = minusInfinity;
    float truePeakLinear = 0.0f;
    std::vector<float> truePeakPoints;
    float maxTruePeakDb = minusInfinity;
    std::array<float, ringSize> correlationRing;
    std::array<float, ringSize> balanceRing;
    bool ringFilled = false;
    std::vector<float> correlationSmoothed;
    std::vector<float> balanceSmoothed;
    std::vector<float> correlationSteps;
    std::vector<float> balanceSteps;
    bool balanceOutOfRange = false;
    bool correlationOutOfRange = false;
    std::vector<float> loudnessRangePoints;
    float loudnessRange = 0.0f;
    bool loudnessRangeOutOfRange = false;
    float minDynamicRange = plusInfinity;
    std::vector<float> dynamicRangeSteps;
    std::vector<float> unusedSequence1;
    bool dynamicRangeOutOfRange = false;
    std::vector<float> unusedSequence2;

    AllReadings() { fillRings(); }

    // Every field back to its start value; sequences emptied but keep their memory.
    void clear();
    // Room for 2,000 values in the point and step sequences; both rings to 1.
    void reserve();
    void fillRings();
};
