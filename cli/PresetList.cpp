#include "cli/PresetList.h"

#include "targets/FeedbackBuilder.h"

#include <algorithm>

namespace orvane::cli
{
namespace
{
struct Column
{
    const char* heading;
    bool numeric;
};

constexpr Column columns[] = {
    { "ID", true },        { "GROUP", false },    { "NAME", false },   { "PEAK", true },      { "TP", true },
    { "TP RANGE", true },  { "PEAK AIM", true },  { "ST", true },      { "ST RANGE", true },  { "INT", true },
    { "INT RANGE", true }, { "DR", true },        { "LRA", true },     { "BAL", true },       { "CORR", true },
};
constexpr size_t columnCount = std::size (columns);

juce::String groupName (const std::vector<PresetGroup>& groups, const ThresholdPreset& preset)
{
    return preset.groupId >= 0 && preset.groupId < (int) groups.size() ? groups[(size_t) preset.groupId].name
                                                                         : juce::String();
}

std::vector<juce::String> cellsOf (const std::vector<PresetGroup>& groups, const ThresholdPreset& p, int defaultId)
{
    using feedback::general;
    return { juce::String (p.presetId) + (p.presetId == defaultId ? "*" : " "),
             groupName (groups, p),
             p.name,
             general (p.peak),
             general (p.truePeak),
             general (p.truePeakRange),
             general (p.peakTarget),
             general (p.shortTermLUFS),
             general (p.shortTermLUFSRange),
             general (p.integratedLUFS),
             general (p.integratedLUFSRange),
             general (p.dynamicRange),
             general (p.loudnessRange),
             general (p.stereoBalance),
             general (p.stereoCorrelation) };
}

void writeRow (std::ostream& out, const std::vector<juce::String>& cells, const std::vector<int>& widths)
{
    juce::String line;
    for (size_t c = 0; c < columnCount; ++c)
    {
        const int pad = std::max (0, widths[c] - cells[c].length());
        if (c > 0)
            line << "  ";
        if (columns[c].numeric)
            line << juce::String::repeatedString (" ", pad) << cells[c];
        else
            line << cells[c] << juce::String::repeatedString (" ", pad);
    }
    out << line.trimEnd().toStdString() << '\n';
}
} // namespace

const ThresholdPreset* findExactPreset (const std::vector<PresetGroup>& groups, int presetId)
{
    for (const auto& group : groups)
        for (const auto& preset : group.presets)
            if (preset.presetId == presetId)
                return &preset;
    return nullptr;
}

void writePresetList (std::ostream& out, const std::vector<PresetGroup>& groups, int defaultPresetId)
{
    std::vector<juce::String> heading;
    std::vector<std::vector<juce::String>> rows;
    for (const auto& column : columns)
        heading.push_back (column.heading);
    // The id column keeps its marker place, so that the ids line up under the heading.
    heading[0] += " ";
    for (const auto& group : groups)
        for (const auto& preset : group.presets)
            rows.push_back (cellsOf (groups, preset, defaultPresetId));

    std::vector<int> widths (columnCount, 0);
    for (size_t c = 0; c < columnCount; ++c)
    {
        widths[c] = heading[c].length();
        for (const auto& row : rows)
            widths[c] = std::max (widths[c], row[c].length());
    }

    writeRow (out, heading, widths);
    for (const auto& row : rows)
        writeRow (out, row, widths);
}

void writePresetListJson (JsonWriter& json, const std::vector<PresetGroup>& groups, int defaultPresetId)
{
    json.beginArray();
    for (const auto& group : groups)
    {
        for (const auto& p : group.presets)
        {
            json.beginObject();
            json.key ("presetId");
            json.value (p.presetId);
            json.key ("groupId");
            json.value (p.groupId);
            json.key ("groupName");
            json.value (groupName (groups, p).toStdString());
            json.key ("name");
            json.value (p.name.toStdString());
            json.key ("isDefault");
            json.value (p.presetId == defaultPresetId);
            const std::pair<const char*, float> limits[] = {
                { "peak", p.peak },
                { "truePeak", p.truePeak },
                { "truePeakRange", p.truePeakRange },
                { "peakTarget", p.peakTarget },
                { "shortTermLUFS", p.shortTermLUFS },
                { "shortTermLUFSRange", p.shortTermLUFSRange },
                { "integratedLUFS", p.integratedLUFS },
                { "integratedLUFSRange", p.integratedLUFSRange },
                { "dynamicRange", p.dynamicRange },
                { "loudnessRange", p.loudnessRange },
                { "stereoBalance", p.stereoBalance },
                { "stereoCorrelation", p.stereoCorrelation },
            };
            for (const auto& [name, value] : limits)
            {
                json.key (name);
                json.value (value);
            }
            json.endObject();
        }
    }
    json.endArray();
}
} // namespace orvane::cli
