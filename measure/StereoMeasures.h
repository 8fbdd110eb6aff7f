#pragma once

#include <array>

// The stereo and dynamics measurements made once per step inside the analysis loop.
namespace stereo
{
constexpr int ringSize = 33;

// Frames between two measurements, before it is cut to a point's length.
int stepLengthForRate (double sampleRate);

// One balance/correlation measurement over n frames, both as ring values (offset by +1).
struct StepValues
{
    float balance = 1.0f;     // 0 all left .. 2 all right
    float correlation = 1.0f; // 0 inverted .. 2 identical
};
StepValues measureStep (const float* left, const float* right, int n);

// Stores a value in the ring at index and returns the mean of the filled entries less 1.
float pushAndSmooth (std::array<float, ringSize>& ring, int index, bool filled, float value);

// Peak-to-loudness distance of a step: the rolling peak over the short-term level, in dB.
float dynamicRange (float shortTermLevel, float rollingPeak);
} // namespace stereo
