#include "targets/SettingsFile.h"

#include "targets/FileReplace.h"
#include "targets/XmlBinaryWrapper.h"

#include <cmath>

namespace settingsfile
{
namespace
{
// The reader looks the last folder up with a small s; the writer uses a capital S, so the
// stored value is never found and that folder comes back empty at every start. Only a
// session file brings it back.
constexpr const char* sessionFolderKeyWritten = "lastAccessedSaveSessionDirectory";
constexpr const char* sessionFolderKeyRead = "lastAccessedsaveSessionDirectory";

bool hasTag (const juce::XmlElement& element, const char* tag)
{
    return element.getTagName() == tag;  // exact, with case
}

float floatAttribute (const juce::XmlElement& e, const char* name, double valueIfAbsent = 0.0)
{
    return (float) e.getDoubleAttribute (name, valueIfAbsent);
}

ThresholdPreset readPreset (const juce::XmlElement& e)
{
    ThresholdPreset p;
    p.presetId = e.getIntAttribute ("presetId", 0);
    p.groupId = e.getIntAttribute ("groupId", 0);
    p.name = e.getStringAttribute ("name");
    p.peak = floatAttribute (e, "peak");
    p.truePeak = floatAttribute (e, "truePeak");
    p.peakTarget = floatAttribute (e, "peakTarget", -0.1);
    p.truePeakRange = floatAttribute (e, "truePeakRange");
    p.shortTermLUFS = floatAttribute (e, "shortTermLUFS");
    p.shortTermLUFSRange = floatAttribute (e, "shortTermLUFSRange");
    p.integratedLUFS = floatAttribute (e, "integratedLUFS");
    p.integratedLUFSRange = floatAttribute (e, "integratedLUFSRange");
    p.stereoBalance = floatAttribute (e, "stereoBalance");
    p.stereoCorrelation = floatAttribute (e, "stereoCorrelation");
    p.dynamicRange = floatAttribute (e, "dynamicRange");
    p.loudnessRange = floatAttribute (e, "loudnessRange");
    return p;
}

// The toolkit's conversion for doubles, save that a NaN (which only a damaged file can bring)
// is written as "nan" without going through the conversion's integer test.
void setNumber (juce::XmlElement& e, const char* name, float value)
{
    if (std::isnan (value))
        e.setAttribute (name, "nan");
    else
        e.setAttribute (name, (double) value);
}

void writePreset (juce::XmlElement& e, const ThresholdPreset& p)
{
    // Attribute order differs from the record's field order; readers go by name.
    e.setAttribute ("presetId", p.presetId);
    e.setAttribute ("groupId", p.groupId);
    e.setAttribute ("name", p.name);
    setNumber (e, "peak", p.peak);
    setNumber (e, "truePeak", p.truePeak);
    setNumber (e, "peakTarget", p.peakTarget);
    setNumber (e, "truePeakRange", p.truePeakRange);
    setNumber (e, "shortTermLUFS", p.shortTermLUFS);
    setNumber (e, "shortTermLUFSRange", p.shortTermLUFSRange);
    setNumber (e, "integratedLUFS", p.integratedLUFS);
    setNumber (e, "integratedLUFSRange", p.integratedLUFSRange);
    setNumber (e, "stereoBalance", p.stereoBalance);
    setNumber (e, "stereoCorrelation", p.stereoCorrelation);
    setNumber (e, "dynamicRange", p.dynamicRange);
    setNumber (e, "loudnessRange", p.loudnessRange);
}

void readDefaults (const juce::XmlElement& e, SettingsValues& values)
{
    values.defaultPresetId = e.getIntAttribute ("defaultPresetId", presets::defaultPresetId);
    values.defaultEQPresetId = e.getIntAttribute ("defaultEQPresetId", 0);
    values.showToolTips = e.getBoolAttribute ("showToolTips", false);
    values.maxContrast = e.getBoolAttribute ("maxContrast", false);
    values.textOutputType = e.getIntAttribute ("textOutputType", 0);
    values.firstRun = e.getBoolAttribute ("firstRun", true);
    values.firstRunV2 = e.getBoolAttribute ("firstRunV2", true);
}

void readUserGroup (const juce::XmlElement& e, SettingsValues& values)
{
    PresetGroup group;
    group.groupId = e.getIntAttribute ("groupId", 0);
    if (group.groupId != presets::userGroup)
        return;

    group.name = e.getStringAttribute ("name");
    for (auto* child : e.getChildIterator())
        if (hasTag (*child, "preset"))
            group.presets.push_back (readPreset (*child));

    values.presetGroups.push_back (std::move (group));
}

void readFolders (const juce::XmlElement& e, SettingsValues& values)
{
    values.lastAccessedTrackDirectory =
        existingDirectoryOrEmpty (e.getStringAttribute ("lastAccessedTrackDirectory"));
    values.lastAccessedReferenceTrackDirectory =
        existingDirectoryOrEmpty (e.getStringAttribute ("lastAccessedReferenceTrackDirectory"));
    values.lastAccessedSaveSessionDirectory =
        existingDirectoryOrEmpty (e.getStringAttribute (sessionFolderKeyRead));
}
} // namespace

juce::String existingDirectoryOrEmpty (const juce::String& path)
{
    // Only absolute paths are taken: a relative one would depend on the working folder, and
    // "~name" would ask the user database.
    if (! (path.startsWithChar ('/') || path == "~" || path.startsWith ("~/")))
        return {};

    const juce::File folder (path);
    return folder.isDirectory() ? folder.getFullPathName() : juce::String();
}

std::unique_ptr<juce::XmlElement> createDocument (const SettingsValues& values, const juce::XmlElement* deviceState)
{
    auto root = std::make_unique<juce::XmlElement> (rootTag);

    auto* defaults = root->createNewChildElement ("default");
    defaults->setAttribute ("defaultPresetId", values.defaultPresetId);
    defaults->setAttribute ("defaultEQPresetId", values.defaultEQPresetId);
    defaults->setAttribute ("showToolTips", values.showToolTips ? 1 : 0);
    defaults->setAttribute ("maxContrast", values.maxContrast ? 1 : 0);
    defaults->setAttribute ("textOutputType", values.textOutputType);
    defaults->setAttribute ("firstRun", "0");
    defaults->setAttribute ("firstRunV2", 0);

    // A copy: the stored element is still needed after the load, for the audio set-up.
    if (deviceState != nullptr)
        root->addChildElement (new juce::XmlElement (*deviceState));

    auto* folders = root->createNewChildElement ("projectSettings");
    folders->setAttribute ("lastAccessedTrackDirectory", values.lastAccessedTrackDirectory);
    folders->setAttribute ("lastAccessedReferenceTrackDirectory", values.lastAccessedReferenceTrackDirectory);
    folders->setAttribute (sessionFolderKeyWritten, values.lastAccessedSaveSessionDirectory);

    // Only the user group lives in the file. Without a group at index 3 (a file that had
    // none) the compiled-in one is written, so that the next start has user presets again.
    const PresetGroup fallback = values.presetGroups.size() > (size_t) presets::userGroup
                                     ? PresetGroup {}
                                     : presets::makeFactoryGroup (presets::userGroup);
    const PresetGroup& user = values.presetGroups.size() > (size_t) presets::userGroup
                                  ? values.presetGroups[(size_t) presets::userGroup]
                                  : fallback;

    auto* group = root->createNewChildElement ("group");
    group->setAttribute ("name", user.name);
    group->setAttribute ("groupId", user.groupId);
    for (const auto& preset : user.presets)
        writePreset (*group->createNewChildElement ("preset"), preset);

    return root;
}

bool readDocument (const juce::XmlElement* root, SettingsValues& values)
{
    if (root == nullptr || ! hasTag (*root, rootTag))
        return false;

    for (auto* child : root->getChildIterator())
    {
        if (hasTag (*child, "default"))
            readDefaults (*child, values);
        else if (hasTag (*child, "DEVICESETUP"))
            values.deviceSetup = std::make_unique<juce::XmlElement> (*child);
        else if (hasTag (*child, "group"))
            readUserGroup (*child, values);
        else if (hasTag (*child, "projectSettings"))
            readFolders (*child, values);
    }
    return true;
}

bool readBytes (const void* data, size_t size, SettingsValues& values)
{
    const auto document = xmlwrap::unwrap (data, size);
    return readDocument (document.get(), values);
}

void restoreFactoryGroups (std::vector<PresetGroup>& groups)
{
    for (int g = presets::mixingGroup; g <= presets::broadcastGroup && g < (int) groups.size(); ++g)
    {
        auto factory = presets::makeFactoryGroup (g);
        auto& group = groups[(size_t) g];
        group.groupId = factory.groupId;
        group.name = factory.name;
        group.presets = std::move (factory.presets);
    }

    if (groups.size() > (size_t) presets::userGroup)
    {
        int presetId = presets::firstUserPresetId;
        for (auto& preset : groups[(size_t) presets::userGroup].presets)
            preset.presetId = presetId++;
    }
}
} // namespace settingsfile

SettingsFile::SettingsFile (const juce::File& baseFolder)
    : path (baseFolder.getFullPathName() + juce::File::getSeparatorString() + settingsfile::folderName
            + juce::File::getSeparatorString() + settingsfile::fileName),
      file (path)
{
}

juce::File SettingsFile::defaultBaseFolder()
{
    return juce::File::getSpecialLocation (juce::File::userApplicationDataDirectory);
}

void SettingsFile::load (SettingsValues& values)
{
    bool readOk = false;
    if (path.isNotEmpty() && file.existsAsFile())
    {
        juce::MemoryBlock data;
        if (file.loadFileAsData (data))
            readOk = settingsfile::readBytes (data.getData(), data.getSize(), values);
    }

    if (! readOk)
        values.presetGroups = presets::makeFactoryPresetGroups (4);
    else if (values.presetGroups.size() <= (size_t) presets::userGroup)
        values.presetGroups.push_back (presets::makeFactoryGroup (presets::userGroup));

    if (! values.firstRun && ! values.firstRunV2)
        return;

    if (values.firstRunV2)
    {
        // The backup is taken after the rewrite, so it holds both flags cleared.
        save (values, values.deviceSetup.get());
        file.copyFileTo (getBackupFile());
    }
    values.firstRun = values.firstRunV2 = false;

    settingsfile::restoreFactoryGroups (values.presetGroups);
}

bool SettingsFile::save (const SettingsValues& values, const juce::XmlElement* deviceState)
{
    const auto document = settingsfile::createDocument (values, deviceState);
    const auto block = xmlwrap::wrap (*document);
    return filereplace::createAndReplace (file, block.getData(), block.getSize());
}
