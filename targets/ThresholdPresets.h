#pragma once

#include <juce_core/juce_core.h>

#include <vector>

// One set of limits that every judgement of a track is made against.
struct ThresholdPreset
{
    int presetId = 0;
    int groupId = 0;
    juce::String name;
    float peak = 0.0f;               // sample-peak limit before tolerance, dB
    float truePeak = 0.0f;           // true-peak limit before tolerance, dBTP; also the "perfect" value
    float truePeakRange = 0.0f;      // tolerance added to both peak and truePeak
    float peakTarget = 0.0f;         // what the peak advice aims at; never used by a range test
    float shortTermLUFS = 0.0f;
    float shortTermLUFSRange = 0.0f;
    float integratedLUFS = 0.0f;
    float integratedLUFSRange = 0.0f;  // applied both ways
    float dynamicRange = 0.0f;       // lowest acceptable DR value
    float loudnessRange = 0.0f;      // lowest acceptable LRA, LU
    float stereoBalance = 0.0f;      // highest acceptable balance magnitude
    float stereoCorrelation = 0.0f;  // lowest acceptable correlation
};

struct PresetGroup
{
    int groupId = 0;
    juce::String name;
    std::vector<ThresholdPreset> presets;
};

namespace presets
{
// Group ids, which are also the groups' indexes in the table.
enum GroupIds { mixingGroup = 0, masteringGroup = 1, broadcastGroup = 2, userGroup = 3 };

// The arrow buttons step through ids with this modulus, whatever the number of presets.
constexpr int stepModulus = 32;
constexpr int firstUserPresetId = 27;
constexpr int defaultPresetId = 4;
constexpr int defaultEQPresetId = 61;

inline constexpr const char* noPresetSelected = "[NO PRESET SELECTED]";

// The compiled-in group with that id (0 MIXING, 1 MASTERING, 2 BROADCAST, 3 USER).
// Any other id gives an empty group.
PresetGroup makeFactoryGroup (int groupId);

// The first `count` compiled-in groups in order (at most four).
std::vector<PresetGroup> makeFactoryPresetGroups (int count = 4);

// Walks every group in order; a find sends the walk to the group indexed by the found
// preset's groupId, and the last find wins. Unknown ids give the first preset of the first
// group. The table must not be empty.
const ThresholdPreset* findPresetForId (const std::vector<PresetGroup>& groups, int presetId);
ThresholdPreset* findPresetForId (std::vector<PresetGroup>& groups, int presetId);

// "GROUP: NAME" for a threshold preset, or "[NO PRESET SELECTED]" for null.
juce::String presetLabel (const std::vector<PresetGroup>& groups, const ThresholdPreset* preset);

// The ids the arrow buttons go to.
int nextPresetId (int presetId);
int previousPresetId (int presetId);
} // namespace presets
