// Runs the built orvane-check against presets: exit statuses from the verdicts, the report text
// and JSON against the library's own judgement of the same file, and the files it writes.
#include "CliTestSupport.h"

#include "analysis/Model.h"
#include "support/ModelHarness.h"
#include "targets/EQPresets.h"
#include "targets/SessionFile.h"
#include "targets/TrackJudgement.h"

#include <gtest/gtest.h>

#include <regex>

using namespace clitest;

namespace
{
constexpr int spotify = 15;
constexpr int ebuR128 = 24;
constexpr int agcom = 20; // its name holds a "/"

// The library's judgement of a file, loaded in this process through a Model of its own.
TrackJudgement judgeInProcess (const juce::File& file, const ThresholdPreset& preset, int width)
{
    Model model;
    testaudio::MessageLog log { model };
    const juce::String waveform = Model::waveformCompleteMessage;
    model.requestLoad (file.getFullPathName());
    EXPECT_TRUE (log.waitFor (waveform));
    auto* track = model.getTrackById (testaudio::idOfLoadMessage (log.messages[(size_t) log.indexOf (waveform)], waveform));
    EXPECT_NE (track, nullptr);
    return track != nullptr ? judgeTrack (*track, preset, width) : TrackJudgement {};
}
} // namespace

TEST (CheckerJudge, TextAndJsonAreTheLibrarysJudgementOfTheSameFile)
{
    testaudio::TempFolder folder;
    // The right channel drops 20 dB for the second half: the balance leans left beyond 0.3 for
    // far more than 30 steps there, so the stereo section has something to say.
    const auto file = writeSine (folder, "leaning.wav", -13.3, 2.0, -3.0, 20.0);
    // A limiter preset at the default width with every report type, and a mix preset (other
    // wording) at another width with the feedback alone.
    const std::tuple<int, int, std::vector<int>> runs[] = { { spotify, 648, { 0, 1, 2 } }, { 2, 200, { 2 } } };
    for (const auto& [presetId, width, types] : runs)
    {
        SCOPED_TRACE (std::to_string (presetId) + " at " + std::to_string (width));
        const auto& preset = factoryPreset (presetId);
        const auto judgement = judgeInProcess (file, preset, width);
        EXPECT_TRUE (judgement.balanceOutOfRange);
        auto run = [&] (std::vector<std::string> arguments)
        {
            for (auto a : { std::string ("--preset"), std::to_string (presetId), std::string ("--width"),
                            std::to_string (width), path (file) })
                arguments.push_back (a);
            return runChecker (arguments);
        };
        for (int type : types)
        {
            auto r = run ({ "--report-type", std::to_string (type) });
            EXPECT_EQ (r.exitCode, judgement.feedback.anyOutOfRange ? 1 : 0) << r.err;
            EXPECT_EQ (r.out, judgement.reportText (type).toStdString()) << type;
        }

        const auto v = firstOf (run ({ "--points" }).out);
        const auto& j = judgement;
        const auto& f = judgement.feedback;
        const auto& o = v["readoutsOutOfRange"];
        const std::pair<juce::var, bool> verdicts[] = {
            { v["anyOutOfRange"], f.anyOutOfRange },               { v["hasProblems"], j.hasProblems },
            { v["balanceOutOfRange"], j.balanceOutOfRange },       { v["shortTermOutOfRange"], j.shortTermOutOfRange },
            { v["correlationOutOfRange"], j.correlationOutOfRange }, { v["dynamicRangeOutOfRange"], j.dynamicRangeOutOfRange },
            { v["loudnessRangeOutOfRange"], j.loudnessRangeOutOfRange }, { o["stereo"]["enabled"], f.stereoEnabled },
            { o["loudness"]["integrated"], f.loudness.first },     { o["loudness"]["shortTerm"], f.loudness.second },
            { o["peak"]["truePeak"], f.peak.first },               { o["peak"]["samplePeak"], f.peak.second },
            { o["stereo"]["balance"], f.stereo.first },            { o["stereo"]["correlation"], f.stereo.second },
            { o["dynamics"]["dynamicRange"], f.dynamics.first },   { o["dynamics"]["loudnessRange"], f.dynamics.second },
        };
        for (size_t i = 0; i < std::size (verdicts); ++i)
            EXPECT_TRUE (verdicts[i].first.isBool() && (bool) verdicts[i].first == verdicts[i].second) << "verdict " << i;
        // The figures are those the heat-map scan at this width settled, the texts the library's.
        EXPECT_EQ (number (v["maxShortTermLUFS"]), f.maxShortTerm);
        EXPECT_EQ (number (v["maxTruePeakDb"]), f.truePeak);
        EXPECT_EQ (number (v["maxSamplePeakDb"]), f.peakLevel);
        EXPECT_EQ (number (v["minDynamicRange"]), f.dynamicRange);
        EXPECT_EQ (v["readoutText"].toString(), judgement.exportEntry.readoutText);
        EXPECT_EQ (v["feedbackText"].toString(), judgement.exportEntry.feedbackText);

        // The step counts are those of the sequences the file carries.
        int beyond = 0, below = 0;
        for (int i = 0; i < v["balanceSmoothed"].size(); ++i)
            beyond += std::abs (number (v["balanceSmoothed"][i])) > preset.stereoBalance ? 1 : 0;
        for (int i = 0; i < v["correlationSmoothed"].size(); ++i)
            below += preset.stereoCorrelation > number (v["correlationSmoothed"][i]) ? 1 : 0;
        EXPECT_GT (beyond, 30);
        EXPECT_TRUE ((int) v["balanceStepsBeyondLimit"] == beyond && (int) v["correlationStepsBelowLimit"] == below);
    }
}

TEST (CheckerJudge, ExitStatusFollowsTheVerdictAndExportWritesTheReportFile)
{
    testaudio::TempFolder folder;
    // About -14 LUFS with a spike at -3 dBFS: inside SPOTIFY's -14 +-2, under its peak limits of
    // -2 + 1, and a dynamic range of about 11 DR against its floor of 5. A full-scale square
    // overshoots 0 dBTP, which no streaming preset allows.
    const auto streaming = path (writeSine (folder, "streaming.wav", -13.3, 3.0, -3.0));
    const auto square = path (writeSquare (folder, "square.wav"));
    const auto spotifyId = std::to_string (spotify);
    auto pass = runChecker ({ "--json", "--preset", spotifyId, streaming });
    EXPECT_TRUE (pass.exitCode == 0 && ! (bool) firstOf (pass.out)["anyOutOfRange"]) << pass.err;
    // Passing and failing files together give 1; an unusable one among them gives 2.
    EXPECT_EQ (runChecker ({ "--preset", spotifyId, streaming, square }).exitCode, 1);
    const auto reports = folder.file ("reports");
    ASSERT_TRUE (reports.createDirectory());
    auto r = runChecker ({ "--export", path (reports), "--preset", spotifyId, "--report-type", "2", streaming,
                           path (folder.file ("gone.wav")), square });
    EXPECT_TRUE (r.exitCode == 2 && r.errLines().size() == 2u) << r.err;
    const auto written = reports.findChildFiles (juce::File::findFiles, false);
    ASSERT_EQ (written.size(), 1);
    EXPECT_TRUE (std::regex_match (written[0].getFileName().toStdString(),
                                   std::regex ("orvane-readings_SPOTIFY_[0-9]{1,2}-[0-9]{1,2}-[0-9]{1,2}\\.txt")))
        << written[0].getFileName();
    EXPECT_NE (r.err.find ("wrote " + path (written[0])), std::string::npos) << r.err;

    // UTF-16 little-endian after its byte order mark, holding the usable files' texts as on stdout.
    juce::MemoryBlock bytes;
    ASSERT_TRUE (written[0].loadFileAsData (bytes));
    ASSERT_TRUE (bytes.getSize() >= 2 && bytes.getSize() % 2 == 0);
    EXPECT_TRUE ((uint8_t) bytes[0] == 0xff && (uint8_t) bytes[1] == 0xfe);
    const auto* b = static_cast<const uint8_t*> (bytes.getData());
    juce::String decoded;
    for (size_t i = 2; i + 1 < bytes.getSize(); i += 2)
        decoded += juce::String::charToString ((juce::juce_wchar) (b[i] | (b[i + 1] << 8)));
    EXPECT_EQ (decoded.toStdString(), r.out);
    EXPECT_TRUE (decoded.startsWith ("STREAMING\r\r\n\r\nLOUDNESS\r\n") && decoded.contains ("SQUARE\r\r\n")) << decoded;

    // A preset name with a "/" makes a file in the folder, its "/" as "-".
    auto named = runChecker ({ "--export", path (reports), "--preset", std::to_string (agcom), streaming });
    EXPECT_LT (named.exitCode, 2) << named.err;
    EXPECT_NE (named.err.find ("/orvane-readings_AGCOM 219-09-CSP_"), std::string::npos) << named.err;
    EXPECT_EQ (reports.getNumberOfChildFiles (juce::File::findFiles), 2);
}

TEST (CheckerJudge, SavedSessionHoldsTheUsableFilesAndThePreset)
{
    testaudio::TempFolder folder;
    const auto first = writeSine (folder, "first.wav", -13.3, 1.5, -3.0);
    const auto second = writeSine (folder, "second.wav", -20.0, 1.5, -6.0);
    // Relative names are printed as given, and become full paths in the session, which the
    // window can open from anywhere.
    auto r = runChecker ({ "--details", "--save-session", "album.bws", "--preset", std::to_string (ebuR128),
                           "second.wav", "gone.wav", "first.wav" }, folder.path());
    EXPECT_EQ (r.exitCode, 2);
    EXPECT_NE (r.out.find ("\nFile: second.wav\n"), std::string::npos) << r.out;
    EXPECT_EQ (r.errLines().at (0), "orvane-check: gone.wav: no such file");
    EXPECT_NE (r.err.find ("wrote " + path (folder.file ("album.bws"))), std::string::npos) << r.err;

    const auto contents = sessionfile::readFile (folder.file ("album.bws"));
    ASSERT_TRUE (contents.has_value() && contents->size() == 2); // the defaults and the list of tracks
    for (const auto& part : *contents)
        if (part.kind == SessionPart::Kind::defaults)
            EXPECT_EQ (part.defaults.currentPresetID, ebuR128);
        else
            EXPECT_EQ (part.filePaths, juce::StringArray (second.getFullPathName(), first.getFullPathName()));
    EXPECT_NE (contents->front().kind, contents->back().kind);
}

TEST (CheckerJudge, EqPresetDifferencesAreTheTracksBandsLevelledAgainstThePreset)
{
    testaudio::TempFolder folder;
    const auto file = path (writeSine (folder, "tone.wav", -18.0));
    const auto run = runChecker ({ "--json", "--eq-preset", "61", file });
    ASSERT_TRUE (run.exitCode == 0 || run.exitCode == 1) << run.err;
    const auto object = firstOf (run.out);
    EXPECT_TRUE ((int) object["eqPresetId"] == 61 && object["eqPresetName"] == "BALANCED MASTER");

    // The levelling worked out again from the reported bands and the preset table.
    const auto groups = eqpresets::makeFactoryEQPresetGroups();
    const auto* preset = eqpresets::findEQPresetForId (groups, 61);
    ASSERT_NE (preset, nullptr);
    const float offset = preset->integratedLUFS - number (object["integratedLUFS"]);
    const std::tuple<const char*, const char*, const EQPreset::Bands*> lists[] = {
        { "stereo", "multiFrequencyIntegratedLUFS", &preset->multiFrequencyIntegratedLUFS },
        { "mid", "midMultiFrequencyIntegratedLUFS", &preset->midMultiFrequencyIntegratedLUFS },
        { "side", "sideMultiFrequencyIntegratedLUFS", &preset->sideMultiFrequencyIntegratedLUFS },
    };
    for (const auto& [list, key, bands] : lists)
    {
        ASSERT_TRUE (object["eqDifferences"][list].size() == 14 && object[key].size() == 14) << list;
        for (int b = 0; b < 14; ++b)
            EXPECT_NEAR (number (object["eqDifferences"][list][b]),
                         number (object[key][b]) - (*bands)[(size_t) b] + offset, 1e-3) << list << " band " << b;
    }
    // The text report carries the same table after the export text.
    const auto text = runChecker ({ "--eq-preset", "61", file }).out;
    EXPECT_NE (text.find ("EQ Difference from BALANCED MASTER (id 61), dB:"), std::string::npos) << text;
}
