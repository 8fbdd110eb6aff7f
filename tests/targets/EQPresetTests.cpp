// The factory EQ presets, their lookup, the Model's EQ preset state and the levelling of a
// track's bands against a preset.

#include "analysis/Model.h"
#include "targets/EQPresets.h"
#include "targets/ModelEQPresets.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace
{
using Bands = EQPreset::Bands;

const std::vector<EQPresetGroup>& factory()
{
    static const auto groups = eqpresets::makeFactoryEQPresetGroups();
    return groups;
}

const EQPreset& presetWithId (int presetId)
{
    const auto* preset = eqpresets::findEQPresetForId (factory(), presetId);
    EXPECT_NE (preset, nullptr) << presetId;
    static const EQPreset none;
    return preset != nullptr ? *preset : none;
}

bool isGenerated (int presetId)
{
    for (int i = 0; i < eqpresets::numGeneratedBands; ++i)
        if (eqpresets::generatedBands[i].presetId == presetId)
            return true;
    return false;
}

bool hasDecimals (float value, double scale)
{
    return (float) (std::round ((double) value * scale) / scale) == value;
}

float powerSumLevel (float a, float b)
{
    return (float) (10.0 * std::log10 ((std::pow (10.0, a / 10.0) + std::pow (10.0, b / 10.0)) / 2.0));
}

std::vector<float> asVector (const Bands& bands) { return { bands.begin(), bands.end() }; }

std::vector<float> shifted (const Bands& bands, float db)
{
    std::vector<float> v;
    for (float x : bands)
        v.push_back (x + db);
    return v;
}
} // namespace

TEST (EQPresetFactory, GroupsInMenuOrderWithTheirSizes)
{
    const auto& groups = factory();
    const std::vector<std::pair<juce::String, size_t>> expected {
        { "DEFAULT", 2 }, { "STAR ENGINEERS", 7 }, { "ELECTRONIC", 8 }, { "HIP HOP", 6 }, { "HOUSE", 8 },
        { "OTHER GENRES", 12 }, { "POP", 8 }, { "R & B", 4 }, { "ROCK", 7 },
    };
    ASSERT_EQ (groups.size(), expected.size());
    size_t total = 0;
    for (size_t g = 0; g < groups.size(); ++g)
    {
        EXPECT_EQ (groups[g].groupId, (int) g);
        EXPECT_EQ (groups[g].name, expected[g].first);
        EXPECT_EQ (groups[g].presets.size(), expected[g].second) << groups[g].name;
        for (const auto& preset : groups[g].presets)
            EXPECT_EQ (preset.groupId, (int) g) << preset.name;
        total += groups[g].presets.size();
    }
    EXPECT_EQ (total, (size_t) eqpresets::numFactoryPresets);
}

TEST (EQPresetFactory, IdsRunThroughTheGroupsWithDefaultAt61And62)
{
    const auto& groups = factory();
    ASSERT_EQ (groups[0].presets.size(), 2u);
    EXPECT_EQ (groups[0].presets[0].presetId, 61);
    EXPECT_EQ (groups[0].presets[1].presetId, 62);

    // After DEFAULT the ids count up from 0 in menu order, through 59.
    int next = 0;
    std::set<int> seen { 61, 62 };
    for (size_t g = 1; g < groups.size(); ++g)
        for (const auto& preset : groups[g].presets)
        {
            EXPECT_EQ (preset.presetId, next++) << preset.name;
            EXPECT_TRUE (seen.insert (preset.presetId).second) << preset.presetId;
        }
    EXPECT_EQ (next, 60);
    EXPECT_EQ (seen.size(), 62u);
    EXPECT_EQ (seen.count (60), 0u);

    for (int id : seen)
    {
        const auto* preset = eqpresets::findEQPresetForId (groups, id);
        ASSERT_NE (preset, nullptr) << id;
        EXPECT_EQ (preset->presetId, id);
    }
}

TEST (EQPresetFactory, NamesAndLoudnessAsTheMenuShowsThem)
{
    EXPECT_EQ (presetWithId (61).name, "BALANCED MASTER");
    EXPECT_FLOAT_EQ (presetWithId (61).integratedLUFS, -7.93f);
    EXPECT_EQ (presetWithId (62).name, "REFERENCE TRACK");
    EXPECT_FLOAT_EQ (presetWithId (62).integratedLUFS, -9.19f);
    EXPECT_EQ (presetWithId (29).name, "PINK NOISE");
    EXPECT_FLOAT_EQ (presetWithId (29).integratedLUFS, -11.558f);
    EXPECT_EQ (presetWithId (38).name, "REAGGAETON");
    EXPECT_EQ (presetWithId (49).name, "90'S");
    EXPECT_EQ (presetWithId (6).name, "R&B BOSS");
    EXPECT_FLOAT_EQ (presetWithId (4).integratedLUFS, -4.52f);
    EXPECT_FLOAT_EQ (presetWithId (37).integratedLUFS, -13.91f);

    // Four CONTEMPORARY presets in four groups, told apart by id alone.
    std::set<int> contemporaryIds, contemporaryGroups;
    for (const auto& group : factory())
        for (const auto& preset : group.presets)
        {
            EXPECT_EQ (preset.name, preset.name.toUpperCase());
            if (preset.name == "CONTEMPORARY")
                contemporaryIds.insert (preset.presetId), contemporaryGroups.insert (preset.groupId);
        }
    EXPECT_EQ (contemporaryIds, (std::set<int> { 15, 41, 50, 55 }));
    EXPECT_EQ (contemporaryGroups.size(), 4u);
}

TEST (EQPresetFactory, MeasuredListsAreKeptExactly)
{
    struct Row { int id; Bands stereo, mid, side; };
    // clang-format off
    const Row rows[] = {
        { 61, { -17.15f, -9.28f, -9.62f, -13.98f, -15.74f, -17.18f, -17.89f, -20.36f, -21.11f, -21.44f, -21.68f, -22.83f, -24.46f, -23.54f },
              { -14.16f, -6.28f, -6.62f, -11.21f, -13.71f, -15.14f, -15.79f, -18.31f, -19.0f, -19.29f, -19.44f, -20.53f, -22.16f, -21.24f },
              { -38.34f, -31.22f, -29.57f, -22.92f, -18.66f, -20.58f, -21.63f, -24.12f, -25.09f, -25.72f, -26.42f, -27.88f, -29.39f, -28.36f } },
        { 62, { -25.76f, -18.53f, -13.5f, -14.84f, -18.54f, -18.78f, -19.66f, -21.53f, -22.04f, -21.61f, -19.66f, -18.4f, -19.84f, -19.31f },
              { -22.8f, -15.54f, -10.52f, -11.9f, -15.8f, -16.21f, -17.16f, -19.17f, -19.84f, -19.68f, -18.22f, -17.59f, -19.27f, -18.61f },
              { -42.42f, -38.18f, -32.53f, -29.59f, -27.79f, -25.95f, -26.24f, -27.05f, -26.7f, -25.14f, -21.84f, -19.39f, -20.49f, -20.14f } },
        { 29, { -21.2004f, -21.3695f, -21.3584f, -21.2963f, -21.3485f, -21.3801f, -21.517f, -21.8289f, -22.0332f, -22.1602f, -22.4503f, -22.7818f, -22.6208f, -21.6572f },
              { -18.1901f, -18.3592f, -18.3481f, -18.286f, -18.3382f, -18.3698f, -18.5067f, -18.8186f, -19.0229f, -19.1499f, -19.44f, -19.7715f, -19.6105f, -18.6469f },
              { -21.2004f, -21.3695f, -21.3584f, -21.2963f, -21.3485f, -21.3801f, -21.517f, -21.8289f, -22.0332f, -22.1602f, -22.4503f, -22.7818f, -22.6208f, -21.6572f } },
        { 10, { -15.97f, -8.17f, -9.81f, -13.94f, -15.08f, -14.37f, -14.27f, -15.11f, -16.31f, -16.73f, -16.76f, -16.96f, -18.16f, -17.48f },
              { -12.97f, -5.16f, -6.79f, -11.15f, -12.71f, -12.5f, -12.69f, -13.95f, -15.29f, -15.76f, -15.78f, -15.73f, -16.81f, -16.2f },
              { -40.71f, -34.58f, -28.47f, -23.6f, -20.71f, -17.7f, -16.77f, -16.68f, -17.65f, -17.98f, -18.04f, -18.69f, -20.11f, -19.31f } },
    };
    // clang-format on
    for (const auto& row : rows)
    {
        const auto& preset = presetWithId (row.id);
        EXPECT_EQ (preset.multiFrequencyIntegratedLUFS, row.stereo) << row.id;
        EXPECT_EQ (preset.midMultiFrequencyIntegratedLUFS, row.mid) << row.id;
        EXPECT_EQ (preset.sideMultiFrequencyIntegratedLUFS, row.side) << row.id;
        EXPECT_FALSE (isGenerated (row.id)) << row.id;
    }

    // PINK NOISE: mid 3.0103 dB over stereo in every band, side equal to stereo.
    const auto& pink = presetWithId (29);
    for (int b = 0; b < EQPreset::numBands; ++b)
    {
        EXPECT_NEAR (pink.midMultiFrequencyIntegratedLUFS[(size_t) b] - pink.multiFrequencyIntegratedLUFS[(size_t) b],
                     3.0103f, 1e-4f);
        EXPECT_EQ (pink.sideMultiFrequencyIntegratedLUFS[(size_t) b], pink.multiFrequencyIntegratedLUFS[(size_t) b]);
    }
}

// Every preset but the four with measured lists comes from the generated table, once, and
// its lists look like those of a mastered mix as our analyser reads one.
TEST (EQPresetFactory, GeneratedListsKeepTheRelationsOfMeasuredOnes)
{
    ASSERT_EQ (eqpresets::numGeneratedBands, eqpresets::numFactoryPresets - 4);
    std::set<int> generatedIds;
    for (int i = 0; i < eqpresets::numGeneratedBands; ++i)
        EXPECT_TRUE (generatedIds.insert (eqpresets::generatedBands[i].presetId).second);

    for (const auto& group : factory())
        for (const auto& preset : group.presets)
        {
            if (preset.presetId == 61 || preset.presetId == 62 || preset.presetId == 29 || preset.presetId == 10)
                continue;
            SCOPED_TRACE (group.name + ": " + preset.name);
            ASSERT_EQ (generatedIds.count (preset.presetId), 1u);

            const auto& s = preset.multiFrequencyIntegratedLUFS;
            const auto& m = preset.midMultiFrequencyIntegratedLUFS;
            const auto& d = preset.sideMultiFrequencyIntegratedLUFS;
            for (size_t b = 0; b < (size_t) EQPreset::numBands; ++b)
            {
                SCOPED_TRACE (b);
                EXPECT_TRUE (hasDecimals (s[b], 100.0) && hasDecimals (m[b], 100.0) && hasDecimals (d[b], 100.0));
                // Mid is the plain sum: with positively correlated channels it lies between
                // the stereo level and 3.01 dB over it, and side lies under the stereo level.
                EXPECT_GE (m[b], s[b]);
                EXPECT_LE (m[b], s[b] + 3.02f);
                EXPECT_LT (d[b], s[b]);
                // Sum and difference powers add up to twice the stereo power.
                EXPECT_NEAR (powerSumLevel (m[b], d[b]), s[b], 0.05f);
                // Within the span of the measured presets relative to their loudness.
                EXPECT_GT (s[b] - preset.integratedLUFS, -20.0f);
                EXPECT_LT (s[b] - preset.integratedLUFS, 0.0f);
            }
            // Mastered: the lowest side bands lie 20 to 30 dB under the stereo ones.
            for (size_t b : { (size_t) 0, (size_t) 1 })
            {
                EXPECT_GE (s[b] - d[b], 20.0f) << b;
                EXPECT_LE (s[b] - d[b], 30.0f) << b;
            }
        }
}

TEST (EQPresetLookup, UnknownIdsGiveNullAndKnownOnesPointIntoTheTable)
{
    auto groups = eqpresets::makeFactoryEQPresetGroups();
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 60), nullptr);
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, -1), nullptr);
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 63), nullptr);

    auto* balanced = eqpresets::findEQPresetForId (groups, 61);
    ASSERT_NE (balanced, nullptr);
    EXPECT_EQ (balanced->name, "BALANCED MASTER");
    EXPECT_EQ (balanced, &groups[0].presets[0]);
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 59), &groups[8].presets[6]);

    std::vector<EQPresetGroup> empty;
    EXPECT_EQ (eqpresets::findEQPresetForId (empty, 61), nullptr);
    EXPECT_EQ (eqpresets::firstPreset (empty), nullptr);
}

TEST (EQPresetLookup, AFindIsSearchedAgainInTheGroupItsGroupIdNames)
{
    EQPreset stray;
    stray.presetId = 5;
    stray.groupId = 1;
    stray.name = "STRAY";
    EQPreset home = stray;
    home.name = "HOME";
    EQPreset lost = stray;
    lost.presetId = 7;
    lost.groupId = 9;

    std::vector<EQPresetGroup> groups { { 0, "A", { stray, lost } }, { 1, "B", { home } } };
    const auto* found = eqpresets::findEQPresetForId (groups, 5);
    ASSERT_NE (found, nullptr);
    EXPECT_EQ (found->name, "HOME");
    EXPECT_EQ (found, &groups[1].presets[0]);

    // A groupId that indexes no group finds nothing.
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 7), nullptr);

    // Found in its own group by the walk, but its indexed group lacks it: nothing.
    groups[1].presets[0].presetId = 6;
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 5), nullptr);
}

TEST (ModelEQPresets, StartsAtTheFirstPresetAndLooksUpIntoItsOwnTable)
{
    Model model;
    ASSERT_EQ (model.eqPresetGroups.size(), 9u);
    EXPECT_EQ (model.currentEQPreset, &model.eqPresetGroups[0].presets[0]);
    EXPECT_EQ (model.currentEQPreset->name, "BALANCED MASTER");
    EXPECT_EQ (model.defaultEQPresetId, 61);

    EXPECT_EQ (model.getEQPresetForId (62), &model.eqPresetGroups[0].presets[1]);
    EXPECT_EQ (model.getEQPresetForId (60), nullptr);
    const Model& constModel = model;
    EXPECT_EQ (constModel.getEQPresetForId (33), model.getEQPresetForId (33));

    model.selectEQPresetById (41);
    ASSERT_NE (model.currentEQPreset, nullptr);
    EXPECT_EQ (model.currentEQPreset->presetId, 41);
    EXPECT_EQ (model.currentEQPreset->groupId, 6);
    EXPECT_EQ (model.defaultEQPresetId, 41);
    model.selectEQPresetById (60);
    EXPECT_EQ (model.currentEQPreset, nullptr);
    EXPECT_EQ (model.defaultEQPresetId, 60);
}

TEST (ModelEQPresets, CurrentPresetNameForThresholdAndEQ)
{
    Model model;
    model.currentPreset = nullptr;
    EXPECT_EQ (model.getCurrentPresetName (0), "[NO PRESET SELECTED]");
    model.selectPresetById (4);
    EXPECT_EQ (model.getCurrentPresetName (0), "MASTERING: ALL-ROUND");

    EXPECT_EQ (model.getCurrentPresetName (1), "BALANCED MASTER");
    model.currentEQPreset = model.getEQPresetForId (38);
    EXPECT_EQ (model.getCurrentPresetName (1), "REAGGAETON");
    EXPECT_EQ (model.getCurrentPresetName (2), "REAGGAETON");
    model.currentEQPreset = nullptr;
    EXPECT_EQ (model.getCurrentPresetName (1), "[NO PRESET SELECTED]");
    EXPECT_EQ (model.getCurrentPresetName (0), "MASTERING: ALL-ROUND");
}

TEST (ModelEQPresets, SessionSideStoresTheReferenceAnalysisInPreset62)
{
    Model model;
    eqpresets::ModelSessionEqPresets session (model);
    EXPECT_EQ (session.currentEQPresetId(), std::optional<int> (61));

    SessionReference reference;
    reference.integratedLUFSOverall = -11.25f;
    for (int b = 0; b < 14; ++b)
    {
        reference.multiFrequencyIntegratedLUFS[(size_t) b] = -20.0f - (float) b;
        reference.midMultiFrequencyIntegratedLUFS[(size_t) b] = -18.0f - (float) b;
        reference.sideMultiFrequencyIntegratedLUFS[(size_t) b] = -40.0f + (float) b;
    }
    session.storeReferenceAnalysis (reference);

    const auto* stored = model.getEQPresetForId (62);
    ASSERT_NE (stored, nullptr);
    EXPECT_EQ (stored->name, "REFERENCE TRACK");
    EXPECT_EQ (stored->integratedLUFS, -11.25f);
    EXPECT_EQ (stored->multiFrequencyIntegratedLUFS, reference.multiFrequencyIntegratedLUFS);
    EXPECT_EQ (stored->sideMultiFrequencyIntegratedLUFS, reference.sideMultiFrequencyIntegratedLUFS);
    // Only preset 62 changed.
    EXPECT_EQ (model.getEQPresetForId (61)->multiFrequencyIntegratedLUFS,
               presetWithId (61).multiFrequencyIntegratedLUFS);

    auto back = session.referenceAnalysis();
    reference.trackName = back.trackName;
    EXPECT_EQ (back, reference);

    EXPECT_EQ (session.selectEQPreset (62), std::optional<juce::String> ("REFERENCE TRACK"));
    EXPECT_EQ (model.currentEQPreset, stored);
    EXPECT_EQ (model.defaultEQPresetId, 61);
    EXPECT_EQ (session.selectEQPreset (60), std::nullopt);
    EXPECT_EQ (model.currentEQPreset, nullptr);
    EXPECT_EQ (session.currentEQPresetId(), std::nullopt);
}

TEST (EQDifferences, LevelsATrackAgainstAPresetAtEqualLoudness)
{
    const auto& preset = presetWithId (3);
    const auto& s = preset.multiFrequencyIntegratedLUFS;
    const auto& m = preset.midMultiFrequencyIntegratedLUFS;
    const auto& d = preset.sideMultiFrequencyIntegratedLUFS;

    // The preset's own material: zero everywhere.
    auto same = eqpresets::eqDifferences (asVector (s), asVector (m), asVector (d), preset.integratedLUFS, preset);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_EQ (same.stereo[b], 0.0f);
        EXPECT_EQ (same.mid[b], 0.0f);
        EXPECT_EQ (same.side[b], 0.0f);
    }

    // 3 dB louder in every band and overall: the same balance.
    auto louder = eqpresets::eqDifferences (shifted (s, 3.0f), shifted (m, 3.0f), shifted (d, 3.0f),
                                            preset.integratedLUFS + 3.0f, preset);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_NEAR (louder.stereo[b], 0.0f, 1e-5f);
        EXPECT_NEAR (louder.mid[b], 0.0f, 1e-5f);
        EXPECT_NEAR (louder.side[b], 0.0f, 1e-5f);
    }

    // Louder in the bands only: more energy than the reference everywhere.
    auto brighter = eqpresets::eqDifferences (shifted (s, 3.0f), asVector (m), asVector (d), preset.integratedLUFS, preset);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_NEAR (brighter.stereo[b], 3.0f, 1e-5f);
        EXPECT_EQ (brighter.mid[b], 0.0f);
    }

    // One band 2 dB up in one list: +2 there and nowhere else.
    auto bump = asVector (m);
    bump[7] += 2.0f;
    auto one = eqpresets::eqDifferences (asVector (s), bump, asVector (d), preset.integratedLUFS, preset);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_NEAR (one.mid[b], b == 7 ? 2.0f : 0.0f, 1e-5f) << b;
        EXPECT_EQ (one.stereo[b], 0.0f);
        EXPECT_EQ (one.side[b], 0.0f);
    }

    // Louder overall with the same bands: the bands read low after levelling.
    auto quieterBands = eqpresets::eqDifferences (asVector (s), asVector (m), asVector (d), preset.integratedLUFS + 1.5f, preset);
    EXPECT_NEAR (quieterBands.side[0], -1.5f, 1e-5f);

    // A short list leaves the missing bands at 0.
    auto shortList = eqpresets::eqDifferences ({ s[0] + 1.0f, s[1] + 1.0f }, preset.integratedLUFS,
                                               preset.multiFrequencyIntegratedLUFS, preset.integratedLUFS);
    EXPECT_NEAR (shortList[0], 1.0f, 1e-5f);
    EXPECT_NEAR (shortList[1], 1.0f, 1e-5f);
    EXPECT_EQ (shortList[2], 0.0f);
}

TEST (EQDifferences, ATrackIsLevelledByItsWeightedIntegratedLoudness)
{
    Model model;
    Track track (&model);
    const auto& preset = presetWithId (61);
    track.multiFrequencyIntegratedLUFS = shifted (preset.multiFrequencyIntegratedLUFS, -4.0f);
    track.midMultiFrequencyIntegratedLUFS = shifted (preset.midMultiFrequencyIntegratedLUFS, -4.0f);
    track.sideMultiFrequencyIntegratedLUFS = shifted (preset.sideMultiFrequencyIntegratedLUFS, -2.0f);
    track.wholeFileReadings.integratedLUFS = preset.integratedLUFS - 4.0f;
    track.wholeFileReadings.plainIntegrated = preset.integratedLUFS - 9.0f;

    const auto d = eqpresets::eqDifferences (track, preset);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_NEAR (d.stereo[b], 0.0f, 1e-5f);
        EXPECT_NEAR (d.mid[b], 0.0f, 1e-5f);
        EXPECT_NEAR (d.side[b], 2.0f, 1e-5f);
    }
}
