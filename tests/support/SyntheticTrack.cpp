#include "support/SyntheticTrack.h"

namespace testtrack
{
const ThresholdPreset& preset (int id)
{
    static const auto groups = presets::makeFactoryPresetGroups();
    return *presets::findPresetForId (groups, id);
}

std::array<std::vector<float>*, 8> seriesOf (AllReadings& r)
{
    return { &r.samplePeakPoints, &r.truePeakPoints, &r.shortTermPoints, &r.integratedPoints,
             &r.balanceSmoothed, &r.correlationSmoothed, &r.dynamicRangeSteps, &r.loudnessRangePoints };
}

std::unique_ptr<Track> cleanTrack (int numChannels)
{
    auto t = std::make_unique<Track> (nullptr);
    auto& r = t->wholeFileReadings;
    t->numChannels = numChannels;
    t->analysisComplete = true;
    t->waveformPoints.assign (100, 0.5f);
    t->stepCount = 100;
    const float good[] = { -3.0f, -3.0f, -10.0f, -12.0f, 0.0f, 0.9f, 10.0f, 6.0f };
    for (size_t i = 0; i < 8; ++i)
        seriesOf (r)[i]->assign (100, good[i]);
    r.integratedLUFS = -12.0f;
    r.loudnessRange = 6.0f;
    t->pointsPerPixel = t->stepsPerPixel = t->rangePointsPerPixel = 1.0f;
    return t;
}

void inject (Track& t, int fault)
{
    auto& r = t.wholeFileReadings;
    const float bad[] = { 1.0f, 1.0f, -2.0f, -5.0f, -0.5f, -0.5f, 2.0f, 2.0f };
    seriesOf (r)[(size_t) fault]->assign (100, bad[fault]);
    if (fault == 3)
        r.integratedLUFS = -5.0f;
    if (fault == 7)
        r.loudnessRange = 2.0f;
}
} // namespace testtrack
