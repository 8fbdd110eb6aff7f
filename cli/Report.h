#pragma once

#include "analysis/Track.h"
#include "cli/JsonWriter.h"
#include "targets/EQPresets.h"
#include "targets/ThresholdPresets.h"
#include "targets/TrackJudgement.h"

#include <juce_core/juce_core.h>

#include <optional>
#include <ostream>
#include <string>

namespace orvane::cli
{
// The value in fixed notation with that many decimals. Infinities read "inf" and "-inf",
// NaN reads "nan", whatever its sign bit.
std::string fixed (double value, int decimals);

// What a track is reported against, and how.
struct ReportSettings
{
    ThresholdPreset preset;
    juce::String presetLabel;  // "GROUP: NAME"
    // With --eq-preset: each track's bands are levelled against this preset.
    std::optional<EQPreset> eqPreset;
    int reportType = 0;
    bool details = false;
    bool points = false;
};

// A smoothed stereo sequence summed up: its extremes, and how many of its values lie beyond
// the preset's limit by the very comparison the window test makes.
struct StereoSpread
{
    int values = 0;      // NaN entries are passed over
    float lowest = 0.0f;
    float highest = 0.0f;
    int beyondLimit = 0;
};

// |value| > limit, on balanceSmoothed.
StereoSpread balanceSpread (const std::vector<float>& balanceSmoothed, float limit);
// limit > value, on correlationSmoothed.
StereoSpread correlationSpread (const std::vector<float>& correlationSmoothed, float limit);

// The names of the readings whose readout is out of range, in the order of the readout
// list, then balance and correlation: "Integrated LUFS", "Short Term LUFS", "True Peak",
// "Peak", "Balance", "Correlation", "Dynamic Range", "Loudness Range".
juce::StringArray readingsOutOfRange (const feedback::Feedback& feedback);

// The per-file text: exactly what the text export writes for this track by reportType,
// then, with details, a block starting "-- Details --" with the file as given, the preset and
// verdicts, the format, and the stereo and band readings where the track has them.
void writeTextReport (std::ostream& out, const juce::String& file, const Track& track,
                      const TrackJudgement& judgement, const ReportSettings& settings);

// One object of the JSON output: the fields of Track and AllReadings by their names, plus
// "file", the preset and every verdict. With points, the per-point and per-step sequences.
// "warnings" lists what the file was measured despite (always there, often empty).
void writeJsonReport (JsonWriter& json, const juce::String& file, const Track& track,
                      const TrackJudgement& judgement, const ReportSettings& settings,
                      const juce::StringArray& warnings = {});

// The object of a file that could not be used: "file" and "error".
void writeJsonFailure (JsonWriter& json, const juce::String& file, const juce::String& reason);
} // namespace orvane::cli
