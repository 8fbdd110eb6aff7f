#include "analysis/Model.h"
#include "targets/ThresholdPresets.h"

#include <gtest/gtest.h>

#include <set>

namespace
{
const ThresholdPreset& byId (const std::vector<PresetGroup>& groups, int id)
{
    return *presets::findPresetForId (groups, id);
}

ThresholdPreset makePreset (int id, int groupId, const char* name)
{
    ThresholdPreset p;
    p.presetId = id;
    p.groupId = groupId;
    p.name = name;
    return p;
}
} // namespace

TEST (ThresholdPresetTable, FourGroupsHoldThirtyTwoUniqueIdsInOrder)
{
    const auto groups = presets::makeFactoryPresetGroups();
    ASSERT_EQ (groups.size(), 4u);

    const char* names[] = { "MIXING", "MASTERING", "BROADCAST", "USER" };
    const int firstIds[] = { 0, 4, 19, 27 };
    const size_t counts[] = { 4, 15, 8, 5 };
    std::set<int> ids;

    for (int g = 0; g < 4; ++g)
    {
        const auto& group = groups[(size_t) g];
        EXPECT_EQ (group.groupId, g);
        EXPECT_EQ (group.name, names[g]);
        ASSERT_EQ (group.presets.size(), counts[g]);

        for (size_t i = 0; i < group.presets.size(); ++i)
        {
            EXPECT_EQ (group.presets[i].groupId, g);
            EXPECT_EQ (group.presets[i].presetId, firstIds[g] + (int) i);
            ids.insert (group.presets[i].presetId);
        }
    }
    EXPECT_EQ (ids.size(), 32u);
    EXPECT_EQ (*ids.begin(), 0);
    EXPECT_EQ (*ids.rbegin(), 31);

    // The Model itself starts with the three factory groups; the user group comes with the settings.
    EXPECT_EQ (presets::makeFactoryPresetGroups (3).size(), 3u);
}

TEST (ThresholdPresetTable, DistinctiveRowsHoldTheirValues)
{
    const auto groups = presets::makeFactoryPresetGroups();

    const auto& composer = byId (groups, 10);
    EXPECT_EQ (composer.name, "COMPOSER");
    EXPECT_EQ (composer.peak, -0.5f);
    EXPECT_EQ (composer.truePeakRange, 0.5f);
    EXPECT_EQ (composer.shortTermLUFSRange, 5.0f);
    EXPECT_EQ (composer.loudnessRange, 2.0f);
    EXPECT_EQ (composer.stereoBalance, 0.9f);
    EXPECT_EQ (composer.stereoCorrelation, -0.3f);

    const auto& spotifyLoud = byId (groups, 16);
    EXPECT_EQ (spotifyLoud.name, "SPOTIFY LOUD");
    EXPECT_EQ (spotifyLoud.peakTarget, -2.0f);
    EXPECT_EQ (spotifyLoud.integratedLUFS, -11.0f);
    EXPECT_EQ (spotifyLoud.integratedLUFSRange, 2.0f);

    const auto& ebu = byId (groups, 24);
    EXPECT_EQ (ebu.name, "EBU R 128");
    EXPECT_EQ (ebu.truePeak, -1.5f);
    EXPECT_EQ (ebu.shortTermLUFS, 0.0f);
    EXPECT_EQ (ebu.integratedLUFS, -23.0f);
    EXPECT_EQ (ebu.integratedLUFSRange, 0.5f);
    EXPECT_EQ (ebu.loudnessRange, 15.0f);
    EXPECT_EQ (ebu.stereoCorrelation, -0.5f);

    // The five user presets start as copies of ALL-ROUND.
    const auto& allRound = byId (groups, 4);
    for (int id = 27; id <= 31; ++id)
    {
        const auto& user = byId (groups, id);
        EXPECT_EQ (user.name, "USER" + juce::String (id - 26));
        EXPECT_EQ (user.peakTarget, allRound.peakTarget);
        EXPECT_EQ (user.integratedLUFSRange, allRound.integratedLUFSRange);
        EXPECT_EQ (user.dynamicRange, allRound.dynamicRange);
        EXPECT_EQ (user.stereoCorrelation, allRound.stereoCorrelation);
    }
}

TEST (PresetLookup, SameNamesInDifferentGroupsAreTellApartById)
{
    const auto groups = presets::makeFactoryPresetGroups();
    const std::pair<int, int> pairs[] = { { 0, 7 }, { 1, 12 }, { 2, 13 } };

    for (auto [mixing, mastering] : pairs)
    {
        const auto& a = byId (groups, mixing);
        const auto& b = byId (groups, mastering);
        EXPECT_EQ (a.name, b.name);
        EXPECT_EQ (a.groupId, 0);
        EXPECT_EQ (b.groupId, 1);
        EXPECT_EQ (a.presetId, mixing);
        EXPECT_EQ (b.presetId, mastering);
    }
}

TEST (PresetLookup, UnknownIdGivesTheFirstPresetOfTheFirstGroup)
{
    auto groups = presets::makeFactoryPresetGroups();

    for (int id : { 999, 32, -1 })
    {
        const auto* p = presets::findPresetForId (groups, id);
        ASSERT_NE (p, nullptr);
        EXPECT_EQ (p, &groups[0].presets[0]);
        EXPECT_EQ (p->name, "BALANCED");
        EXPECT_EQ (groups[(size_t) p->groupId].name, "MIXING");
    }

    // The user ids are unknown while only the three factory groups are loaded.
    const auto threeGroups = presets::makeFactoryPresetGroups (3);
    EXPECT_EQ (presets::findPresetForId (threeGroups, 27)->presetId, 0);
}

TEST (PresetLookup, FindsGoThroughTheOwningGroupAndTheLastFindWins)
{
    std::vector<PresetGroup> groups (3);
    for (int g = 0; g < 3; ++g)
        groups[(size_t) g].groupId = g;

    groups[0].presets = { makePreset (0, 0, "FIRST"), makePreset (5, 2, "FILED IN ZERO, OWNED BY TWO") };
    groups[1].presets = { makePreset (5, 1, "ONE A"), makePreset (5, 1, "ONE B") };
    groups[2].presets = { makePreset (5, 2, "TWO") };

    // Group 0's find walks group 2, group 1's walks group 1 (B is its last), group 2's walks
    // group 2 again: that last find is the answer.
    EXPECT_EQ (presets::findPresetForId (groups, 5), &groups[2].presets[0]);

    groups[2].presets[0].presetId = 6;
    // Now only groups 0 and 1 hold id 5; group 0's find leads to group 2, which lacks it.
    EXPECT_EQ (presets::findPresetForId (groups, 5), &groups[1].presets[1]);

    const auto& constGroups = groups;
    EXPECT_EQ (presets::findPresetForId (constGroups, 5), presets::findPresetForId (groups, 5));
}

TEST (PresetLookup, LabelNamesGroupAndPreset)
{
    const auto groups = presets::makeFactoryPresetGroups();
    EXPECT_EQ (presets::presetLabel (groups, &byId (groups, 4)), "MASTERING: ALL-ROUND");
    EXPECT_EQ (presets::presetLabel (groups, &byId (groups, 0)), "MIXING: BALANCED");
    EXPECT_EQ (presets::presetLabel (groups, &byId (groups, 20)), "BROADCAST: AGCOM 219/09/CSP");
    EXPECT_EQ (presets::presetLabel (groups, nullptr), "[NO PRESET SELECTED]");
}

TEST (PresetStepping, WrapsWithTheFixedModulus)
{
    EXPECT_EQ (presets::nextPresetId (31), 0);
    EXPECT_EQ (presets::previousPresetId (0), 31);
    EXPECT_EQ (presets::nextPresetId (18), 19);
    EXPECT_EQ (presets::previousPresetId (27), 26);

    int id = 4;
    std::set<int> seen;
    for (int i = 0; i < 32; ++i)
    {
        seen.insert (id);
        id = presets::nextPresetId (id);
    }
    EXPECT_EQ (id, 4);
    EXPECT_EQ (seen.size(), 32u);

    for (int i = 0; i < 32; ++i)
        EXPECT_EQ (presets::previousPresetId (presets::nextPresetId (i)), i);
}

TEST (ModelPresets, SelectingRemembersTheIdAndSteppingDoesNot)
{
    Model model;
    model.presetGroups = presets::makeFactoryPresetGroups();
    EXPECT_EQ (model.defaultPresetId, 4);
    EXPECT_EQ (model.defaultEQPresetId, 61);

    model.selectPresetById (31);
    ASSERT_NE (model.currentPreset, nullptr);
    EXPECT_EQ (model.currentPreset->name, "USER5");
    EXPECT_EQ (model.defaultPresetId, 31);

    model.stepPreset (true);
    EXPECT_EQ (model.currentPreset->presetId, 0);
    EXPECT_EQ (model.currentPreset->groupId, 0);
    model.stepPreset (false);
    model.stepPreset (false);
    EXPECT_EQ (model.currentPreset->presetId, 30);
    EXPECT_EQ (model.defaultPresetId, 31);

    model.selectPresetById (500);
    EXPECT_EQ (model.currentPreset, &model.presetGroups[0].presets[0]);
    EXPECT_EQ (model.defaultPresetId, 500);
}
