#include "OrvaneLookandFeel.h"
#include "Palette.h"
#include "TooltipLookAndFeel.h"

namespace bws
{
    OrvaneLookandFeel::OrvaneLookandFeel (juce::Typeface::Ptr face)
        : typeface (std::move (face))
    {
        setColour (juce::PopupMenu::backgroundColourId, juce::Colour (Palette::menuBackground));
        setColour (juce::PopupMenu::highlightedBackgroundColourId, juce::Colour (Palette::menuBackground));
        setColour (juce::PopupMenu::textColourId, juce::Colour (Palette::menuTextOff));
        setColour (juce::PopupMenu::highlightedTextColourId, juce::Colour (Palette::menuTextOn));
        setColour (juce::TooltipWindow::backgroundColourId, juce::Colour (Palette::tooltipBackground));
        setColour (juce::TooltipWindow::textColourId, juce::Colour (Palette::text));
        setColour (juce::TooltipWindow::outlineColourId, juce::Colour (Palette::text));
        setColour (juce::Label::textColourId, juce::Colour (Palette::text));
        setColour (juce::ListBox::backgroundColourId, juce::Colour (Palette::listBackground));
        setColour (juce::ResizableWindow::backgroundColourId, juce::Colour (Palette::panelFill));
    }

    OrvaneLookandFeel::~OrvaneLookandFeel() = default;

    juce::Typeface::Ptr OrvaneLookandFeel::getTypefaceForFont (const juce::Font& font)
    {
        if (typeface != nullptr && font.getTypefaceName() == juce::Font::getDefaultSansSerifFontName())
            return typeface;

        return LookAndFeel_V4::getTypefaceForFont (font);
    }

    //==============================================================================
    void OrvaneLookandFeel::drawLinearSlider (juce::Graphics& g, int x, int y, int width, int height,
                                              float sliderPos, float minSliderPos, float maxSliderPos,
                                              juce::Slider::SliderStyle style, juce::Slider& slider)
    {
        if (slider.getComponentID() != playSliderId)
        {
            LookAndFeel_V4::drawLinearSlider (g, x, y, width, height, sliderPos, minSliderPos, maxSliderPos, style, slider);
            return;
        }

        drawLinearSliderBackground (g, x, y, width, height, sliderPos, minSliderPos, maxSliderPos, style, slider);
        drawLinearSliderThumb (g, x, y, width, height, sliderPos, minSliderPos, maxSliderPos, style, slider);
    }

    void OrvaneLookandFeel::drawLinearSliderBackground (juce::Graphics& g, int x, int y, int width, int height,
                                                        float sliderPos, float minSliderPos, float maxSliderPos,
                                                        juce::Slider::SliderStyle style, juce::Slider& slider)
    {
        if (slider.getComponentID() != playSliderId)
        {
            LookAndFeel_V4::drawLinearSliderBackground (g, x, y, width, height, sliderPos, minSliderPos, maxSliderPos, style, slider);
            return;
        }

        g.setColour (juce::Colour (Palette::playSliderTrack));

        if (slider.isHorizontal())
        {
            auto cy = (float) y + (float) height * 0.5f;
            g.drawLine ((float) x, cy, (float) (x + width), cy, 2.0f);
        }
        else
        {
            auto cx = (float) x + (float) width * 0.5f;
            g.drawLine (cx, (float) y, cx, (float) (y + height), 2.0f);
        }
    }

    juce::Rectangle<float> OrvaneLookandFeel::playThumbBounds (int x, int y, int width, int height,
                                                               float sliderPos, bool vertical)
    {
        auto half = playThumbSize * 0.5f;

        if (vertical)
            return { (float) x + (float) width * 0.5f - half, sliderPos - half, playThumbSize, playThumbSize };

        return { sliderPos - half, (float) y + (float) height * 0.5f - half, playThumbSize, playThumbSize };
    }

    void OrvaneLookandFeel::drawLinearSliderThumb (juce::Graphics& g, int x, int y, int width, int height,
                                                   float sliderPos, float minSliderPos, float maxSliderPos,
                                                   juce::Slider::SliderStyle style, juce::Slider& slider)
    {
        if (slider.getComponentID() != playSliderId)
        {
            LookAndFeel_V4::drawLinearSliderThumb (g, x, y, width, height, sliderPos, minSliderPos, maxSliderPos, style, slider);
            return;
        }

        auto thumb = playThumbBounds (x, y, width, height, sliderPos, slider.isVertical());
        g.setColour (juce::Colour (Palette::playSliderThumb));
        g.fillRoundedRectangle (thumb, playThumbCorner);

        // A small white play mark in the middle of the thumb.
        auto mark = thumb.reduced (5.0f, 4.5f);
        juce::Path triangle;
        triangle.addTriangle (mark.getX(), mark.getY(), mark.getRight(), mark.getCentreY(), mark.getX(), mark.getBottom());
        g.setColour (juce::Colours::white);
        g.fillPath (triangle);
    }

    //==============================================================================
    juce::Path OrvaneLookandFeel::labelShape (juce::Rectangle<float> area, bool horizontal)
    {
        juce::Path shape;

        if (area.isEmpty())
            return shape;

        if (horizontal)
        {
            // A value tag: rounded on the left, a point on the right towards the plot.
            auto point = juce::jmin (6.0f, area.getHeight() * 0.5f, area.getWidth() * 0.5f);
            auto r = juce::jmin (3.0f, area.getHeight() * 0.5f);
            auto body = area.withTrimmedRight (point);
            shape.startNewSubPath (body.getX() + r, body.getY());
            shape.lineTo (body.getRight(), body.getY());
            shape.lineTo (area.getRight(), area.getCentreY());
            shape.lineTo (body.getRight(), body.getBottom());
            shape.lineTo (body.getX() + r, body.getBottom());
            shape.quadraticTo (body.getX(), body.getBottom(), body.getX(), body.getBottom() - r);
            shape.lineTo (body.getX(), body.getY() + r);
            shape.quadraticTo (body.getX(), body.getY(), body.getX() + r, body.getY());
            shape.closeSubPath();
        }
        else
        {
            // A box with a small notch at the top, pointing at the marker above it.
            auto notch = juce::jmin (4.0f, area.getHeight() * 0.25f);
            auto halfWidth = juce::jmin (4.0f, area.getWidth() * 0.25f);
            auto body = area.withTrimmedTop (notch);
            auto r = juce::jmin (3.0f, body.getHeight() * 0.5f, body.getWidth() * 0.5f);
            auto cx = area.getCentreX();
            shape.startNewSubPath (body.getX() + r, body.getY());
            shape.lineTo (cx - halfWidth, body.getY());
            shape.lineTo (cx, area.getY());
            shape.lineTo (cx + halfWidth, body.getY());
            shape.lineTo (body.getRight() - r, body.getY());
            shape.quadraticTo (body.getRight(), body.getY(), body.getRight(), body.getY() + r);
            shape.lineTo (body.getRight(), body.getBottom() - r);
            shape.quadraticTo (body.getRight(), body.getBottom(), body.getRight() - r, body.getBottom());
            shape.lineTo (body.getX() + r, body.getBottom());
            shape.quadraticTo (body.getX(), body.getBottom(), body.getX(), body.getBottom() - r);
            shape.lineTo (body.getX(), body.getY() + r);
            shape.quadraticTo (body.getX(), body.getY(), body.getX() + r, body.getY());
            shape.closeSubPath();
        }

        return shape;
    }

    void OrvaneLookandFeel::drawLabel (juce::Graphics& g, juce::Label& label)
    {
        auto horizontal = label.getComponentID() == horizontalLabelId;
        auto area = label.getLocalBounds().toFloat();
        auto background = label.findColour (juce::Label::backgroundColourId);
        auto outline = label.findColour (juce::Label::outlineColourId);
        auto textArea = label.getBorderSize().subtractedFrom (label.getLocalBounds());

        if (! background.isTransparent() || ! outline.isTransparent())
        {
            auto shape = labelShape (area, horizontal);
            g.setColour (background);
            g.fillPath (shape);

            if (! outline.isTransparent())
            {
                g.setColour (outline);
                g.strokePath (shape, juce::PathStrokeType (1.0f));
            }

            // Keep the text in the body of the tag.
            textArea = horizontal ? textArea.withTrimmedRight (juce::jmin (6, label.getHeight() / 2))
                                  : textArea.withTrimmedTop (juce::jmin (4, label.getHeight() / 4) / 2);
        }

        if (label.isBeingEdited())
            return;

        auto alpha = label.isEnabled() ? 1.0f : 0.5f;
        auto font = getLabelFont (label);
        g.setColour (label.findColour (juce::Label::textColourId).withMultipliedAlpha (alpha));
        g.setFont (font);
        g.drawFittedText (label.getText(), textArea, label.getJustificationType(),
                          juce::jmax (1, (int) ((float) textArea.getHeight() / font.getHeight())),
                          label.getMinimumHorizontalScale());
    }

    //==============================================================================
    juce::Font OrvaneLookandFeel::getTooltipFont() const
    {
        auto height = TooltipLookAndFeel::fontHeight;
        return typeface != nullptr ? juce::Font (typeface).withHeight (height) : juce::Font (height);
    }

    juce::Rectangle<int> OrvaneLookandFeel::getTooltipBounds (const juce::String& tipText, juce::Point<int> screenPos, juce::Rectangle<int> parentArea)
    {
        return TooltipLookAndFeel::tooltipBounds (tipText, screenPos, parentArea, getTooltipFont());
    }

    void OrvaneLookandFeel::drawTooltip (juce::Graphics& g, const juce::String& text, int width, int height)
    {
        TooltipLookAndFeel::paintTooltip (g, text, width, height, getTooltipFont());
    }

    //==============================================================================
    void OrvaneLookandFeel::drawPopupMenuBackground (juce::Graphics& g, int, int)
    {
        g.fillAll (juce::Colour (Palette::menuBackground));
    }

    juce::Rectangle<float> OrvaneLookandFeel::separatorLine (const juce::Rectangle<int>& area)
    {
        auto y = (float) area.getCentreY();
        return { (float) area.getX() + 5.0f, y, (float) area.getWidth() - 10.0f, 1.0f };
    }

    void OrvaneLookandFeel::drawPopupMenuItem (juce::Graphics& g, const juce::Rectangle<int>& area,
                                               bool isSeparator, bool isActive, bool isHighlighted, bool isTicked,
                                               bool hasSubMenu, const juce::String& text,
                                               const juce::String& shortcutKeyText,
                                               const juce::Drawable* icon, const juce::Colour* textColour)
    {
        if (isSeparator)
        {
            g.setColour (juce::Colour (Palette::menuSeparator));
            g.fillRect (separatorLine (area));
            return;
        }

        auto colour = textColour != nullptr ? *textColour
                                            : juce::Colour (isHighlighted && isActive ? Palette::menuTextOn : Palette::menuTextOff);

        if (! isActive)
            colour = colour.withMultipliedAlpha (0.4f);

        auto r = area.reduced (1);
        auto font = getPopupMenuFont();
        auto maxFontHeight = (float) r.getHeight() / 1.3f;

        if (font.getHeight() > maxFontHeight)
            font.setHeight (maxFontHeight);

        g.setFont (font);
        g.setColour (colour);

        auto markArea = r.removeFromLeft (r.getHeight() * 3 / 5).toFloat();

        if (icon != nullptr)
        {
            icon->drawWithin (g, markArea.reduced (2.0f), juce::RectanglePlacement::centred | juce::RectanglePlacement::onlyReduceInSize, 1.0f);
        }
        else if (isTicked)
        {
            g.fillEllipse (markArea.withSizeKeepingCentre (5.0f, 5.0f));
        }

        if (hasSubMenu)
        {
            auto arrow = r.removeFromRight (r.getHeight() / 2).toFloat().withSizeKeepingCentre (4.0f, 7.0f);
            juce::Path p;
            p.startNewSubPath (arrow.getX(), arrow.getY());
            p.lineTo (arrow.getRight(), arrow.getCentreY());
            p.lineTo (arrow.getX(), arrow.getBottom());
            g.strokePath (p, juce::PathStrokeType (1.2f));
        }

        r.removeFromRight (3);
        g.drawFittedText (text, r, juce::Justification::centredLeft, 1);

        if (shortcutKeyText.isNotEmpty())
        {
            auto small = font;
            small.setHeight (font.getHeight() * 0.75f);
            g.setFont (small);
            g.drawText (shortcutKeyText, r, juce::Justification::centredRight, true);
        }
    }

    void OrvaneLookandFeel::drawButtonBackground (juce::Graphics& g, juce::Button& button, const juce::Colour& backgroundColour,
                                                  bool highlighted, bool down)
    {
        if (backgroundColour.isTransparent())
            return;

        LookAndFeel_V4::drawButtonBackground (g, button, backgroundColour, highlighted, down);
    }
}
