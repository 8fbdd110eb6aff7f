#include "PopupLookAndFeel.h"
#include "Palette.h"
#include "Resources.h"

namespace bws
{
    PopupLookAndFeel::PopupLookAndFeel (juce::Typeface::Ptr face)
        : typeface (face != nullptr ? face : Resources::getTypeface (Resources::FontRole::Medium))
    {
        setColour (juce::TextButton::buttonColourId, juce::Colours::transparentBlack);
        setColour (juce::TextButton::buttonOnColourId, juce::Colour (Palette::text));
        setColour (juce::TextButton::textColourOffId, juce::Colour (Palette::text));
        setColour (juce::TextButton::textColourOnId, juce::Colour (Palette::accent));
    }

    juce::Colour PopupLookAndFeel::fillFor (bool toggledOn, bool highlighted, bool down) noexcept
    {
        if (toggledOn)
            return juce::Colour (Palette::text);

        if (down)
            return juce::Colours::white.withAlpha (0.3f);

        return highlighted ? juce::Colours::white.withAlpha (0.15f) : juce::Colours::transparentBlack;
    }

    juce::Colour PopupLookAndFeel::textFor (bool toggledOn) noexcept
    {
        return toggledOn ? juce::Colour (Palette::accent) : juce::Colour (Palette::text);
    }

    juce::Font PopupLookAndFeel::getTextButtonFont (juce::TextButton&, int buttonHeight)
    {
        auto height = juce::jmin (fontHeight, (float) buttonHeight * 0.7f);
        return typeface != nullptr ? juce::Font (typeface).withHeight (height) : juce::Font (height);
    }

    void PopupLookAndFeel::drawButtonBackground (juce::Graphics& g, juce::Button& button, const juce::Colour&,
                                                 bool highlighted, bool down)
    {
        auto fill = fillFor (button.getToggleState(), highlighted, down);

        if (fill.isTransparent())
            return;

        auto area = button.getLocalBounds().toFloat().reduced (1.0f);
        g.setColour (fill);
        g.fillRoundedRectangle (area, juce::jmin (6.0f, area.getHeight() * 0.5f));
    }

    void PopupLookAndFeel::drawButtonText (juce::Graphics& g, juce::TextButton& button, bool, bool)
    {
        g.setFont (getTextButtonFont (button, button.getHeight()));
        g.setColour (textFor (button.getToggleState()).withMultipliedAlpha (button.isEnabled() ? 1.0f : 0.5f));
        g.drawFittedText (button.getButtonText(), button.getLocalBounds().reduced (2, 0),
                          juce::Justification::centred, 1);
    }
}
