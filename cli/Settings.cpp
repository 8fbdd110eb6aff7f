#include "cli/Settings.h"

#include "analysis/AudioFileCheck.h"
#include "analysis/Model.h"
#include "targets/SettingsStore.h"

namespace orvane::cli
{
namespace
{
bool holdsSettings (const juce::File& file)
{
    juce::MemoryBlock data;
    SettingsValues scratch;
    return file.loadFileAsData (data) && settingsfile::readBytes (data.getData(), data.getSize(), scratch);
}

// A folder that is deleted with the object.
struct ScratchFolder
{
    ScratchFolder()
        : folder (juce::File::getSpecialLocation (juce::File::tempDirectory)
                      .getNonexistentChildFile ("orvane-check-settings", {}, false))
    {
        folder.createDirectory();
    }
    ~ScratchFolder() { folder.deleteRecursively(); }

    juce::File folder;
};
} // namespace

SettingsOutcome readSettings (Model& model, const Options& options)
{
    SettingsOutcome outcome;
    if (options.settings == SettingsSource::none)
        return outcome;

    juce::File source = SettingsFile().getFile();
    if (options.settings == SettingsSource::file)
    {
        source = juce::File::getCurrentWorkingDirectory().getChildFile (options.settingsFile);
        if (source.isDirectory())
        {
            outcome.error = "--settings: " + options.settingsFile
                            + " is a folder; give the settings file itself (orvane-settings.dat)";
            return outcome;
        }
        // A pipe or a device would block the copy below, or never end.
        if (const auto problem = audiofile::notARegularFile (source); problem.isNotEmpty())
        {
            outcome.error = "--settings: " + options.settingsFile + ": "
                            + (problem == "no such file" ? juce::String ("no such settings file") : problem);
            return outcome;
        }
        if (! holdsSettings (source))
            outcome.warning = options.settingsFile + " is not an ORVANE settings file; the compiled-in presets are used";
    }

    ScratchFolder scratch;
    SettingsStore store (model, scratch.folder);
    if (source.existsAsFile())
    {
        store.getFile().getParentDirectory().createDirectory();
        source.copyFileTo (store.getFile());
    }
    // With no file the loader gives the four compiled-in groups, as on a first start.
    store.load();
    return outcome;
}
} // namespace orvane::cli
