#pragma once

// What the analysis loop, the band analyser and playback need of a loudness processor.
class ILUFSProcessor
{
public:
    virtual ~ILUFSProcessor() = default;

    virtual float plainPower (float left, float right) = 0;
    virtual float integratedStep (float power) = 0;
    virtual float shortTermStep (float power, bool* renewed = nullptr) = 0;
    virtual float rollingPeakStep (float magnitude) = 0;
};
