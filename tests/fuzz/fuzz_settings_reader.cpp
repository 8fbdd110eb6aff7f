// libFuzzer target: the settings reader on arbitrary file contents. Whatever reads as settings
// must write a file that reads back, and from the second round on the file must not change
// (the first round may still normalise, e.g. a carriage return in text reads back as a line
// feed). The factory groups must be restorable from any state the reader leaves.

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

void printDifference (const juce::MemoryBlock& a, const juce::MemoryBlock& b)
{
    size_t at = 0;
    while (at < a.getSize() && at < b.getSize() && a[(int) at] == b[(int) at])
        ++at;
    std::fprintf (stderr, "sizes %zu and %zu, first difference at %zu:\n", a.getSize(), b.getSize(), at);
    for (size_t i = at > 40 ? at - 40 : 0; i < at + 40 && i < a.getSize() && i < b.getSize(); ++i)
        std::fprintf (stderr, "%02x/%02x ", (unsigned) (uint8_t) a[(int) i], (unsigned) (uint8_t) b[(int) i]);
    std::fprintf (stderr, "\n");
}

// Writes the values and reads them back as the next start would.
juce::MemoryBlock writeAndReadBack (const SettingsValues& values, SettingsValues& back)
{
    auto block = xmlwrap::wrap (*settingsfile::createDocument (values, values.deviceSetup.get()));
    require (settingsfile::readBytes (block.getData(), block.getSize(), back), "written settings do not read back");
    require (! back.firstRun && ! back.firstRunV2, "written settings ask for a first run");
    // The session folder is written under a key the reader never looks up.
    require (back.lastAccessedSaveSessionDirectory.isEmpty(), "the session folder came back");
    back.lastAccessedSaveSessionDirectory = values.lastAccessedSaveSessionDirectory;
    return block;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    SettingsValues values;
    if (! settingsfile::readBytes (data, size, values))
        return 0;

    SettingsValues first, second, third;
    writeAndReadBack (values, first);
    const auto secondBlock = writeAndReadBack (first, second);
    const auto thirdBlock = writeAndReadBack (second, third);
    if (secondBlock != thirdBlock)
        printDifference (secondBlock, thirdBlock);
    require (secondBlock == thirdBlock, "settings keep changing from round to round");

    settingsfile::restoreFactoryGroups (values.presetGroups);
    if (values.presetGroups.size() > 3)
        for (size_t i = 0; i < values.presetGroups[3].presets.size(); ++i)
            require (values.presetGroups[3].presets[i].presetId == 27 + (int) i, "user presets not renumbered");
    return 0;
}
