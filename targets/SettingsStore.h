#pragma once

#include "targets/SettingsFile.h"

#include <functional>
#include <memory>

class Model;

// Keeps what outlives the application: the selected presets, the display options, the audio
// device state, the last folders used and the user presets. It reads them into the Model
// before any window exists and writes them at shutdown and when the settings window saves.
// The application holds one, and each settings window another, built the same way.
class SettingsStore
{
public:
    // Builds the path; touches no file. The base folder is the user's application-data
    // folder unless another is given.
    explicit SettingsStore (Model& model, const juce::File& baseFolder = SettingsFile::defaultBaseFolder());

    // Once, at start-up, before the current preset is chosen.
    void load();

    // Writes the settings. With useStoredDeviceState the device element is the one read
    // from the file; otherwise it comes from deviceStateProvider (the audio device manager),
    // and is left out when there is none.
    void save (bool useStoredDeviceState);

    // Set by the application once the audio device manager exists.
    std::function<std::unique_ptr<juce::XmlElement>()> deviceStateProvider;

    const juce::String& getPath() const noexcept { return settingsFile.getPath(); }
    const juce::File& getFile() const noexcept { return settingsFile.getFile(); }

    // The settings as the Model holds them, and back.
    static SettingsValues valuesFrom (const Model& model);
    static void applyTo (SettingsValues&& values, Model& model);

private:
    Model& model;
    SettingsFile settingsFile;
};
