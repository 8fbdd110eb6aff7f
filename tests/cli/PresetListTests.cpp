// The preset listing, and where the checker takes its presets and default preset from.
#include "CliTestSupport.h"
#include "cli/PresetList.h"
#include "targets/SettingsFile.h"
#include "targets/XmlBinaryWrapper.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

using namespace orvane::cli;
using clitest::path;
using clitest::runChecker;

namespace
{
// The listing in short: how many rows follow the heading, which one is marked as the default.
std::string summary (const std::string& text)
{
    const auto lines = clitest::linesOf (text);
    std::string marked;
    for (size_t i = 1; i < lines.size(); ++i)
    {
        std::string first;
        std::istringstream (lines[i]) >> first;
        EXPECT_EQ (std::stoi (first), (int) i - 1) << lines[i]; // in id order, from 0
        marked += first.back() == '*' ? first : "";
    }
    EXPECT_TRUE (! lines.empty() && lines[0].rfind ("ID ", 0) == 0) << text;
    return std::to_string (lines.size() - 1) + " " + marked;
}
} // namespace

TEST (CheckerPresetList, ListsEveryPresetInTableOrderWithItsLimitsAndExactLookupHasNoFallback)
{
    std::ostringstream out;
    writePresetList (out, presets::makeFactoryPresetGroups(), 15);
    EXPECT_EQ (summary (out.str()), "32 15*");
    // Every column lines up under its heading, and names with spaces and slashes stay whole.
    const auto lines = clitest::linesOf (out.str());
    for (const auto& line : lines)
        EXPECT_EQ (line.size(), lines[0].size()) << line;
    EXPECT_NE (lines[21].find ("BROADCAST  AGCOM 219/09/CSP"), std::string::npos) << lines[21];
    // The limits come in the table's order.
    std::istringstream row (lines[9].substr (lines[9].find ("CD") + 2));
    EXPECT_EQ ((std::vector<std::string> { std::istream_iterator<std::string> (row), {} }),
               (std::vector<std::string> { "-0.5", "-0.5", "0.5", "-0.1", "-9", "3", "-10", "4", "6", "3", "0.3", "-0.2" }));

    const auto factory = presets::makeFactoryPresetGroups (3); // without the USER group
    EXPECT_EQ (findExactPreset (factory, 26)->name, "NETFLIX");
    EXPECT_EQ (findExactPreset (factory, 7)->groupId, presets::masteringGroup); // not MIXING's BALANCED
    EXPECT_TRUE (findExactPreset (factory, 27) == nullptr && findExactPreset (factory, 999) == nullptr);
    EXPECT_EQ (presets::findPresetForId (factory, 27)->presetId, 0); // where the window quietly takes preset 0
}

TEST (CheckerPresetList, SettingsGiveTheUserPresetsAndTheDefaultAndAreNeverWritten)
{
    testaudio::TempFolder home, audio;
    const auto settings = home.path().getChildFile (".config/" + juce::String (settingsfile::folderName))
                              .getChildFile (settingsfile::fileName);
    // Without a settings file the USER group is there; with --no-settings it is not.
    auto all = runChecker ({ "--list-presets" }, {}, home.path());
    EXPECT_TRUE (all.exitCode == 0 && all.err.empty()) << all.err;
    EXPECT_EQ (summary (all.out), "32 4*");
    EXPECT_FALSE (settings.exists()); // reading no file wrote none
    EXPECT_EQ (summary (runChecker ({ "--no-settings", "--list-presets" }, {}, home.path()).out), "27 4*");
    const auto v = clitest::parseJson (runChecker ({ "--list-presets", "--json" }, {}, home.path()).out);
    ASSERT_EQ (v.size(), 32);
    EXPECT_TRUE ((bool) v[4]["isDefault"] && ! (bool) v[24]["isDefault"]);
    EXPECT_TRUE ((int) v[24]["presetId"] == 24 && v[24]["name"] == "EBU R 128" && (double) v[24]["truePeak"] == -1.5);

    // A studio's settings as the application writes them: USER1 renamed STUDIO A and strict on
    // integrated loudness, made the default, and the first-run flag still set, on which the
    // application would rewrite the file and back it up.
    SettingsValues values;
    values.presetGroups = presets::makeFactoryPresetGroups (4);
    auto& mine = values.presetGroups[presets::userGroup].presets[0];
    mine.name = "STUDIO A";
    mine.integratedLUFS = -20.0f;
    mine.integratedLUFSRange = 1.0f;
    values.defaultPresetId = 27;
    auto document = settingsfile::createDocument (values, nullptr);
    document->getChildByName ("default")->setAttribute ("firstRunV2", 1);
    const auto before = xmlwrap::wrap (*document);
    ASSERT_TRUE (settings.getParentDirectory().createDirectory());
    ASSERT_TRUE (settings.replaceWithData (before.getData(), before.getSize()));

    auto listed = runChecker ({ "--list-presets" }, {}, home.path());
    EXPECT_EQ (summary (listed.out), "32 27*");
    EXPECT_NE (clitest::linesOf (listed.out)[28].find ("USER       STUDIO A"), std::string::npos) << listed.out;
    // Without --preset the remembered default judges: -13.3 dBFS reads about -14 LUFS, far
    // outside STUDIO A's -20 +-1, which ALL-ROUND (-12 +-5) would have let pass.
    auto judged = runChecker ({ "--json", path (clitest::writeSine (audio, "mix.wav", -13.3, 1.5, -3.0)) }, {},
                              home.path());
    EXPECT_EQ (judged.exitCode, 1) << judged.err;
    const auto mix = clitest::firstOf (judged.out);
    EXPECT_TRUE ((int) mix["presetId"] == 27 && mix["presetName"] == "USER: STUDIO A");
    EXPECT_TRUE ((bool) mix["readoutsOutOfRange"]["loudness"]["integrated"]);
    juce::MemoryBlock after;
    ASSERT_TRUE (settings.loadFileAsData (after));
    EXPECT_EQ (after, before);
    EXPECT_EQ (settings.getParentDirectory().getNumberOfChildFiles (juce::File::findFilesAndDirectories), 1);

    // The same file named on the command line, from an empty home; then one that is no settings
    // file, which is told of while the compiled-in presets serve.
    auto copy = audio.file ("studio.dat");
    ASSERT_TRUE (settings.copyFileTo (copy));
    EXPECT_EQ (summary (runChecker ({ "--settings", path (copy), "--list-presets" }).out), "32 27*");
    copy.replaceWithText ("not settings at all");
    auto none = runChecker ({ "--settings", path (copy), "--list-presets" });
    EXPECT_EQ (none.exitCode, 0);
    EXPECT_NE (none.err.find ("not an ORVANE settings file"), std::string::npos) << none.err;
    EXPECT_EQ (summary (none.out), "32 4*");
}
