#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // The look of tooltips. The placement rule and the drawing are static so that the main
    // look (OrvaneLookandFeel) shares them.
    //
    // A tip whose text begins with "0" or "1" is a fixed box of 455 by 180 at the pointer.
    // Any other tip is as big as its laid-out text plus 14 by 6, sits 6 below the pointer
    // (6 above it in the lower half of the parent) and 24 to its right (width + 12 to its
    // left in the right half), and is then kept inside the parent area.
    class TooltipLookAndFeel : public juce::LookAndFeel_V4
    {
    public:
        // Without a typeface, the "Book" face from the compiled fonts.
        explicit TooltipLookAndFeel (juce::Typeface::Ptr typeface = nullptr);

        static constexpr int fixedBoxWidth = 455;
        static constexpr int fixedBoxHeight = 180;
        static constexpr float fontHeight = 14.0f;
        static constexpr float maxTextWidth = 400.0f;

        static bool usesFixedBox (const juce::String& tipText) noexcept;

        static juce::TextLayout layoutText (const juce::String& tipText, const juce::Font& font);

        static juce::Rectangle<int> tooltipBounds (const juce::String& tipText,
                                                   juce::Point<int> position,
                                                   juce::Rectangle<int> parentArea,
                                                   const juce::Font& font);

        // The shape behind the text: inset 5 at the sides, corners of 10 but the top left.
        static juce::Path tooltipShape (int width, int height);

        static void paintTooltip (juce::Graphics&, const juce::String& tipText, int width, int height, const juce::Font& font);

        juce::Font getTooltipFont() const;

        juce::Rectangle<int> getTooltipBounds (const juce::String& tipText, juce::Point<int> screenPos, juce::Rectangle<int> parentArea) override;
        void drawTooltip (juce::Graphics&, const juce::String& text, int width, int height) override;

    private:
        juce::Typeface::Ptr face;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TooltipLookAndFeel)
    };
}
