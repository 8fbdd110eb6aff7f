#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // The program's default look. Holds one typeface for text drawn without a face of its own.
    //
    // Sliders: the slider whose component id is "play" gets a grey line and a green rounded
    // thumb of 16 by 16 with a white play mark; every other slider looks as in V4.
    // Labels: drawn inside a tag shape, one for the label with id "Horizontal" (a value tag
    // pointing right, towards the plot) and one for every other label (a box with a notch
    // pointing up, towards the marker it tells the time of).
    // Tooltips: the rule of TooltipLookAndFeel. Menus: dark background, grey items that turn
    // light when highlighted, thin separators.
    class OrvaneLookandFeel : public juce::LookAndFeel_V4
    {
    public:
        explicit OrvaneLookandFeel (juce::Typeface::Ptr typeface = nullptr);
        ~OrvaneLookandFeel() override;

        static constexpr const char* playSliderId = "play";
        static constexpr const char* horizontalLabelId = "Horizontal";
        static constexpr float playThumbSize = 16.0f;
        static constexpr float playThumbCorner = 2.0f;

        void setTypeface (juce::Typeface::Ptr newTypeface) { typeface = std::move (newTypeface); }
        juce::Typeface::Ptr getTypeface() const { return typeface; }

        juce::Typeface::Ptr getTypefaceForFont (const juce::Font&) override;

        // Sliders
        void drawLinearSlider (juce::Graphics&, int x, int y, int width, int height,
                               float sliderPos, float minSliderPos, float maxSliderPos,
                               juce::Slider::SliderStyle, juce::Slider&) override;
        void drawLinearSliderBackground (juce::Graphics&, int x, int y, int width, int height,
                                         float sliderPos, float minSliderPos, float maxSliderPos,
                                         juce::Slider::SliderStyle, juce::Slider&) override;
        void drawLinearSliderThumb (juce::Graphics&, int x, int y, int width, int height,
                                    float sliderPos, float minSliderPos, float maxSliderPos,
                                    juce::Slider::SliderStyle, juce::Slider&) override;

        // The thumb's square for a slider position (horizontal sliders centre it vertically).
        static juce::Rectangle<float> playThumbBounds (int x, int y, int width, int height,
                                                       float sliderPos, bool vertical);

        // Labels
        void drawLabel (juce::Graphics&, juce::Label&) override;
        static juce::Path labelShape (juce::Rectangle<float> area, bool horizontal);

        // Tooltips
        juce::Rectangle<int> getTooltipBounds (const juce::String& tipText, juce::Point<int> screenPos, juce::Rectangle<int> parentArea) override;
        void drawTooltip (juce::Graphics&, const juce::String& text, int width, int height) override;
        juce::Font getTooltipFont() const;

        // Menus
        void drawPopupMenuBackground (juce::Graphics&, int width, int height) override;
        void drawPopupMenuItem (juce::Graphics&, const juce::Rectangle<int>& area,
                                bool isSeparator, bool isActive, bool isHighlighted, bool isTicked,
                                bool hasSubMenu, const juce::String& text,
                                const juce::String& shortcutKeyText,
                                const juce::Drawable* icon, const juce::Colour* textColour) override;
        static juce::Rectangle<float> separatorLine (const juce::Rectangle<int>& area);

        // Image buttons with transparent backgrounds draw no frame.
        void drawButtonBackground (juce::Graphics&, juce::Button&, const juce::Colour& backgroundColour,
                                   bool highlighted, bool down) override;

    private:
        juce::Typeface::Ptr typeface;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (OrvaneLookandFeel)
    };
}
