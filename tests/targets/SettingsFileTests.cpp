// The settings file: its path, layout, load rules, first-run backup, and what damaged files
// and failed writes do.

#include "analysis/Model.h"
#include "support/TestAudio.h"
#include "targets/SettingsStore.h"
#include "targets/XmlBinaryWrapper.h"
#include "PersistTestSupport.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <gtest/gtest.h>

using persisttest::attributeNames;
using persisttest::bytesOf;

namespace
{
// A file as an earlier version (or a user) could have left it: any root and children.
void writeDocument (const juce::File& file, const juce::XmlElement& root)
{
    juce::MemoryBlock block;
    juce::AudioProcessor::copyXmlToBinary (root, block);
    file.getParentDirectory().createDirectory();
    ASSERT_TRUE (file.replaceWithData (block.getData(), block.getSize()));
}

std::unique_ptr<juce::XmlElement> readDocument (const juce::File& file)
{
    const auto block = bytesOf (file);
    return juce::AudioProcessor::getXmlFromBinary (block.getData(), (int) block.getSize());
}

juce::XmlElement* addUserGroup (juce::XmlElement& root, int firstId, int count, bool withPeakTarget = true)
{
    auto* group = root.createNewChildElement ("group");
    group->setAttribute ("name", "USER");
    group->setAttribute ("groupId", 3);
    for (int i = 0; i < count; ++i)
    {
        auto* p = group->createNewChildElement ("preset");
        p->setAttribute ("presetId", firstId + i);
        p->setAttribute ("groupId", 3);
        p->setAttribute ("name", "MINE" + juce::String (i));
        p->setAttribute ("integratedLUFS", -14.5);
        if (withPeakTarget)
            p->setAttribute ("peakTarget", -1.5);
    }
    return group;
}

// Every group and preset field, as the writer puts them down (the user group at index 3).
juce::String describe (const std::vector<PresetGroup>& groups)
{
    juce::String text;
    for (const auto& g : groups)
    {
        SettingsValues holder;
        holder.presetGroups = { g, g, g, g };
        text << settingsfile::createDocument (holder, nullptr)->getChildByName ("group")->toString();
    }
    return text + juce::String ((int) groups.size());
}

bool sameGroups (const std::vector<PresetGroup>& a, const std::vector<PresetGroup>& b)
{
    return describe (a) == describe (b);
}

// All values but the session folder, which the writer puts under a key the reader skips.
bool sameValues (const SettingsValues& a, const SettingsValues& b)
{
    return a.firstRun == b.firstRun && a.firstRunV2 == b.firstRunV2
           && a.lastAccessedSaveSessionDirectory == b.lastAccessedSaveSessionDirectory
           && settingsfile::createDocument (a, a.deviceSetup.get())->toString()
                  == settingsfile::createDocument (b, b.deviceSetup.get())->toString()
           && sameGroups (a.presetGroups, b.presetGroups);
}

SettingsValues loadFrom (const juce::File& base)
{
    SettingsValues values;
    SettingsFile (base).load (values);
    return values;
}

struct SettingsFolder
{
    testaudio::TempFolder temp;
    juce::File base = temp.file ("appdata");
    SettingsFile settings { base };
    juce::File file = settings.getFile();
};
} // namespace

TEST (SettingsFile, PathLiesInTheVendorFolderAndConstructionTouchesNothing)
{
    SettingsFolder f;
    EXPECT_EQ (f.settings.getPath(), f.base.getFullPathName() + "/BrenwickSound/orvane-settings.dat");
    EXPECT_EQ (f.settings.getBackupFile().getFullPathName(), f.settings.getPath() + "_backup");
    EXPECT_FALSE (f.base.exists());
    EXPECT_EQ (SettingsFile().getFile().getParentDirectory().getParentDirectory(),
               juce::File::getSpecialLocation (juce::File::userApplicationDataDirectory));
}

TEST (SettingsFile, NoFileGivesTheCompiledInStateAndWritesNothing)
{
    SettingsFolder f;
    const auto values = loadFrom (f.base);
    ASSERT_EQ (values.presetGroups.size(), 4u);
    EXPECT_TRUE (sameGroups (values.presetGroups, presets::makeFactoryPresetGroups (4)));
    EXPECT_EQ (values.presetGroups[3].presets.front().presetId, 27);
    EXPECT_EQ (values.presetGroups[3].presets.back().presetId, 31);
    EXPECT_TRUE (values.showToolTips);
    EXPECT_EQ (values.defaultEQPresetId, 61);
    EXPECT_EQ (values.defaultPresetId, 4);
    EXPECT_FALSE (f.base.exists());

    // Damaged, foreign and empty files leave exactly the same state, and are not rewritten.
    std::vector<juce::MemoryBlock> bad;
    bad.emplace_back();
    bad.emplace_back ("garbage that is long enough", 27);
    juce::MemoryBlock foreign;
    juce::AudioProcessor::copyXmlToBinary (juce::XmlElement ("SOMETHING-ELSE"), foreign);
    bad.push_back (foreign);
    auto wrongMagic = xmlwrap::wrap (*settingsfile::createDocument (values, nullptr));
    wrongMagic[0] = 0x55;
    bad.push_back (wrongMagic);
    for (const auto& block : bad)
    {
        f.file.deleteFile();
        ASSERT_TRUE (f.file.create());
        f.file.appendData (block.getData(), block.getSize());
        EXPECT_TRUE (sameValues (loadFrom (f.base), values));
        EXPECT_EQ (bytesOf (f.file), block);
        EXPECT_FALSE (f.settings.getBackupFile().exists());
    }
}

TEST (SettingsFile, DocumentLayoutAndAttributeOrder)
{
    SettingsFolder f;
    SettingsValues values;
    values.presetGroups = presets::makeFactoryPresetGroups (4);
    values.presetGroups[3].presets[0].stereoBalance = 0.3f;
    juce::XmlElement device ("DEVICESETUP");
    device.setAttribute ("deviceType", "ALSA");
    ASSERT_TRUE (f.settings.save (values, &device));

    const auto block = bytesOf (f.file);
    const juce::String text ((const char*) block.getData() + 8, block.getSize() - 9);
    EXPECT_TRUE (text.startsWith ("<?xml version=\"1.0\" encoding=\"UTF-8\"?> <THRESHOLD-PRESET>"));
    EXPECT_FALSE (text.containsAnyOf ("\r\n"));

    const auto root = readDocument (f.file);
    ASSERT_NE (root, nullptr);
    juce::StringArray tags;
    for (auto* child : root->getChildIterator())
        tags.add (child->getTagName());
    EXPECT_EQ (tags, juce::StringArray ({ "default", "DEVICESETUP", "projectSettings", "group" }));

    const auto* d = root->getChildElement (0);
    EXPECT_EQ (attributeNames (*d), juce::StringArray ({ "defaultPresetId", "defaultEQPresetId", "showToolTips",
                                                         "maxContrast", "textOutputType", "firstRun", "firstRunV2" }));
    EXPECT_EQ (d->getStringAttribute ("showToolTips"), "1");
    EXPECT_EQ (d->getStringAttribute ("firstRun"), "0");
    EXPECT_EQ (d->getStringAttribute ("firstRunV2"), "0");
    EXPECT_EQ (root->getChildElement (1)->getStringAttribute ("deviceType"), "ALSA");
    EXPECT_EQ (attributeNames (*root->getChildElement (2)),
               juce::StringArray ({ "lastAccessedTrackDirectory", "lastAccessedReferenceTrackDirectory",
                                    "lastAccessedSaveSessionDirectory" }));

    const auto* group = root->getChildElement (3);
    EXPECT_EQ (attributeNames (*group), juce::StringArray ({ "name", "groupId" }));
    ASSERT_EQ (group->getNumChildElements(), 5);
    const auto* preset = group->getChildElement (0);
    EXPECT_EQ (attributeNames (*preset),
               juce::StringArray ({ "presetId", "groupId", "name", "peak", "truePeak", "peakTarget", "truePeakRange",
                                    "shortTermLUFS", "shortTermLUFSRange", "integratedLUFS", "integratedLUFSRange",
                                    "stereoBalance", "stereoCorrelation", "dynamicRange", "loudnessRange" }));
    // Widened from 32 bits: the digits are those of the float nearest 0.3.
    EXPECT_TRUE (preset->getStringAttribute ("stereoBalance").startsWith ("0.3000000119"));
    EXPECT_EQ ((float) preset->getDoubleAttribute ("stereoBalance"), 0.3f);

    // Without a device state the element is left out.
    ASSERT_TRUE (f.settings.save (values, nullptr));
    EXPECT_EQ (readDocument (f.file)->getChildByName ("DEVICESETUP"), nullptr);
}

TEST (SettingsFile, RoundTripAndTheReadersQuirks)
{
    SettingsFolder f;
    testaudio::TempFolder folders;
    const auto kept = folders.file ("kept");
    const auto gone = folders.file ("gone");
    kept.createDirectory();

    SettingsValues values;
    values.presetGroups = presets::makeFactoryPresetGroups (4);
    values.presetGroups[3].presets[2].name = juce::String (juce::CharPointer_UTF8 ("M\xc3\xbcX <&>"));
    values.presetGroups[3].presets[2].truePeak = -1.37f;
    values.defaultPresetId = 17;
    values.defaultEQPresetId = 12;
    values.showToolTips = false;
    values.textOutputType = 2;
    values.lastAccessedTrackDirectory = kept.getFullPathName() + "/";
    values.lastAccessedReferenceTrackDirectory = gone.getFullPathName();
    values.lastAccessedSaveSessionDirectory = kept.getFullPathName();
    ASSERT_TRUE (f.settings.save (values, nullptr));

    const auto loaded = loadFrom (f.base);
    EXPECT_TRUE (sameGroups (loaded.presetGroups, values.presetGroups));
    EXPECT_EQ (loaded.defaultPresetId, 17);
    EXPECT_EQ (loaded.defaultEQPresetId, 12);
    EXPECT_FALSE (loaded.showToolTips);
    EXPECT_TRUE (loaded.maxContrast);
    EXPECT_EQ (loaded.textOutputType, 2);
    EXPECT_FALSE (loaded.firstRun || loaded.firstRunV2);
    EXPECT_EQ (loaded.lastAccessedTrackDirectory, kept.getFullPathName());  // normalised
    EXPECT_EQ (loaded.lastAccessedReferenceTrackDirectory, "");             // deleted since
    // Written with a capital S, looked up with a small one: never found.
    EXPECT_EQ (loaded.lastAccessedSaveSessionDirectory, "");

    juce::XmlElement root ("THRESHOLD-PRESET");
    root.createNewChildElement ("projectSettings")->setAttribute ("lastAccessedsaveSessionDirectory", kept.getFullPathName());
    auto* d = root.createNewChildElement ("default");
    d->setAttribute ("defaultPresetId", 9);
    d->setAttribute ("firstRun", 0);
    d->setAttribute ("firstRunV2", 0);
    root.createNewChildElement ("DEFAULT")->setAttribute ("defaultPresetId", 3);  // tags match with case
    addUserGroup (root, 27, 2, false);
    auto* other = addUserGroup (root, 40, 1);
    other->setAttribute ("groupId", 2);  // only group 3 is read
    writeDocument (f.file, root);

    const auto quirky = loadFrom (f.base);
    EXPECT_EQ (quirky.lastAccessedSaveSessionDirectory, kept.getFullPathName());
    EXPECT_EQ (quirky.defaultPresetId, 9);
    EXPECT_EQ (quirky.defaultEQPresetId, 0);  // absent: 0, not 61
    EXPECT_FALSE (quirky.showToolTips);
    ASSERT_EQ (quirky.presetGroups.size(), 4u);
    EXPECT_EQ (quirky.presetGroups[3].presets.size(), 2u);
    EXPECT_EQ (quirky.presetGroups[3].presets[0].peakTarget, -0.1f);
    EXPECT_EQ (quirky.presetGroups[3].presets[0].integratedLUFS, -14.5f);
    EXPECT_EQ (quirky.presetGroups[3].presets[0].truePeak, 0.0f);
}

TEST (SettingsFile, ARootWithoutAUserGroupGetsTheCompiledInOne)
{
    SettingsFolder f;
    juce::XmlElement root ("THRESHOLD-PRESET");
    writeDocument (f.file, root);

    SettingsValues values;
    SettingsFile (f.base).load (values);
    ASSERT_EQ (values.presetGroups.size(), 4u);
    EXPECT_TRUE (sameGroups (values.presetGroups, presets::makeFactoryPresetGroups (4)));

    // A caller that cut the groups to three still writes a user group.
    values.presetGroups.resize (3);
    const auto document = settingsfile::createDocument (values, nullptr);
    EXPECT_EQ (document->getChildByName ("group")->getNumChildElements(), 5);
}

TEST (SettingsFile, FirstRunRewritesBacksUpAndRenumbers)
{
    SettingsFolder f;
    // An earlier version's file: no firstRunV2, user presets with other ids.
    juce::XmlElement root ("THRESHOLD-PRESET");
    root.createNewChildElement ("default")->setAttribute ("defaultPresetId", 28);
    juce::XmlElement device ("DEVICESETUP");
    device.setAttribute ("audioOutputDeviceName", "out");
    root.addChildElement (new juce::XmlElement (device));
    addUserGroup (root, 40, 3);
    writeDocument (f.file, root);
    f.settings.getBackupFile().replaceWithText ("an older backup");

    const auto values = loadFrom (f.base);

    // In memory: renumbered from 27, the group ids untouched, the flags cleared.
    ASSERT_EQ (values.presetGroups.size(), 4u);
    const auto& user = values.presetGroups[3].presets;
    ASSERT_EQ (user.size(), 3u);
    EXPECT_EQ (user[0].presetId, 27);
    EXPECT_EQ (user[2].presetId, 29);
    EXPECT_EQ (user[2].groupId, 3);
    EXPECT_FALSE (values.firstRun || values.firstRunV2);

    // On disk: rewritten before the renumbering, with the stored device state and the flags
    // cleared; the backup is that same file.
    const auto rewritten = readDocument (f.file);
    ASSERT_NE (rewritten, nullptr);
    EXPECT_EQ (rewritten->getChildByName ("default")->getStringAttribute ("firstRunV2"), "0");
    EXPECT_EQ (rewritten->getChildByName ("group")->getChildElement (0)->getIntAttribute ("presetId"), 40);
    EXPECT_TRUE (rewritten->getChildByName ("DEVICESETUP")->isEquivalentTo (&device, false));
    EXPECT_EQ (bytesOf (f.settings.getBackupFile()), bytesOf (f.file));

    // With firstRun set but firstRunV2 clear: no rewrite, no backup, but the renumbering.
    f.settings.getBackupFile().deleteFile();
    root.getChildByName ("default")->setAttribute ("firstRunV2", "0");
    writeDocument (f.file, root);
    const auto before = bytesOf (f.file);
    const auto again = loadFrom (f.base);
    EXPECT_EQ (again.presetGroups[3].presets[0].presetId, 27);
    EXPECT_EQ (bytesOf (f.file), before);
    EXPECT_FALSE (f.settings.getBackupFile().exists());
}

TEST (SettingsFile, TruncatedFilesGiveTheFullStateOrTheCompiledInOne)
{
    SettingsFolder f;
    SettingsValues values;
    values.presetGroups = presets::makeFactoryPresetGroups (4);
    values.defaultPresetId = 11;
    values.presetGroups[3].presets[4].name = "LAST";
    ASSERT_TRUE (f.settings.save (values, nullptr));
    const auto whole = bytesOf (f.file);
    const auto full = loadFrom (f.base);
    const auto none = loadFrom (f.temp.file ("nowhere"));

    for (size_t n = 0; n < whole.getSize(); n += (n + 64 < whole.getSize() ? 7 : 1))
    {
        f.file.replaceWithData (whole.getData(), n);
        const auto loaded = loadFrom (f.base);
        // Only a cut in the closing tags of the group and the root still gives a document.
        if (n + 40 < whole.getSize())
            EXPECT_TRUE (sameValues (loaded, none)) << n;
        else
            EXPECT_TRUE (sameValues (loaded, full) || sameValues (loaded, none)) << n;
        EXPECT_EQ (f.file.getSize(), (juce::int64) n);
    }
}

TEST (SettingsFile, AFailedWriteLeavesTheOldFileWhole)
{
    SettingsFolder f;
    SettingsValues values;
    values.presetGroups = presets::makeFactoryPresetGroups (4);
    ASSERT_TRUE (f.settings.save (values, nullptr));
    const auto old = bytesOf (f.file);

    values.lastAccessedTrackDirectory = juce::String::repeatedString ("/long", 400);
    {
        persisttest::FileSizeLimit limit ((rlim_t) old.getSize());
        ASSERT_TRUE (limit.isActive());
        EXPECT_FALSE (f.settings.save (values, nullptr));
    }
    EXPECT_EQ (bytesOf (f.file), old);
    EXPECT_EQ (f.file.getParentDirectory().getNumberOfChildFiles (juce::File::findFilesAndDirectories
                                                                   | juce::File::ignoreHiddenFiles, "*"), 1);
    EXPECT_EQ (f.file.getParentDirectory().getNumberOfChildFiles (juce::File::findFiles, ".*"), 0);

    // A folder where the file should be stays as it is, and reads as no file.
    f.file.deleteFile();
    f.file.getChildFile ("inside").create();
    EXPECT_FALSE (f.settings.save (values, nullptr));
    EXPECT_TRUE (f.file.getChildFile ("inside").existsAsFile());
    EXPECT_EQ (loadFrom (f.base).presetGroups.size(), 4u);
}

TEST (SettingsStore, MovesValuesBetweenTheModelAndTheFile)
{
    testaudio::TempFolder temp;
    Model model;
    SettingsStore store (model, temp.path());
    EXPECT_FALSE (store.getFile().exists());

    model.showToolTips = false;
    model.textOutputType = 1;
    model.presetGroups = presets::makeFactoryPresetGroups (4);
    model.presetGroups[3].presets[0].name = "EDITED";
    model.storedDeviceState = std::make_unique<juce::XmlElement> ("DEVICESETUP");
    model.storedDeviceState->setAttribute ("from", "file");
    int asked = 0;
    store.deviceStateProvider = [&asked] {
        ++asked;
        auto e = std::make_unique<juce::XmlElement> ("DEVICESETUP");
        e->setAttribute ("from", "devices");
        return e;
    };

    store.save (false);
    EXPECT_EQ (asked, 1);
    EXPECT_EQ (readDocument (store.getFile())->getChildByName ("DEVICESETUP")->getStringAttribute ("from"), "devices");
    store.save (true);
    EXPECT_EQ (asked, 1);
    EXPECT_EQ (readDocument (store.getFile())->getChildByName ("DEVICESETUP")->getStringAttribute ("from"), "file");
    ASSERT_NE (model.storedDeviceState, nullptr);  // the document only took a copy

    Model fresh;  // three groups until the file adds the fourth
    fresh.selectPresetById (5);
    SettingsStore (fresh, temp.path()).load();
    EXPECT_FALSE (fresh.showToolTips);
    EXPECT_EQ (fresh.textOutputType, 1);
    EXPECT_EQ (fresh.storedDeviceState->getStringAttribute ("from"), "file");
    ASSERT_EQ (fresh.presetGroups.size(), 4u);
    // The current preset is looked up again in the new groups.
    ASSERT_NE (fresh.currentPreset, nullptr);
    EXPECT_EQ (fresh.presetGroups[3].presets[0].name, "EDITED");
    EXPECT_EQ (fresh.currentPreset, &fresh.presetGroups[1].presets[1]);
}
