#include "analysis/Model.h"

const ThresholdPreset* Model::getPresetForId (int presetId) const
{
    return presets::findPresetForId (presetGroups, presetId);
}

void Model::selectPresetById (int presetId)
{
    defaultPresetId = presetId;
    currentPreset = getPresetForId (presetId);
}

void Model::stepPreset (bool forward)
{
    const int from = currentPreset != nullptr ? currentPreset->presetId : defaultPresetId;
    currentPreset = getPresetForId (forward ? presets::nextPresetId (from) : presets::previousPresetId (from));
}
