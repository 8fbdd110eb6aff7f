#pragma once

#include "analysis/Track.h"
#include "targets/ThresholdPresets.h"

#include <array>
#include <memory>
#include <vector>

// Tracks made up of readings rather than loaded, for the judgement and the heat map.
namespace testtrack
{
// A factory preset by id (4 is MASTERING: ALL-ROUND).
const ThresholdPreset& preset (int id);

// The series a fault can sit in: sample peak, true peak, short term, integrated, balance,
// correlation, dynamic range, loudness range.
std::array<std::vector<float>*, 8> seriesOf (AllReadings& r);

// A finished track with nothing wrong under ALL-ROUND: 100 waveform points of 0.5, and 100
// points, steps and loudness-range points, one value per column at a width of 100.
std::unique_ptr<Track> cleanTrack (int numChannels = 2);

// Puts one kind of fault (an index into seriesOf) over the whole of its series.
void inject (Track& t, int fault);
} // namespace testtrack
