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

const EQPreset& presetWithId (int presetId)
{
    static const auto groups = eqpresets::makeFactoryEQPresetGroups();
    const auto* preset = eqpresets::findEQPresetForId (groups, presetId);
    EXPECT_NE (preset, nullptr) << presetId;
    static const EQPreset none;
    return preset != nullptr ? *preset : none;
}

bool isMeasured (int presetId) { return presetId == 61 || presetId == 62 || presetId == 29 || presetId == 10; }

std::vector<float> shifted (const Bands& bands, float db)
{
    std::vector<float> v;
    for (float x : bands)
        v.push_back (x + db);
    return v;
}
} // namespace

TEST (EQPresetFactory, GroupsIdsAndNamesInMenuOrder)
{
    const auto groups = eqpresets::makeFactoryEQPresetGroups();
    const std::vector<std::pair<juce::String, size_t>> expected {
        { "DEFAULT", 2 }, { "STAR ENGINEERS", 7 }, { "ELECTRONIC", 8 }, { "HIP HOP", 6 }, { "HOUSE", 8 },
        { "OTHER GENRES", 12 }, { "POP", 8 }, { "R & B", 4 }, { "ROCK", 7 },
    };
    ASSERT_EQ (groups.size(), expected.size());
    EXPECT_EQ (groups[0].presets[0].presetId, 61);
    EXPECT_EQ (groups[0].presets[1].presetId, 62);

    // After DEFAULT the ids count up from 0 in menu order, through 59: 60 is no preset.
    int next = 0;
    std::set<int> contemporaryIds;
    for (size_t g = 0; g < groups.size(); ++g)
    {
        EXPECT_EQ (groups[g].groupId, (int) g);
        EXPECT_EQ (groups[g].name, expected[g].first);
        ASSERT_EQ (groups[g].presets.size(), expected[g].second) << groups[g].name;
        for (const auto& preset : groups[g].presets)
        {
            SCOPED_TRACE (preset.name);
            EXPECT_EQ (preset.groupId, (int) g);
            if (g > 0)
                EXPECT_EQ (preset.presetId, next++);
            EXPECT_EQ (eqpresets::findEQPresetForId (groups, preset.presetId), &preset);
            if (preset.name == "CONTEMPORARY")
                contemporaryIds.insert (preset.presetId);
        }
    }
    EXPECT_EQ (next, 60);
    EXPECT_EQ (next + 2, eqpresets::numFactoryPresets);
    // Four CONTEMPORARY presets in four groups, told apart by id alone.
    EXPECT_EQ (contemporaryIds, (std::set<int> { 15, 41, 50, 55 }));

    const std::pair<int, const char*> names[] = { { 61, "BALANCED MASTER" }, { 62, "REFERENCE TRACK" },
                                                  { 29, "PINK NOISE" }, { 38, "REAGGAETON" }, { 49, "90'S" },
                                                  { 6, "R&B BOSS" } };
    for (auto [id, name] : names)
        EXPECT_EQ (presetWithId (id).name, name);
    const std::pair<int, float> loudness[] = { { 61, -7.93f }, { 62, -9.19f }, { 29, -11.558f }, { 4, -4.52f },
                                               { 37, -13.91f } };
    for (auto [id, lufs] : loudness)
        EXPECT_FLOAT_EQ (presetWithId (id).integratedLUFS, lufs) << id;
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
    }
}

// Every preset but the four with measured lists comes from the generated table, once, and
// its lists look like those of a mastered mix as our analyser reads one.
TEST (EQPresetFactory, GeneratedListsKeepTheRelationsOfMeasuredOnes)
{
    ASSERT_EQ (eqpresets::numGeneratedBands, eqpresets::numFactoryPresets - 4);
    std::set<int> generatedIds;
    for (int i = 0; i < eqpresets::numGeneratedBands; ++i)
    {
        const int id = eqpresets::generatedBands[i].presetId;
        EXPECT_TRUE (generatedIds.insert (id).second && ! isMeasured (id)) << id;
    }

    auto hundredths = [] (float v) { return (float) (std::round ((double) v * 100.0) / 100.0) == v; };
    for (const auto& group : eqpresets::makeFactoryEQPresetGroups())
        for (const auto& preset : group.presets)
        {
            if (isMeasured (preset.presetId))
                continue;
            SCOPED_TRACE (group.name + ": " + preset.name);
            ASSERT_EQ (generatedIds.count (preset.presetId), 1u);
            const auto& s = preset.multiFrequencyIntegratedLUFS;
            const auto& m = preset.midMultiFrequencyIntegratedLUFS;
            const auto& d = preset.sideMultiFrequencyIntegratedLUFS;
            for (size_t b = 0; b < (size_t) EQPreset::numBands; ++b)
            {
                SCOPED_TRACE (b);
                EXPECT_TRUE (hundredths (s[b]) && hundredths (m[b]) && hundredths (d[b]));
                // Mid is the plain sum: with positively correlated channels it lies between
                // the stereo level and 3.01 dB over it, and side lies under the stereo level.
                EXPECT_GE (m[b], s[b]);
                EXPECT_LE (m[b], s[b] + 3.02f);
                EXPECT_LT (d[b], s[b]);
                // Sum and difference powers add up to twice the stereo power.
                const double sum = (std::pow (10.0, m[b] / 10.0) + std::pow (10.0, d[b] / 10.0)) / 2.0;
                EXPECT_NEAR (10.0 * std::log10 (sum), s[b], 0.05);
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

TEST (EQPresetLookup, UnknownIdsGiveNullAndAFindIsSearchedAgainInItsOwnGroup)
{
    auto factory = eqpresets::makeFactoryEQPresetGroups();
    for (int id : { 60, -1, 63 })
        EXPECT_EQ (eqpresets::findEQPresetForId (factory, id), nullptr) << id;
    std::vector<EQPresetGroup> none;
    EXPECT_EQ (eqpresets::findEQPresetForId (none, 61), nullptr);
    EXPECT_EQ (eqpresets::firstPreset (none), nullptr);

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
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 5), &groups[1].presets[0]);
    // A groupId that indexes no group finds nothing.
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 7), nullptr);
    // Found in its own group by the walk, but its indexed group lacks it: nothing.
    groups[1].presets[0].presetId = 6;
    EXPECT_EQ (eqpresets::findEQPresetForId (groups, 5), nullptr);
}

TEST (ModelEQPresets, SelectionNamesAndTheReferenceAnalysisInPreset62)
{
    Model model;
    ASSERT_EQ (model.eqPresetGroups.size(), 9u);
    EXPECT_EQ (model.currentEQPreset, &model.eqPresetGroups[0].presets[0]);
    EXPECT_EQ (model.defaultEQPresetId, 61);
    EXPECT_EQ (model.getEQPresetForId (62), &model.eqPresetGroups[0].presets[1]);

    model.selectPresetById (4);
    EXPECT_EQ (model.getCurrentPresetName (0), "MASTERING: ALL-ROUND");
    EXPECT_EQ (model.getCurrentPresetName (1), "BALANCED MASTER");
    model.selectEQPresetById (38);
    EXPECT_TRUE (model.currentEQPreset->presetId == 38 && model.defaultEQPresetId == 38);
    EXPECT_EQ (model.getCurrentPresetName (2), "REAGGAETON");
    model.selectEQPresetById (60);
    EXPECT_EQ (model.currentEQPreset, nullptr);
    EXPECT_EQ (model.defaultEQPresetId, 60);
    EXPECT_EQ (model.getCurrentPresetName (1), "[NO PRESET SELECTED]");
    model.currentPreset = nullptr;
    EXPECT_EQ (model.getCurrentPresetName (0), "[NO PRESET SELECTED]");

    // The session side stores a reference analysis in preset 62 and selects without remembering.
    model.selectEQPresetById (61);
    eqpresets::ModelSessionEqPresets session (model);
    EXPECT_EQ (session.currentEQPresetId(), std::optional<int> (61));
    SessionReference reference;
    reference.integratedLUFSOverall = -11.25f;
    for (size_t b = 0; b < 14; ++b)
    {
        reference.multiFrequencyIntegratedLUFS[b] = -20.0f - (float) b;
        reference.midMultiFrequencyIntegratedLUFS[b] = -18.0f - (float) b;
        reference.sideMultiFrequencyIntegratedLUFS[b] = -40.0f + (float) b;
    }
    session.storeReferenceAnalysis (reference);
    const auto* stored = model.getEQPresetForId (62);
    EXPECT_TRUE (stored->name == "REFERENCE TRACK" && stored->integratedLUFS == -11.25f);
    EXPECT_EQ (model.getEQPresetForId (61)->multiFrequencyIntegratedLUFS, presetWithId (61).multiFrequencyIntegratedLUFS);
    auto back = session.referenceAnalysis();
    reference.trackName = back.trackName;
    EXPECT_EQ (back, reference);

    EXPECT_EQ (session.selectEQPreset (62), std::optional<juce::String> ("REFERENCE TRACK"));
    EXPECT_EQ (model.currentEQPreset, stored);
    EXPECT_EQ (model.defaultEQPresetId, 61);
    EXPECT_EQ (session.selectEQPreset (60), std::nullopt);
    EXPECT_EQ (session.currentEQPresetId(), std::nullopt);
}

TEST (EQDifferences, LevelsATrackAgainstAPresetAtEqualLoudness)
{
    const auto& preset = presetWithId (3);
    const float lufs = preset.integratedLUFS;
    const auto s = shifted (preset.multiFrequencyIntegratedLUFS, 0.0f);
    const auto m = shifted (preset.midMultiFrequencyIntegratedLUFS, 0.0f);
    const auto d = shifted (preset.sideMultiFrequencyIntegratedLUFS, 0.0f);
    auto bump = m;
    bump[7] += 2.0f;

    struct Case { const char* what; eqpresets::EQDifferences got; float stereo, mid, side; int onlyBand; float tolerance = 1e-5f; };
    const Case cases[] = {
        { "its own material", eqpresets::eqDifferences (s, m, d, lufs, preset), 0.0f, 0.0f, 0.0f, -1, 0.0f },
        { "3 dB louder throughout",
          eqpresets::eqDifferences (shifted (preset.multiFrequencyIntegratedLUFS, 3.0f),
                                    shifted (preset.midMultiFrequencyIntegratedLUFS, 3.0f),
                                    shifted (preset.sideMultiFrequencyIntegratedLUFS, 3.0f), lufs + 3.0f, preset),
          0.0f, 0.0f, 0.0f, -1 },
        { "louder stereo bands only",
          eqpresets::eqDifferences (shifted (preset.multiFrequencyIntegratedLUFS, 3.0f), m, d, lufs, preset),
          3.0f, 0.0f, 0.0f, -1 },
        { "louder overall, same bands", eqpresets::eqDifferences (s, m, d, lufs + 1.5f, preset), -1.5f, -1.5f, -1.5f, -1 },
        { "one mid band up", eqpresets::eqDifferences (s, bump, d, lufs, preset), 0.0f, 2.0f, 0.0f, 7 },
    };
    for (const auto& c : cases)
        for (size_t b = 0; b < 14; ++b)
        {
            SCOPED_TRACE (testing::Message() << c.what << ", band " << b);
            const bool hit = c.onlyBand < 0 || (int) b == c.onlyBand;
            EXPECT_NEAR (c.got.stereo[b], c.stereo, c.tolerance);
            EXPECT_NEAR (c.got.mid[b], hit ? c.mid : 0.0f, c.tolerance);
            EXPECT_NEAR (c.got.side[b], c.side, c.tolerance);
        }

    // A short list leaves the missing bands at 0.
    auto shortList = eqpresets::eqDifferences ({ s[0] + 1.0f, s[1] + 1.0f }, lufs, preset.multiFrequencyIntegratedLUFS, lufs);
    EXPECT_NEAR (shortList[0], 1.0f, 1e-5f);
    EXPECT_NEAR (shortList[1], 1.0f, 1e-5f);
    EXPECT_EQ (shortList[2], 0.0f);

    // A track is levelled by its weighted integrated loudness, not the plain one.
    Model model;
    Track track (&model);
    const auto& balanced = presetWithId (61);
    track.multiFrequencyIntegratedLUFS = shifted (balanced.multiFrequencyIntegratedLUFS, -4.0f);
    track.midMultiFrequencyIntegratedLUFS = shifted (balanced.midMultiFrequencyIntegratedLUFS, -4.0f);
    track.sideMultiFrequencyIntegratedLUFS = shifted (balanced.sideMultiFrequencyIntegratedLUFS, -2.0f);
    track.wholeFileReadings.integratedLUFS = balanced.integratedLUFS - 4.0f;
    track.wholeFileReadings.plainIntegrated = balanced.integratedLUFS - 9.0f;
    const auto levelled = eqpresets::eqDifferences (track, balanced);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_NEAR (levelled.stereo[b], 0.0f, 1e-5f);
        EXPECT_NEAR (levelled.mid[b], 0.0f, 1e-5f);
        EXPECT_NEAR (levelled.side[b], 2.0f, 1e-5f);
    }
}
