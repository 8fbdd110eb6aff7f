#include "ScrollbarLNF.h"
#include "Palette.h"

namespace bws
{
    ScrollbarLNF::ScrollbarLNF (juce::Typeface::Ptr face)
        : OrvaneLookandFeel (std::move (face))
    {
        setColour (juce::ScrollBar::thumbColourId, juce::Colour (Palette::stripBackground));
        setColour (juce::ScrollBar::trackColourId, juce::Colours::transparentBlack);
    }

    juce::Colour ScrollbarLNF::thumbColour (bool mouseOver, bool mouseDown) noexcept
    {
        if (mouseDown)
            return juce::Colour (Palette::accent);

        return mouseOver ? juce::Colour (Palette::accent).withAlpha (0.8f) : juce::Colour (Palette::stripBackground);
    }

    juce::Rectangle<float> ScrollbarLNF::thumbBounds (int x, int y, int width, int height, bool vertical,
                                                      int thumbStartPosition, int thumbSize)
    {
        if (vertical)
            return juce::Rectangle<float> ((float) x, (float) thumbStartPosition, (float) width, (float) thumbSize)
                       .reduced (2.0f, 1.0f);

        return juce::Rectangle<float> ((float) thumbStartPosition, (float) y, (float) thumbSize, (float) height)
                   .reduced (1.0f, 2.0f);
    }

    void ScrollbarLNF::drawScrollbar (juce::Graphics& g, juce::ScrollBar&, int x, int y, int width, int height,
                                      bool isScrollbarVertical, int thumbStartPosition, int thumbSize,
                                      bool isMouseOver, bool isMouseDown)
    {
        if (thumbSize <= 0)
            return;

        auto thumb = thumbBounds (x, y, width, height, isScrollbarVertical, thumbStartPosition, thumbSize);
        g.setColour (thumbColour (isMouseOver, isMouseDown));
        g.fillRoundedRectangle (thumb, juce::jmin (thumb.getWidth(), thumb.getHeight()) * 0.5f);
    }
}
