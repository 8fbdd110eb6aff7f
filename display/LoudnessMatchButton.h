#pragma once

#include "kit/ClippedPNGButton.h"

// The top bar's loudness match switch: a slanted image button that clicks to toggle. It shows
// its hover image whenever it is on or under the mouse. Message thread only.
class LoudnessMatchButton : public bws::ClippedPNGButton
{
public:
    LoudnessMatchButton();

    static constexpr int buttonWidth = 137;
    static constexpr int buttonHeight = 38;

    void paintButton (juce::Graphics&, bool highlighted, bool down) override;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (LoudnessMatchButton)
};
