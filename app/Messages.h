#pragma once

#include "analysis/Model.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <optional>

// Every text that travels between the parts of the program as an action message. The text
// is the protocol: a bare keyword is compared whole, a prefix ending in ':' carries a payload
// and is compared with startsWith. The load path's prefixes are the Model's own constants.
namespace messages
{
// --- sent by the Model ---
inline constexpr const char* update = Model::updateMessage;                           // "UPDATE:", compared whole
inline constexpr const char* loadStatus = Model::loadStatusMessage;                   // + "Loading " / "File not found " + name
inline constexpr const char* referenceTrack = Model::referenceTrackMessage;           // no taker reads it
inline constexpr const char* trackInitialLoadComplete = Model::initialLoadCompleteMessage;  // + flag + id
inline constexpr const char* trackWaveformComplete = Model::waveformCompleteMessage;  // + flag + id

// --- sent by the track strips ---
inline constexpr const char* trackDelete = "TRACK_DELETE:";   // + id
inline constexpr const char* feedback = "FEEDBACK:";          // + id, or nothing when toggled off
inline constexpr const char* selectAll = "SELECT_ALL:";       // + kind + "~" + id

// --- sent by the readout buttons ---
inline constexpr const char* mainButton = "MAIN_BUTTON:";     // fields at fixed positions, cut by '~'

// --- bare keywords ---
inline constexpr const char* closeLoudnessMatch = "CLOSE_LOUDNESSMATCH";
inline constexpr const char* openSessionOrAudioFiles = "OPEN_SESSION_OR_AUDIO_FILES";
inline constexpr const char* normalPresetIdChanged = "NORMAL_PRESET_ID_CHANGED";
inline constexpr const char* compareEQPresetIdChanged = "COMPARE_EQ_PRESET_ID_CHANGED";
inline constexpr const char* normalGroupIdChanged = "NORMAL_GROUP_ID_CHANGED";
inline constexpr const char* compareEQGroupIdChanged = "COMPARE_EQ_GROUP_ID_CHANGED";
// The two misspelt window names belong to the protocol.
inline constexpr const char* closeHelpWindow = "CLOSE_HELP_WONDOW";
inline constexpr const char* closeSettingsWindow = "CLOSE_SETTINGS_WONDOW";
inline constexpr const char* closeAuthorisationWindow = "CLOSE_AUTHORISATION_WINDOW";
inline constexpr const char* authorised = "AUTHORISED";
inline constexpr const char* deauthorised = "DEAUTHORISED";

// --- the track-name list of the EQ panel ---
inline constexpr const char* selected = "SELECTED";           // + row
inline constexpr const char* unselected = "UNSELECTED";
inline constexpr const char* hide = "HIDE";                   // + row
inline constexpr const char* hover = "HOVER";                 // + row, "-1" on leaving

// --- kept by the reference drop target; nothing sends them ---
inline constexpr const char* fileNotFound = "FILE_NOT_FOUND:";
inline constexpr const char* fileNotFoundEnd = "FILE_NOT_FOUND_END";
inline constexpr const char* trackLoading = "TRACK_LOADING:";

// The load messages put a one-character reference flag in front of the id.
struct LoadMessage
{
    bool reference = false;  // flag "1": the track of a reference analysis
    int64_t trackId = 0;     // read from the flag's position on, so "0" + id gives id
};

// The flag and id of a "TRACK_INITIAL_LOAD_COMPLETE:" or "TRACK_WAVEFORM_COMPLETE:" text with
// that prefix; nothing when the text doesn't start with it.
std::optional<LoadMessage> parseLoadMessage (const juce::String& message, const char* prefix);

// What the main display takes of a load message: the id of a display track, or nothing when
// the text isn't one, its flag is "1" or its id is below 1.
std::optional<int64_t> displayTrackId (const juce::String& message, const char* prefix);

// The id after a prefix ("TRACK_DELETE:", "FEEDBACK:"); 0 stands for no id, including a
// payload that is missing or doesn't parse.
int64_t trackIdAfter (const juce::String& message, const char* prefix);

// A click on a readout button, as "MAIN_BUTTON:" carries it. Positions count from the end of
// the prefix: 0 the modifier, 2 the selected flag (a line) or the kind's first digit (the
// body), 4 onwards the reading kind (a line only).
struct MainButtonClick
{
    bool modifier = false;     // position 0 is not "0": Ctrl or Alt was down
    bool position2Set = false; // position 2 is not "0"
    juce::String kindText;     // position 4 to the end; empty for a body click
    int kind = 0;              // kindText as a number, 0 when empty
};

std::optional<MainButtonClick> parseMainButton (const juce::String& message);

// The texts the readout buttons send.
juce::String mainButtonBodyMessage (bool modifier, int mainKind);
juce::String mainButtonLineMessage (bool modifier, bool lineSelected, int kind);

// "SELECT_ALL:" + kind + "~" + id. The taker reads the kind; the id is carried but not read.
juce::String selectAllMessage (const juce::String& kindText, int64_t trackId);
std::optional<int> parseSelectAllKind (const juce::String& message);

// The row number after "SELECTED", "HIDE" or "HOVER".
std::optional<int> rowAfter (const juce::String& message, const char* keyword);

// A message with that prefix, or that whole keyword.
bool hasPrefix (const juce::String& message, const char* prefix);
bool isKeyword (const juce::String& message, const char* keyword);

// The window's title for a session name sent by the main component.
juce::String windowTitle (const juce::String& applicationName, const juce::String& sessionName);
} // namespace messages
