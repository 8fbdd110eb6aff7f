#include "cli/Options.h"

#include <gtest/gtest.h>

using namespace orvane::cli;

namespace
{
ParseResult parse (const std::vector<const char*>& args)
{
    return parseOptions (std::vector<juce::String> (args.begin(), args.end()));
}
} // namespace

TEST (CheckerOptions, FlagsStandAnywhereAndValuesFollowASpaceOrAnEqualsSign)
{
    const auto plain = parse ({ "x.wav" }).options;
    EXPECT_FALSE (plain.json || plain.points || plain.help || plain.details || plain.presetId || plain.eqPresetId);
    EXPECT_EQ (plain.progress, ProgressMode::automatic);
    EXPECT_EQ (plain.width, 648);
    EXPECT_EQ (plain.settings, SettingsSource::user);

    auto r = parse ({ "b.wav", "--preset", "15", "--report-type", "2", "--width", "1648", "a.flac", "--export", "out",
                      "--save-session", "album.bws", "--settings", "my.dat", "--details", "--eq-preset", "61",
                      "--no-progress", "c.mp3" });
    ASSERT_TRUE (r.ok()) << r.error;
    const auto& o = r.options;
    EXPECT_EQ (o.files, (std::vector<juce::String> { "b.wav", "a.flac", "c.mp3" }));
    EXPECT_TRUE (o.presetId == 15 && o.eqPresetId == 61 && o.reportType == 2 && o.width == 1648 && o.details);
    EXPECT_TRUE (o.exportFolder == "out" && o.sessionFile == "album.bws" && o.settingsFile == "my.dat");
    EXPECT_EQ (o.settings, SettingsSource::file);
    EXPECT_EQ (o.progress, ProgressMode::never);

    const auto joined = parse ({ "--preset=0", "--report-type=1", "--width=1", "--export=a=b", "--no-settings", "a" }).options;
    EXPECT_TRUE (joined.presetId == 0 && joined.reportType == 1 && joined.width == 1 && joined.exportFolder == "a=b");
    EXPECT_EQ (joined.settings, SettingsSource::none);

    // A value that looks like an option is still the value, and after "--" all are file names.
    const auto dashed = parse ({ "--export", "--json", "--", "--points", "-h" }).options;
    EXPECT_EQ (dashed.exportFolder, "--json");
    EXPECT_FALSE (dashed.json || dashed.points || dashed.help);
    EXPECT_EQ (dashed.files, (std::vector<juce::String> { "--points", "-h" }));

    // Some runs need no files, and --points implies --json.
    EXPECT_TRUE (parse ({ "--help" }).options.help && parse ({ "-h" }).options.help);
    const auto list = parse ({ "--list-presets", "--json" });
    EXPECT_TRUE (list.ok() && list.options.listPresets && list.options.json) << list.error;
    EXPECT_TRUE (parse ({ "--points", "x.wav" }).options.json);
}

TEST (CheckerOptions, MistakesAreRefusedByName)
{
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        { { "--preset", "x", "a" }, "--preset" },       { { "--preset", "-1", "a" }, "--preset" },
        { { "--preset=", "a" }, "--preset" },           { { "--eq-preset", "6l", "a" }, "--eq-preset" },
        { { "--report-type", "3", "a" }, "--report-type" }, { { "--report-type", "1.0", "a" }, "--report-type" },
        { { "--width", "0", "a" }, "--width" },         { { "--width", "100001", "a" }, "--width" },
        { { "--width", "12px", "a" }, "--width" },      { { "--save-session", "album", "a" }, ".bws" },
        { { "--save-session", "x.BWS", "a" }, ".bws" }, { { "--export=", "a" }, "--export" },
        { { "a", "--preset" }, "--preset needs a value" }, { { "--jsn", "a" }, "--jsn" },
        { { "--json" }, "no files" },                   { { "" }, "empty file name" },
    };
    for (const auto& [args, word] : cases)
    {
        const auto r = parse (args);
        EXPECT_TRUE (! r.ok() && r.error.contains (word)) << word << ": " << r.error;
    }
}
