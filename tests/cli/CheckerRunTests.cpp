// Runs the built orvane-check as a user would and looks at its exit status, stdout and stderr.
#include "CliTestSupport.h"

#include <gtest/gtest.h>

#include "targets/SessionFile.h"

#include <cmath>
#include <limits>
#include <regex>
#include <sys/wait.h>
#include <unistd.h>

using clitest::path;
using clitest::runChecker;

namespace
{
// What the gated measure reads for a steady tone of this level lasting whole seconds. The
// blocks formed at 100, 200 and 300 ms still hold the -70 fill for 3/4, 1/2 and 1/4 of their
// 400 ms, and the gating pass runs once a second (never at the very last sample), so with k
// passes the mean power of the 10k blocks is (10k - 1.5) / 10k of the tone's.
double gatedReading (double levelDb, int wholeSeconds)
{
    return levelDb + 10.0 * std::log10 (1.0 - 0.15 / (wholeSeconds - 1));
}
} // namespace

TEST (CheckerRun, HelpAndCommandLineMistakes)
{
    auto help = runChecker ({ "--help" });
    EXPECT_TRUE (help.exitCode == 0 && help.err.empty());
    EXPECT_EQ (help.out.rfind ("Usage: orvane-check", 0), 0u);

    // Mistakes found before any file is looked at: status 3, the mistake and a pointer to --help
    // on stderr, nothing on stdout.
    testaudio::TempFolder folder;
    const auto sine = path (clitest::writeSine (folder, "sine.wav", -20.0, 1.5));
    const std::pair<std::vector<std::string>, const char*> refused[] = {
        { {}, "no files given" },
        { { "--loud", sine }, "--loud" },
        { { "--width", "0", sine }, "--width" },
        { { "--preset", "32", sine }, "no preset has the id 32" },
        { { "--no-settings", "--preset", "27", sine }, "no preset has the id 27" },
        { { "--eq-preset", "60", sine }, "no EQ preset has the id 60" },
        { { "--export", path (folder.file ("nowhere")), sine }, "no such folder" },
        { { "--save-session", path (folder.file ("nowhere/s.bws")), sine }, "no such folder" },
        { { "--settings", path (folder.file ("none.dat")), sine }, "no such settings file" },
    };
    for (const auto& [arguments, words] : refused)
    {
        auto r = runChecker (arguments);
        EXPECT_TRUE (r.exitCode == 3 && r.out.empty()) << words << "\n" << r.out << r.err;
        const auto lines = r.errLines();
        ASSERT_EQ (lines.size(), 2u) << r.err;
        EXPECT_TRUE (lines[0].rfind ("orvane-check: ", 0) == 0 && lines[0].find (words) != std::string::npos) << lines[0];
        EXPECT_EQ (lines[1], "Try 'orvane-check --help' for how to use it.");
    }
    EXPECT_FALSE (folder.file ("nowhere").exists());
}

TEST (CheckerRun, EachUnusableInputGetsOneLineAndStatusTwo)
{
    testaudio::TempFolder folder;
    for (auto& bad : clitest::makeBadInputs (folder))
    {
        auto r = runChecker ({ path (bad.file) });
        EXPECT_TRUE (r.exitCode == 2 && r.out.empty()) << bad.kind << "\n" << r.out << r.err;
        const auto lines = r.errLines();
        ASSERT_EQ (lines.size(), 1u) << bad.kind << "\n" << r.err;
        EXPECT_EQ (lines[0].rfind ("orvane-check: " + path (bad.file) + ": ", 0), 0u) << lines[0];
        EXPECT_NE (lines[0].find (bad.reasonWord), std::string::npos) << bad.kind << ": " << lines[0];
    }
    // Exactly one second, and whole files of every depth, are usable.
    auto good = runChecker ({ path (folder.file ("44100.wav")), path (folder.file ("whole16.wav")),
                              path (folder.file ("whole24.wav")), path (folder.file ("whole32.wav")) });
    EXPECT_TRUE (good.exitCode < 2 && good.err.empty()) << good.err;
}

TEST (CheckerRun, KnownSinesReadTheirLevelsInArgumentOrderAroundBadFiles)
{
    testaudio::TempFolder folder;
    const auto loud = path (clitest::writeSine (folder, "loud.wav", -20.0));
    const auto quiet = path (folder.file ("quiet.wav")), broken = path (folder.file ("broken.wav"));
    testaudio::writeWav (folder.file ("quiet.wav"), testaudio::sine (44100.0, 2, 3.0, 997.0, std::pow (10.0, -1.5)));
    folder.file ("broken.wav").replaceWithText ("RIFF but not really");

    // Both sines are out of range (-20.3 is under ALL-ROUND's floor of -12 - 5, and a steady
    // sine's dynamic range under every floor), but an unusable file outweighs that.
    auto r = runChecker ({ "--details", quiet, broken, loud, "absent.flac" });
    EXPECT_EQ (r.exitCode, 2);
    const auto errors = r.errLines();
    ASSERT_EQ (errors.size(), 2u) << r.err; // and no bar: stderr is not a terminal
    EXPECT_TRUE (errors[0].find (broken) != std::string::npos && r.err.find ("\x1b") == std::string::npos) << r.err;
    EXPECT_EQ (errors[1], "orvane-check: absent.flac: no such file");
    EXPECT_LT (r.out.find ("\nFile: " + quiet + "\n"), r.out.find ("\nFile: " + loud + "\n"));
    for (auto* line : { "\nSample Rate: 44100 Hz\n", "\nOut of range: Integrated LUFS, Dynamic Range\n",
                        "\nLength: 3.00 s (144000 samples)\n" })
        EXPECT_NE (r.out.find (line), std::string::npos) << line << r.out;

    auto json = runChecker ({ "--json", quiet, broken, loud, "absent.flac" });
    EXPECT_TRUE (json.exitCode == 2 && json.errLines().size() == 2u) << json.err;
    const auto v = clitest::parseJson (json.out);
    ASSERT_EQ (v.size(), 4);
    EXPECT_NEAR ((double) v[0]["integratedLUFS"], gatedReading (-30.0, 3), 0.02);
    EXPECT_NEAR ((double) v[2]["integratedLUFS"], gatedReading (-20.0, 3), 0.02);
    EXPECT_NEAR ((double) v[2]["maxSamplePeakDb"], -20.0, 0.01);
    EXPECT_TRUE ((double) v[0]["sampleRate"] == 44100.0 && (int) v[2]["numSamples"] == 144000) << json.out;
    EXPECT_TRUE (v[2]["file"] == juce::String (loud) && ! v[2].getDynamicObject()->hasProperty ("shortTermPoints"));
    EXPECT_TRUE (v[1]["file"] == juce::String (broken) && v[1]["error"].toString().isNotEmpty());
    EXPECT_TRUE (v[3]["file"] == "absent.flac" && v[3]["error"].toString().contains ("no such file"));
}

TEST (CheckerRun, PointsAndSilenceStayValidJson)
{
    testaudio::TempFolder folder;
    // Silence first, then a tone: the early points are minus infinity, written as null.
    auto signal = testaudio::generate (48000.0, 2, 48000, [] (int, int) { return 0.0f; });
    testaudio::append (signal, testaudio::sine (48000.0, 2, 1.5, 997.0, 0.25));
    ASSERT_TRUE (testaudio::writeWav (folder.file ("tone.wav"), signal));
    ASSERT_TRUE (testaudio::writeWav (folder.file ("silent.wav"), testaudio::generate (44100.0, 1, 66150, [] (int, int)
                                                                                       { return 0.0f; })));

    // Silence has no integrated reading, which is under every preset's floor.
    auto r = runChecker ({ "--points", path (folder.file ("tone.wav")), path (folder.file ("silent.wav")) });
    ASSERT_EQ (r.exitCode, 1) << r.err;
    // No bare infinities or NaNs as values (the readout text itself may say "-inf").
    EXPECT_FALSE (std::regex_search (r.out, std::regex ("(\"\\s*:|\\[|,)\\s*-?(inf|nan)"))) << r.out;
    const auto v = clitest::parseJson (r.out);
    ASSERT_EQ (v.size(), 2);

    const auto& tone = v[0];
    EXPECT_EQ ((int) tone["numSamples"], 48000 + 72000);
    const int points = tone["shortTermPoints"].size();
    ASSERT_TRUE ((points == 2000 || points == 2001) && tone["samplePeakPoints"].size() == points) << points;
    EXPECT_EQ (tone["samplePeakPoints"][0], "-Infinity"); // 20 log10 of 0
    for (auto* steps : { "balanceSteps", "correlationSmoothed", "dynamicRangeSteps" })
        EXPECT_EQ (tone[steps].size(), (int) tone["stepCount"]) << steps;
    // The overall figures are the extremes of what the heat-map scan looked at: a column's
    // stretch ends before the last point, so every point but the last.
    auto highest = [&] (const char* key)
    {
        double h = -1.0e9;
        for (int i = 0; i < points - 1; ++i)
            h = tone[key][i].isString() ? h : std::max (h, (double) tone[key][i]);
        return h;
    };
    EXPECT_EQ ((double) tone["maxShortTermLUFS"], highest ("shortTermPoints"));
    EXPECT_EQ ((double) tone["maxSamplePeakDb"], highest ("samplePeakPoints"));

    const auto& silent = v[1];
    EXPECT_TRUE ((bool) silent["anyOutOfRange"] && (int) silent["numChannels"] == 1);
    EXPECT_TRUE (silent["integratedLUFS"] == "-Infinity" && silent["maxSamplePeakDb"] == "-Infinity");
    EXPECT_TRUE (silent["balanceSteps"].size() == 0 && silent["dynamicRangeSteps"].size() > 0);
    // Off stereo the stereo figures are there, as null.
    for (auto* key : { "minBalanceSmoothed", "maxBalanceSmoothed", "balanceStepsBeyondLimit", "minCorrelationSmoothed",
                       "maxCorrelationSmoothed", "correlationStepsBelowLimit" })
        EXPECT_TRUE (silent.getDynamicObject()->hasProperty (key) && silent[key].isVoid()) << key;
    EXPECT_FALSE ((bool) silent["readoutsOutOfRange"]["stereo"]["enabled"]);
    EXPECT_TRUE (silent["readoutText"].toString().contains ("Integrated LUFS: -inf LUFS"));
}

TEST (CheckerRun, OddSamplesAndNamesAreMeasuredWithWarningsInValidJson)
{
    testaudio::TempFolder folder;
    const auto clean = testaudio::sine (48000.0, 2, 3.0, 997.0, 0.1);
    auto poisoned = clean;
    for (int i = 0; i < 10; ++i)
        poisoned.channels[0][(size_t) (20000 + 7 * i)] = std::numeric_limits<float>::quiet_NaN();
    poisoned.channels[1][30000] = -std::numeric_limits<float>::infinity();
    testaudio::writeWav (folder.file ("clean.wav"), clean, 32);
    testaudio::writeWav (folder.file ("poisoned.wav"), poisoned, 32);
    testaudio::writeWav (folder.file ("six.wav"), testaudio::sine (48000.0, 6, 1.5, 997.0, 0.1));
    testaudio::writeWav (folder.file ("silence.wav"), testaudio::generate (44100.0, 2, 66150, [] (int, int) { return 0.0f; }));
    // A name in Latin-1, as an old archive may hold: not UTF-8.
    const std::string oddName = path (folder.path()) + "/caf\xe9 \xff.wav";
    ASSERT_EQ (::link (path (folder.file ("clean.wav")).c_str(), oddName.c_str()), 0);

    auto r = runChecker ({ "--json", path (folder.file ("clean.wav")), path (folder.file ("poisoned.wav")),
                           path (folder.file ("six.wav")), path (folder.file ("silence.wav")), oddName });
    EXPECT_LT (r.exitCode, 2) << r.err;
    const auto v = clitest::parseJson (r.out);
    ASSERT_EQ (v.size(), 5) << r.out;
    // The NaN and infinite samples read as silence: the loudness is that of the clean file.
    EXPECT_NEAR (clitest::number (v[1]["integratedLUFS"]), clitest::number (v[0]["integratedLUFS"]), 0.01);
    EXPECT_EQ (v[0]["warnings"].size(), 0);
    ASSERT_EQ (v[1]["warnings"].size(), 1);
    EXPECT_TRUE (v[1]["warnings"][0].toString().startsWith ("11 samples were not a finite number")) << r.out;
    EXPECT_TRUE (v[2]["warnings"][0].toString().contains ("only mono and stereo")) << r.out;
    EXPECT_EQ (v[2]["integratedLUFS"].toString(), "-Infinity");
    EXPECT_EQ (v[3]["maxSamplePeakDb"].toString(), "-Infinity");
    EXPECT_EQ (v[3]["loudnessRange"].toString(), "Infinity");
    // The odd name is found, measured like its twin, and shown with U+FFFD for each bad byte.
    EXPECT_EQ (v[4]["file"].toString(), juce::String::fromUTF8 ((path (folder.path()) + "/caf\xef\xbf\xbd \xef\xbf\xbd.wav").c_str()));
    EXPECT_EQ (v[4]["integratedLUFS"], v[0]["integratedLUFS"]);
    for (auto* warning : { "poisoned.wav: warning: 11 samples", "six.wav: warning: has 6 channels" })
        EXPECT_NE (r.err.find (warning), std::string::npos) << r.err;
}

TEST (CheckerRun, FilesItWritesAreNewWholeAndNamedSafely)
{
    testaudio::TempFolder folder, reports;
    const auto sine = path (clitest::writeSine (folder, "sine.wav", -14.0, 1.5));

    // Two runs in the same second: two reports, each whole, none appended to.
    for (int run = 0; run < 2; ++run)
        EXPECT_LT (runChecker ({ "--preset", "20", "--export", path (reports.path()), sine }).exitCode, 2);
    const auto written = reports.path().findChildFiles (juce::File::findFiles, true, "*");
    ASSERT_EQ (written.size(), 2) << "a preset name with / makes a file, not a folder";
    for (const auto& file : written)
    {
        juce::MemoryBlock bytes;
        file.loadFileAsData (bytes);
        const auto text = juce::String (juce::CharPointer_UTF16 ((const juce::CharPointer_UTF16::CharType*) bytes.getData() + 1),
                                        (size_t) bytes.getSize() / 2 - 1);
        EXPECT_EQ (file.getParentDirectory(), reports.path());
        EXPECT_TRUE (text.startsWith ("SINE") && ! text.containsChar (0xFEFF)) << file.getFullPathName();
    }

    // A session keeps the EQ preset asked for; none is written when no file was usable.
    const auto session = folder.file ("s.bws");
    EXPECT_LT (runChecker ({ "--eq-preset", "12", "--save-session", path (session), sine }).exitCode, 2);
    const auto contents = sessionfile::readFile (session);
    ASSERT_TRUE (contents.has_value());
    EXPECT_EQ (contents->front().defaults.currentEQPresetID, 12);
    auto none = runChecker ({ "--save-session", path (folder.file ("none.bws")), "absent.wav" });
    EXPECT_TRUE (none.exitCode == 2 && ! folder.file ("none.bws").exists()) << none.err;
    EXPECT_NE (none.err.find ("no file was usable"), std::string::npos) << none.err;

    // Refusals that can be known at the start come before any analysis.
    std::vector<std::string> many (51, sine);
    many.insert (many.begin(), { "--save-session", path (folder.file ("many.bws")) });
    const auto tooMany = runChecker (many);
    EXPECT_TRUE (tooMany.exitCode == 3 && tooMany.out.empty()) << tooMany.err;
    auto exportToFile = runChecker ({ "--export", sine, sine });
    EXPECT_TRUE (exportToFile.exitCode == 3 && exportToFile.err.find ("is a file") != std::string::npos) << exportToFile.err;
    auto settingsFolder = runChecker ({ "--settings", path (folder.path()), sine });
    EXPECT_TRUE (settingsFolder.exitCode == 3 && settingsFolder.err.find ("is a folder") != std::string::npos);

    // A full disk on stdout is told, and outweighs the readings.
    const auto command = "HOME=" + path (folder.path()) + " " ORVANE_CHECK_BINARY " " + sine + " >/dev/full 2>"
                         + path (folder.file ("err"));
    const int status = std::system (command.c_str());
    EXPECT_EQ (WEXITSTATUS (status), 2);
    EXPECT_TRUE (folder.file ("err").loadFileAsString().contains ("standard output: write error (No space left on device)"))
        << folder.file ("err").loadFileAsString();
}
