#pragma once

#include "display/ButtonBase.h"

// A readout button with two figures and their units: loudness, peak or dynamics of a strip.
// A click on a figure or its unit chooses that line; a click elsewhere the body.
class ButtonReadout : public ButtonBase
{
public:
    ButtonReadout (const juce::String& iconFamily, const juce::String& bodyFamily, int mainKind, int firstKind,
                   int secondKind, const juce::String& firstUnit, const juce::String& secondUnit);
    ~ButtonReadout() override;

    // Both figures with that many decimals; an infinite value shows as 0.
    void setReadouts (float first, float second, int decimals);

    juce::Label firstValue, firstUnit, secondValue, secondUnit;

protected:
    int lineAt (const juce::MouseEvent& e) const override;
    void refreshLines() override;

private:
    void place();

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ButtonReadout)
};
