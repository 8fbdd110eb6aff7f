#include "targets/EQPresets.h"

#include "analysis/Track.h"

#include <algorithm>

namespace eqpresets
{
namespace
{
struct Row
{
    int presetId;
    const char* name;
    float integratedLUFS;
};

struct GroupRows
{
    const char* name;
    std::vector<Row> rows;
};

// Menu order. Four groups hold a CONTEMPORARY; only the id tells them apart.
// clang-format off
const GroupRows factoryGroups[numFactoryGroups] = {
    { "DEFAULT", {
        { 61, "BALANCED MASTER", -7.93f },
        { 62, "REFERENCE TRACK", -9.19f } } },
    { "STAR ENGINEERS", {
        { 0, "ALTERNATIVE ROCK HERO", -8.43f },
        { 1, "DANCE-POP GURU",        -6.95f },
        { 2, "EXPENSIVE POP GENIUS",  -8.65f },
        { 3, "HIP-HOP KING",          -7.74f },
        { 4, "MODERN-ROCK MASTER",    -4.52f },
        { 5, "POP-SOUL CHIEF",        -7.59f },
        { 6, "R&B BOSS",              -8.89f } } },
    { "ELECTRONIC", {
        {  7, "DANCE",        -7.38f },
        {  8, "DRUM & BASS",  -5.3f },
        {  9, "DUBSTEP",      -4.8f },
        { 10, "EDM",          -6.92f },
        { 11, "HARD STYLE",   -7.93f },
        { 12, "MOOMBAHTON",   -8.2f },
        { 13, "TRANCE",       -8.69f },
        { 14, "TRAP",         -8.55f } } },
    { "HIP HOP", {
        { 15, "CONTEMPORARY", -8.58f },
        { 16, "EAST COAST",   -7.56f },
        { 17, "GANGSTA RAP",  -9.29f },
        { 18, "GRIME",        -8.02f },
        { 19, "OLD-SKOOL",    -10.98f },
        { 20, "POP-RAP",      -7.21f } } },
    { "HOUSE", {
        { 21, "CLASSIC",      -10.53f },
        { 22, "COMMERCIAL",   -8.37f },
        { 23, "DEEP",         -8.73f },
        { 24, "ELECTRO",      -10.02f },
        { 25, "FUTURE",       -8.78f },
        { 26, "PROGRESSIVE",  -7.16f },
        { 27, "TECH",         -8.97f },
        { 28, "TROPICAL",     -7.94f } } },
    { "OTHER GENRES", {
        { 29, "PINK NOISE",   -11.558f },
        { 30, "COUNTRY",      -10.25f },
        { 31, "DISCO",        -8.92f },
        { 32, "FUNK",         -13.48f },
        { 33, "JAZZ",         -12.64f },
        { 34, "K POP",        -7.97f },
        { 35, "METAL",        -8.5f },
        { 36, "MOTOWN",       -9.44f },
        { 37, "ORCHESTRA",    -13.91f },
        { 38, "REAGGAETON",   -10.29f },
        { 39, "REGGAE",       -11.55f },
        { 40, "SOUL",         -11.72f } } },
    { "POP", {
        { 41, "CONTEMPORARY", -7.29f },
        { 42, "DANCE",        -6.15f },
        { 43, "ELECTRONIC",   -7.91f },
        { 44, "HIP-HOP",      -8.92f },
        { 45, "LATIN",        -13.51f },
        { 46, "ROCK",         -9.91f },
        { 47, "SYNTH",        -7.04f },
        { 48, "WARM",         -8.1f } } },
    { "R & B", {
        { 49, "90'S",           -10.39f },
        { 50, "CONTEMPORARY",   -6.81f },
        { 51, "OLD SKOOL",      -9.88f },
        { 52, "RHYTHM & BLUES", -10.71f } } },
    { "ROCK", {
        { 53, "ALTERNATIVE",  -8.3f },
        { 54, "CLASSIC",      -9.49f },
        { 55, "CONTEMPORARY", -9.49f },
        { 56, "ELECTRONIC",   -6.24f },
        { 57, "HARD",         -10.52f },
        { 58, "INDIE",        -6.49f },
        { 59, "PROGRESSIVE",  -6.88f } } },
};
// clang-format on
} // namespace

// Lists measured from known material. PINK NOISE keeps four decimals: its mid list lies
// 3.0103 dB over its stereo list and its side list equals the stereo list.
// clang-format off
const FactoryBands fixedBands[] = {
    { 61,
      { -17.15f, -9.28f, -9.62f, -13.98f, -15.74f, -17.18f, -17.89f, -20.36f, -21.11f, -21.44f, -21.68f, -22.83f, -24.46f, -23.54f },
      { -14.16f, -6.28f, -6.62f, -11.21f, -13.71f, -15.14f, -15.79f, -18.31f, -19.0f, -19.29f, -19.44f, -20.53f, -22.16f, -21.24f },
      { -38.34f, -31.22f, -29.57f, -22.92f, -18.66f, -20.58f, -21.63f, -24.12f, -25.09f, -25.72f, -26.42f, -27.88f, -29.39f, -28.36f } },
    { 62,
      { -25.76f, -18.53f, -13.5f, -14.84f, -18.54f, -18.78f, -19.66f, -21.53f, -22.04f, -21.61f, -19.66f, -18.4f, -19.84f, -19.31f },
      { -22.8f, -15.54f, -10.52f, -11.9f, -15.8f, -16.21f, -17.16f, -19.17f, -19.84f, -19.68f, -18.22f, -17.59f, -19.27f, -18.61f },
      { -42.42f, -38.18f, -32.53f, -29.59f, -27.79f, -25.95f, -26.24f, -27.05f, -26.7f, -25.14f, -21.84f, -19.39f, -20.49f, -20.14f } },
    { 29,
      { -21.2004f, -21.3695f, -21.3584f, -21.2963f, -21.3485f, -21.3801f, -21.517f, -21.8289f, -22.0332f, -22.1602f, -22.4503f, -22.7818f, -22.6208f, -21.6572f },
      { -18.1901f, -18.3592f, -18.3481f, -18.286f, -18.3382f, -18.3698f, -18.5067f, -18.8186f, -19.0229f, -19.1499f, -19.44f, -19.7715f, -19.6105f, -18.6469f },
      { -21.2004f, -21.3695f, -21.3584f, -21.2963f, -21.3485f, -21.3801f, -21.517f, -21.8289f, -22.0332f, -22.1602f, -22.4503f, -22.7818f, -22.6208f, -21.6572f } },
    { 10,
      { -15.97f, -8.17f, -9.81f, -13.94f, -15.08f, -14.37f, -14.27f, -15.11f, -16.31f, -16.73f, -16.76f, -16.96f, -18.16f, -17.48f },
      { -12.97f, -5.16f, -6.79f, -11.15f, -12.71f, -12.5f, -12.69f, -13.95f, -15.29f, -15.76f, -15.78f, -15.73f, -16.81f, -16.2f },
      { -40.71f, -34.58f, -28.47f, -23.6f, -20.71f, -17.7f, -16.77f, -16.68f, -17.65f, -17.98f, -18.04f, -18.69f, -20.11f, -19.31f } },
};
// clang-format on
const int numFixedBands = (int) (sizeof (fixedBands) / sizeof (fixedBands[0]));

namespace
{
const FactoryBands* bandsFor (int presetId)
{
    for (int i = 0; i < numFixedBands; ++i)
        if (fixedBands[i].presetId == presetId)
            return &fixedBands[i];
    for (int i = 0; i < numGeneratedBands; ++i)
        if (generatedBands[i].presetId == presetId)
            return &generatedBands[i];
    return nullptr;
}
} // namespace

std::vector<EQPresetGroup> makeFactoryEQPresetGroups()
{
    std::vector<EQPresetGroup> groups;
    groups.reserve (numFactoryGroups);
    for (int g = 0; g < numFactoryGroups; ++g)
    {
        EQPresetGroup group;
        group.groupId = g;
        group.name = factoryGroups[g].name;
        for (const auto& row : factoryGroups[g].rows)
        {
            EQPreset preset;
            preset.presetId = row.presetId;
            preset.groupId = g;
            preset.name = row.name;
            preset.integratedLUFS = row.integratedLUFS;
            if (const auto* bands = bandsFor (row.presetId))
            {
                preset.multiFrequencyIntegratedLUFS = bands->stereo;
                preset.midMultiFrequencyIntegratedLUFS = bands->mid;
                preset.sideMultiFrequencyIntegratedLUFS = bands->side;
            }
            group.presets.push_back (preset);
        }
        groups.push_back (std::move (group));
    }
    return groups;
}

EQPreset* firstPreset (std::vector<EQPresetGroup>& groups)
{
    if (groups.empty() || groups.front().presets.empty())
        return nullptr;
    return &groups.front().presets.front();
}

EQPreset* findEQPresetForId (std::vector<EQPresetGroup>& groups, int presetId)
{
    EQPreset* result = nullptr;
    for (auto& group : groups)
    {
        for (auto& preset : group.presets)
        {
            if (preset.presetId != presetId)
                continue;
            if (preset.groupId < 0 || preset.groupId >= (int) groups.size())
                continue;
            for (auto& candidate : groups[(size_t) preset.groupId].presets)
                if (candidate.presetId == presetId)
                {
                    result = &candidate;
                    break;
                }
        }
    }
    return result;
}

const EQPreset* findEQPresetForId (const std::vector<EQPresetGroup>& groups, int presetId)
{
    return findEQPresetForId (const_cast<std::vector<EQPresetGroup>&> (groups), presetId);
}

EQPreset::Bands eqDifferences (const std::vector<float>& trackBands, float trackIntegratedLUFS,
                               const EQPreset::Bands& presetBands, float presetIntegratedLUFS)
{
    EQPreset::Bands d {};
    const float offset = presetIntegratedLUFS - trackIntegratedLUFS;
    const int n = std::min ((int) trackBands.size(), EQPreset::numBands);
    for (int i = 0; i < n; ++i)
        d[(size_t) i] = trackBands[(size_t) i] - presetBands[(size_t) i] + offset;
    return d;
}

EQDifferences eqDifferences (const std::vector<float>& stereo, const std::vector<float>& mid,
                             const std::vector<float>& side, float trackIntegratedLUFS,
                             const EQPreset& preset)
{
    EQDifferences d;
    d.stereo = eqDifferences (stereo, trackIntegratedLUFS, preset.multiFrequencyIntegratedLUFS, preset.integratedLUFS);
    d.mid = eqDifferences (mid, trackIntegratedLUFS, preset.midMultiFrequencyIntegratedLUFS, preset.integratedLUFS);
    d.side = eqDifferences (side, trackIntegratedLUFS, preset.sideMultiFrequencyIntegratedLUFS, preset.integratedLUFS);
    return d;
}

EQDifferences eqDifferences (const Track& track, const EQPreset& preset)
{
    return eqDifferences (track.multiFrequencyIntegratedLUFS, track.midMultiFrequencyIntegratedLUFS,
                          track.sideMultiFrequencyIntegratedLUFS, track.wholeFileReadings.integratedLUFS, preset);
}
} // namespace eqpresets
