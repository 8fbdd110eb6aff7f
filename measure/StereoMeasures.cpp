#include "measure/StereoMeasures.h"

#include <algorithm>
#include <cmath>

namespace stereo
{
int stepLengthForRate (double sampleRate)
{
    if (sampleRate <= 48000.0)
        return 1024;
    if (sampleRate <= 96000.0)
        return 2048;
    return 4096;
}

StepValues measureStep (const float* left, const float* right, int n)
{
    float eL = 0.0f, eR = 0.0f, s = 0.0f;
    for (int k = 0; k < n; ++k)
        eL += left[k] * left[k];
    for (int k = 0; k < n; ++k)
        eR += right[k] * right[k];

    StepValues v;
    const float level = 20.0f * std::log10 (std::sqrt ((eL + eR) / (float) (2 * n)));
    // Quiet passages read centred and uncorrelated-but-harmless: the gate sits at -35 dB.
    if (level <= -35.0f)
    {
        v.balance = 1.0f;
    }
    else
    {
        const float b = (eR - eL) / (eL + eR) + 1.0f;
        v.balance = std::max (std::min (b, 2.0f), 0.0f);
    }

    for (int k = 0; k < n; ++k)
        s += left[k] * right[k];

    if (level <= -35.0f || s == 0.0f)
    {
        v.correlation = 1.0f;
    }
    else
    {
        float q = s / std::sqrt (eL * eR) + 1.0f;
        if (std::isinf (q))
            q = 1.0f;
        v.correlation = q;
    }
    return v;
}

float pushAndSmooth (std::array<float, ringSize>& ring, int index, bool filled, float value)
{
    ring[(size_t) index] = value;
    const int count = filled ? ringSize : index + 1;
    float sum = 0.0f;
    for (int k = 0; k < count; ++k)
        sum += ring[(size_t) k];
    return sum / (float) count - 1.0f;
}

float dynamicRange (float shortTermLevel, float rollingPeak)
{
    const float p = std::pow (10.0f, shortTermLevel / 20.0f);
    return -20.0f * std::log10 (std::max (0.000001f, p) / std::max (0.001f, rollingPeak));
}
} // namespace stereo
