#pragma once

#include "display/ButtonBase.h"

#include <vector>

// The stereo readout of a strip: balance on line one, correlation on line two, each drawn as a
// bar of faint ticks whose density reads as a histogram. Disabled on a one-channel track.
class ButtonStereo : public ButtonBase
{
public:
    ButtonStereo();
    ~ButtonStereo() override;

    // Takes the two series (balance, correlation) for paint.
    void setStereoReadings (std::vector<float> first, std::vector<float> second);

    void paint (juce::Graphics&) override;
    void resized() override;

    // Where a value of -1 .. +1 puts its tick.
    static int tickX (float value) { return (int) (value * 33.0f + 41.0f); }

    juce::Label left { {}, "L" }, right { {}, "R" }, minusOne { {}, "-1" }, plusOne { {}, "+1" };
    std::vector<float> balance, correlation;

protected:
    int lineAt (const juce::MouseEvent& e) const override;
    void refreshLines() override;

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ButtonStereo)
};
