#include "targets/SessionModel.h"

#include "analysis/Model.h"
#include "targets/SettingsFile.h"

#include <mutex>

namespace sessionmodel
{
SessionDocument capture (Model& model, const SessionWindowState& window, const SessionEqPresets* eqPresets)
{
    SessionDocument session;
    auto& d = session.defaults;

    d.currentPresetID = model.currentPreset != nullptr ? model.currentPreset->presetId : model.defaultPresetId;
    d.lastAccessedTrackDirectory = model.lastAccessedTrackDirectory;
    d.lastAccessedReferenceTrackDirectory = model.lastAccessedReferenceTrackDirectory;
    d.lastAccessedSaveSessionDirectory = model.lastAccessedSaveSessionDirectory;
    d.mainWindowX = window.x;
    d.mainWindowY = window.y;
    d.mainWindowWidth = window.width;
    d.mainWindowHeight = window.height;
    d.fullScreen = window.fullScreen;
    d.eqWindowHidden = model.eqWindowHidden;
    d.eqWindowHeight = window.eqWindowHeight;

    std::optional<int> eqId;
    if (eqPresets != nullptr)
        eqId = eqPresets->currentEQPresetId();
    d.currentEQPresetID = eqId.value_or (model.defaultEQPresetId);

    d.userPresetSet = model.userPresetSet;

    std::lock_guard<std::mutex> guard (model.tracksLock);
    if (d.userPresetSet)
    {
        if (eqPresets != nullptr)
            d.reference = eqPresets->referenceAnalysis();
        d.reference.trackName = model.referenceTrack != nullptr ? model.referenceTrack->fileName : juce::String();
    }

    session.tracks.reserve (model.tracks.size());
    for (const auto& track : model.tracks)
        session.tracks.push_back ({ track->id, track->filePath });
    return session;
}

bool save (Model& model, const juce::File& file, const SessionWindowState& window,
           const SessionEqPresets* eqPresets)
{
    return sessionfile::write (file, capture (model, window, eqPresets));
}

SessionDefaultsOutcome applyDefaults (Model& model, const SessionDefaults& d, SessionEqPresets* eqPresets)
{
    SessionDefaultsOutcome outcome;

    model.selectPresetById (d.currentPresetID);
    outcome.presetName = presets::presetLabel (model.presetGroups, model.currentPreset);

    model.userPresetSet = d.userPresetSet;
    if (d.userPresetSet)
    {
        auto reference = std::make_unique<Track> (&model);
        reference->isReference = true;
        reference->fileName = d.reference.trackName;
        reference->displayName = d.reference.trackName;
        {
            std::lock_guard<std::mutex> guard (model.tracksLock);
            model.referenceTrack = std::move (reference);
        }
        if (eqPresets != nullptr)
            eqPresets->storeReferenceAnalysis (d.reference);
    }

    if (eqPresets != nullptr)
        outcome.eqPresetName = eqPresets->selectEQPreset (d.currentEQPresetID).value_or (presets::noPresetSelected);

    model.lastAccessedTrackDirectory = settingsfile::existingDirectoryOrEmpty (d.lastAccessedTrackDirectory);
    model.lastAccessedReferenceTrackDirectory =
        settingsfile::existingDirectoryOrEmpty (d.lastAccessedReferenceTrackDirectory);
    model.lastAccessedSaveSessionDirectory =
        settingsfile::existingDirectoryOrEmpty (d.lastAccessedSaveSessionDirectory);

    outcome.fullScreen = d.fullScreen;
    outcome.x = d.mainWindowX;
    outcome.y = d.mainWindowY;
    outcome.width = d.mainWindowWidth;
    outcome.height = d.mainWindowHeight;

    model.eqWindowHidden = d.eqWindowHidden;
    outcome.eqWindowHidden = d.eqWindowHidden;
    outcome.eqWindowHeight = d.eqWindowHeight;
    return outcome;
}

namespace
{
void removeAllTracksFromModel (Model& model)
{
    std::vector<int64_t> ids;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        for (const auto& track : model.tracks)
            ids.push_back (track->id);
    }
    for (auto id : ids)
        model.removeTrack (id);
}
} // namespace

std::optional<juce::String> open (Model& model, const juce::File& file, SessionEqPresets* eqPresets,
                                  const SessionOpenHandlers& handlers)
{
    const auto folder = file.getParentDirectory().getFullPathName();
    if (folder.isNotEmpty())
        model.lastAccessedSaveSessionDirectory = folder;

    const auto contents = sessionfile::readFile (file);
    if (! contents.has_value())
        return std::nullopt;

    for (const auto& part : *contents)
    {
        if (part.kind == SessionPart::Kind::trackList)
        {
            bool hasTracks = false;
            {
                std::lock_guard<std::mutex> guard (model.tracksLock);
                hasTracks = ! model.tracks.empty();
            }
            if (hasTracks)
            {
                if (handlers.removeAllTracks)
                    handlers.removeAllTracks();
                else
                    removeAllTracksFromModel (model);
            }
            if (handlers.dropFiles)
                handlers.dropFiles (part.filePaths);
        }
        else
        {
            const auto outcome = applyDefaults (model, part.defaults, eqPresets);
            if (handlers.applyToWindow)
                handlers.applyToWindow (outcome);
        }
    }
    return sessionfile::sessionName (file.getFullPathName());
}
} // namespace sessionmodel
