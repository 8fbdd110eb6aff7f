#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // The close button of the overlay windows: a thin X that lights up under the mouse.
    class XButton : public juce::Button
    {
    public:
        XButton();

        static constexpr int defaultSize = 16;

        // The colour of the cross for a state.
        static juce::Colour crossColour (bool highlighted, bool down) noexcept;

        void paintButton (juce::Graphics&, bool highlighted, bool down) override;

    private:
        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (XButton)
    };
}
