#pragma once

#include "targets/SessionFile.h"

#include <functional>
#include <optional>

class Model;

// What a session needs of the EQ presets: the current one and the reference analysis that
// preset 62 holds. The EQ preset code provides it; without it those parts are skipped.
class SessionEqPresets
{
public:
    virtual ~SessionEqPresets() = default;

    // The id of the current EQ preset, or nothing when none is selected.
    virtual std::optional<int> currentEQPresetId() const = 0;
    // Makes the preset with that id current and returns its name; nothing (and no current
    // preset) when no preset has that id.
    virtual std::optional<juce::String> selectEQPreset (int presetId) = 0;
    // The loudness and the three band lists of preset 62; the track name is not used.
    virtual SessionReference referenceAnalysis() const = 0;
    virtual void storeReferenceAnalysis (const SessionReference& reference) = 0;
};

// How the window stood, as the window reports it when a session is saved.
struct SessionWindowState
{
    int x = 0;  // of the main component, on the screen
    int y = 0;
    int width = 1000;
    int height = 800;
    bool fullScreen = false;  // the window's peer is full screen
    int eqWindowHeight = 0;   // height of the EQ panel
};

// What a `default` element asks of the window once the Model has taken its part.
struct SessionDefaultsOutcome
{
    // The preset is selected in the Model. The window shows this in the top bar, clears the
    // preset toggle, closes the presets window, refreshes every strip's feedback and repaints.
    juce::String presetName;
    // The EQ panel's label: the current EQ preset's name or "[NO PRESET SELECTED]". Empty
    // when no EQ presets were given.
    juce::String eqPresetName;
    // Full screen leaves the four figures unused; otherwise they are the peer's bounds.
    bool fullScreen = false;
    int x = 0;
    int y = 0;
    int width = 1000;
    int height = 800;
    // Already in the Model. When false the EQ panel goes to x 4, y = the component's height
    // less eqWindowHeight less 52, keeps its width, takes eqWindowHeight as its height, and
    // the component is laid out again.
    bool eqWindowHidden = true;
    int eqWindowHeight = 0;
};

// The window's side of opening a session. Each is optional.
struct SessionOpenHandlers
{
    // Removes every track and its strip. Without it the Model's tracks are removed directly,
    // which is only safe while no load is running.
    std::function<void()> removeAllTracks;
    // The main display's file-drop operation, as if the files were dropped at (0, 0).
    std::function<void (const juce::StringArray&)> dropFiles;
    // Everything of a `default` element that needs the window.
    std::function<void (const SessionDefaultsOutcome&)> applyToWindow;
};

namespace sessionmodel
{
// The session as it stands: presets, folders, the window as given, the reference analysis
// when one is set, and every track in list order.
SessionDocument capture (Model& model, const SessionWindowState& window, const SessionEqPresets* eqPresets);

// Writes the session; true on success, when the window shows "Session saved" for 60 ticks.
// The session folder is not changed by saving.
bool save (Model& model, const juce::File& file, const SessionWindowState& window,
           const SessionEqPresets* eqPresets);

// The Model's part of a `default` element, in its order: the preset, the reference analysis
// (a new empty reference track with the stored name, and preset 62's data; or only the flag
// cleared), the EQ preset, the three folders (each kept only if it is still a directory) and
// the EQ panel's visibility. The rest is returned for the window.
SessionDefaultsOutcome applyDefaults (Model& model, const SessionDefaults& defaults, SessionEqPresets* eqPresets);

// Opening a file already known to be a session: the session folder becomes the file's
// folder; then, if it holds a session, its parts are applied in order (a `trackList` removes
// all tracks and drops its paths). Returns the session's name (the file name), or nothing
// when the file holds no session; then nothing else has changed.
std::optional<juce::String> open (Model& model, const juce::File& file, SessionEqPresets* eqPresets,
                                  const SessionOpenHandlers& handlers);
} // namespace sessionmodel
