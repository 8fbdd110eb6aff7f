#pragma once

#include "analysis/AllReadings.h"
#include "targets/ThresholdPresets.h"

#include <juce_graphics/juce_graphics.h>

class Track;

// The readout list and the advice in words for one track, judged against a preset. Shared by
// the track strips and the headless checker: the strips show the texts and hand the verdicts
// to their readout buttons.
namespace feedback
{
constexpr juce::uint32 bodyColour = 0xffe6e7fa;
constexpr juce::uint32 headingColour = 0xff4c58c8;
constexpr juce::uint32 headingOutOfRangeColour = 0xfffa4d42;
constexpr float headingHeight = 16.0f;
constexpr float textHeight = 14.0f;

// fixed: n decimals. general: at most six significant digits, no trailing zeros (-12, 0.5).
// signedFixed: fixed with a "+" in front of positive values only.
juce::String fixed (float value, int decimals);
juce::String general (float value);
juce::String signedFixed (float value, int decimals);

// What one readout button's setOutOfRange receives.
struct ButtonVerdict
{
    bool first = false;
    bool second = false;
};

struct Feedback
{
    static constexpr int loudnessDecimals = 1;
    static constexpr int peakDecimals = 2;
    static constexpr int dynamicsDecimals = 1;

    // False when there was nothing measured yet: the caller keeps its old texts and repaints.
    bool built = false;

    juce::AttributedString readoutText;
    juce::AttributedString feedbackText;
    bool anyOutOfRange = false;

    ButtonVerdict loudness;  // integrated out, short-term out
    ButtonVerdict peak;      // true peak out, sample peak out
    ButtonVerdict stereo;    // balance out, correlation out (false on a one-channel track)
    ButtonVerdict dynamics;  // dynamic range out, loudness range out
    bool stereoEnabled = false;

    // The figures of the readout buttons.
    float integrated = 0.0f;
    float maxShortTerm = 0.0f;
    float truePeak = 0.0f;
    float peakLevel = 0.0f;
    float dynamicRange = 0.0f;
    float loudnessRange = 0.0f;
    // What the stereo button is judged against.
    float stereoBalanceLimit = 0.0f;
    float stereoCorrelationLimit = 0.0f;
};

// Judges the readings against the preset and writes both texts. On a two-channel track the
// balance and correlation tests run over their whole series first. `typeface` gives the font
// family; its heights are set here.
Feedback buildFeedback (AllReadings& readings, int numChannels, const ThresholdPreset& preset,
                        const juce::Font& typeface = juce::Font());

// At a preset change: once the analysis has finished, reruns the whole-track tests on
// currentReadings and then builds the feedback. Before that nothing is built.
Feedback refreshFeedback (Track& track, const ThresholdPreset& preset, const juce::Font& typeface = juce::Font());

// The texts themselves.
namespace texts
{
extern const char* const integratedPerfect;
extern const char* const integratedMix;
extern const char* const integratedLimiter;
extern const char* const shortTermMix;
extern const char* const shortTermLimiter;
extern const char* const peakPerfect;
extern const char* const peakMix;
extern const char* const peakLimiter;
extern const char* const balanceGood;
extern const char* const balanceProblem;
extern const char* const phaseGood;
extern const char* const phaseProblem;
extern const char* const dynamicRangeGood;
extern const char* const dynamicRangeProblem;
extern const char* const loudnessRangeGood;
extern const char* const loudnessRangeProblem;
} // namespace texts
} // namespace feedback
