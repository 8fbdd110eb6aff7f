// libFuzzer target: the settings reader on arbitrary file contents. Whatever reads as settings
// must write a document that reads back to the same document, and the factory groups must be
// restorable from any state the reader leaves.

#include "targets/SettingsFile.h"
#include "targets/XmlBinaryWrapper.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace
{
void require (bool condition, const char* what)
{
    if (! condition)
    {
        std::fprintf (stderr, "fuzz_settings_reader: %s\n", what);
        std::abort();
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    SettingsValues values;
    if (! settingsfile::readBytes (data, size, values))
        return 0;

    const auto first = settingsfile::createDocument (values, values.deviceSetup.get());
    const auto block = xmlwrap::wrap (*first);

    SettingsValues back;
    require (settingsfile::readBytes (block.getData(), block.getSize(), back), "written settings do not read back");
    require (! back.firstRun && ! back.firstRunV2, "written settings ask for a first run");
    // The session folder is written under a key the reader never looks up.
    require (back.lastAccessedSaveSessionDirectory.isEmpty(), "the session folder came back");
    back.lastAccessedSaveSessionDirectory = values.lastAccessedSaveSessionDirectory;

    const auto second = settingsfile::createDocument (back, back.deviceSetup.get());
    require (xmlwrap::wrap (*second) == block, "settings change on a second round");

    settingsfile::restoreFactoryGroups (values.presetGroups);
    if (values.presetGroups.size() > 3)
        for (size_t i = 0; i < values.presetGroups[3].presets.size(); ++i)
            require (values.presetGroups[3].presets[i].presetId == 27 + (int) i, "user presets not renumbered");
    return 0;
}
