#include "KitTestEnvironment.h"
#include "kit/ClippedPNGButton.h"
#include "kit/SVGButton.h"

#include <gtest/gtest.h>

namespace
{
    using namespace bws;

    // An SVG whose canvas width tells which state it was made for.
    juce::String svgOfWidth (int width)
    {
        const juce::String w (width);
        return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + w + "\" height=\"10\"><rect width=\"" + w
             + "\" height=\"10\" fill=\"#4c58c8\"/></svg>";
    }

    float widthOf (const juce::Drawable* drawable) { return drawable != nullptr ? drawable->getDrawableBounds().getWidth() : -1.0f; }

    // The drawable the button has on show (its one child).
    const juce::Drawable* shown (const juce::Button& button)
    {
        return button.getNumChildComponents() == 1 ? dynamic_cast<const juce::Drawable*> (button.getChildComponent (0)) : nullptr;
    }
}

TEST (SVGButton, TextsFillTheStatesInOrderAndBrokenOnesLeaveAStateEmpty)
{
    SVGButton button ("Feedback");
    button.setSize (30, 30);
    button.setImages (svgOfWidth (1), svgOfWidth (2), svgOfWidth (3), svgOfWidth (4),
                      svgOfWidth (5), svgOfWidth (6), svgOfWidth (7), svgOfWidth (8));
    for (int i = -1; i <= 8; ++i)
        EXPECT_FLOAT_EQ (widthOf (button.getStateImage (i)), i < 0 || i > 7 ? -1.0f : (float) (i + 1)) << "state " << i;

    // It shows the drawable of its state: normal, disabled, disabled on, normal on.
    for (auto [enabled, on, width] : { std::tuple (true, false, 1.0f), std::tuple (false, false, 4.0f),
                                       std::tuple (false, true, 8.0f), std::tuple (true, true, 5.0f) })
    {
        button.setEnabled (enabled);
        button.setToggleState (on, juce::dontSendNotification);
        EXPECT_FLOAT_EQ (widthOf (shown (button)), width);
    }

    // Three texts set normal, over and down and empty the rest; empty and broken texts leave
    // their state without an image.
    button.setImages (svgOfWidth (1), svgOfWidth (2), svgOfWidth (3));
    EXPECT_EQ (button.getNumStateImages(), 3);
    EXPECT_EQ (button.getStateImage (4), nullptr);
    button.setImages (svgOfWidth (1), {}, "<svg this is not xml", "not svg at all", {}, svgOfWidth (6), {}, "<html/>");
    EXPECT_EQ (button.getNumStateImages(), 2);
    EXPECT_NE (button.getStateImage (5), nullptr);
}

TEST (SVGHyperlinkButton, RestsAtItsOpacityAndClicksWithoutTheBrowser)
{
    SVGHyperlinkButton link (juce::URL ("https://example.com/buy"), "Buy");
    EXPECT_FLOAT_EQ (link.opacityFor (true), 1.0f);
    link.setImagesFromResources ({ "ClickBuyNormal_svg" });
    ASSERT_NE (shown (link), nullptr);
    EXPECT_NEAR (shown (link)->getAlpha(), 0.95f, 0.005f);

    link.launchesBrowser = false;
    int clicks = 0;
    link.onClick = [&clicks] { ++clicks; };
    link.triggerClick();
    ASSERT_TRUE (kittest::pumpMessagesUntil ([&clicks] { return clicks > 0; }));
    EXPECT_EQ (clicks, 1);
}

TEST (ClippedPNGButton, HitTestFollowsTheSlantedShape)
{
    ClippedPNGButton button ("LoudnessMatch");
    button.setSize (137, 38);
    EXPECT_TRUE (button.hitTest (1, 36)); // without a shape the whole rectangle answers
    button.setHitAreaFromResource ("LoudnessMatchHitArea_svg");
    // Middle, top corners and the bottom edge inside the slant answer; the cut-away bottom
    // corners and points outside don't.
    for (auto [x, y, inside] : { std::tuple (68, 19, true), std::tuple (2, 1, true), std::tuple (134, 1, true),
                                 std::tuple (30, 36, true), std::tuple (2, 36, false), std::tuple (134, 36, false),
                                 std::tuple (140, 10, false), std::tuple (68, 38, false), std::tuple (-1, 5, false) })
        EXPECT_EQ (button.hitTest (x, y), inside) << x << "," << y;

    // The shape stretches with the button.
    button.setSize (274, 76);
    EXPECT_FALSE (button.hitTest (4, 72));
    EXPECT_TRUE (button.hitTest (60, 72));
    button.clearHitArea();
    EXPECT_TRUE (button.hitTest (4, 72));

    // From SVG text: a triangle with its right angle at the top left, on a 10 by 10 canvas.
    button.setSize (100, 100);
    button.setHitAreaFromSVG ("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"10\" height=\"10\" viewBox=\"0 0 10 10\">"
                              "<path d=\"M0 0 L10 0 L0 10 Z\" fill=\"#fff\"/></svg>");
    EXPECT_TRUE (button.hitTest (10, 10) && button.hitTest (80, 10));
    EXPECT_FALSE (button.hitTest (90, 90) || button.hitTest (60, 60));
    button.setHitAreaFromSVG ("");
    EXPECT_TRUE (button.hitTest (90, 90));
}

TEST (ClippedPNGButton, ChoosesItsImageByStateAndScale)
{
    using S = ClippedPNGButton::State;
    EXPECT_EQ (ClippedPNGButton::stateFor (false, false, false), S::normal);
    EXPECT_EQ (ClippedPNGButton::stateFor (false, false, true), S::hover);
    EXPECT_EQ (ClippedPNGButton::stateFor (true, true, false), S::down);

    ClippedPNGButton button ("HideEQ");
    button.setSize (208, 24);
    button.setImages ("HideEQNormal", "HideEQHover", "");
    auto normal = button.getImageFor (S::normal, 1.0f);
    EXPECT_EQ (normal.getWidth(), 208);
    EXPECT_EQ (button.getImageFor (S::hover, 2.0f).getWidth(), 416);
    EXPECT_EQ (button.getImageFor (S::down, 1.0f).getPixelAt (104, 12), normal.getPixelAt (104, 12)); // no down image
    EXPECT_NE (button.getImageFor (S::hover, 1.0f).getPixelAt (104, 3), normal.getPixelAt (104, 3));
    auto image = kittest::render (button); // the image fills the button, the corners stay clear
    EXPECT_GT (image.getPixelAt (104, 3).getAlpha(), 200);
    EXPECT_EQ (image.getPixelAt (1, 22).getAlpha(), 0);
}
