#include "cli/Report.h"

#include "measure/MultiFrequencyAnalysis.h"
#include "targets/FeedbackBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace orvane::cli
{
std::string fixed (double value, int decimals)
{
    if (std::isnan (value))
        return "nan";
    if (std::isinf (value))
        return value > 0 ? "inf" : "-inf";
    char buffer[64];
    std::snprintf (buffer, sizeof (buffer), "%.*f", decimals, value);
    return buffer;
}

namespace
{
std::string rateText (double sampleRate)
{
    if (sampleRate == std::floor (sampleRate) && std::abs (sampleRate) < 1.0e12)
        return std::to_string ((long long) sampleRate);
    return fixed (sampleRate, 2);
}

// Smallest and largest finite-or-infinite value and how many there are, NaN passed over.
void span (const std::vector<float>& values, float& lowest, float& highest, int& count)
{
    count = 0;
    for (float v : values)
    {
        if (std::isnan (v))
            continue;
        lowest = count > 0 ? std::min (lowest, v) : v;
        highest = count > 0 ? std::max (highest, v) : v;
        ++count;
    }
}

void writeBands (std::ostream& out, const Track& track)
{
    const auto& stereo = track.multiFrequencyIntegratedLUFS;
    const auto& mid = track.midMultiFrequencyIntegratedLUFS;
    const auto& side = track.sideMultiFrequencyIntegratedLUFS;
    const size_t rows = std::max ({ stereo.size(), mid.size(), side.size() });
    if (rows == 0)
        return;

    auto cell = [] (const std::vector<float>& list, size_t i)
    {
        char buffer[32];
        std::snprintf (buffer, sizeof (buffer), "%8s", i < list.size() ? fixed (list[i], 1).c_str() : "");
        return std::string (buffer);
    };

    out << "Band Loudness (LUFS):\n";
    out << "      Hz  Stereo     Mid    Side\n";
    for (size_t i = 0; i < rows; ++i)
    {
        char hz[32];
        if (i < (size_t) MultiFrequencyAnalysis::numBands)
            std::snprintf (hz, sizeof (hz), "%8d", MultiFrequencyAnalysis::bandCentres[i]);
        else
            std::snprintf (hz, sizeof (hz), "%8s", "?");
        out << hz << cell (stereo, i) << cell (mid, i) << cell (side, i) << '\n';
    }
}
// The EQ window's comparison in numbers: per band, how far the track lies above (+) or
// below (-) the preset once both are levelled to the same integrated loudness.
void writeEQDifferences (std::ostream& out, const Track& track, const EQPreset& preset)
{
    const auto d = eqpresets::eqDifferences (track, preset);
    out << "EQ Difference from " << preset.name.toStdString() << " (id " << preset.presetId << "), dB:\n";
    out << "      Hz  Stereo     Mid    Side\n";
    for (int i = 0; i < EQPreset::numBands; ++i)
    {
        char line[80];
        std::snprintf (line, sizeof (line), "%8d%8s%8s%8s\n", MultiFrequencyAnalysis::bandCentres[i],
                       fixed (d.stereo[(size_t) i], 1).c_str(), fixed (d.mid[(size_t) i], 1).c_str(),
                       fixed (d.side[(size_t) i], 1).c_str());
        out << line;
    }
}
} // namespace

StereoSpread balanceSpread (const std::vector<float>& balanceSmoothed, float limit)
{
    StereoSpread spread;
    span (balanceSmoothed, spread.lowest, spread.highest, spread.values);
    for (float v : balanceSmoothed)
        if (std::abs (v) > limit)
            ++spread.beyondLimit;
    return spread;
}

StereoSpread correlationSpread (const std::vector<float>& correlationSmoothed, float limit)
{
    StereoSpread spread;
    span (correlationSmoothed, spread.lowest, spread.highest, spread.values);
    for (float v : correlationSmoothed)
        if (limit > v)
            ++spread.beyondLimit;
    return spread;
}

juce::StringArray readingsOutOfRange (const feedback::Feedback& f)
{
    const std::pair<bool, const char*> readings[] = {
        { f.loudness.first, "Integrated LUFS" }, { f.loudness.second, "Short Term LUFS" },
        { f.peak.first, "True Peak" },           { f.peak.second, "Peak" },
        { f.stereo.first, "Balance" },           { f.stereo.second, "Correlation" },
        { f.dynamics.first, "Dynamic Range" },   { f.dynamics.second, "Loudness Range" },
    };
    juce::StringArray names;
    for (const auto& [out, name] : readings)
        if (out)
            names.add (name);
    return names;
}

void writeTextReport (std::ostream& out, const juce::String& file, const Track& track,
                      const TrackJudgement& judgement, const ReportSettings& settings)
{
    out << judgement.reportText (settings.reportType).toStdString();
    if (settings.eqPreset)
        writeEQDifferences (out, track, *settings.eqPreset);
    if (! settings.details)
        return;

    const auto& r = *track.currentReadings;
    const auto& preset = settings.preset;
    const double seconds = track.sampleRate > 0 ? track.numSamples / track.sampleRate : 0.0;
    const auto outOfRange = readingsOutOfRange (judgement.feedback);

    out << "-- Details --\n";
    out << "File: " << file.toStdString() << '\n';
    out << "Preset: " << settings.presetLabel.toStdString() << " (id " << preset.presetId << ")\n";
    out << "Out of range: " << (outOfRange.isEmpty() ? juce::String ("nothing") : outOfRange.joinIntoString (", ")).toStdString()
        << '\n';
    out << "Heat Map: " << (judgement.hasProblems ? "problems marked" : "clear") << '\n';
    out << "Sample Rate: " << rateText (track.sampleRate) << " Hz\n";
    out << "Channels: " << track.numChannels << '\n';
    out << "Length: " << fixed (seconds, 2) << " s (" << track.numSamples << " samples)\n";
    out << "Unweighted Integrated: " << fixed (r.plainIntegrated, 1) << " LUFS\n";

    if (track.numChannels == 2)
    {
        const auto balance = balanceSpread (r.balanceSmoothed, preset.stereoBalance);
        if (balance.values > 0)
            out << "Balance: " << fixed (balance.lowest, 2) << " to " << fixed (balance.highest, 2) << ", "
                << balance.beyondLimit << " of " << r.balanceSmoothed.size() << " steps beyond \xc2\xb1"
                << feedback::general (preset.stereoBalance).toStdString() << '\n';
        const auto correlation = correlationSpread (r.correlationSmoothed, preset.stereoCorrelation);
        if (correlation.values > 0)
            out << "Correlation: " << fixed (correlation.lowest, 2) << " to " << fixed (correlation.highest, 2)
                << ", " << correlation.beyondLimit << " of " << r.correlationSmoothed.size() << " steps below "
                << feedback::general (preset.stereoCorrelation).toStdString() << '\n';
    }

    writeBands (out, track);
    out << '\n';
}

namespace
{
void keyValue (JsonWriter& json, const char* name, bool v)
{
    json.key (name);
    json.value (v);
}

void verdictPair (JsonWriter& json, const char* group, const char* first, const char* second,
                  const feedback::ButtonVerdict& verdict)
{
    json.key (group);
    json.beginObject();
    keyValue (json, first, verdict.first);
    keyValue (json, second, verdict.second);
    json.endObject();
}

void spreadFields (JsonWriter& json, const char* lowest, const char* highest, const char* count,
                   const std::optional<StereoSpread>& spread)
{
    const bool any = spread && spread->values > 0;
    json.key (lowest);
    any ? json.value (spread->lowest) : json.null();
    json.key (highest);
    any ? json.value (spread->highest) : json.null();
    json.key (count);
    spread ? json.value (spread->beyondLimit) : json.null();
}

// Seconds to the millisecond: finer than any column, and short to read.
double milliseconds (double seconds) { return std::round (seconds * 1000.0) / 1000.0; }

// "flaggedRanges": for each single reading, the stretches its heat map draws red.
void writeFlaggedRanges (JsonWriter& json, const TrackJudgement& judgement)
{
    json.key ("columnSeconds");
    json.value (std::round (judgement.columnSeconds * 1.0e6) / 1.0e6);
    json.key ("flaggedRanges");
    json.beginObject();
    for (const auto& flagged : judgement.flagged)
    {
        json.key (flagged.kind.key);
        json.beginArray();
        for (const auto& range : flagged.times)
        {
            json.beginObject();
            json.key ("start");
            json.value (milliseconds (range.start));
            json.key ("end");
            json.value (milliseconds (range.end));
            json.endObject();
        }
        json.endArray();
    }
    json.endObject();
}
} // namespace

void writeJsonReport (JsonWriter& json, const juce::String& file, const Track& track,
                      const TrackJudgement& judgement, const ReportSettings& settings,
                      const juce::StringArray& warnings)
{
    const auto& r = *track.currentReadings;
    const auto& preset = settings.preset;
    json.beginObject();
    json.key ("file");
    json.value (file.toStdString());
    json.key ("fileName");
    json.value (track.fileName.toStdString());
    json.key ("sampleRate");
    json.value (track.sampleRate);
    json.key ("numChannels");
    json.value (track.numChannels);
    json.key ("numSamples");
    json.value (track.numSamples);
    json.key ("warnings");
    json.beginArray();
    for (const auto& warning : warnings)
        json.value (warning.toStdString());
    json.endArray();

    json.key ("integratedLUFS");
    json.value (r.integratedLUFS);
    json.key ("maxShortTermLUFS");
    json.value (r.maxShortTermLUFS);
    json.key ("maxTruePeakDb");
    json.value (r.maxTruePeakDb);
    json.key ("maxSamplePeakDb");
    json.value (r.maxSamplePeakDb);
    json.key ("minDynamicRange");
    json.value (r.minDynamicRange);
    json.key ("loudnessRange");
    json.value (r.loudnessRange);
    json.key ("plainIntegrated");
    json.value (r.plainIntegrated);
    json.key ("samplePeak");
    json.value (r.samplePeak);
    json.key ("truePeakLinear");
    json.value (r.truePeakLinear);
    json.key ("stepCount");
    json.value (track.stepCount);
    json.key ("stepLength");
    json.value (track.stepLength);

    json.key ("multiFrequencyIntegratedLUFS");
    json.floatArray (track.multiFrequencyIntegratedLUFS);
    json.key ("midMultiFrequencyIntegratedLUFS");
    json.floatArray (track.midMultiFrequencyIntegratedLUFS);
    json.key ("sideMultiFrequencyIntegratedLUFS");
    json.floatArray (track.sideMultiFrequencyIntegratedLUFS);

    if (settings.eqPreset)
    {
        const auto d = eqpresets::eqDifferences (track, *settings.eqPreset);
        json.key ("eqPresetId");
        json.value (settings.eqPreset->presetId);
        json.key ("eqPresetName");
        json.value (settings.eqPreset->name.toStdString());
        json.key ("eqDifferences");
        json.beginObject();
        for (const auto& [name, bands] : { std::pair { "stereo", &d.stereo }, std::pair { "mid", &d.mid },
                                           std::pair { "side", &d.side } })
        {
            json.key (name);
            json.floatArray (bands->data(), bands->size());
        }
        json.endObject();
    }

    // The stereo readings summed up against the preset's limits; null when not stereo.
    const bool stereo = track.numChannels == 2;
    std::optional<StereoSpread> balance, correlation;
    if (stereo)
    {
        balance = balanceSpread (r.balanceSmoothed, preset.stereoBalance);
        correlation = correlationSpread (r.correlationSmoothed, preset.stereoCorrelation);
    }
    spreadFields (json, "minBalanceSmoothed", "maxBalanceSmoothed", "balanceStepsBeyondLimit", balance);
    spreadFields (json, "minCorrelationSmoothed", "maxCorrelationSmoothed", "correlationStepsBelowLimit",
                  correlation);

    // The judgement.
    json.key ("presetId");
    json.value (preset.presetId);
    json.key ("presetName");
    json.value (settings.presetLabel.toStdString());
    keyValue (json, "anyOutOfRange", judgement.feedback.anyOutOfRange);
    keyValue (json, "hasProblems", judgement.hasProblems);
    keyValue (json, "shortTermOutOfRange", judgement.shortTermOutOfRange);
    keyValue (json, "balanceOutOfRange", judgement.balanceOutOfRange);
    keyValue (json, "correlationOutOfRange", judgement.correlationOutOfRange);
    keyValue (json, "loudnessRangeOutOfRange", judgement.loudnessRangeOutOfRange);
    keyValue (json, "dynamicRangeOutOfRange", judgement.dynamicRangeOutOfRange);

    const auto& f = judgement.feedback;
    json.key ("readoutsOutOfRange");
    json.beginObject();
    verdictPair (json, "loudness", "integrated", "shortTerm", f.loudness);
    verdictPair (json, "peak", "truePeak", "samplePeak", f.peak);
    json.key ("stereo");
    json.beginObject();
    keyValue (json, "enabled", f.stereoEnabled);
    keyValue (json, "balance", f.stereo.first);
    keyValue (json, "correlation", f.stereo.second);
    json.endObject();
    verdictPair (json, "dynamics", "dynamicRange", "loudnessRange", f.dynamics);
    json.endObject();

    if (! judgement.flagged.empty())
        writeFlaggedRanges (json, judgement);

    json.key ("readoutText");
    json.value (judgement.exportEntry.readoutText.toStdString());
    json.key ("feedbackText");
    json.value (judgement.exportEntry.feedbackText.toStdString());

    if (settings.points)
    {
        const std::pair<const char*, const std::vector<float>*> sequences[] = {
            { "shortTermPoints", &r.shortTermPoints },
            { "integratedPoints", &r.integratedPoints },
            { "samplePeakPoints", &r.samplePeakPoints },
            { "truePeakPoints", &r.truePeakPoints },
            { "loudnessRangePoints", &r.loudnessRangePoints },
            { "dynamicRangeSteps", &r.dynamicRangeSteps },
            { "balanceSteps", &r.balanceSteps },
            { "balanceSmoothed", &r.balanceSmoothed },
            { "correlationSteps", &r.correlationSteps },
            { "correlationSmoothed", &r.correlationSmoothed },
            { "waveformPoints", &track.waveformPoints },
        };
        for (const auto& [name, values] : sequences)
        {
            json.key (name);
            json.floatArray (*values);
        }
    }
    json.endObject();
}

void writeJsonFailure (JsonWriter& json, const juce::String& file, const juce::String& reason)
{
    json.beginObject();
    json.key ("file");
    json.value (file.toStdString());
    json.key ("error");
    json.value (reason.toStdString());
    json.endObject();
}
} // namespace orvane::cli
