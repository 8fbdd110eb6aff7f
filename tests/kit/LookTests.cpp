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

    juce::Font tipFont()
    {
        return juce::Font (Resources::getTypeface (Resources::FontRole::Book)).withHeight (TooltipLookAndFeel::fontHeight);
    }

    const juce::Rectangle<int> window (0, 0, 1000, 800);
}

//==============================================================================
TEST (TooltipBounds, TextsBeginningWithZeroOrOneAreAFixedBoxAtThePointer)
{
    for (auto* text : { "0", "1 LUFS", "0.5 dB over", "10 tracks" })
    {
        auto r = TooltipLookAndFeel::tooltipBounds (text, { 300, 200 }, window, tipFont());
        EXPECT_EQ (r, juce::Rectangle<int> (300, 200, 455, 180)) << text;
    }

    // Other digits, and a leading space, go through the text layout.
    for (auto* text : { "2 LUFS", "9", " 0", "Click to play this track" })
    {
        auto r = TooltipLookAndFeel::tooltipBounds (text, { 300, 200 }, window, tipFont());
        EXPECT_NE (r.getWidth(), 455) << text;
        EXPECT_LT (r.getHeight(), 60) << text;
    }
}

TEST (TooltipBounds, SitsBelowRightInTheUpperLeftAndAboveLeftInTheLowerRight)
{
    const juce::String text ("Click to view analysis feedback");
    auto layout = TooltipLookAndFeel::layoutText (text, tipFont());
    auto w = (int) (layout.getWidth() + 14.0f);
    auto h = (int) (layout.getHeight() + 6.0f);

    auto upperLeft = TooltipLookAndFeel::tooltipBounds (text, { 100, 100 }, window, tipFont());
    EXPECT_EQ (upperLeft, juce::Rectangle<int> (124, 106, w, h));

    auto lowerRight = TooltipLookAndFeel::tooltipBounds (text, { 800, 600 }, window, tipFont());
    EXPECT_EQ (lowerRight.getRight(), 800 - 12);
    EXPECT_EQ (lowerRight.getBottom(), 600 - 6);
    EXPECT_EQ (lowerRight.getWidth(), w);

    auto upperRight = TooltipLookAndFeel::tooltipBounds (text, { 800, 100 }, window, tipFont());
    EXPECT_EQ (upperRight.getRight(), 788);
    EXPECT_EQ (upperRight.getY(), 106);

    auto lowerLeft = TooltipLookAndFeel::tooltipBounds (text, { 100, 600 }, window, tipFont());
    EXPECT_EQ (lowerLeft.getX(), 124);
    EXPECT_EQ (lowerLeft.getBottom(), 594);
}

TEST (TooltipBounds, GrowsWithTheTextAndStaysInsideTheWindow)
{
    auto shortTip = TooltipLookAndFeel::tooltipBounds ("Save your session.", { 100, 100 }, window, tipFont());
    auto longTip = TooltipLookAndFeel::tooltipBounds ("Export feedback analysis to a text file on your desktop.", { 100, 100 }, window, tipFont());
    auto twoLines = TooltipLookAndFeel::tooltipBounds ("Save your session.\nAnd more.", { 100, 100 }, window, tipFont());
    EXPECT_GT (longTip.getWidth(), shortTip.getWidth());
    EXPECT_GT (twoLines.getHeight(), shortTip.getHeight());

    // Near every corner and edge the tip stays inside the window.
    for (auto p : { juce::Point<int> (999, 799), juce::Point<int> (0, 0), juce::Point<int> (999, 0),
                    juce::Point<int> (0, 799), juce::Point<int> (501, 401), juce::Point<int> (499, 399) })
    {
        auto r = TooltipLookAndFeel::tooltipBounds ("Reset. WARNING: Deletes ALL tracks!", p, window, tipFont());
        EXPECT_TRUE (window.contains (r)) << p.x << "," << p.y;
        EXPECT_GT (r.getWidth(), 0);
    }

    // A window offset on the screen works in the same way.
    const juce::Rectangle<int> screenWindow (2000, 300, 640, 480);
    auto r = TooltipLookAndFeel::tooltipBounds ("Click to play this track", { 2630, 770 }, screenWindow, tipFont());
    EXPECT_TRUE (screenWindow.contains (r));
}

TEST (TooltipBounds, TheMainLookAndTheTooltipLookAgree)
{
    auto face = Resources::getTypeface (Resources::FontRole::Book);
    OrvaneLookandFeel main (face);
    TooltipLookAndFeel tips (face);

    for (auto* text : { "Click to play this track", "1 value", "Shows the dB value at the current mouse position.\n " })
        for (auto p : { juce::Point<int> (50, 50), juce::Point<int> (900, 700) })
            EXPECT_EQ (main.getTooltipBounds (text, p, window), tips.getTooltipBounds (text, p, window)) << text;
}

TEST (TooltipDrawing, DarkBoxInsetAtTheSidesWithASquareTopLeftCorner)
{
    TooltipLookAndFeel tips;
    juce::Image image (juce::Image::ARGB, 200, 40, true);
    {
        juce::Graphics g (image);
        tips.drawTooltip (g, "Tip", 200, 40);
    }

    EXPECT_EQ (kittest::pixel (image, 2, 20).getAlpha(), 0);                   // left inset
    EXPECT_EQ (kittest::pixel (image, 197, 20).getAlpha(), 0);                 // right inset
    EXPECT_TRUE (kittest::near (kittest::pixel (image, 20, 30), juce::Colour (Palette::tooltipBackground)));
    EXPECT_GT (kittest::pixel (image, 6, 1).getAlpha(), 200);                  // square top left
    EXPECT_EQ (kittest::pixel (image, 193, 1).getAlpha(), 0);                  // rounded top right
    EXPECT_EQ (kittest::pixel (image, 6, 38).getAlpha(), 0);                   // rounded bottom left

    // The outline is in the text colour.
    EXPECT_TRUE (kittest::near (kittest::pixel (image, 100, 0), juce::Colour (Palette::text), 60));
}

//==============================================================================
TEST (PlaySlider, GreenThumbOnAGreyLineOnlyForThePlaySlider)
{
    OrvaneLookandFeel look;

    auto draw = [&look] (const juce::String& id)
    {
        juce::Slider slider (juce::Slider::LinearHorizontal, juce::Slider::NoTextBox);
        slider.setComponentID (id);
        slider.setLookAndFeel (&look);
        slider.setRange (0.0, 1.0);
        slider.setValue (0.5, juce::dontSendNotification);
        slider.setSize (200, 30);
        auto image = kittest::render (slider);
        slider.setLookAndFeel (nullptr);
        return image;
    };

    auto play = draw ("play");
    auto thumb = OrvaneLookandFeel::playThumbBounds (0, 0, 200, 30, 100.0f, false);
    EXPECT_FLOAT_EQ (thumb.getWidth(), 16.0f);
    EXPECT_FLOAT_EQ (thumb.getHeight(), 16.0f);

    // Find the thumb: its green sits round the middle of the slider.
    int green = 0;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 200; ++x)
            green += kittest::near (kittest::pixel (play, x, y), juce::Colour (Palette::playSliderThumb), 4) ? 1 : 0;

    EXPECT_GT (green, 100);
    EXPECT_LE (green, 16 * 16);
    EXPECT_TRUE (kittest::near (kittest::pixel (play, 100, 8), juce::Colour (Palette::playSliderThumb), 4));
    EXPECT_TRUE (kittest::near (kittest::pixel (play, 100, 15), juce::Colours::white, 40)); // the white mark

    // The track is a grey line through the middle, away from the thumb.
    auto track = kittest::pixel (play, 30, 15);
    EXPECT_GT (track.getAlpha(), 100);
    EXPECT_TRUE (kittest::near (track.withAlpha ((juce::uint8) 255), juce::Colour (Palette::playSliderTrack), 4));
    EXPECT_EQ (kittest::pixel (play, 30, 3).getAlpha(), 0);

    // Any other slider is drawn by the base look: no green thumb.
    auto other = draw ("volume");
    int otherGreen = 0;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 200; ++x)
            otherGreen += kittest::near (kittest::pixel (other, x, y), juce::Colour (Palette::playSliderThumb), 4) ? 1 : 0;

    EXPECT_EQ (otherGreen, 0);
}

//==============================================================================
TEST (LabelShapes, TheHorizontalTagPointsRightAndTheOtherHasANotchOnTop)
{
    OrvaneLookandFeel look;
    const juce::Colour fill (Palette::accent);

    auto draw = [&] (const juce::String& id, int w, int h)
    {
        juce::Label label;
        label.setComponentID (id);
        label.setLookAndFeel (&look);
        label.setColour (juce::Label::backgroundColourId, fill);
        label.setColour (juce::Label::textColourId, juce::Colour (Palette::waveformBackground));
        label.setSize (w, h);
        auto image = kittest::render (label);
        label.setLookAndFeel (nullptr);
        return image;
    };

    auto horizontal = draw ("Horizontal", 39, 20);
    EXPECT_TRUE (kittest::near (kittest::pixel (horizontal, 36, 10), fill, 4));  // the point
    EXPECT_EQ (kittest::pixel (horizontal, 38, 1).getAlpha(), 0);                // beside the point
    EXPECT_EQ (kittest::pixel (horizontal, 38, 18).getAlpha(), 0);
    EXPECT_TRUE (kittest::near (kittest::pixel (horizontal, 3, 10), fill, 4));   // body
    EXPECT_LT (kittest::pixel (horizontal, 0, 0).getAlpha(), 60);                // rounded corner

    auto vertical = draw ("Vertical", 53, 16);
    EXPECT_EQ (kittest::pixel (vertical, 2, 1).getAlpha(), 0);                   // above the body
    EXPECT_EQ (kittest::pixel (vertical, 50, 1).getAlpha(), 0);
    EXPECT_GT (kittest::pixel (vertical, 26, 1).getAlpha(), 100);                // the notch
    EXPECT_TRUE (kittest::near (kittest::pixel (vertical, 2, 10), fill, 4));
    EXPECT_TRUE (kittest::near (kittest::pixel (vertical, 52, 10), fill, 60));   // no point on the right

    // Any id other than "Horizontal" takes the notched box.
    auto plain = draw ("", 53, 16);
    EXPECT_EQ (plain.getPixelAt (26, 1), vertical.getPixelAt (26, 1));
    EXPECT_EQ (plain.getPixelAt (2, 1), vertical.getPixelAt (2, 1));

    // A label without a background draws no shape.
    juce::Label bare ("bare", "");
    bare.setLookAndFeel (&look);
    bare.setSize (53, 16);
    auto bareImage = kittest::render (bare);
    bare.setLookAndFeel (nullptr);
    EXPECT_EQ (kittest::pixel (bareImage, 26, 8).getAlpha(), 0);
}

//==============================================================================
TEST (Menus, DarkBackgroundGreyItemsLightWhenHighlightedAndInsetSeparators)
{
    OrvaneLookandFeel look;
    EXPECT_EQ (look.findColour (juce::PopupMenu::backgroundColourId), juce::Colour (Palette::menuBackground));
    EXPECT_EQ (look.findColour (juce::PopupMenu::highlightedBackgroundColourId), juce::Colour (Palette::menuBackground));
    EXPECT_EQ (look.findColour (juce::TooltipWindow::backgroundColourId), juce::Colour (Palette::tooltipBackground));

    juce::Image image (juce::Image::ARGB, 120, 20, true);
    {
        juce::Graphics g (image);
        look.drawPopupMenuBackground (g, 120, 20);
        look.drawPopupMenuItem (g, { 0, 0, 120, 20 }, true, true, false, false, false, {}, {}, nullptr, nullptr);
    }

    EXPECT_EQ (kittest::pixel (image, 2, 10), juce::Colour (Palette::menuBackground));
    EXPECT_EQ (kittest::pixel (image, 6, 10), juce::Colour (Palette::menuSeparator));
    EXPECT_EQ (kittest::pixel (image, 113, 10), juce::Colour (Palette::menuSeparator));
    EXPECT_EQ (kittest::pixel (image, 116, 10), juce::Colour (Palette::menuBackground));

    auto inkOf = [&look] (bool highlighted)
    {
        juce::Image item (juce::Image::ARGB, 120, 24, true);
        juce::Graphics g (item);
        look.drawPopupMenuItem (g, { 0, 0, 120, 24 }, false, true, highlighted, false, false, "MMMMMMMM", {}, nullptr, nullptr);

        // The most opaque pixel of the text is the item's colour.
        juce::Colour best;
        for (int y = 0; y < 24; ++y)
            for (int x = 0; x < 120; ++x)
                if (item.getPixelAt (x, y).getAlpha() > best.getAlpha())
                    best = item.getPixelAt (x, y);
        return best;
    };

    EXPECT_TRUE (kittest::near (inkOf (false), juce::Colour (Palette::menuTextOff), 6));
    EXPECT_TRUE (kittest::near (inkOf (true), juce::Colour (Palette::menuTextOn), 6));
}

TEST (Looks, TheTypefaceServesDefaultFontsOnly)
{
    auto face = Resources::getTypeface (Resources::FontRole::Medium);
    OrvaneLookandFeel look (face);
    EXPECT_EQ (look.getTypefaceForFont (juce::Font (14.0f)), face);
    EXPECT_NE (look.getTypefaceForFont (juce::Font (Resources::getTypeface (Resources::FontRole::Bold))), face);

    OrvaneLookandFeel noFace;
    EXPECT_NE (noFace.getTypefaceForFont (juce::Font (14.0f)), nullptr);
}

TEST (Looks, PopupButtonsAndScrollbar)
{
    PopupLookAndFeel popup;
    juce::TextButton button ("-14");
    button.setLookAndFeel (&popup);
    button.setSize (40, 26);
    button.setClickingTogglesState (true);

    auto off = kittest::render (button);
    button.setToggleState (true, juce::dontSendNotification);
    auto on = kittest::render (button);
    button.setLookAndFeel (nullptr);

    EXPECT_EQ (kittest::pixel (off, 4, 4).getAlpha(), 0);
    EXPECT_TRUE (kittest::near (kittest::pixel (on, 4, 4), juce::Colour (Palette::text), 4));

    // The scroll bar's thumb lies inside the bar with a margin, in the strip colour at rest.
    auto thumb = ScrollbarLNF::thumbBounds (0, 0, 8, 300, true, 40, 100);
    EXPECT_TRUE (juce::Rectangle<float> (0, 40, 8, 100).contains (thumb));
    EXPECT_LT (thumb.getWidth(), 8.0f);
    EXPECT_EQ (ScrollbarLNF::thumbColour (false, false), juce::Colour (Palette::stripBackground));
    EXPECT_NE (ScrollbarLNF::thumbColour (true, false), ScrollbarLNF::thumbColour (false, false));

    ScrollbarLNF bars;
    EXPECT_EQ (bars.getDefaultScrollbarWidth(), ScrollbarLNF::barWidth);
    EXPECT_FALSE (bars.areScrollbarButtonsVisible());
}
