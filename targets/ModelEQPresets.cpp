#include "targets/ModelEQPresets.h"

#include "analysis/Model.h"
#include "targets/EQCurve.h"

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

float Model::largestEQDifference()
{
    std::lock_guard<std::mutex> guard (tracksLock);
    std::vector<const Track*> all;
    for (const auto& track : tracks)
        all.push_back (track.get());
    return eqcurve::largestEQDifference (all, currentEQPreset, eqCurveMode);
}

namespace eqpresets
{
namespace
{
EQPreset::Bands toBands (const std::vector<float>& list)
{
    EQPreset::Bands bands {};
    std::copy_n (list.begin(), std::min (list.size(), bands.size()), bands.begin());
    return bands;
}
} // namespace

bool takeReferenceAnalysis (Model& model, int64_t trackId)
{
    const Track* track = model.getTrackById (trackId);
    if (track == nullptr || ! track->isReference)
        return false;
    model.userPresetSet = true;
    if (auto* preset = model.getEQPresetForId (referencePresetId))
    {
        preset->integratedLUFS = track->wholeFileReadings.integratedLUFS;
        preset->multiFrequencyIntegratedLUFS = toBands (track->multiFrequencyIntegratedLUFS);
        preset->midMultiFrequencyIntegratedLUFS = toBands (track->midMultiFrequencyIntegratedLUFS);
        preset->sideMultiFrequencyIntegratedLUFS = toBands (track->sideMultiFrequencyIntegratedLUFS);
    }
    return true;
}

bool useTrackAsReference (Model& model, int64_t trackId)
{
    auto reference = std::make_unique<Track> (&model);
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        const auto found = std::find_if (model.tracks.begin(), model.tracks.end(),
                                         [trackId] (const auto& t) { return t->id == trackId && t->waveformComplete; });
        if (found == model.tracks.end())
            return false;
        const Track& track = **found;
        reference->id = Track::clockId();
        reference->isReference = true;
        reference->fileName = track.fileName;
        reference->displayName = track.displayName;
        reference->filePath = track.filePath;
        reference->wholeFileReadings.integratedLUFS = track.wholeFileReadings.integratedLUFS;
        reference->multiFrequencyIntegratedLUFS = track.multiFrequencyIntegratedLUFS;
        reference->midMultiFrequencyIntegratedLUFS = track.midMultiFrequencyIntegratedLUFS;
        reference->sideMultiFrequencyIntegratedLUFS = track.sideMultiFrequencyIntegratedLUFS;
        model.referenceTrack = std::move (reference);
    }
    return takeReferenceAnalysis (model, model.referenceTrack->id);
}

juce::String referenceCompletionText (const Model& model)
{
    const auto name = model.referenceTrack != nullptr ? model.referenceTrack->fileName : juce::String();
    return "Analysis complete with track: " + name.substring (0, 25)
           + "\nClick DEFAULT > REFERENCE TRACK to use this analysis.\nLoad another file to replace this analysis";
}

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
