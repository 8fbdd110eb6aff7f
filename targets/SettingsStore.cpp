#include "targets/SettingsStore.h"

#include "analysis/Model.h"

SettingsStore::SettingsStore (Model& m, const juce::File& baseFolder)
    : model (m), settingsFile (baseFolder)
{
}

SettingsValues SettingsStore::valuesFrom (const Model& m)
{
    SettingsValues values;
    values.defaultPresetId = m.defaultPresetId;
    values.defaultEQPresetId = m.defaultEQPresetId;
    values.showToolTips = m.showToolTips;
    values.maxContrast = m.maxContrast;
    values.textOutputType = m.textOutputType;
    values.firstRun = m.firstRun;
    values.firstRunV2 = m.firstRunV2;
    if (m.storedDeviceState != nullptr)
        values.deviceSetup = std::make_unique<juce::XmlElement> (*m.storedDeviceState);
    values.lastAccessedTrackDirectory = m.lastAccessedTrackDirectory;
    values.lastAccessedReferenceTrackDirectory = m.lastAccessedReferenceTrackDirectory;
    values.lastAccessedSaveSessionDirectory = m.lastAccessedSaveSessionDirectory;
    values.presetGroups = m.presetGroups;
    return values;
}

void SettingsStore::applyTo (SettingsValues&& values, Model& m)
{
    m.defaultPresetId = values.defaultPresetId;
    m.defaultEQPresetId = values.defaultEQPresetId;
    m.showToolTips = values.showToolTips;
    m.maxContrast = values.maxContrast;
    m.textOutputType = values.textOutputType;
    m.firstRun = values.firstRun;
    m.firstRunV2 = values.firstRunV2;
    m.storedDeviceState = std::move (values.deviceSetup);
    m.lastAccessedTrackDirectory = values.lastAccessedTrackDirectory;
    m.lastAccessedReferenceTrackDirectory = values.lastAccessedReferenceTrackDirectory;
    m.lastAccessedSaveSessionDirectory = values.lastAccessedSaveSessionDirectory;

    // The current preset points into the groups, so it is looked up again in the new ones.
    const bool hadCurrent = m.currentPreset != nullptr;
    const int currentId = hadCurrent ? m.currentPreset->presetId : 0;
    m.presetGroups = std::move (values.presetGroups);
    if (hadCurrent)
        m.currentPreset = m.getPresetForId (currentId);
}

void SettingsStore::load()
{
    auto values = valuesFrom (model);
    settingsFile.load (values);
    applyTo (std::move (values), model);
}

void SettingsStore::save (bool useStoredDeviceState)
{
    const auto values = valuesFrom (model);

    std::unique_ptr<juce::XmlElement> fromDevices;
    const juce::XmlElement* deviceState = model.storedDeviceState.get();
    if (! useStoredDeviceState)
    {
        fromDevices = deviceStateProvider ? deviceStateProvider() : nullptr;
        deviceState = fromDevices.get();
    }

    settingsFile.save (values, deviceState);
    // The first-run flags hold only up to the next write.
    model.firstRun = model.firstRunV2 = false;
}
