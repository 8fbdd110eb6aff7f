#pragma once

#include "OrvaneLookandFeel.h"

namespace bws
{
    // The thin scroll bar of the track list and the EQ panel: no buttons, a slim rounded
    // thumb in the strip colour that turns to the accent under the mouse.
    class ScrollbarLNF : public OrvaneLookandFeel
    {
    public:
        explicit ScrollbarLNF (juce::Typeface::Ptr typeface = nullptr);

        static constexpr int barWidth = 8;

        int getDefaultScrollbarWidth() override { return barWidth; }
        bool areScrollbarButtonsVisible() override { return false; }
        int getMinimumScrollbarThumbSize (juce::ScrollBar&) override { return 24; }

        static juce::Colour thumbColour (bool mouseOver, bool mouseDown) noexcept;
        static juce::Rectangle<float> thumbBounds (int x, int y, int width, int height, bool vertical,
                                                   int thumbStartPosition, int thumbSize);

        void drawScrollbar (juce::Graphics&, juce::ScrollBar&, int x, int y, int width, int height,
                            bool isScrollbarVertical, int thumbStartPosition, int thumbSize,
                            bool isMouseOver, bool isMouseDown) override;

    private:
        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ScrollbarLNF)
    };
}
