#include "targets/ModelEQPresets.h"

#include "analysis/Model.h"

EQPreset* Model::getEQPresetForId (int presetId)
{
    return eqpresets::findEQPresetForId (eqPresetGroups, presetId);
}

const EQPreset* Model::getEQPresetForId (int presetId) const
{
    return eqpresets::findEQPresetForId (eqPresetGroups, presetId);
}

juce::String Model::getCurrentPresetName (int which) const
{
    if (which == 0)
        return presets::presetLabel (presetGroups, currentPreset);
    if (currentEQPreset == nullptr)
        return presets::noPresetSelected;
    return currentEQPreset->name;
}

void Model::selectEQPresetById (int presetId)
{
    defaultEQPresetId = presetId;
    currentEQPreset = getEQPresetForId (presetId);
}

namespace eqpresets
{
std::optional<int> ModelSessionEqPresets::currentEQPresetId() const
{
    if (model.currentEQPreset == nullptr)
        return std::nullopt;
    return model.currentEQPreset->presetId;
}

std::optional<juce::String> ModelSessionEqPresets::selectEQPreset (int presetId)
{
    model.currentEQPreset = model.getEQPresetForId (presetId);
    if (model.currentEQPreset == nullptr)
        return std::nullopt;
    return model.currentEQPreset->name;
}

SessionReference ModelSessionEqPresets::referenceAnalysis() const
{
    SessionReference reference;
    if (model.referenceTrack != nullptr)
        reference.trackName = model.referenceTrack->displayName;
    if (const auto* preset = model.getEQPresetForId (referencePresetId))
    {
        reference.integratedLUFSOverall = preset->integratedLUFS;
        reference.multiFrequencyIntegratedLUFS = preset->multiFrequencyIntegratedLUFS;
        reference.midMultiFrequencyIntegratedLUFS = preset->midMultiFrequencyIntegratedLUFS;
        reference.sideMultiFrequencyIntegratedLUFS = preset->sideMultiFrequencyIntegratedLUFS;
    }
    return reference;
}

void ModelSessionEqPresets::storeReferenceAnalysis (const SessionReference& reference)
{
    if (auto* preset = model.getEQPresetForId (referencePresetId))
    {
        preset->integratedLUFS = reference.integratedLUFSOverall;
        preset->multiFrequencyIntegratedLUFS = reference.multiFrequencyIntegratedLUFS;
        preset->midMultiFrequencyIntegratedLUFS = reference.midMultiFrequencyIntegratedLUFS;
        preset->sideMultiFrequencyIntegratedLUFS = reference.sideMultiFrequencyIntegratedLUFS;
    }
}
} // namespace eqpresets
