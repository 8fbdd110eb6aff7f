#pragma once

#include "targets/SessionModel.h"

class Model;

namespace eqpresets
{
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
