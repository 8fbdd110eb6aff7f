#pragma once

#include "targets/ThresholdPresets.h"

#include <juce_core/juce_core.h>

#include <cstddef>
#include <memory>
#include <vector>

// Everything the settings file keeps, as plain data. SettingsStore copies it from and back
// into the Model; the reader and writer here need nothing but juce_core.
struct SettingsValues
{
    int defaultPresetId = presets::defaultPresetId;
    int defaultEQPresetId = presets::defaultEQPresetId;
    bool showToolTips = true;
    bool maxContrast = true;
    int textOutputType = 0;
    bool firstRun = false;
    bool firstRunV2 = false;
    // The audio device state as the device manager writes it; null when there is none.
    std::unique_ptr<juce::XmlElement> deviceSetup;
    juce::String lastAccessedTrackDirectory;
    juce::String lastAccessedReferenceTrackDirectory;
    juce::String lastAccessedSaveSessionDirectory;
    // The three factory groups until a file adds the user group after them.
    std::vector<PresetGroup> presetGroups = presets::makeFactoryPresetGroups (3);
};

namespace settingsfile
{
inline constexpr const char* rootTag = "THRESHOLD-PRESET";
inline constexpr const char* folderName = "BrenwickSound";
inline constexpr const char* fileName = "orvane-settings.dat";
inline constexpr const char* backupSuffix = "_backup";

// Defined with the other texts; nothing shows them.
inline constexpr const char* saveErrorText = "There was an error saving your settings.";
inline constexpr const char* settingErrorText = "There was an error with one of your settings.";

// The document as it is written. The user group is the one at index 3; when there is none
// the compiled-in USER group is written in its place. deviceState may be null.
std::unique_ptr<juce::XmlElement> createDocument (const SettingsValues& values, const juce::XmlElement* deviceState);

// Walks the root's children in order into values. False (and values untouched) when there
// is no root or its tag isn't THRESHOLD-PRESET; a partly odd document still sets what it can.
bool readDocument (const juce::XmlElement* root, SettingsValues& values);

// Unwraps a whole file's bytes and reads the document in them.
bool readBytes (const void* data, size_t size, SettingsValues& values);

// Puts the three factory groups back at indexes 0 to 2 and renumbers the presets of the group
// at index 3 from the first user id upward. The group ids of those presets stay as they are.
void restoreFactoryGroups (std::vector<PresetGroup>& groups);

// A stored folder survives only if it still names an existing directory; it comes back in
// its full form. Anything else, relative paths included, gives an empty string.
juce::String existingDirectoryOrEmpty (const juce::String& path);
} // namespace settingsfile

// The settings file on disk: where it lies, and its load and save.
class SettingsFile
{
public:
    // The file "orvane-settings.dat" in the folder "BrenwickSound" under baseFolder.
    explicit SettingsFile (const juce::File& baseFolder = defaultBaseFolder());

    // The user's application-data folder (~/.config here).
    static juce::File defaultBaseFolder();

    const juce::String& getPath() const noexcept { return path; }
    const juce::File& getFile() const noexcept { return file; }
    juce::File getBackupFile() const { return juce::File (path + settingsfile::backupSuffix); }

    // Reads the file into values. With no file, or an unreadable, damaged or foreign one,
    // the groups become the four compiled-in ones. A file that still has a first-run flag set
    // is written back at once (with the device state it holds) and copied to the backup; then
    // the factory groups are restored.
    void load (SettingsValues& values);

    // Writes values; the device state comes from deviceState, which may be null. Returns
    // whether the file was written; on failure the old file is left whole.
    bool save (const SettingsValues& values, const juce::XmlElement* deviceState);

private:
    juce::String path;
    juce::File file;
};
