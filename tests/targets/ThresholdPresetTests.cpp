#include "analysis/Model.h"
#include "targets/ThresholdPresets.h"

#include <gtest/gtest.h>

namespace
{
ThresholdPreset makePreset (int id, int groupId, const char* name)
{
    ThresholdPreset p;
    p.presetId = id;
    p.groupId = groupId;
    p.name = name;
    return p;
}
} // namespace

TEST (ThresholdPresetTable, GroupsIdsAndDistinctiveRows)
{
    const auto groups = presets::makeFactoryPresetGroups();
    auto byId = [&] (int id) -> const ThresholdPreset& { return *presets::findPresetForId (groups, id); };
    ASSERT_EQ (groups.size(), 4u);
    const char* names[] = { "MIXING", "MASTERING", "BROADCAST", "USER" };
    const int firstIds[] = { 0, 4, 19, 27, 32 };  // ids run 0..31 through the groups
    for (int g = 0; g < 4; ++g)
    {
        const auto& group = groups[(size_t) g];
        EXPECT_EQ (group.groupId, g);
        EXPECT_EQ (group.name, names[g]);
        ASSERT_EQ ((int) group.presets.size(), firstIds[g + 1] - firstIds[g]);
        for (size_t i = 0; i < group.presets.size(); ++i)
            EXPECT_TRUE (group.presets[i].groupId == g && group.presets[i].presetId == firstIds[g] + (int) i);
    }
    // The Model itself starts with the three factory groups; the user group comes with the settings.
    EXPECT_EQ (presets::makeFactoryPresetGroups (3).size(), 3u);

    EXPECT_EQ (byId (10).name, "COMPOSER");
    EXPECT_EQ (byId (16).name, "SPOTIFY LOUD");
    EXPECT_EQ (byId (24).name, "EBU R 128");
    using P = ThresholdPreset;
    const std::tuple<int, float P::*, float> values[] = {
        { 10, &P::peak, -0.5f }, { 10, &P::truePeakRange, 0.5f }, { 10, &P::shortTermLUFSRange, 5.0f },
        { 10, &P::stereoBalance, 0.9f }, { 10, &P::stereoCorrelation, -0.3f }, { 16, &P::peakTarget, -2.0f },
        { 16, &P::integratedLUFS, -11.0f }, { 24, &P::truePeak, -1.5f }, { 24, &P::integratedLUFS, -23.0f },
        { 24, &P::integratedLUFSRange, 0.5f }, { 24, &P::loudnessRange, 15.0f }, { 24, &P::stereoCorrelation, -0.5f },
    };
    for (auto [id, field, value] : values)
        EXPECT_EQ (byId (id).*field, value) << id;

    // The five user presets start as copies of ALL-ROUND.
    for (int id = 27; id <= 31; ++id)
    {
        EXPECT_EQ (byId (id).name, "USER" + juce::String (id - 26));
        EXPECT_EQ (byId (id).integratedLUFSRange, byId (4).integratedLUFSRange);
        EXPECT_EQ (byId (id).stereoCorrelation, byId (4).stereoCorrelation);
    }

    // Same names in MIXING and MASTERING are told apart by id; the label names the group.
    const std::pair<int, int> sameNames[] = { { 0, 7 }, { 1, 12 }, { 2, 13 } };
    for (auto [mixing, mastering] : sameNames)
    {
        EXPECT_EQ (byId (mixing).name, byId (mastering).name);
        EXPECT_TRUE (byId (mixing).presetId == mixing && byId (mixing).groupId == 0);
        EXPECT_TRUE (byId (mastering).presetId == mastering && byId (mastering).groupId == 1);
    }
    EXPECT_EQ (presets::presetLabel (groups, &byId (4)), "MASTERING: ALL-ROUND");
    EXPECT_EQ (presets::presetLabel (groups, &byId (20)), "BROADCAST: AGCOM 219/09/CSP");
    EXPECT_EQ (presets::presetLabel (groups, nullptr), "[NO PRESET SELECTED]");
}

TEST (PresetLookup, UnknownIdGivesTheFirstPresetAndTheLastFindWins)
{
    auto factory = presets::makeFactoryPresetGroups();
    for (int id : { 999, 32, -1 })
        EXPECT_EQ (presets::findPresetForId (factory, id), &factory[0].presets[0]) << id;
    EXPECT_EQ (factory[0].presets[0].name, "BALANCED");
    // The user ids are unknown while only the three factory groups are loaded.
    EXPECT_EQ (presets::findPresetForId (presets::makeFactoryPresetGroups (3), 27)->presetId, 0);

    std::vector<PresetGroup> groups (3);
    for (int g = 0; g < 3; ++g)
        groups[(size_t) g].groupId = g;
    groups[0].presets = { makePreset (0, 0, "FIRST"), makePreset (5, 2, "FILED IN ZERO, OWNED BY TWO") };
    groups[1].presets = { makePreset (5, 1, "ONE A"), makePreset (5, 1, "ONE B") };
    groups[2].presets = { makePreset (5, 2, "TWO") };

    // Group 0's find walks group 2, group 1's walks group 1 (B is its last), group 2's walks
    // group 2 again: that last find is the answer.
    EXPECT_EQ (presets::findPresetForId (groups, 5), &groups[2].presets[0]);
    // Now only groups 0 and 1 hold id 5; group 0's find leads to group 2, which lacks it.
    groups[2].presets[0].presetId = 6;
    EXPECT_EQ (presets::findPresetForId (groups, 5), &groups[1].presets[1]);
    const auto& constGroups = groups;
    EXPECT_EQ (presets::findPresetForId (constGroups, 5), &groups[1].presets[1]);
}

TEST (PresetStepping, WrapsWithTheFixedModulusAndOnlySelectingIsRemembered)
{
    EXPECT_EQ (presets::nextPresetId (31), 0);
    EXPECT_EQ (presets::previousPresetId (0), 31);
    for (int i = 0; i < 32; ++i)
    {
        EXPECT_EQ (presets::nextPresetId (i), (i + 1) % 32);
        EXPECT_EQ (presets::previousPresetId (presets::nextPresetId (i)), i);
    }

    Model model;
    model.presetGroups = presets::makeFactoryPresetGroups();
    EXPECT_EQ (model.defaultPresetId, 4);
    EXPECT_EQ (model.defaultEQPresetId, 61);
    model.selectPresetById (31);
    ASSERT_NE (model.currentPreset, nullptr);
    EXPECT_EQ (model.currentPreset->name, "USER5");
    EXPECT_EQ (model.defaultPresetId, 31);

    model.stepPreset (true);
    EXPECT_TRUE (model.currentPreset->presetId == 0 && model.currentPreset->groupId == 0);
    model.stepPreset (false);
    model.stepPreset (false);
    EXPECT_EQ (model.currentPreset->presetId, 30);
    EXPECT_EQ (model.defaultPresetId, 31);

    model.selectPresetById (500);
    EXPECT_EQ (model.currentPreset, &model.presetGroups[0].presets[0]);
    EXPECT_EQ (model.defaultPresetId, 500);
}
