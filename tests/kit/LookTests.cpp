#include "KitTestEnvironment.h"
#include "kit/OrvaneLookandFeel.h"
#include "kit/Palette.h"
#include "kit/PopupLookAndFeel.h"
#include "kit/Resources.h"
#include "kit/ScrollbarLNF.h"
#include "kit/TooltipLookAndFeel.h"

#include <gtest/gtest.h>

namespace
{
    using namespace bws;

    const juce::Rectangle<int> window (0, 0, 1000, 800);

    juce::Font tipFont() { return juce::Font (Resources::getTypeface (Resources::FontRole::Book)).withHeight (TooltipLookAndFeel::fontHeight); }

    juce::Rectangle<int> tipBounds (const juce::String& text, juce::Point<int> pointer, juce::Rectangle<int> area = window)
    {
        return TooltipLookAndFeel::tooltipBounds (text, pointer, area, tipFont());
    }

    juce::Image drawWith (juce::LookAndFeel& look, juce::Component& component, int w, int h)
    {
        component.setLookAndFeel (&look);
        component.setSize (w, h);
        auto image = kittest::render (component);
        component.setLookAndFeel (nullptr);
        return image;
    }

    bool near (const juce::Image& image, int x, int y, juce::Colour colour, int tolerance = 4)
    {
        return kittest::near (image.getPixelAt (x, y), colour, tolerance);
    }
}

TEST (TooltipBounds, FixedBoxForZeroOrOneAndOtherwiseBesideThePointerInsideTheWindow)
{
    // Texts beginning with "0" or "1" are a fixed box at the pointer; other digits, and a
    // leading space, go through the text layout.
    for (auto* text : { "0", "1 LUFS", "0.5 dB over", "10 tracks" })
        EXPECT_EQ (tipBounds (text, { 300, 200 }), juce::Rectangle<int> (300, 200, 455, 180)) << text;
    for (auto* text : { "2 LUFS", "9", " 0" })
        EXPECT_LT (tipBounds (text, { 300, 200 }).getHeight(), 60) << text;

    // Below right of the pointer in the upper left, above left of it in the lower right.
    const juce::String text ("Click to view analysis feedback");
    const auto layout = TooltipLookAndFeel::layoutText (text, tipFont());
    const int w = (int) (layout.getWidth() + 14.0f), h = (int) (layout.getHeight() + 6.0f);
    EXPECT_EQ (tipBounds (text, { 100, 100 }), juce::Rectangle<int> (124, 106, w, h));
    EXPECT_EQ (tipBounds (text, { 800, 600 }), juce::Rectangle<int> (788 - w, 594 - h, w, h));
    EXPECT_EQ (tipBounds (text, { 800, 100 }), juce::Rectangle<int> (788 - w, 106, w, h));
    EXPECT_EQ (tipBounds (text, { 100, 600 }), juce::Rectangle<int> (124, 594 - h, w, h));
    EXPECT_GT (tipBounds (text + "\nAnd more.", { 100, 100 }).getHeight(), h);

    // Near every corner it stays inside the window, also one offset on the screen.
    for (auto p : { juce::Point<int> (999, 799), juce::Point<int> (0, 0), juce::Point<int> (999, 0), juce::Point<int> (0, 799) })
        EXPECT_TRUE (window.contains (tipBounds ("Reset. WARNING: Deletes ALL tracks!", p))) << p.x << "," << p.y;
    const juce::Rectangle<int> screenWindow (2000, 300, 640, 480);
    EXPECT_TRUE (screenWindow.contains (tipBounds ("Click to play this track", { 2630, 770 }, screenWindow)));

    // The main look places tips as the tooltip look does.
    OrvaneLookandFeel main (Resources::getTypeface (Resources::FontRole::Book));
    TooltipLookAndFeel tips (Resources::getTypeface (Resources::FontRole::Book));
    for (auto* tip : { "Click to play this track", "1 value" })
        EXPECT_EQ (main.getTooltipBounds (tip, { 900, 700 }, window), tips.getTooltipBounds (tip, { 900, 700 }, window)) << tip;
}

TEST (TooltipDrawing, DarkBoxInsetAtTheSidesWithASquareTopLeftCorner)
{
    TooltipLookAndFeel tips;
    juce::Image image (juce::Image::ARGB, 200, 40, true);
    juce::Graphics g (image);
    tips.drawTooltip (g, "Tip", 200, 40);
    // Clear: the side insets, the rounded top right and bottom left corners.
    for (auto [x, y] : { std::pair (2, 20), std::pair (197, 20), std::pair (193, 1), std::pair (6, 38) })
        EXPECT_EQ (image.getPixelAt (x, y).getAlpha(), 0) << x << "," << y;
    EXPECT_GT (image.getPixelAt (6, 1).getAlpha(), 200); // the square top left
    EXPECT_TRUE (near (image, 20, 30, juce::Colour (Palette::tooltipBackground), 8));
    EXPECT_TRUE (near (image, 100, 0, juce::Colour (Palette::text), 60)); // the outline
}

TEST (Looks, PlaySliderLabelShapesAndPopupButtons)
{
    OrvaneLookandFeel look;
    // The play slider: a green thumb with a white mark over a grey line; other sliders have
    // the base look.
    auto slider = [&look] (const juce::String& id)
    {
        juce::Slider s (juce::Slider::LinearHorizontal, juce::Slider::NoTextBox);
        s.setComponentID (id);
        s.setRange (0.0, 1.0);
        s.setValue (0.5, juce::dontSendNotification);
        return drawWith (look, s, 200, 30);
    };
    auto play = slider ("play");
    EXPECT_TRUE (near (play, 100, 8, juce::Colour (Palette::playSliderThumb)) && near (play, 100, 15, juce::Colours::white, 40));
    EXPECT_FALSE (near (slider ("volume"), 100, 8, juce::Colour (Palette::playSliderThumb)));
    EXPECT_GT (play.getPixelAt (30, 15).getAlpha(), 100);
    EXPECT_TRUE (kittest::near (play.getPixelAt (30, 15).withAlpha ((juce::uint8) 255), juce::Colour (Palette::playSliderTrack), 4));
    EXPECT_EQ (play.getPixelAt (30, 3).getAlpha(), 0);

    // Labels: the "Horizontal" tag points right; any other id gets a notch on top.
    auto label = [&] (const juce::String& id, int w, int h)
    {
        juce::Label l;
        l.setComponentID (id);
        l.setColour (juce::Label::backgroundColourId, juce::Colour (Palette::accent));
        return drawWith (look, l, w, h);
    };
    auto horizontal = label ("Horizontal", 39, 20), notched = label ("", 53, 16);
    EXPECT_TRUE (near (horizontal, 36, 10, juce::Colour (Palette::accent)) && horizontal.getPixelAt (38, 1).getAlpha() == 0);
    EXPECT_TRUE (notched.getPixelAt (2, 1).getAlpha() == 0 && notched.getPixelAt (26, 1).getAlpha() > 100);

    // A popup button is clear when off and filled in the text colour when on.
    PopupLookAndFeel popup;
    juce::TextButton button ("-14");
    EXPECT_EQ (drawWith (popup, button, 40, 26).getPixelAt (4, 4).getAlpha(), 0);
    button.setToggleState (true, juce::dontSendNotification);
    EXPECT_TRUE (near (drawWith (popup, button, 40, 26), 4, 4, juce::Colour (Palette::text)));
}

TEST (Looks, MenusTypefaceAndScrollbar)
{
    auto face = Resources::getTypeface (Resources::FontRole::Medium);
    OrvaneLookandFeel look (face);
    EXPECT_EQ (look.getTypefaceForFont (juce::Font (14.0f)), face); // default fonts only
    EXPECT_NE (look.getTypefaceForFont (juce::Font (Resources::getTypeface (Resources::FontRole::Bold))), face);

    // A dark menu with separators inset from the sides; item text grey, light when highlighted.
    juce::Image image (juce::Image::ARGB, 120, 24, true);
    juce::Graphics g (image);
    look.drawPopupMenuBackground (g, 120, 24);
    look.drawPopupMenuItem (g, { 0, 0, 120, 20 }, true, true, false, false, false, {}, {}, nullptr, nullptr);
    for (auto [x, separator] : { std::pair (2, false), std::pair (6, true), std::pair (113, true), std::pair (116, false) })
        EXPECT_EQ (image.getPixelAt (x, 10), juce::Colour (separator ? Palette::menuSeparator : Palette::menuBackground)) << x;
    for (bool highlighted : { false, true })
    {
        image.clear (image.getBounds());
        look.drawPopupMenuItem (g, { 0, 0, 120, 24 }, false, true, highlighted, false, false, "MMMMMMMM", {}, nullptr, nullptr);
        juce::Colour ink; // the most opaque pixel of the text
        for (int p = 0; p < 120 * 24; ++p)
            ink = image.getPixelAt (p % 120, p / 120).getAlpha() > ink.getAlpha() ? image.getPixelAt (p % 120, p / 120) : ink;
        EXPECT_TRUE (kittest::near (ink, juce::Colour (highlighted ? Palette::menuTextOn : Palette::menuTextOff), 6));
    }

    // The scroll bar's thumb lies inside the bar with a margin, in the strip colour at rest.
    auto thumb = ScrollbarLNF::thumbBounds (0, 0, 8, 300, true, 40, 100);
    EXPECT_TRUE (juce::Rectangle<float> (0, 40, 8, 100).contains (thumb) && thumb.getWidth() < 8.0f);
    EXPECT_EQ (ScrollbarLNF::thumbColour (false, false), juce::Colour (Palette::stripBackground));
}
