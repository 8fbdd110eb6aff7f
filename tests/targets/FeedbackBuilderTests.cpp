#include "analysis/Track.h"
#include "targets/FeedbackBuilder.h"
#include "targets/TrackJudgement.h"

#include <gtest/gtest.h>

#include <memory>

using namespace feedback;

namespace
{
const ThresholdPreset& preset (int id)
{
    static const auto groups = presets::makeFactoryPresetGroups();
    return *presets::findPresetForId (groups, id);
}

// Readings that pass ALL-ROUND everywhere, with the figures of the readout set.
AllReadings cleanReadings()
{
    AllReadings r;
    r.integratedLUFS = -10.8f;
    r.maxShortTermLUFS = -7.5f;
    r.maxTruePeakDb = -3.0f;
    r.maxSamplePeakDb = -3.5f;
    r.minDynamicRange = 8.0f;
    r.loudnessRange = 6.0f;
    r.shortTermPoints.assign (10, -8.0f);
    r.balanceSmoothed.assign (40, 0.0f);
    r.correlationSmoothed.assign (40, 0.9f);
    return r;
}

// The text between a heading and the next heading (or the end).
juce::String section (const juce::String& all, const juce::String& heading, const juce::String& next = {})
{
    auto rest = all.fromFirstOccurrenceOf (heading, false, false);
    return next.isEmpty() ? rest : rest.upToFirstOccurrenceOf (next, false, false);
}

// The run that holds the first character of `what`.
const juce::AttributedString::Attribute& runAt (const juce::AttributedString& s, const juce::String& what)
{
    const int at = s.getText().indexOf (what);
    for (int i = 0; i < s.getNumAttributes(); ++i)
        if (s.getAttribute (i).range.contains (at))
            return s.getAttribute (i);
    ADD_FAILURE() << "no run at " << what;
    static const juce::AttributedString::Attribute none;
    return none;
}

const juce::String pm = juce::String::charToString ((juce::juce_wchar) 0xb1);
const juce::String apostrophe = juce::String::charToString ((juce::juce_wchar) 0x2019);
} // namespace

TEST (FeedbackFormats, FixedGeneralAndSigned)
{
    EXPECT_EQ (fixed (-12.34f, 1), "-12.3");
    EXPECT_EQ (fixed (-3.0f, 2), "-3.00");
    EXPECT_EQ (general (-12.0f), "-12");
    EXPECT_EQ (general (0.5f), "0.5");
    EXPECT_EQ (general (-0.1f), "-0.1");
    EXPECT_EQ (general (1234567.0f), "1.23457e+06");
    EXPECT_EQ (signedFixed (1.2f, 1), "+1.2");
    EXPECT_EQ (signedFixed (-1.2f, 1), "-1.2");
    EXPECT_EQ (signedFixed (-0.0f, 2), "0.00");
    // Rounds to zero but keeps the sign of the exact difference.
    EXPECT_EQ (signedFixed (0.04f, 1), "+0.0");
    EXPECT_EQ (signedFixed (-0.04f, 1), "-0.0");
}

TEST (FeedbackText, ReadoutListsTheSixFiguresInBodyStyle)
{
    auto r = cleanReadings();
    const auto fb = buildFeedback (r, 2, preset (4));
    ASSERT_TRUE (fb.built);
    EXPECT_EQ (fb.readoutText.getText(), "\nIntegrated LUFS: -10.8 LUFS\nShort Term LUFS: -7.5 LUFS\nTrue Peak: -3.00 dBTP\n"
                                         "Peak: -3.50 dB\nDynamic Range: 8.0 DR\nLoudness Range: 6.0 LU\n");
    EXPECT_EQ (runAt (fb.readoutText, "Peak:").colour, juce::Colour (0xffe6e7fa));
    EXPECT_FLOAT_EQ (runAt (fb.readoutText, "Peak:").font.getHeight(), 14.0f);
    EXPECT_EQ (fb.readoutText.getJustification(), juce::Justification (juce::Justification::left));
    EXPECT_TRUE (fb.integrated == -10.8f && fb.maxShortTerm == -7.5f && fb.truePeak == -3.0f);
    EXPECT_TRUE (fb.peakLevel == -3.5f && fb.dynamicRange == 8.0f && fb.loudnessRange == 6.0f);
}

// Every wording the feedback can take, section by section.
TEST (FeedbackText, WordingOfEachBranch)
{
    struct Case
    {
        const char* what;
        int presetId;
        float integrated, shortTerm, truePeak;
        const char *from, *to;
        juce::String expected;
    };
    const char* loud = "\nLOUDNESS\n";
    const char* peak = "\n\nPEAK\n";
    const Case cases[] = {
        { "limiter", 4, -10.8f, -7.5f, -3.0f, loud, "\nOr\n",
          "The LUFS Integrated target is -12 LUFS (" + pm + "5). Adjust your limiter input gain by -1.2dB to achieve an "
          "average loudness of -12 LUFS." },
        { "limiter", 4, -10.8f, -7.5f, -3.0f, "\nOr\n", peak,
          "The LUFS short-term target is -9 LUFS (" + pm + "3). Adjust your limiter input gain by -1.5dB to achieve a "
          "maximum loudness of -9 LUFS." },
        { "limiter", 4, -10.8f, -7.5f, -3.0f, peak, "\n\nSTEREO\n",
          "The decibels true peak target is -0.1dBTP. Adjust your limiter output gain by +2.90dB to achieve a maximum "
          "peak of -0.1dBTP.\n(Adjust your limiter input gain by -2.90dB to maintain the loudness target above)" },
        { "good", 4, -10.8f, -7.5f, -3.0f, "\n\nSTEREO\n", "\n\nDYNAMICS\n",
          "This track is well balanced between the left and right speaker.\n\nNo phase issues have been detected in your audio." },
        { "good", 4, -10.8f, -7.5f, -3.0f, "\n\nDYNAMICS\n", "",
          juce::String ("Your audio has a good short-term dynamic range maximum for this preset.\n\n")
              + texts::loudnessRangeGood + "\n\n" },
        { "mix", 0, -18.5f, -15.0f, -8.0f, loud, "\nOr\n",
          "The LUFS Integrated target is -16 LUFS (" + pm + "5). You" + apostrophe + "d need to adjust the loudness of "
          "your mix by +2.5dB to achieve an average loudness of -16 LUFS." },
        { "mix", 0, -18.5f, -15.0f, -8.0f, "\nOr\n", peak,
          "The LUFS short-term target is -15 LUFS (" + pm + "5). You" + apostrophe + "d need to adjust the loudness of "
          "your mix by 0.0dB to achieve a maximum loudness of -15 LUFS." },
        { "mix", 0, -18.5f, -15.0f, -8.0f, peak, "\n\nSTEREO\n",
          "The decibels true peak target is -6dBTP. Adjust your output gain by +2.00dB to achieve a maximum peak of "
          "-6dBTP.\n\n(Adjust the loudness of your mix by -2.00dB to maintain the loudness target above)" },
        // Perfect matches: the true peak compares with ALL-ROUND's truePeak, not its peakTarget.
        { "perfect", 4, -12.0f, -7.5f, -1.0f, loud, "\nOr\n",
          "The LUFS Intergrated reading for your audio perfectly matches the target." },
        { "perfect", 4, -12.0f, -7.5f, -1.0f, peak, "\n\nSTEREO\n",
          "The dBTP reading for your audio perfectly matches the target." },
        // Near misses round to the target: the advice, with the sign of the exact difference.
        { "near", 4, -12.04f, -7.5f, -0.1f, loud, "\nOr\n",
          "The LUFS Integrated target is -12 LUFS (" + pm + "5). Adjust your limiter input gain by +0.0dB to achieve an "
          "average loudness of -12 LUFS." },
        { "near", 4, -12.04f, -7.5f, -0.1f, peak, "\n\nSTEREO\n",
          "The decibels true peak target is -0.1dBTP. Adjust your limiter output gain by 0.00dB to achieve a maximum "
          "peak of -0.1dBTP.\n(Adjust your limiter input gain by 0.00dB to maintain the loudness target above)" },
        { "near below", 4, -11.96f, -7.5f, -3.0f, loud, "\nOr\n",
          "The LUFS Integrated target is -12 LUFS (" + pm + "5). Adjust your limiter input gain by -0.0dB to achieve an "
          "average loudness of -12 LUFS." },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE (juce::String (c.what) + " " + c.from);
        auto r = cleanReadings();
        r.integratedLUFS = c.integrated;
        r.maxShortTermLUFS = c.shortTerm;
        r.maxTruePeakDb = c.truePeak;
        const auto all = buildFeedback (r, 2, preset (c.presetId)).feedbackText.getText();
        EXPECT_TRUE (all.startsWith (loud));
        EXPECT_EQ (section (all, c.from, c.to), c.expected);
    }

    // The problem wordings.
    auto balance = cleanReadings();
    balance.balanceSmoothed.assign (40, 0.5f);
    auto phase = cleanReadings();
    phase.correlationSmoothed.assign (40, -0.9f);
    auto dynamics = cleanReadings();
    dynamics.dynamicRangeOutOfRange = dynamics.loudnessRangeOutOfRange = true;
    const auto text = [] (AllReadings& r) { return buildFeedback (r, 2, preset (4)).feedbackText.getText(); };
    EXPECT_EQ (section (text (balance), "\n\nSTEREO\n", "\n\nDYNAMICS\n"),
               juce::String (texts::balanceProblem) + "\n\n" + texts::phaseGood);
    EXPECT_EQ (section (text (phase), "\n\nSTEREO\n", "\n\nDYNAMICS\n"),
               juce::String (texts::balanceGood) + "\n\n" + texts::phaseProblem);
    EXPECT_EQ (section (text (dynamics), "\n\nDYNAMICS\n"),
               juce::String (texts::dynamicRangeProblem) + "\n\n" + texts::loudnessRangeProblem + "\n\n");
}

TEST (FeedbackVerdicts, ButtonsHeadingsAndAnyOutOfRange)
{
    auto r = cleanReadings();
    r.integratedLUFS = -17.0f;  // exactly on the lower edge passes
    auto fb = buildFeedback (r, 2, preset (4));
    EXPECT_FALSE (fb.loudness.first || fb.anyOutOfRange);
    for (const char* heading : { "LOUDNESS", "PEAK", "STEREO", "DYNAMICS" })
    {
        EXPECT_EQ (runAt (fb.feedbackText, heading).colour, juce::Colour (0xff4c58c8)) << heading;
        EXPECT_FLOAT_EQ (runAt (fb.feedbackText, heading).font.getHeight(), 16.0f);
    }
    EXPECT_FLOAT_EQ (runAt (fb.feedbackText, "Or").font.getHeight(), 14.0f);

    r.integratedLUFS = -17.01f;
    r.shortTermOutOfRange = true;
    r.maxSamplePeakDb = 0.01f;  // sample peak over, true peak fine
    fb = buildFeedback (r, 2, preset (4));
    EXPECT_TRUE (fb.loudness.first && fb.loudness.second && fb.peak.second && fb.anyOutOfRange);
    EXPECT_FALSE (fb.peak.first);
    EXPECT_EQ (runAt (fb.feedbackText, "LOUDNESS").colour, juce::Colour (0xfffa4d42));
    EXPECT_EQ (runAt (fb.feedbackText, "PEAK").colour, juce::Colour (0xfffa4d42));
    EXPECT_EQ (runAt (fb.feedbackText, "STEREO").colour, juce::Colour (0xff4c58c8));

    // A balance problem alone, found by the whole-series test itself, turns a stereo track red.
    auto stereo = cleanReadings();
    stereo.balanceSmoothed.assign (40, 0.5f);
    fb = buildFeedback (stereo, 2, preset (4));
    EXPECT_TRUE (stereo.balanceOutOfRange && fb.stereo.first && fb.anyOutOfRange);
    EXPECT_FALSE (fb.stereo.second);
    EXPECT_EQ (runAt (fb.feedbackText, "STEREO").colour, juce::Colour (0xfffa4d42));

    auto loudnessRange = cleanReadings();
    loudnessRange.loudnessRangeOutOfRange = true;
    fb = buildFeedback (loudnessRange, 2, preset (4));
    EXPECT_TRUE (! fb.dynamics.first && fb.dynamics.second && fb.anyOutOfRange);

    // One channel: no stereo section, its flags ignored.
    auto mono = cleanReadings();
    mono.balanceOutOfRange = mono.correlationOutOfRange = true;
    fb = buildFeedback (mono, 1, preset (4));
    EXPECT_FALSE (fb.stereoEnabled || fb.stereo.first || fb.stereo.second || fb.anyOutOfRange);
    EXPECT_FALSE (fb.feedbackText.getText().contains ("STEREO"));
    EXPECT_TRUE (fb.feedbackText.getText().contains ("target above)\n\nDYNAMICS\n"));
    auto broadcast = cleanReadings();
    fb = buildFeedback (broadcast, 2, preset (19));
    EXPECT_TRUE (fb.stereoEnabled && fb.stereoBalanceLimit == 0.5f && fb.stereoCorrelationLimit == -0.5f);
}

TEST (FeedbackVerdicts, NothingIsBuiltBeforeThereIsAReading)
{
    AllReadings empty;
    EXPECT_FALSE (buildFeedback (empty, 2, preset (4)).built);

    auto track = std::make_unique<Track> (nullptr);
    track->numChannels = 2;
    track->wholeFileReadings = cleanReadings();
    track->wholeFileReadings.dynamicRangeSteps.assign (40, 1.0f);
    EXPECT_FALSE (refreshFeedback (*track, preset (4)).built);
    EXPECT_FALSE (track->wholeFileReadings.dynamicRangeOutOfRange);

    // Once finished, the whole-track tests run before the text is written.
    track->analysisComplete = true;
    const auto fb = refreshFeedback (*track, preset (4));
    ASSERT_TRUE (fb.built);
    EXPECT_TRUE (fb.dynamics.first && fb.dynamicRange == 1.0f);
}

TEST (TrackJudgementForChecker, ScansTestsAndWritesTheReport)
{
    auto track = std::make_unique<Track> (nullptr);
    track->numChannels = 2;
    track->analysisComplete = true;
    track->fileName = "SONG";
    track->stepCount = 40;
    track->waveformPoints.assign (20, 0.5f);
    auto& r = track->wholeFileReadings;
    r = cleanReadings();
    r.maxShortTermLUFS = r.maxSamplePeakDb = r.maxTruePeakDb = AllReadings::minusInfinity;
    r.minDynamicRange = AllReadings::plusInfinity;
    r.shortTermPoints.assign (20, -8.0f);
    r.shortTermPoints[3] = -4.0f;  // over -6
    r.samplePeakPoints.assign (20, -2.0f);
    r.truePeakPoints.assign (20, -1.5f);
    r.integratedPoints.assign (20, -10.8f);
    r.dynamicRangeSteps.assign (40, 9.0f);

    const auto j = judgeTrack (*track, preset (4), 20);
    EXPECT_TRUE (j.hasProblems && j.shortTermOutOfRange && j.feedback.loudness.second && j.feedback.anyOutOfRange);
    EXPECT_FALSE (j.dynamicRangeOutOfRange || j.balanceOutOfRange || j.correlationOutOfRange);
    // The figures come from what the scan looked at.
    const auto readoutOnly = j.reportText (textexport::readoutsOnly);
    EXPECT_EQ (readoutOnly, "SONG\r\r\n\r\nIntegrated LUFS: -10.8 LUFS\r\nShort Term LUFS: -4.0 LUFS\r\n"
                            "True Peak: -1.50 dBTP\r\nPeak: -2.00 dB\r\nDynamic Range: 9.0 DR\r\n"
                            "Loudness Range: 6.0 LU\r\n\r\r\n");
    EXPECT_TRUE (j.reportText (textexport::readoutsAndFeedback)
                     .startsWith (readoutOnly.dropLastCharacters (3) + "\r\nLOUDNESS\r\n"));
}
