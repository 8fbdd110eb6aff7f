#include "targets/FeedbackBuilder.h"

#include "analysis/Track.h"
#include "targets/ProblemScan.h"

#include <cstdio>

namespace feedback
{
namespace texts
{
// UTF-8: "\xc2\xb1" is the plus-minus sign, "\xe2\x80\x99" the typographic apostrophe.
const char* const integratedPerfect = "The LUFS Intergrated reading for your audio perfectly matches the target.";
const char* const integratedMix =
    "The LUFS Integrated target is [TARGET] LUFS (\xc2\xb1" "[PLUS_MINUS]). You\xe2\x80\x99" "d need to adjust the "
    "loudness of your mix by [ADJUST1]dB to achieve an average loudness of [TARGET] LUFS.";
const char* const integratedLimiter =
    "The LUFS Integrated target is [TARGET] LUFS (\xc2\xb1" "[PLUS_MINUS]). Adjust your limiter input gain by "
    "[ADJUST1]dB to achieve an average loudness of [TARGET] LUFS.";
const char* const shortTermMix =
    "The LUFS short-term target is [TARGET] LUFS (\xc2\xb1" "[PLUS_MINUS]). You\xe2\x80\x99" "d need to adjust the "
    "loudness of your mix by [ADJUST1]dB to achieve a maximum loudness of [TARGET] LUFS.";
const char* const shortTermLimiter =
    "The LUFS short-term target is [TARGET] LUFS (\xc2\xb1" "[PLUS_MINUS]). Adjust your limiter input gain by "
    "[ADJUST1]dB to achieve a maximum loudness of [TARGET] LUFS.";
const char* const peakPerfect = "The dBTP reading for your audio perfectly matches the target.";
const char* const peakMix =
    "The decibels true peak target is [TARGET]dBTP. Adjust your output gain by [ADJUST1]dB to achieve a maximum "
    "peak of [TARGET]dBTP.\n\n(Adjust the loudness of your mix by [ADJUST2]dB to maintain the loudness target "
    "above)";
const char* const peakLimiter =
    "The decibels true peak target is [TARGET]dBTP. Adjust your limiter output gain by [ADJUST1]dB to achieve a "
    "maximum peak of [TARGET]dBTP.\n(Adjust your limiter input gain by [ADJUST2]dB to maintain the loudness "
    "target above)";
const char* const balanceGood = "This track is well balanced between the left and right speaker.";
const char* const balanceProblem =
    "Your audio has moments where it strongly favours the left or the right channel, this could give an "
    "unbalanced sound. If no red lines appear in the waveform then this means the errors are extremely brief and "
    "can possibly be ignored. Select the heat map to orvane the issues on the waveform, then listen to them by "
    "clicking on the waveform. If you feel they need to be corrected, resolve this in your DAW.";
const char* const phaseGood = "No phase issues have been detected in your audio.";
const char* const phaseProblem =
    "Phase issues have been detected in your audio. If no red lines appear in the waveform then this means the "
    "errors are extrememly brief and can possibly be ignored. This can make the mix sound weak and thin. A good "
    "way to reduce phase issues whilst recording is to use the 3:1 rule. Place the second mic three times the "
    "distance from the source than the first mic is from the source. If you're at the mixing stage and can't "
    "re-record you can try a phase alignment tool. Alternatively, you can try just nudging the audio a few "
    "milliseconds forward or back. Even a small adjustment might have incredibly positive effects on the phase "
    "of your mix. Do this whilst listening in mono through one speaker and listen for the sweet spot where the "
    "audio sounds best.";
const char* const dynamicRangeGood = "Your audio has a good short-term dynamic range maximum for this preset.";
const char* const dynamicRangeProblem =
    "Parts of your audio are too compressed for this preset. If no red lines appear in the waveform then this "
    "means the errors are extrememly brief and can possibly be ignored. You could reduce the amount of "
    "compression or limiting to increase the punchiness of your track. You could also increase the gain of the "
    "more transient elements of your mix, such as the drums. ";
const char* const loudnessRangeGood =
    "Your audio has a good dynamic difference between the verse and chorus for this preset. We would recommend "
    "aiming for a Loudness Range above 5 LU if you wanted to create a track with a chorus/drop that has a "
    "dynamic impact. A track with a consistent energy throughout would end up with a lower loudness range.\n\n";
const char* const loudnessRangeProblem =
    "Your audio doesn't have a broad dynamic difference between the sections in your audio (verse, chorus, etc). "
    "Loudness range is subjective and totally depends on the material you're working on. Understanding what "
    "loudness range means can help you achieve your musical goals. For example, if you felt your chorus didn't "
    "give the track enough of a lift, and your loudness range was a low reading, that might encourage you to add "
    "some automation to create a more dramatic dynamic difference. On the other hand, if you were looking to "
    "create a track with a relentless drive, or any other constant vibe, but your loudness range was over 5 LU, "
    "you might have missed the mark.\n\n";
} // namespace texts

namespace
{
juce::String utf8 (const char* text)
{
    return juce::String::fromUTF8 (text);
}

// Fills in a text's placeholders, every occurrence of each.
juce::String fillIn (const char* text, const juce::String& target, const juce::String& plusMinus,
                     const juce::String& adjust1, const juce::String& adjust2 = {})
{
    return utf8 (text)
        .replace ("[TARGET]", target)
        .replace ("[PLUS_MINUS]", plusMinus)
        .replace ("[ADJUST1]", adjust1)
        .replace ("[ADJUST2]", adjust2);
}

struct Writer
{
    juce::Font heading;
    juce::Font body;

    void headingTo (juce::AttributedString& s, const char* text, bool outOfRange) const
    {
        s.append (text, heading, juce::Colour (outOfRange ? headingOutOfRangeColour : headingColour));
    }

    void textTo (juce::AttributedString& s, const juce::String& text) const
    {
        s.append (text, body, juce::Colour (bodyColour));
    }
};
} // namespace

juce::String fixed (float value, int decimals)
{
    // Zero carries no sign, also when it comes as the negative of zero.
    if (value == 0.0f)
        value = 0.0f;

    char buffer[64];
    std::snprintf (buffer, sizeof (buffer), "%.*f", juce::jlimit (0, 10, decimals), (double) value);
    return juce::String (buffer);
}

juce::String general (float value)
{
    char buffer[64];
    std::snprintf (buffer, sizeof (buffer), "%g", (double) value);
    return juce::String (buffer);
}

juce::String signedFixed (float value, int decimals)
{
    return (value > 0.0f ? "+" : "") + fixed (value, decimals);
}

Feedback buildFeedback (AllReadings& readings, int numChannels, const ThresholdPreset& preset,
                        const juce::Font& typeface)
{
    Feedback result;

    if (readings.shortTermPoints.empty())
        return result;

    const bool isStereo = numChannels == 2;

    if (isStereo)
    {
        problemscan::checkBalance (numChannels, 0, (int) readings.balanceSmoothed.size() - 1,
                                   preset.stereoBalance, readings);
        problemscan::checkCorrelation (numChannels, 0, (int) readings.correlationSmoothed.size() - 1,
                                       preset.stereoCorrelation, readings);
    }

    result.built = true;
    result.integrated = readings.integratedLUFS;
    result.maxShortTerm = readings.maxShortTermLUFS;
    result.truePeak = readings.maxTruePeakDb;
    result.peakLevel = readings.maxSamplePeakDb;
    result.dynamicRange = readings.minDynamicRange;
    result.loudnessRange = readings.loudnessRange;
    result.stereoEnabled = isStereo;
    if (isStereo)
    {
        result.stereoBalanceLimit = preset.stereoBalance;
        result.stereoCorrelationLimit = preset.stereoCorrelation;
    }

    result.readoutText.setJustification (juce::Justification::left);
    result.feedbackText.setJustification (juce::Justification::left);

    const Writer w { typeface.withHeight (headingHeight), typeface.withHeight (textHeight) };
    const bool mixWording = preset.groupId == presets::mixingGroup;
    auto& readout = result.readoutText;
    auto& text = result.feedbackText;

    // Loudness.
    const float integrated = readings.integratedLUFS;
    const bool integratedOut = integrated < preset.integratedLUFS - preset.integratedLUFSRange
                               || integrated > preset.integratedLUFS + preset.integratedLUFSRange;
    const bool perfect = integrated == preset.integratedLUFS;
    result.loudness = { integratedOut, readings.shortTermOutOfRange };

    w.textTo (readout, "\nIntegrated LUFS: " + fixed (integrated, 1) + " LUFS\n");
    w.textTo (readout, "Short Term LUFS: " + fixed (readings.maxShortTermLUFS, 1) + " LUFS\n");
    w.textTo (readout, "True Peak: " + fixed (readings.maxTruePeakDb, 2) + " dBTP\n");
    w.textTo (readout, "Peak: " + fixed (readings.maxSamplePeakDb, 2) + " dB\n");
    w.textTo (readout, "Dynamic Range: " + fixed (readings.minDynamicRange, 1) + " DR\n");
    w.textTo (readout, "Loudness Range: " + fixed (readings.loudnessRange, 1) + " LU\n");

    const bool loudnessOut = integratedOut || readings.shortTermOutOfRange;
    w.headingTo (text, "\nLOUDNESS\n", loudnessOut);
    {
        const char* words = perfect ? texts::integratedPerfect
                                    : (mixWording ? texts::integratedMix : texts::integratedLimiter);
        w.textTo (text, fillIn (words, general (preset.integratedLUFS), general (preset.integratedLUFSRange),
                                signedFixed (preset.integratedLUFS - integrated, 1)));
    }
    w.textTo (text, "\nOr\n");
    w.textTo (text, fillIn (mixWording ? texts::shortTermMix : texts::shortTermLimiter, general (preset.shortTermLUFS),
                            general (preset.shortTermLUFSRange),
                            signedFixed (preset.shortTermLUFS - readings.maxShortTermLUFS, 1)));
    result.anyOutOfRange = result.anyOutOfRange || loudnessOut;

    // Peak. The perfect test is on truePeak; the advice figures all come from peakTarget.
    const bool peakOut = readings.maxSamplePeakDb > preset.truePeakRange + preset.peak;
    const bool truePeakOut = readings.maxTruePeakDb > preset.truePeak + preset.truePeakRange;
    result.peak = { truePeakOut, peakOut };
    w.headingTo (text, "\n\nPEAK\n", peakOut || truePeakOut);
    {
        const float c = preset.peakTarget - readings.maxTruePeakDb;
        const char* words = readings.maxTruePeakDb == preset.truePeak
                                ? texts::peakPerfect
                                : (mixWording ? texts::peakMix : texts::peakLimiter);
        w.textTo (text, fillIn (words, general (preset.peakTarget), {}, signedFixed (c, 2), signedFixed (-c, 2)));
    }
    result.anyOutOfRange = result.anyOutOfRange || peakOut || truePeakOut;

    // Stereo, on two-channel tracks only.
    if (isStereo)
    {
        result.stereo = { readings.balanceOutOfRange, readings.correlationOutOfRange };
        w.headingTo (text, "\n\nSTEREO\n", readings.balanceOutOfRange || readings.correlationOutOfRange);
        w.textTo (text, utf8 (readings.balanceOutOfRange ? texts::balanceProblem : texts::balanceGood));
        w.textTo (text, "\n\n");
        w.textTo (text, utf8 (readings.correlationOutOfRange ? texts::phaseProblem : texts::phaseGood));
        result.anyOutOfRange = result.anyOutOfRange || readings.balanceOutOfRange || readings.correlationOutOfRange;
    }

    // Dynamics.
    result.dynamics = { readings.dynamicRangeOutOfRange, readings.loudnessRangeOutOfRange };
    w.headingTo (text, "\n\nDYNAMICS\n", readings.dynamicRangeOutOfRange || readings.loudnessRangeOutOfRange);
    w.textTo (text, utf8 (readings.dynamicRangeOutOfRange ? texts::dynamicRangeProblem : texts::dynamicRangeGood));
    w.textTo (text, "\n\n");
    w.textTo (text, utf8 (readings.loudnessRangeOutOfRange ? texts::loudnessRangeProblem : texts::loudnessRangeGood));
    w.textTo (text, "\n\n");
    result.anyOutOfRange =
        result.anyOutOfRange || readings.dynamicRangeOutOfRange || readings.loudnessRangeOutOfRange;

    return result;
}

Feedback refreshFeedback (Track& track, const ThresholdPreset& preset, const juce::Font& typeface)
{
    if (! track.analysisComplete)
        return {};

    problemscan::runWholeTrackTests (track, preset);
    return buildFeedback (*track.currentReadings, track.numChannels, preset, typeface);
}
} // namespace feedback
