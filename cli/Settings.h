#pragma once

#include "cli/Options.h"

class Model;

namespace orvane::cli
{
struct SettingsOutcome
{
    // A reason to stop (a named settings file that doesn't exist); empty otherwise.
    juce::String error;
    // Something the user should hear about (a named file that isn't a settings file).
    juce::String warning;
};

// Reads the presets, the default preset id and the rest of the settings into the Model, the
// way the application does at start-up, from the source the options name. The file is never
// written: the application's loader may rewrite a file on its first run, so it is given a
// scratch copy.
SettingsOutcome readSettings (Model& model, const Options& options);
} // namespace orvane::cli
