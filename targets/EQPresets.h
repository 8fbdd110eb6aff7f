#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <vector>

class Track;

// A stored tonal target: the 14 band levels that the multi-frequency analysis gives for a
// reference mix, for its stereo, mid and side signals, with that mix's integrated loudness.
struct EQPreset
{
    static constexpr int numBands = 14;
    using Bands = std::array<float, numBands>;

    int presetId = 0;
    int groupId = 0;   // index of its group in the table
    juce::String name;
    float integratedLUFS = 0.0f;
    Bands multiFrequencyIntegratedLUFS {};
    Bands midMultiFrequencyIntegratedLUFS {};
    Bands sideMultiFrequencyIntegratedLUFS {};
};

struct EQPresetGroup
{
    int groupId = 0;
    juce::String name;
    std::vector<EQPreset> presets;
};

namespace eqpresets
{
constexpr int numFactoryGroups = 9;
constexpr int numFactoryPresets = 62;
// The preset that a reference analysis is stored in.
constexpr int referencePresetId = 62;

// The band lists of one compiled-in preset, by id.
struct FactoryBands
{
    int presetId;
    EQPreset::Bands stereo, mid, side;
};

// The band lists of the presets whose material was synthesised and measured by our own
// analyser (EQPresetTable.cpp, generated). The other presets carry their lists in
// EQPresets.cpp.
extern const FactoryBands generatedBands[];
extern const int numGeneratedBands;

// The nine factory groups in menu order, each preset with its bands.
std::vector<EQPresetGroup> makeFactoryEQPresetGroups();

// The first preset of the first group, or null for an empty table.
EQPreset* firstPreset (std::vector<EQPresetGroup>& groups);

// Walks every group; a find sends the walk to the group indexed by the found preset's
// groupId, where the same id is searched again. Null for an id that no group holds.
EQPreset* findEQPresetForId (std::vector<EQPresetGroup>& groups, int presetId);
const EQPreset* findEQPresetForId (const std::vector<EQPresetGroup>& groups, int presetId);

// The EQ window's levelling of a track against a preset: in each band the track's level less
// the preset's, plus the preset's integrated loudness less the track's. Zero everywhere
// means the same tonal balance at equal loudness.
struct EQDifferences
{
    EQPreset::Bands stereo {};
    EQPreset::Bands mid {};
    EQPreset::Bands side {};
};

// The track's lists may be shorter than 14 (a track not analysed yet); missing bands give 0.
EQPreset::Bands eqDifferences (const std::vector<float>& trackBands, float trackIntegratedLUFS,
                               const EQPreset::Bands& presetBands, float presetIntegratedLUFS);
EQDifferences eqDifferences (const std::vector<float>& stereo, const std::vector<float>& mid,
                             const std::vector<float>& side, float trackIntegratedLUFS,
                             const EQPreset& preset);
// The same for a loaded track: its three band lists and its whole-file integrated loudness.
EQDifferences eqDifferences (const Track& track, const EQPreset& preset);
} // namespace eqpresets
