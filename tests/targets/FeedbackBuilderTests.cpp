#include "analysis/Track.h"
#include "targets/FeedbackBuilder.h"
#include "targets/TrackJudgement.h"

#include <gtest/gtest.h>

#include <memory>

using namespace feedback;

namespace
{
const std::vector<PresetGroup>& table()
{
    static const auto groups = presets::makeFactoryPresetGroups();
    return groups;
}

const ThresholdPreset& preset (int id)
{
    return *presets::findPresetForId (table(), id);
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

juce::String text (const juce::AttributedString& s)
{
    return s.getText();
}

// The text between a heading and the next heading (or the end).
juce::String section (const juce::String& all, const juce::String& heading, const juce::String& next = {})
{
    auto rest = all.fromFirstOccurrenceOf (heading, false, false);
    return next.isEmpty() ? rest : rest.upToFirstOccurrenceOf (next, false, false);
}

// The colour and height of the run that holds the first character of `what`.
const juce::AttributedString::Attribute* runAt (const juce::AttributedString& s, const juce::String& what)
{
    const int at = s.getText().indexOf (what);
    for (int i = 0; i < s.getNumAttributes(); ++i)
        if (s.getAttribute (i).range.contains (at))
            return &s.getAttribute (i);
    return nullptr;
}

const juce::String apostrophe = juce::String::charToString ((juce::juce_wchar) 0x2019);
const juce::String plusMinus = juce::String::charToString ((juce::juce_wchar) 0xb1);
} // namespace

TEST (FeedbackFormats, FixedGeneralAndSigned)
{
    EXPECT_EQ (fixed (-12.34f, 1), "-12.3");
    EXPECT_EQ (fixed (-3.0f, 2), "-3.00");
    EXPECT_EQ (general (-12.0f), "-12");
    EXPECT_EQ (general (0.5f), "0.5");
    EXPECT_EQ (general (-0.1f), "-0.1");
    EXPECT_EQ (general (-23.0f), "-23");
    EXPECT_EQ (general (1234567.0f), "1.23457e+06");
    EXPECT_EQ (signedFixed (1.2f, 1), "+1.2");
    EXPECT_EQ (signedFixed (-1.2f, 1), "-1.2");
    EXPECT_EQ (signedFixed (0.0f, 1), "0.0");
    EXPECT_EQ (signedFixed (-0.0f, 2), "0.00");
    // Rounds to zero but keeps the sign of the exact difference.
    EXPECT_EQ (signedFixed (0.04f, 1), "+0.0");
    EXPECT_EQ (signedFixed (-0.04f, 1), "-0.0");
}

TEST (FeedbackText, ReadoutListsTheSixFigures)
{
    auto r = cleanReadings();
    const auto fb = buildFeedback (r, 2, preset (4));
    ASSERT_TRUE (fb.built);
    EXPECT_EQ (text (fb.readoutText), "\nIntegrated LUFS: -10.8 LUFS\nShort Term LUFS: -7.5 LUFS\nTrue Peak: -3.00 dBTP\n"
                                      "Peak: -3.50 dB\nDynamic Range: 8.0 DR\nLoudness Range: 6.0 LU\n");
    const auto* run = runAt (fb.readoutText, "Peak:");
    ASSERT_NE (run, nullptr);
    EXPECT_EQ (run->colour, juce::Colour (0xffe6e7fa));
    EXPECT_FLOAT_EQ (run->font.getHeight(), 14.0f);
    EXPECT_EQ (fb.readoutText.getJustification(), juce::Justification (juce::Justification::left));

    EXPECT_EQ (fb.integrated, -10.8f);
    EXPECT_EQ (fb.maxShortTerm, -7.5f);
    EXPECT_EQ (fb.truePeak, -3.0f);
    EXPECT_EQ (fb.peakLevel, -3.5f);
    EXPECT_EQ (fb.dynamicRange, 8.0f);
    EXPECT_EQ (fb.loudnessRange, 6.0f);
}

TEST (FeedbackText, LimiterWordingInRange)
{
    auto r = cleanReadings();
    const auto fb = buildFeedback (r, 2, preset (4));
    const auto all = text (fb.feedbackText);

    EXPECT_TRUE (all.startsWith ("\nLOUDNESS\n"));
    // Over the target by 1.2: minus, no plus.
    EXPECT_EQ (section (all, "\nLOUDNESS\n", "\nOr\n"),
               "The LUFS Integrated target is -12 LUFS (" + plusMinus
                   + "5). Adjust your limiter input gain by -1.2dB to achieve an average loudness of -12 LUFS.");
    EXPECT_EQ (section (all, "\nOr\n", "\n\nPEAK\n"),
               "The LUFS short-term target is -9 LUFS (" + plusMinus
                   + "3). Adjust your limiter input gain by -1.5dB to achieve a maximum loudness of -9 LUFS.");
    EXPECT_EQ (section (all, "\n\nPEAK\n", "\n\nSTEREO\n"),
               "The decibels true peak target is -0.1dBTP. Adjust your limiter output gain by +2.90dB to achieve a "
               "maximum peak of -0.1dBTP.\n(Adjust your limiter input gain by -2.90dB to maintain the loudness "
               "target above)");
    EXPECT_EQ (section (all, "\n\nSTEREO\n", "\n\nDYNAMICS\n"),
               "This track is well balanced between the left and right speaker.\n\n"
               "No phase issues have been detected in your audio.");
    EXPECT_EQ (section (all, "\n\nDYNAMICS\n"),
               juce::String ("Your audio has a good short-term dynamic range maximum for this preset.\n\n")
                   + texts::loudnessRangeGood + "\n\n");

    EXPECT_FALSE (fb.anyOutOfRange);
    for (const char* heading : { "LOUDNESS", "PEAK", "STEREO", "DYNAMICS" })
    {
        const auto* run = runAt (fb.feedbackText, heading);
        ASSERT_NE (run, nullptr);
        EXPECT_EQ (run->colour, juce::Colour (0xff4c58c8)) << heading;
        EXPECT_FLOAT_EQ (run->font.getHeight(), 16.0f);
    }
    EXPECT_FLOAT_EQ (runAt (fb.feedbackText, "Or")->font.getHeight(), 14.0f);
}

TEST (FeedbackText, MixWordingForTheMixingGroup)
{
    auto r = cleanReadings();
    r.integratedLUFS = -18.5f;
    r.maxShortTermLUFS = -15.0f;
    r.maxTruePeakDb = -8.0f;
    const auto all = text (buildFeedback (r, 2, preset (0)).feedbackText);

    EXPECT_EQ (section (all, "\nLOUDNESS\n", "\nOr\n"),
               "The LUFS Integrated target is -16 LUFS (" + plusMinus + "5). You" + apostrophe
                   + "d need to adjust the loudness of your mix by +2.5dB to achieve an average loudness of -16 LUFS.");
    EXPECT_EQ (section (all, "\nOr\n", "\n\nPEAK\n"),
               "The LUFS short-term target is -15 LUFS (" + plusMinus + "5). You" + apostrophe
                   + "d need to adjust the loudness of your mix by 0.0dB to achieve a maximum loudness of -15 LUFS.");
    EXPECT_EQ (section (all, "\n\nPEAK\n", "\n\nSTEREO\n"),
               "The decibels true peak target is -6dBTP. Adjust your output gain by +2.00dB to achieve a maximum "
               "peak of -6dBTP.\n\n(Adjust the loudness of your mix by -2.00dB to maintain the loudness target "
               "above)");
}

TEST (FeedbackText, PerfectMatchesAndNearMisses)
{
    auto r = cleanReadings();
    r.integratedLUFS = -12.0f;
    r.maxTruePeakDb = -1.0f;  // ALL-ROUND's truePeak, not its peakTarget of -0.1
    auto all = text (buildFeedback (r, 2, preset (4)).feedbackText);
    EXPECT_EQ (section (all, "\nLOUDNESS\n", "\nOr\n"),
               "The LUFS Intergrated reading for your audio perfectly matches the target.");
    EXPECT_EQ (section (all, "\n\nPEAK\n", "\n\nSTEREO\n"),
               "The dBTP reading for your audio perfectly matches the target.");

    // Rounds to the target at one decimal: the advice, with the sign of the exact difference.
    r.integratedLUFS = -12.04f;
    r.maxTruePeakDb = -0.1f;
    all = text (buildFeedback (r, 2, preset (4)).feedbackText);
    EXPECT_TRUE (all.contains ("Adjust your limiter input gain by +0.0dB to achieve an average"));
    EXPECT_TRUE (all.contains ("Adjust your limiter output gain by 0.00dB to achieve a maximum peak of -0.1dBTP."));
    EXPECT_TRUE (all.contains ("Adjust your limiter input gain by 0.00dB to maintain"));
    r.integratedLUFS = -11.96f;
    all = text (buildFeedback (r, 2, preset (4)).feedbackText);
    EXPECT_TRUE (all.contains ("Adjust your limiter input gain by -0.0dB to achieve an average"));
}

TEST (FeedbackVerdicts, ButtonsHeadingsAndAnyOutOfRange)
{
    // Integrated exactly on the lower edge passes.
    auto r = cleanReadings();
    r.integratedLUFS = -17.0f;
    auto fb = buildFeedback (r, 2, preset (4));
    EXPECT_FALSE (fb.loudness.first);
    EXPECT_FALSE (fb.anyOutOfRange);

    r.integratedLUFS = -17.01f;
    r.shortTermOutOfRange = true;
    r.maxSamplePeakDb = 0.01f;  // sample peak over, true peak fine
    fb = buildFeedback (r, 2, preset (4));
    EXPECT_TRUE (fb.loudness.first && fb.loudness.second);
    EXPECT_FALSE (fb.peak.first);
    EXPECT_TRUE (fb.peak.second);
    EXPECT_TRUE (fb.anyOutOfRange);
    EXPECT_EQ (runAt (fb.feedbackText, "LOUDNESS")->colour, juce::Colour (0xfffa4d42));
    EXPECT_EQ (runAt (fb.feedbackText, "PEAK")->colour, juce::Colour (0xfffa4d42));
    EXPECT_EQ (runAt (fb.feedbackText, "STEREO")->colour, juce::Colour (0xff4c58c8));

    // A balance problem alone turns the feedback red on a stereo track; the whole-series
    // balance test finds it by itself.
    auto stereo = cleanReadings();
    stereo.balanceSmoothed.assign (40, 0.5f);
    fb = buildFeedback (stereo, 2, preset (4));
    EXPECT_TRUE (stereo.balanceOutOfRange);
    EXPECT_TRUE (fb.stereo.first);
    EXPECT_FALSE (fb.stereo.second);
    EXPECT_TRUE (fb.anyOutOfRange);
    EXPECT_TRUE (text (fb.feedbackText).contains (texts::balanceProblem));
    EXPECT_EQ (runAt (fb.feedbackText, "STEREO")->colour, juce::Colour (0xfffa4d42));

    auto dynamics = cleanReadings();
    dynamics.loudnessRangeOutOfRange = true;
    fb = buildFeedback (dynamics, 2, preset (4));
    EXPECT_FALSE (fb.dynamics.first);
    EXPECT_TRUE (fb.dynamics.second);
    EXPECT_TRUE (fb.anyOutOfRange);
    EXPECT_TRUE (text (fb.feedbackText).endsWith (juce::String (texts::loudnessRangeProblem) + "\n\n"));
}

TEST (FeedbackVerdicts, OneChannelHasNoStereoSection)
{
    auto r = cleanReadings();
    r.balanceOutOfRange = true;
    r.correlationOutOfRange = true;
    const auto fb = buildFeedback (r, 1, preset (4));
    EXPECT_FALSE (fb.stereoEnabled);
    EXPECT_FALSE (fb.stereo.first || fb.stereo.second);
    EXPECT_FALSE (fb.anyOutOfRange);
    const auto all = text (fb.feedbackText);
    EXPECT_FALSE (all.contains ("STEREO"));
    EXPECT_TRUE (all.contains ("target above)\n\nDYNAMICS\n"));

    auto stereo = cleanReadings();
    const auto fb2 = buildFeedback (stereo, 2, preset (19));
    EXPECT_TRUE (fb2.stereoEnabled);
    EXPECT_EQ (fb2.stereoBalanceLimit, 0.5f);
    EXPECT_EQ (fb2.stereoCorrelationLimit, -0.5f);
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
    EXPECT_TRUE (fb.dynamics.first);
    EXPECT_TRUE (text (fb.feedbackText).contains (texts::dynamicRangeProblem));
    EXPECT_EQ (fb.dynamicRange, 1.0f);
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
    r.maxShortTermLUFS = AllReadings::minusInfinity;
    r.maxSamplePeakDb = r.maxTruePeakDb = AllReadings::minusInfinity;
    r.minDynamicRange = AllReadings::plusInfinity;
    r.shortTermPoints.assign (20, -8.0f);
    r.shortTermPoints[3] = -4.0f;  // over -6
    r.samplePeakPoints.assign (20, -2.0f);
    r.truePeakPoints.assign (20, -1.5f);
    r.integratedPoints.assign (20, -10.8f);
    r.dynamicRangeSteps.assign (40, 9.0f);

    const auto j = judgeTrack (*track, preset (4), 20);
    EXPECT_TRUE (j.hasProblems);
    EXPECT_TRUE (j.shortTermOutOfRange);
    EXPECT_FALSE (j.dynamicRangeOutOfRange || j.balanceOutOfRange || j.correlationOutOfRange);
    EXPECT_TRUE (j.feedback.loudness.second);
    EXPECT_TRUE (j.feedback.anyOutOfRange);
    // The figures come from what the scan looked at.
    EXPECT_EQ (j.feedback.maxShortTerm, -4.0f);
    EXPECT_EQ (j.feedback.peakLevel, -2.0f);
    EXPECT_EQ (j.feedback.truePeak, -1.5f);
    EXPECT_EQ (j.feedback.dynamicRange, 9.0f);

    const auto readoutOnly = j.reportText (textexport::readoutsOnly);
    EXPECT_EQ (readoutOnly, "SONG\r\r\n\r\nIntegrated LUFS: -10.8 LUFS\r\nShort Term LUFS: -4.0 LUFS\r\n"
                            "True Peak: -1.50 dBTP\r\nPeak: -2.00 dB\r\nDynamic Range: 9.0 DR\r\n"
                            "Loudness Range: 6.0 LU\r\n\r\r\n");
    EXPECT_TRUE (j.reportText (textexport::readoutsAndFeedback)
                     .startsWith (readoutOnly.dropLastCharacters (3) + "\r\nLOUDNESS\r\n"));
}
