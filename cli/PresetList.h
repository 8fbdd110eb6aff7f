#pragma once

#include "cli/JsonWriter.h"
#include "targets/ThresholdPresets.h"

#include <ostream>

namespace orvane::cli
{
// The preset with exactly this id, or null. Unlike the Model's lookup there is no fallback:
// a preset asked for by id on the command line must exist.
const ThresholdPreset* findExactPreset (const std::vector<PresetGroup>& groups, int presetId);

// Every preset in table order, one line each after a heading line: id (with "*" for the
// default), group, name and limits in columns.
void writePresetList (std::ostream& out, const std::vector<PresetGroup>& groups, int defaultPresetId);

// The same as a JSON array of objects named after the preset's fields, plus "groupName" and
// "isDefault".
void writePresetListJson (JsonWriter& json, const std::vector<PresetGroup>& groups, int defaultPresetId);
} // namespace orvane::cli
