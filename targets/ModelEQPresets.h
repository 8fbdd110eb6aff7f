#pragma once

#include "targets/SessionModel.h"

#include <cstdint>

class Model;

namespace eqpresets
{
// When the finished track with that id is the reference track: marks a reference analysis as
// set and copies the track's integrated loudness and three band lists into preset 62. False,
// and nothing changed, for any other track.
bool takeReferenceAnalysis (Model& model, int64_t trackId);

// Compares with a loaded track: a reference track is made from its name, loudness and band
// lists (as a session makes one), which then stand in preset 62 as a dropped file's would.
// False when no finished track has that id.
bool useTrackAsReference (Model& model, int64_t trackId);

// What the drop area says once a reference stands in preset 62: the reference track's name,
// cut at 25 characters, and how to use it.
juce::String referenceCompletionText (const Model& model);

// What a session reads and restores of the Model's EQ presets: the current preset and the
// reference analysis that preset 62 holds.
class ModelSessionEqPresets : public SessionEqPresets
{
public:
    explicit ModelSessionEqPresets (Model& owner) : model (owner) {}

    std::optional<int> currentEQPresetId() const override;
    // Only the current preset changes; the remembered default id is left alone.
    std::optional<juce::String> selectEQPreset (int presetId) override;
    SessionReference referenceAnalysis() const override;
    // Stores the loudness and the three lists in preset 62; the name stays REFERENCE TRACK.
    void storeReferenceAnalysis (const SessionReference& reference) override;

private:
    Model& model;
};
} // namespace eqpresets
