#include "CliTestSupport.h"
#include "analysis/Track.h"
#include "cli/Report.h"
#include "targets/ProblemScan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

using namespace orvane::cli;

namespace
{
constexpr float inf = std::numeric_limits<float>::infinity();
const float notANumber = std::numeric_limits<float>::quiet_NaN();
} // namespace

TEST (CheckerReport, FixedNotationRoundsAndNamesInfinities)
{
    const std::tuple<double, int, const char*> cases[] = {
        { -14.25, 1, "-14.2" }, // an exact binary half rounds to even
        { -14.26, 1, "-14.3" }, { 0.305, 2, "0.30" }, // 0.305 is a little under in binary
        { -0.04, 1, "-0.0" },   { 7.0, 2, "7.00" },   { -inf, 1, "-inf" },
        { inf, 2, "inf" },      { notANumber, 1, "nan" }, { -notANumber, 1, "nan" },
    };
    for (const auto& [value, decimals, text] : cases)
        EXPECT_EQ (fixed (value, decimals), text) << value;
}

TEST (CheckerReport, DetailsFollowTheLibrarysReportText)
{
    for (int channels : { 2, 1 })
    {
        // A finished-looking track built by hand, with readings that need every rounding rule.
        Track t (nullptr);
        t.fileName = "SONG";
        t.sampleRate = channels == 2 ? 44100.0 : 48000.0;
        t.numChannels = channels;
        t.numSamples = channels == 2 ? 441000 : 72000;
        t.analysisComplete = true;
        auto& r = t.wholeFileReadings;
        r.shortTermPoints = { -20.0f, -9.96f, -inf, -12.0f };
        r.samplePeakPoints = { -3.0f, -0.125f, -1.0f };
        r.truePeakPoints = { -2.9f, 0.306f, notANumber };
        t.waveformPoints = { 0.1f, 0.8f, notANumber };
        r.integratedLUFS = -14.25f;
        r.plainIntegrated = -inf; // silence in the unweighted measure
        r.loudnessRange = 5.66f;
        r.dynamicRangeSteps = { 120.0f, 8.04f, 11.0f };
        if (channels == 2)
        {
            r.balanceSmoothed = { -0.051f, 0.0f, 0.034f, 0.31f, -0.5f, 0.3f, notANumber };
            r.correlationSmoothed = { 1.0f, 0.42f, 0.9f, -0.2f, -0.21f };
            t.multiFrequencyIntegratedLUFS.assign (14, -30.0f);
            t.midMultiFrequencyIntegratedLUFS.assign (14, -31.04f);
            t.sideMultiFrequencyIntegratedLUFS.assign (14, -inf);
        }
        ReportSettings settings;
        settings.preset = clitest::factoryPreset (4);
        settings.presetLabel = "GROUP: " + settings.preset.name;
        settings.details = true;
        const auto judgement = judgeTrack (t, settings.preset, 3);
        std::ostringstream s;
        writeTextReport (s, "music/song.wav", t, judgement, settings);
        const auto report = judgement.reportText (0).toStdString();
        ASSERT_EQ (s.str().rfind (report + "-- Details --\n", 0), 0u) << s.str();
        const auto details = s.str().substr (report.size());
        EXPECT_EQ (details.substr (details.size() - 2), "\n\n"); // an empty line closes the block
        if (channels == 1)
        {
            EXPECT_NE (details.find ("\nChannels: 1\nLength: 1.50 s (72000 samples)\n"), std::string::npos) << details;
            for (auto* word : { "Balance:", "Correlation:", "Band", "STEREO" })
                EXPECT_EQ (s.str().find (word), std::string::npos) << word;
            continue;
        }
        // Under ALL-ROUND only the true peak of 0.306 is out (over -1 + 1 dBTP); no series is
        // long enough for a window test.
        for (std::string line : { "File: music/song.wav", "Preset: GROUP: ALL-ROUND (id 4)", "Out of range: True Peak",
                                  "Heat Map: problems marked", "Sample Rate: 44100 Hz", "Channels: 2",
                                  "Length: 10.00 s (441000 samples)", "Unweighted Integrated: -inf LUFS",
                                  // 0.31 and -0.5 lie beyond 0.3; 0.3 itself doesn't, nor does NaN.
                                  "Balance: -0.50 to 0.31, 2 of 7 steps beyond \xc2\xb1" "0.3",
                                  // Only -0.21 lies below -0.2.
                                  "Correlation: -0.21 to 1.00, 1 of 5 steps below -0.2", "Band Loudness (LUFS):",
                                  "      20   -30.0   -31.0    -inf", "   18000   -30.0   -31.0    -inf" })
            EXPECT_NE (details.find ("\n" + line + "\n"), std::string::npos) << "missing: " << line << "\n" << details;
    }
}

TEST (CheckerReport, StereoCountsMakeTheComparisonsOfTheWindowTests)
{
    // At the limit isn't beyond it, one float step further is; the window test flags the same
    // values once 31 of them stand in a row.
    const float limit = 0.3f, floor = -0.2f;
    int flaggedSeries = 0;
    for (float v : { limit, std::nextafter (limit, 1.0f), -limit, -std::nextafter (limit, 1.0f) })
    {
        AllReadings r;
        r.balanceSmoothed.assign (31, v);
        const bool flagged = problemscan::checkBalance (2, 0, 30, limit, r);
        flaggedSeries += flagged ? 1 : 0;
        const auto spread = balanceSpread (r.balanceSmoothed, limit);
        EXPECT_EQ (spread.beyondLimit, flagged ? 31 : 0) << v;
        EXPECT_TRUE (spread.values == 31 && spread.lowest == v && spread.highest == v);
    }
    for (float v : { floor, std::nextafter (floor, -1.0f), std::nextafter (floor, 1.0f), -1.0f })
    {
        AllReadings r;
        r.correlationSmoothed.assign (31, v);
        const bool flagged = problemscan::checkCorrelation (2, 0, 30, floor, r);
        flaggedSeries += flagged ? 1 : 0;
        EXPECT_EQ (correlationSpread (r.correlationSmoothed, floor).beyondLimit, flagged ? 31 : 0) << v;
    }
    EXPECT_EQ (flaggedSeries, 4); // two beyond +-0.3 and two below -0.2
    const auto mixed = correlationSpread ({ notANumber, 0.5f, -0.9f, notANumber, 0.1f }, floor);
    EXPECT_TRUE (mixed.values == 3 && mixed.lowest == -0.9f && mixed.highest == 0.5f && mixed.beyondLimit == 1);
    EXPECT_EQ (balanceSpread ({}, limit).values, 0);
}

TEST (CheckerReport, OutOfRangeNamesFollowTheReadoutButtons)
{
    using V = feedback::ButtonVerdict;
    auto names = [] (V loudness, V peak, V stereo, V dynamics)
    {
        feedback::Feedback f;
        f.loudness = loudness, f.peak = peak, f.stereo = stereo, f.dynamics = dynamics;
        return readingsOutOfRange (f).joinIntoString ("|");
    };
    EXPECT_EQ (names ({}, {}, {}, {}), "");
    EXPECT_EQ (names ({ false, true }, { true, false }, { false, true }, { true, true }),
               "Short Term LUFS|True Peak|Correlation|Dynamic Range|Loudness Range");
    EXPECT_EQ (names ({ true, false }, { false, true }, { true, false }, {}), "Integrated LUFS|Peak|Balance");
}
