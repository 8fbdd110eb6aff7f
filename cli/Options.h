#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <vector>

namespace orvane::cli
{
enum class ProgressMode
{
    automatic, // a bar on stderr when stderr is a terminal
    never,
};

// Where the presets and the remembered default preset come from.
enum class SettingsSource
{
    user,  // the settings file of the desktop application, if there is one
    file,  // a settings file named on the command line
    none,  // nothing is read: the compiled-in groups without the USER group
};

// The heat map is judged column by column, so the width matters a little. By default it is
// the waveform of a track strip in a window 1000 pixels wide (the window's starting and
// smallest size): 1000 less 8 for the frame, 8 for the track list's scroll bar and 336 for
// the name and the readout buttons. A window W pixels wide gives W - 352.
constexpr int defaultScanWidth = 648;
constexpr int largestScanWidth = 100000;
// A track strip, and with it its waveform, is 140 pixels high.
constexpr int stripWaveformHeight = 140;

// Values of --report-type: what the text report holds for each track.
constexpr int lastReportType = 2;

struct Options
{
    bool json = false;
    bool points = false;
    bool help = false;
    bool listPresets = false;
    bool details = false;
    ProgressMode progress = ProgressMode::automatic;

    // The preset to judge by; when absent, the remembered default preset.
    std::optional<int> presetId;
    // --eq-preset: the EQ preset whose tonal balance each track is compared with.
    std::optional<int> eqPresetId;
    // --report-type; when absent, the "textOutputType" the settings file stores.
    std::optional<int> reportType;
    int width = defaultScanWidth;

    SettingsSource settings = SettingsSource::user;
    juce::String settingsFile;   // with SettingsSource::file

    juce::String exportFolder;   // --export: write the text report file into this folder
    juce::String sessionFile;    // --save-session: write a session of the usable files
    juce::String imagesFolder;   // --images: write a picture of each usable file into this folder

    std::vector<juce::String> files;
    // Files named by bytes that are not valid UTF-8: the name shown (bad bytes as U+FFFD),
    // as it stands in files, and the bytes that name the file on disk.
    std::vector<std::pair<juce::String, std::string>> undecodableNames;
};

struct ParseResult
{
    Options options;
    // Empty when the command line is good; otherwise one line saying what is wrong.
    juce::String error;

    bool ok() const { return error.isEmpty(); }
};

// Reads the arguments that follow the program name.
ParseResult parseOptions (const std::vector<juce::String>& arguments);

// The text of --help.
juce::String helpText();

// Exit statuses. An unusable file outweighs a reading out of range.
constexpr int exitOk = 0;
constexpr int exitOutOfRange = 1;
constexpr int exitUnusableFile = 2;
constexpr int exitUsage = 3;
} // namespace orvane::cli
