// The generator of the synthesised EQ presets' band lists, and the check that the committed
// table is what it makes.

#include "EQPresetGenerator.h"

#include "analysis/Model.h"
#include "measure/MultiFrequencyAnalysis.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <map>

using namespace eqpresetgen;

namespace
{
std::map<int, std::pair<juce::String, juce::String>> namesById()
{
    std::map<int, std::pair<juce::String, juce::String>> names;
    for (const auto& group : eqpresets::makeFactoryEQPresetGroups())
        for (const auto& preset : group.presets)
            names[preset.presetId] = { group.name, preset.name };
    return names;
}

const EQPreset* factoryPreset (const std::vector<EQPresetGroup>& groups, int presetId)
{
    return eqpresets::findEQPresetForId (groups, presetId);
}

const eqpresets::FactoryBands* committedBands (int presetId)
{
    for (int i = 0; i < eqpresets::numGeneratedBands; ++i)
        if (eqpresets::generatedBands[i].presetId == presetId)
            return &eqpresets::generatedBands[i];
    return nullptr;
}

// Stereo band levels of a stretch of the signal, straight through the band measure.
EQPreset::Bands directBands (const testaudio::Signal& signal, int start, int frames)
{
    MultiFrequencyAnalysis analysis;
    analysis.prepareBands (signal.sampleRate);
    for (int pos = 0; pos < frames; pos += MultiFrequencyAnalysis::blockSize)
    {
        const int n = std::min (MultiFrequencyAnalysis::blockSize, frames - pos);
        analysis.analyseBlock (signal.channels[0].data() + start + pos, signal.channels[1].data() + start + pos, n);
    }
    return analysis.stereoBands;
}
} // namespace

TEST (EQPresetTableGenerator, SynthesisIsSeededAndShapedByTheRecipe)
{
    const auto* recipe = recipeFor (3);
    ASSERT_NE (recipe, nullptr);
    EXPECT_EQ (recipeFor (10), nullptr);  // measured lists, no recipe
    EXPECT_EQ (recipeFor (29), nullptr);
    EXPECT_EQ (recipes().size(), (size_t) eqpresets::numGeneratedBands);

    const auto a = synthesise (*recipe);
    const auto b = synthesise (*recipe);
    ASSERT_EQ (a.numFrames(), numFrames);
    ASSERT_EQ (a.numChannels(), 2);
    EXPECT_EQ (a.channels, b.channels);

    // The opening is quieter by the intro gain.
    auto rms = [&] (int channel, int from, int to)
    {
        double sum = 0.0;
        for (int i = from; i < to; ++i)
            sum += (double) a.channels[(size_t) channel][(size_t) i] * a.channels[(size_t) channel][(size_t) i];
        return 10.0 * std::log10 (sum / (to - from));
    };
    const int intro = (int) (introSeconds * sampleRate);
    EXPECT_NEAR (rms (0, 0, intro) - rms (0, intro, numFrames), introGainDb, 0.5);

    // Without the bass bump the low bands fall against the upper mids by about the bump.
    auto flat = *recipe;
    flat.bassDb = 0.0f;
    const auto c = synthesise (flat);
    EXPECT_NE (a.channels, c.channels);
    const int span = 5 * (int) sampleRate;
    const auto withBass = directBands (a, intro, span);
    const auto withoutBass = directBands (c, intro, span);
    const double expectedLift = recipe->bassDb * std::exp (-0.5 * std::pow (std::log2 (40.0 / recipe->bassHz) / 0.9, 2.0));
    EXPECT_NEAR ((withBass[1] - withBass[7]) - (withoutBass[1] - withoutBass[7]), expectedLift, 1.5);
    EXPECT_GT (withBass[1] - withBass[7], withoutBass[1] - withoutBass[7] + 3.0f);
}

// The committed table holds what the generator makes now, and the preset's own material,
// loaded like any file, levels to a flat line against the preset.
TEST (EQPresetTableGenerator, CommittedTableIsWhatTheGeneratorMakes)
{
    const int presetId = 3;
    const auto groups = eqpresets::makeFactoryEQPresetGroups();
    const auto* preset = factoryPreset (groups, presetId);
    const auto* committed = committedBands (presetId);
    ASSERT_NE (preset, nullptr);
    ASSERT_NE (committed, nullptr);

    testaudio::TempFolder folder;
    Model model;
    Measurement measured;
    ASSERT_TRUE (makePreset (model, *recipeFor (presetId), preset->integratedLUFS, folder.path(), measured));
    EXPECT_NEAR (measured.integratedLUFS, preset->integratedLUFS, 0.01f);

    // Two decimals; a last-digit flip on another maths library is tolerated.
    for (size_t b = 0; b < (size_t) EQPreset::numBands; ++b)
    {
        EXPECT_NEAR (roundToHundredths (measured.stereo[b]), committed->stereo[b], 0.0101f) << b;
        EXPECT_NEAR (roundToHundredths (measured.mid[b]), committed->mid[b], 0.0101f) << b;
        EXPECT_NEAR (roundToHundredths (measured.side[b]), committed->side[b], 0.0101f) << b;
    }

    const auto flat = eqpresets::eqDifferences ({ measured.stereo.begin(), measured.stereo.end() },
                                                { measured.mid.begin(), measured.mid.end() },
                                                { measured.side.begin(), measured.side.end() },
                                                measured.integratedLUFS, *preset);
    for (size_t b = 0; b < (size_t) EQPreset::numBands; ++b)
    {
        EXPECT_NEAR (flat.stereo[b], 0.0f, 0.02f) << b;
        EXPECT_NEAR (flat.mid[b], 0.0f, 0.02f) << b;
        EXPECT_NEAR (flat.side[b], 0.0f, 0.02f) << b;
    }
}

TEST (EQPresetTableGenerator, TableSourceHasTwoDecimalsAndSaysHowToRegenerate)
{
    EXPECT_EQ (roundToHundredths (-12.345f), -12.35f);
    EXPECT_EQ (roundToHundredths (-12.344f), -12.34f);
    EXPECT_EQ (roundToHundredths (-7.0f), -7.0f);

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
    EXPECT_FALSE (text.contains ("-12.34f"));
}

// Writes targets/EQPresetTable.cpp anew. Run by hand (about a second a preset):
//   orvane_targets_tests --gtest_also_run_disabled_tests --gtest_filter=EQPresetTableGenerator.DISABLED_WriteTable
TEST (EQPresetTableGenerator, DISABLED_WriteTable)
{
    const auto groups = eqpresets::makeFactoryEQPresetGroups();
    const auto names = namesById();
    testaudio::TempFolder folder;
    Model model;

    std::vector<TableEntry> entries;
    for (const auto& recipe : recipes())
    {
        const auto* preset = factoryPreset (groups, recipe.presetId);
        ASSERT_NE (preset, nullptr) << recipe.presetId;
        TableEntry entry { recipe.presetId, names.at (recipe.presetId).first, names.at (recipe.presetId).second,
                           preset->integratedLUFS, {} };
        ASSERT_TRUE (makePreset (model, recipe, entry.targetLUFS, folder.path(), entry.measured)) << recipe.presetId;
        EXPECT_NEAR (entry.measured.integratedLUFS, entry.targetLUFS, 0.01) << recipe.presetId;
        entries.push_back (entry);
    }

    const auto target = juce::File (ORVANE_SOURCE_DIR).getChildFile ("targets/EQPresetTable.cpp");
    ASSERT_TRUE (target.replaceWithText (tableSource (entries)));
}
