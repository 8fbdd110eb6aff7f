#include "targets/ThresholdPresets.h"

namespace presets
{
namespace
{
struct Row
{
    int presetId;
    const char* name;
    float peak, truePeak, truePeakRange, peakTarget;
    float shortTermLUFS, shortTermLUFSRange, integratedLUFS, integratedLUFSRange;
    float dynamicRange, loudnessRange, stereoBalance, stereoCorrelation;
};

// clang-format off
const Row mixingRows[] = {
    { 0, "BALANCED", -4.0f, -6.0f, 3.0f, -6.0f, -15.0f, 5.0f, -16.0f, 5.0f, 10.0f, 3.0f, 0.3f, -0.2f },
    { 1, "DYNAMIC",  -4.0f, -6.0f, 3.0f, -6.0f, -14.0f, 5.0f, -18.0f, 5.0f, 10.0f, 3.0f, 0.3f, -0.2f },
    { 2, "LOUD",     -4.0f, -6.0f, 3.0f, -6.0f, -13.0f, 3.0f, -14.0f, 3.0f,  7.0f, 3.0f, 0.3f, -0.2f },
    { 3, "PUNCHY",   -4.0f, -6.0f, 3.0f, -6.0f, -15.0f, 5.0f, -17.0f, 5.0f, 11.0f, 3.0f, 0.3f, -0.2f },
};

const Row masteringRows[] = {
    {  4, "ALL-ROUND",            -1.0f, -1.0f, 1.0f, -0.1f,  -9.0f, 3.0f, -12.0f, 5.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    {  5, "APPLE DIGITAL MASTER", -2.0f, -2.0f, 1.0f, -1.0f,  -9.0f, 3.0f, -11.0f, 4.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    {  6, "APPLE MUSIC",          -2.0f, -2.0f, 1.0f, -1.0f,  -9.0f, 3.0f, -12.0f, 3.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    {  7, "BALANCED",             -1.0f, -1.0f, 1.0f, -0.1f,  -9.0f, 3.0f, -12.0f, 3.0f, 6.0f, 4.0f, 0.3f, -0.2f },
    {  8, "CD",                   -0.5f, -0.5f, 0.5f, -0.1f,  -9.0f, 3.0f, -10.0f, 4.0f, 6.0f, 3.0f, 0.3f, -0.2f },
    {  9, "CLUB",                 -0.5f, -0.5f, 0.5f, -0.1f,  -6.0f, 2.0f,  -8.0f, 3.0f, 4.0f, 3.0f, 0.3f, -0.2f },
    { 10, "COMPOSER",             -0.5f, -0.5f, 0.5f, -0.1f,  -9.0f, 5.0f, -12.0f, 5.0f, 4.0f, 2.0f, 0.9f, -0.3f },
    { 11, "CRAZY LOUD",            0.0f,  0.0f, 1.0f, -0.1f,  -4.0f, 2.0f,  -7.0f, 3.0f, 3.0f, 2.0f, 0.5f, -0.2f },
    { 12, "DYNAMIC",              -1.0f, -1.0f, 1.0f, -0.1f, -10.0f, 2.0f, -13.0f, 3.0f, 6.0f, 6.0f, 0.3f, -0.2f },
    { 13, "LOUD",                  0.0f,  0.0f, 1.0f, -0.1f,  -6.0f, 2.0f,  -8.0f, 3.0f, 4.0f, 3.0f, 0.5f, -0.2f },
    { 14, "SOUNDCLOUD",           -1.0f, -1.0f, 1.0f, -1.0f,  -8.0f, 2.0f,  -8.0f, 3.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    { 15, "SPOTIFY",              -2.0f, -2.0f, 1.0f, -1.0f,  -9.0f, 3.0f, -14.0f, 2.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    { 16, "SPOTIFY LOUD",         -2.0f, -2.0f, 1.0f, -2.0f,  -8.0f, 3.0f, -11.0f, 2.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    { 17, "VINYL",                -1.0f, -1.0f, 1.0f, -0.5f,  -9.0f, 3.0f, -12.0f, 3.0f, 6.0f, 3.0f, 0.3f, -0.2f },
    { 18, "YOUTUBE",              -2.0f, -2.0f, 1.0f, -1.0f,  -9.0f, 3.0f, -14.0f, 2.0f, 5.0f, 3.0f, 0.3f, -0.2f },
};

// Broadcast short-term limits sit at 0 LUFS plus a tolerance: effectively never reached.
const Row broadcastRows[] = {
    { 19, "AES",              -2.0f, -2.5f, 0.5f, -2.0f, 0.0f, 2.0f, -24.0f, 2.0f, 5.0f, 15.0f, 0.5f, -0.5f },
    { 20, "AGCOM 219/09/CSP", -2.0f, -2.5f, 0.5f, -2.0f, 0.0f, 0.5f, -24.0f, 0.5f, 5.0f, 15.0f, 0.5f, -0.5f },
    { 21, "ARIB TR-B32 A/85", -1.0f, -1.5f, 0.5f, -1.0f, 0.0f, 0.5f, -24.0f, 0.5f, 5.0f, 15.0f, 0.5f, -0.5f },
    { 22, "ATSC A/85",        -2.0f, -2.5f, 0.5f, -2.0f, 0.0f, 2.0f, -24.0f, 2.0f, 5.0f, 15.0f, 0.5f, -0.5f },
    { 23, "DISNEY",           -2.0f, -2.5f, 0.5f, -2.0f, 0.0f, 2.0f, -27.0f, 2.0f, 5.0f, 15.0f, 0.5f, -0.5f },
    { 24, "EBU R 128",        -1.0f, -1.5f, 0.5f, -1.0f, 0.0f, 0.5f, -23.0f, 0.5f, 5.0f, 15.0f, 0.5f, -0.5f },
    { 25, "HBO",              -2.0f, -2.5f, 0.5f, -2.0f, 0.0f, 2.0f, -27.0f, 2.0f, 5.0f, 15.0f, 0.5f, -0.5f },
    { 26, "NETFLIX",          -2.0f, -2.5f, 0.5f, -2.0f, 0.0f, 2.0f, -27.0f, 2.0f, 5.0f, 15.0f, 0.5f, -0.5f },
};

// The user presets start as copies of ALL-ROUND.
const Row userRows[] = {
    { 27, "USER1", -1.0f, -1.0f, 1.0f, -0.1f, -9.0f, 3.0f, -12.0f, 5.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    { 28, "USER2", -1.0f, -1.0f, 1.0f, -0.1f, -9.0f, 3.0f, -12.0f, 5.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    { 29, "USER3", -1.0f, -1.0f, 1.0f, -0.1f, -9.0f, 3.0f, -12.0f, 5.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    { 30, "USER4", -1.0f, -1.0f, 1.0f, -0.1f, -9.0f, 3.0f, -12.0f, 5.0f, 5.0f, 3.0f, 0.3f, -0.2f },
    { 31, "USER5", -1.0f, -1.0f, 1.0f, -0.1f, -9.0f, 3.0f, -12.0f, 5.0f, 5.0f, 3.0f, 0.3f, -0.2f },
};
// clang-format on

template <size_t N>
PresetGroup makeGroup (int groupId, const char* name, const Row (&rows)[N])
{
    PresetGroup group;
    group.groupId = groupId;
    group.name = name;
    group.presets.reserve (N);

    for (const auto& r : rows)
        group.presets.push_back ({ r.presetId, groupId, juce::String (r.name), r.peak, r.truePeak,
                                   r.truePeakRange, r.peakTarget, r.shortTermLUFS, r.shortTermLUFSRange,
                                   r.integratedLUFS, r.integratedLUFSRange, r.dynamicRange,
                                   r.loudnessRange, r.stereoBalance, r.stereoCorrelation });
    return group;
}

template <typename Groups, typename Result>
Result* findIn (Groups& groups, int presetId)
{
    Result* found = nullptr;

    for (auto& group : groups)
    {
        for (auto& preset : group.presets)
        {
            if (preset.presetId != presetId)
                continue;

            // The owning group is looked up again by the preset's own groupId.
            const int owner = preset.groupId;
            if (owner < 0 || owner >= (int) groups.size())
                continue;

            for (auto& candidate : groups[(size_t) owner].presets)
                if (candidate.presetId == presetId)
                    found = &candidate;
        }
    }

    if (found == nullptr)
        found = &groups.front().presets.front();

    return found;
}
} // namespace

PresetGroup makeFactoryGroup (int groupId)
{
    switch (groupId)
    {
        case mixingGroup:    return makeGroup (groupId, "MIXING", mixingRows);
        case masteringGroup: return makeGroup (groupId, "MASTERING", masteringRows);
        case broadcastGroup: return makeGroup (groupId, "BROADCAST", broadcastRows);
        case userGroup:      return makeGroup (groupId, "USER", userRows);
        default:             break;
    }
    return {};
}

std::vector<PresetGroup> makeFactoryPresetGroups (int count)
{
    std::vector<PresetGroup> groups;
    for (int g = 0; g < juce::jmin (count, 4); ++g)
        groups.push_back (makeFactoryGroup (g));
    return groups;
}

const ThresholdPreset* findPresetForId (const std::vector<PresetGroup>& groups, int presetId)
{
    return findIn<const std::vector<PresetGroup>, const ThresholdPreset> (groups, presetId);
}

ThresholdPreset* findPresetForId (std::vector<PresetGroup>& groups, int presetId)
{
    return findIn<std::vector<PresetGroup>, ThresholdPreset> (groups, presetId);
}

juce::String presetLabel (const std::vector<PresetGroup>& groups, const ThresholdPreset* preset)
{
    if (preset == nullptr)
        return noPresetSelected;

    juce::String groupName;
    if (preset->groupId >= 0 && preset->groupId < (int) groups.size())
        groupName = groups[(size_t) preset->groupId].name;

    return groupName + ": " + preset->name;
}

int nextPresetId (int presetId)
{
    return (presetId + 1) % stepModulus;
}

int previousPresetId (int presetId)
{
    return (presetId + stepModulus - 1) % stepModulus;
}
} // namespace presets
