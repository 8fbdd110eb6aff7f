// The generator of the synthesised EQ presets' band lists, and the check that the committed
// table is what it makes.

#include "EQPresetGenerator.h"

#include "analysis/Model.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace eqpresetgen;

TEST (EQPresetTableGenerator, SynthesisIsSeededWithAQuieterOpening)
{
    EXPECT_EQ (recipeFor (10), nullptr);  // measured lists, no recipe
    EXPECT_EQ (recipes().size(), (size_t) eqpresets::numGeneratedBands);
    const auto* recipe = recipeFor (3);
    ASSERT_NE (recipe, nullptr);
    const auto a = synthesise (*recipe);
    ASSERT_EQ (a.numFrames(), numFrames);
    ASSERT_EQ (a.numChannels(), 2);
    EXPECT_EQ (a.channels, synthesise (*recipe).channels);

    auto rms = [&] (int from, int to)
    {
        double sum = 0.0;
        for (int i = from; i < to; ++i)
            sum += (double) a.channels[0][(size_t) i] * a.channels[0][(size_t) i];
        return 10.0 * std::log10 (sum / (to - from));
    };
    const int intro = (int) (introSeconds * sampleRate);
    EXPECT_NEAR (rms (0, intro) - rms (intro, numFrames), introGainDb, 0.5);
}

// The committed table holds what the generator makes now, and the preset's own material,
// loaded like any file, levels to a flat line against the preset.
TEST (EQPresetTableGenerator, CommittedTableIsWhatTheGeneratorMakes)
{
    const int presetId = 3;
    const auto groups = eqpresets::makeFactoryEQPresetGroups();
    const auto* preset = eqpresets::findEQPresetForId (groups, presetId);
    const eqpresets::FactoryBands* committed = nullptr;
    for (int i = 0; i < eqpresets::numGeneratedBands; ++i)
        if (eqpresets::generatedBands[i].presetId == presetId)
            committed = &eqpresets::generatedBands[i];
    ASSERT_TRUE (preset != nullptr && committed != nullptr);

    testaudio::TempFolder folder;
    Model model;
    Measurement measured;
    ASSERT_TRUE (makePreset (model, *recipeFor (presetId), preset->integratedLUFS, folder.path(), measured));
    EXPECT_NEAR (measured.integratedLUFS, preset->integratedLUFS, 0.01f);

    const auto flat = eqpresets::eqDifferences ({ measured.stereo.begin(), measured.stereo.end() },
                                                { measured.mid.begin(), measured.mid.end() },
                                                { measured.side.begin(), measured.side.end() },
                                                measured.integratedLUFS, *preset);
    // Two decimals; a last-digit flip on another maths library is tolerated.
    for (size_t b = 0; b < (size_t) EQPreset::numBands; ++b)
    {
        SCOPED_TRACE (b);
        EXPECT_NEAR (roundToHundredths (measured.stereo[b]), committed->stereo[b], 0.0101f);
        EXPECT_NEAR (roundToHundredths (measured.mid[b]), committed->mid[b], 0.0101f);
        EXPECT_NEAR (roundToHundredths (measured.side[b]), committed->side[b], 0.0101f);
        EXPECT_NEAR (flat.stereo[b], 0.0f, 0.02f);
        EXPECT_NEAR (flat.mid[b], 0.0f, 0.02f);
        EXPECT_NEAR (flat.side[b], 0.0f, 0.02f);
    }
}

TEST (EQPresetTableGenerator, TableSourceHasTwoDecimalsAndSaysHowToRegenerate)
{
    TableEntry entry { 17, "HIP HOP", "GANGSTA RAP", -9.29f, {} };
    entry.measured.integratedLUFS = -9.2912f;
    entry.measured.stereo.fill (-12.345f);
    entry.measured.mid.fill (-7.0f);
    entry.measured.side.fill (-33.999f);
    const auto text = tableSource ({ entry });
    EXPECT_TRUE (text.contains ("--gtest_filter=EQPresetTableGenerator.DISABLED_WriteTable"));
    EXPECT_TRUE (text.contains ("// 17 HIP HOP: GANGSTA RAP, read at -9.291 LUFS"));
    auto row = [] (const char* value)
    {
        juce::StringArray parts;
        for (int b = 0; b < EQPreset::numBands; ++b)
            parts.add (value);
        return "{ " + parts.joinIntoString (", ") + " }";
    };
    EXPECT_TRUE (text.contains ("{ 17,\n      " + row ("-12.35f") + ",\n      " + row ("-7.00f") + ",\n      "
                                + row ("-34.00f") + " },"));
}

// Writes targets/EQPresetTable.cpp anew. Run by hand (about a second a preset):
//   orvane_targets_tests --gtest_also_run_disabled_tests --gtest_filter=EQPresetTableGenerator.DISABLED_WriteTable
TEST (EQPresetTableGenerator, DISABLED_WriteTable)
{
    const auto groups = eqpresets::makeFactoryEQPresetGroups();
    testaudio::TempFolder folder;
    Model model;

    std::vector<TableEntry> entries;
    for (const auto& recipe : recipes())
    {
        const auto* preset = eqpresets::findEQPresetForId (groups, recipe.presetId);
        ASSERT_NE (preset, nullptr) << recipe.presetId;
        TableEntry entry { recipe.presetId, groups[(size_t) preset->groupId].name, preset->name, preset->integratedLUFS, {} };
        ASSERT_TRUE (makePreset (model, recipe, entry.targetLUFS, folder.path(), entry.measured)) << recipe.presetId;
        EXPECT_NEAR (entry.measured.integratedLUFS, entry.targetLUFS, 0.01) << recipe.presetId;
        entries.push_back (entry);
    }

    const auto target = juce::File (ORVANE_SOURCE_DIR).getChildFile ("targets/EQPresetTable.cpp");
    ASSERT_TRUE (target.replaceWithText (tableSource (entries)));
}
