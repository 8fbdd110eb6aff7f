#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // The text buttons of the small accent-coloured pop-ups: flat, a light pill when
    // toggled on, a faint wash under the mouse.
    class PopupLookAndFeel : public juce::LookAndFeel_V4
    {
    public:
        explicit PopupLookAndFeel (juce::Typeface::Ptr typeface = nullptr);

        static constexpr float fontHeight = 14.0f;

        static juce::Colour fillFor (bool toggledOn, bool highlighted, bool down) noexcept;
        static juce::Colour textFor (bool toggledOn) noexcept;

        juce::Font getTextButtonFont (juce::TextButton&, int buttonHeight) override;
        void drawButtonBackground (juce::Graphics&, juce::Button&, const juce::Colour& backgroundColour,
                                   bool highlighted, bool down) override;
        void drawButtonText (juce::Graphics&, juce::TextButton&, bool highlighted, bool down) override;

    private:
        juce::Typeface::Ptr typeface;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PopupLookAndFeel)
    };
}
