#include "TooltipLookAndFeel.h"
#include "Palette.h"
#include "Resources.h"

namespace bws
{
    TooltipLookAndFeel::TooltipLookAndFeel (juce::Typeface::Ptr typeface)
        : face (typeface != nullptr ? typeface : Resources::getTypeface (Resources::FontRole::Book))
    {
        setColour (juce::TooltipWindow::backgroundColourId, juce::Colour (Palette::tooltipBackground));
        setColour (juce::TooltipWindow::textColourId, juce::Colour (Palette::text));
        setColour (juce::TooltipWindow::outlineColourId, juce::Colour (Palette::text));
    }

    bool TooltipLookAndFeel::usesFixedBox (const juce::String& tipText) noexcept
    {
        return tipText.startsWithChar ('0') || tipText.startsWithChar ('1');
    }

    juce::TextLayout TooltipLookAndFeel::layoutText (const juce::String& tipText, const juce::Font& font)
    {
        juce::AttributedString text;
        text.setJustification (juce::Justification::centredLeft);
        text.append (tipText, font, juce::Colour (Palette::text));

        juce::TextLayout layout;
        layout.createLayoutWithBalancedLineLengths (text, maxTextWidth);
        return layout;
    }

    juce::Rectangle<int> TooltipLookAndFeel::tooltipBounds (const juce::String& tipText,
                                                            juce::Point<int> position,
                                                            juce::Rectangle<int> parentArea,
                                                            const juce::Font& font)
    {
        if (usesFixedBox (tipText))
            return { position.x, position.y, fixedBoxWidth, fixedBoxHeight };

        auto layout = layoutText (tipText, font);
        auto w = (int) (layout.getWidth() + 14.0f);
        auto h = (int) (layout.getHeight() + 6.0f);

        auto x = position.x > parentArea.getCentreX() ? position.x - (w + 12) : position.x + 24;
        auto y = position.y > parentArea.getCentreY() ? position.y - (h + 6) : position.y + 6;

        return juce::Rectangle<int> (x, y, w, h).constrainedWithin (parentArea);
    }

    juce::Path TooltipLookAndFeel::tooltipShape (int width, int height)
    {
        juce::Path shape;
        auto area = juce::Rectangle<float> (0.0f, 0.0f, (float) width, (float) height).reduced (5.0f, 0.0f).reduced (0.5f);
        auto corner = juce::jmin (10.0f, area.getWidth() * 0.5f, area.getHeight() * 0.5f);
        shape.addRoundedRectangle (area.getX(), area.getY(), area.getWidth(), area.getHeight(),
                                   corner, corner, false, true, true, true);
        return shape;
    }

    void TooltipLookAndFeel::paintTooltip (juce::Graphics& g, const juce::String& tipText, int width, int height, const juce::Font& font)
    {
        auto shape = tooltipShape (width, height);
        g.setColour (juce::Colour (Palette::tooltipBackground));
        g.fillPath (shape);
        g.setColour (juce::Colour (Palette::text));
        g.strokePath (shape, juce::PathStrokeType (1.0f));

        auto layout = layoutText (tipText, font);
        auto textArea = juce::Rectangle<float> ((float) width, (float) height)
                            .withSizeKeepingCentre (layout.getWidth(), layout.getHeight());
        layout.draw (g, textArea);
    }

    juce::Font TooltipLookAndFeel::getTooltipFont() const
    {
        return face != nullptr ? juce::Font (face).withHeight (fontHeight) : juce::Font (fontHeight);
    }

    juce::Rectangle<int> TooltipLookAndFeel::getTooltipBounds (const juce::String& tipText, juce::Point<int> screenPos, juce::Rectangle<int> parentArea)
    {
        return tooltipBounds (tipText, screenPos, parentArea, getTooltipFont());
    }

    void TooltipLookAndFeel::drawTooltip (juce::Graphics& g, const juce::String& text, int width, int height)
    {
        paintTooltip (g, text, width, height, getTooltipFont());
    }
}
