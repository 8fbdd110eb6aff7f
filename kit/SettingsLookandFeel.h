#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // The look of the settings window: dark fields with thin light outlines, round radio
    // toggles filled with the accent when on, and menus like the main look's.
    class SettingsLookandFeel : public juce::LookAndFeel_V4
    {
    public:
        explicit SettingsLookandFeel (juce::Typeface::Ptr typeface = nullptr);

        static constexpr float fontHeight = 14.0f;

        juce::Typeface::Ptr getTypefaceForFont (const juce::Font&) override;

        void drawToggleButton (juce::Graphics&, juce::ToggleButton&, bool highlighted, bool down) override;
        static juce::Rectangle<float> toggleDot (juce::Rectangle<int> buttonArea);

        void drawComboBox (juce::Graphics&, int width, int height, bool isButtonDown,
                           int buttonX, int buttonY, int buttonW, int buttonH, juce::ComboBox&) override;
        juce::Font getComboBoxFont (juce::ComboBox&) override;
        juce::Font getLabelFont (juce::Label&) override;

        void fillTextEditorBackground (juce::Graphics&, int width, int height, juce::TextEditor&) override;
        void drawTextEditorOutline (juce::Graphics&, int width, int height, juce::TextEditor&) override;

        void drawPopupMenuBackground (juce::Graphics&, int width, int height) override;
        void drawPopupMenuItem (juce::Graphics&, const juce::Rectangle<int>& area,
                                bool isSeparator, bool isActive, bool isHighlighted, bool isTicked,
                                bool hasSubMenu, const juce::String& text,
                                const juce::String& shortcutKeyText,
                                const juce::Drawable* icon, const juce::Colour* textColour) override;

    private:
        juce::Typeface::Ptr typeface;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (SettingsLookandFeel)
    };
}
