#include "SettingsLookandFeel.h"
#include "OrvaneLookandFeel.h"
#include "Palette.h"
#include "Resources.h"

namespace bws
{
    SettingsLookandFeel::SettingsLookandFeel (juce::Typeface::Ptr face)
        : typeface (face != nullptr ? face : Resources::getTypeface (Resources::FontRole::Book))
    {
        const juce::Colour text (Palette::text), back (Palette::waveformBackground), menu (Palette::menuBackground);

        setColour (juce::Label::textColourId, text);
        setColour (juce::ComboBox::backgroundColourId, menu);
        setColour (juce::ComboBox::textColourId, text);
        setColour (juce::ComboBox::outlineColourId, text.withAlpha (0.4f));
        setColour (juce::ComboBox::arrowColourId, text);
        setColour (juce::TextEditor::backgroundColourId, menu);
        setColour (juce::TextEditor::textColourId, text);
        setColour (juce::TextEditor::outlineColourId, text.withAlpha (0.4f));
        setColour (juce::TextEditor::focusedOutlineColourId, juce::Colour (Palette::accent));
        setColour (juce::TextEditor::highlightColourId, juce::Colour (Palette::accent).withAlpha (0.6f));
        setColour (juce::CaretComponent::caretColourId, text);
        setColour (juce::ToggleButton::textColourId, text);
        setColour (juce::ToggleButton::tickColourId, juce::Colour (Palette::accent));
        setColour (juce::ToggleButton::tickDisabledColourId, juce::Colour (Palette::menuTextOff));
        setColour (juce::PopupMenu::backgroundColourId, menu);
        setColour (juce::PopupMenu::highlightedBackgroundColourId, menu);
        setColour (juce::PopupMenu::textColourId, juce::Colour (Palette::menuTextOff));
        setColour (juce::PopupMenu::highlightedTextColourId, juce::Colour (Palette::menuTextOn));
        setColour (juce::ResizableWindow::backgroundColourId, back);
        setColour (juce::ListBox::backgroundColourId, menu);
        setColour (juce::TextButton::buttonColourId, menu);
        setColour (juce::TextButton::textColourOffId, text);
    }

    juce::Typeface::Ptr SettingsLookandFeel::getTypefaceForFont (const juce::Font& font)
    {
        if (typeface != nullptr && font.getTypefaceName() == juce::Font::getDefaultSansSerifFontName())
            return typeface;

        return LookAndFeel_V4::getTypefaceForFont (font);
    }

    juce::Rectangle<float> SettingsLookandFeel::toggleDot (juce::Rectangle<int> buttonArea)
    {
        auto size = juce::jmin (14.0f, (float) buttonArea.getHeight() - 4.0f, (float) buttonArea.getWidth() - 4.0f);
        return buttonArea.toFloat().withSizeKeepingCentre (size, size);
    }

    void SettingsLookandFeel::drawToggleButton (juce::Graphics& g, juce::ToggleButton& button, bool highlighted, bool)
    {
        auto textWidth = button.getButtonText().isEmpty() ? 0 : juce::jmax (0, button.getWidth() - button.getHeight());
        auto area = button.getLocalBounds();
        auto dotArea = area.removeFromLeft (area.getWidth() - textWidth);
        auto dot = toggleDot (dotArea);
        auto alpha = button.isEnabled() ? 1.0f : 0.5f;

        g.setColour (juce::Colour (Palette::text).withMultipliedAlpha ((highlighted ? 1.0f : 0.6f) * alpha));
        g.drawEllipse (dot.reduced (0.5f), 1.0f);

        if (button.getToggleState())
        {
            g.setColour (juce::Colour (Palette::accent).withMultipliedAlpha (alpha));
            g.fillEllipse (dot.reduced (3.0f));
        }

        if (textWidth > 0)
        {
            g.setColour (button.findColour (juce::ToggleButton::textColourId).withMultipliedAlpha (alpha));
            g.setFont (juce::Font (fontHeight));
            g.drawFittedText (button.getButtonText(), area.withTrimmedLeft (2), juce::Justification::centredLeft, 1);
        }
    }

    void SettingsLookandFeel::drawComboBox (juce::Graphics& g, int width, int height, bool,
                                            int, int, int, int, juce::ComboBox& box)
    {
        auto area = juce::Rectangle<float> ((float) width, (float) height).reduced (0.5f);
        g.setColour (box.findColour (juce::ComboBox::backgroundColourId));
        g.fillRoundedRectangle (area, 3.0f);
        g.setColour (box.hasKeyboardFocus (true) ? juce::Colour (Palette::accent)
                                                 : box.findColour (juce::ComboBox::outlineColourId));
        g.drawRoundedRectangle (area, 3.0f, 1.0f);

        auto arrow = juce::Rectangle<float> ((float) width - 14.0f, 0.0f, 8.0f, (float) height).withSizeKeepingCentre (8.0f, 4.0f);
        juce::Path p;
        p.startNewSubPath (arrow.getX(), arrow.getY());
        p.lineTo (arrow.getCentreX(), arrow.getBottom());
        p.lineTo (arrow.getRight(), arrow.getY());
        g.setColour (box.findColour (juce::ComboBox::arrowColourId).withMultipliedAlpha (box.isEnabled() ? 1.0f : 0.4f));
        g.strokePath (p, juce::PathStrokeType (1.2f));
    }

    juce::Font SettingsLookandFeel::getComboBoxFont (juce::ComboBox& box)
    {
        return juce::Font (juce::jmin (fontHeight, (float) box.getHeight() * 0.8f));
    }

    juce::Font SettingsLookandFeel::getLabelFont (juce::Label& label)
    {
        auto font = label.getFont();
        return font.getHeight() > fontHeight ? font : font.withHeight (fontHeight);
    }

    void SettingsLookandFeel::fillTextEditorBackground (juce::Graphics& g, int width, int height, juce::TextEditor& editor)
    {
        g.setColour (editor.findColour (juce::TextEditor::backgroundColourId));
        g.fillRoundedRectangle (juce::Rectangle<float> ((float) width, (float) height), 3.0f);
    }

    void SettingsLookandFeel::drawTextEditorOutline (juce::Graphics& g, int width, int height, juce::TextEditor& editor)
    {
        if (! editor.isEnabled())
            return;

        auto focused = editor.hasKeyboardFocus (true) && ! editor.isReadOnly();
        g.setColour (editor.findColour (focused ? juce::TextEditor::focusedOutlineColourId : juce::TextEditor::outlineColourId));
        g.drawRoundedRectangle (juce::Rectangle<float> ((float) width, (float) height).reduced (0.5f), 3.0f, 1.0f);
    }

    void SettingsLookandFeel::drawPopupMenuBackground (juce::Graphics& g, int, int)
    {
        g.fillAll (juce::Colour (Palette::menuBackground));
    }

    void SettingsLookandFeel::drawPopupMenuItem (juce::Graphics& g, const juce::Rectangle<int>& area,
                                                 bool isSeparator, bool isActive, bool isHighlighted, bool isTicked,
                                                 bool hasSubMenu, const juce::String& text,
                                                 const juce::String& shortcutKeyText,
                                                 const juce::Drawable* icon, const juce::Colour* textColour)
    {
        if (isSeparator)
        {
            g.setColour (juce::Colour (Palette::menuSeparator));
            g.fillRect (OrvaneLookandFeel::separatorLine (area));
            return;
        }

        auto colour = textColour != nullptr ? *textColour
                                            : juce::Colour (isHighlighted && isActive ? Palette::menuTextOn : Palette::menuTextOff);
        LookAndFeel_V4::drawPopupMenuItem (g, area, false, isActive, false, isTicked, hasSubMenu, text,
                                           shortcutKeyText, icon, &colour);
    }
}
