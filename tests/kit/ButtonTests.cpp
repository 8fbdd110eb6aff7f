#include "KitTestEnvironment.h"
#include "kit/ClippedPNGButton.h"
#include "kit/Resources.h"
#include "kit/SVGButton.h"

#include <gtest/gtest.h>

namespace
{
    using namespace bws;

    // An SVG whose canvas width tells which state it was made for.
    juce::String svgOfWidth (int width)
    {
        return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + juce::String (width) + "\" height=\"10\" viewBox=\"0 0 "
             + juce::String (width) + " 10\"><rect x=\"0\" y=\"0\" width=\"" + juce::String (width)
             + "\" height=\"10\" fill=\"#4c58c8\"/></svg>";
    }

    float widthOf (const juce::Drawable* drawable)
    {
        return drawable != nullptr ? drawable->getDrawableBounds().getWidth() : -1.0f;
    }

    // The drawable the button has on show (its one child).
    const juce::Drawable* shown (const juce::Button& button)
    {
        return button.getNumChildComponents() == 1 ? dynamic_cast<const juce::Drawable*> (button.getChildComponent (0)) : nullptr;
    }
}

TEST (SVGButton, IsAnImageOnBackgroundButtonWithIndentThree)
{
    SVGButton button ("Play");
    EXPECT_EQ (button.getName(), "Play");
    EXPECT_EQ (button.getStyle(), juce::DrawableButton::ImageOnButtonBackgroundOriginalSize);
    EXPECT_EQ (button.getEdgeIndent(), 3);
    EXPECT_EQ (button.getNumStateImages(), 0);
}

TEST (SVGButton, EightStringsFillTheStatesInOrder)
{
    SVGButton button ("Feedback");
    button.setSize (30, 30);
    button.setImages (svgOfWidth (1), svgOfWidth (2), svgOfWidth (3), svgOfWidth (4),
                      svgOfWidth (5), svgOfWidth (6), svgOfWidth (7), svgOfWidth (8));

    EXPECT_EQ (button.getNumStateImages(), 8);

    for (int i = 0; i < 8; ++i)
        EXPECT_FLOAT_EQ (widthOf (button.getStateImage (i)), (float) (i + 1)) << "state " << i;

    EXPECT_EQ (button.getStateImage (8), nullptr);
    EXPECT_EQ (button.getStateImage (-1), nullptr);

    // The button shows the drawable of its state: normal, disabled, normal on, disabled on.
    EXPECT_FLOAT_EQ (widthOf (shown (button)), 1.0f);
    button.setEnabled (false);
    EXPECT_FLOAT_EQ (widthOf (shown (button)), 4.0f);
    button.setToggleState (true, juce::dontSendNotification);
    EXPECT_FLOAT_EQ (widthOf (shown (button)), 8.0f);
    button.setEnabled (true);
    EXPECT_FLOAT_EQ (widthOf (shown (button)), 5.0f);
}

TEST (SVGButton, EmptyOrBrokenTextsLeaveAStateWithoutImage)
{
    SVGButton button;
    button.setImages (svgOfWidth (1), {}, "<svg this is not xml", "not svg at all",
                      {}, svgOfWidth (6), {}, "<html/>");

    EXPECT_EQ (button.getNumStateImages(), 2);
    EXPECT_NE (button.getStateImage (0), nullptr);
    EXPECT_EQ (button.getStateImage (1), nullptr);
    EXPECT_EQ (button.getStateImage (2), nullptr);
    EXPECT_EQ (button.getStateImage (3), nullptr);
    EXPECT_NE (button.getStateImage (5), nullptr);
    EXPECT_EQ (button.getStateImage (7), nullptr);

    // Without any normal image the button still works and shows nothing.
    button.setImages ({}, {}, {});
    EXPECT_EQ (button.getNumStateImages(), 0);
    auto image = kittest::render (button);
    EXPECT_TRUE (image.isValid());
}

TEST (SVGButton, ThreeStringsSetNormalOverAndDownOnly)
{
    SVGButton button;
    button.setImages (svgOfWidth (8), svgOfWidth (8), svgOfWidth (8), svgOfWidth (8),
                      svgOfWidth (8), svgOfWidth (8), svgOfWidth (8), svgOfWidth (8));
    button.setImages (svgOfWidth (1), svgOfWidth (2), svgOfWidth (3));

    EXPECT_EQ (button.getNumStateImages(), 3);
    EXPECT_FLOAT_EQ (widthOf (button.getStateImage (0)), 1.0f);
    EXPECT_FLOAT_EQ (widthOf (button.getStateImage (1)), 2.0f);
    EXPECT_FLOAT_EQ (widthOf (button.getStateImage (2)), 3.0f);

    for (int i = 3; i < 8; ++i)
        EXPECT_EQ (button.getStateImage (i), nullptr) << "state " << i;
}

TEST (SVGButton, ResourcesByNameAndItsArtDrawsWithoutAFrame)
{
    SVGButton button ("AddTracks");
    button.setImagesFromResources ({ "AddTracksNormal_svg", "AddTracksHover_svg", "AddTracksDown_svg", "AddTracksDisabled_svg" });
    EXPECT_EQ (button.getNumStateImages(), 4);

    // The art is drawn at its own size in the middle; the corners of a larger button stay clear.
    button.setSize (41, 41);
    auto image = kittest::render (button);
    EXPECT_EQ (kittest::pixel (image, 1, 1).getAlpha(), 0);
    EXPECT_EQ (kittest::pixel (image, 39, 39).getAlpha(), 0);

    int inked = 0;
    for (int y = 12; y < 29; ++y)
        for (int x = 12; x < 29; ++x)
            inked += kittest::pixel (image, x, y).getAlpha() > 0 ? 1 : 0;

    EXPECT_GT (inked, 10);
}

TEST (SVGHyperlinkButton, KeepsItsAddressAndNumbersAndClicksWithoutTheBrowser)
{
    SVGHyperlinkButton link (juce::URL ("https://example.com/buy"), "Buy");
    EXPECT_EQ (link.getName(), "Buy");
    EXPECT_EQ (link.getURL().toString (false), "https://example.com/buy");
    EXPECT_EQ (link.getEdgeIndent(), 5);
    EXPECT_FLOAT_EQ (link.getRestingOpacity(), 0.95f);
    EXPECT_FLOAT_EQ (link.getHoverOpacity(), 1.0f);
    EXPECT_FLOAT_EQ (link.opacityFor (false), 0.95f);
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

//==============================================================================
TEST (ClippedPNGButton, HitTestFollowsTheSlantedShape)
{
    ClippedPNGButton button ("LoudnessMatch");
    button.setSize (137, 38);

    // Without a shape the whole rectangle answers.
    EXPECT_TRUE (button.hitTest (1, 36));
    EXPECT_FALSE (button.hitTest (-1, 5));

    button.setHitAreaFromResource ("LoudnessMatchHitArea_svg");
    ASSERT_TRUE (button.hasHitArea());

    EXPECT_TRUE (button.hitTest (68, 19));    // middle
    EXPECT_TRUE (button.hitTest (2, 1));      // top left, above the slant
    EXPECT_TRUE (button.hitTest (134, 1));    // top right
    EXPECT_FALSE (button.hitTest (2, 36));    // bottom left, cut away
    EXPECT_FALSE (button.hitTest (134, 36));  // bottom right, cut away
    EXPECT_TRUE (button.hitTest (30, 36));    // bottom edge, inside the slant
    EXPECT_FALSE (button.hitTest (140, 10));  // outside the button
    EXPECT_FALSE (button.hitTest (68, 38));

    // The shape stretches with the button.
    button.setSize (274, 76);
    EXPECT_FALSE (button.hitTest (4, 72));
    EXPECT_TRUE (button.hitTest (60, 72));
    EXPECT_TRUE (button.hitTest (137, 38));
    EXPECT_EQ (button.getHitPathInBounds().getBounds().getWidth(), 274.0f);

    button.clearHitArea();
    EXPECT_TRUE (button.hitTest (4, 72));
}

TEST (ClippedPNGButton, HitAreaFromSVGText)
{
    ClippedPNGButton button;
    button.setSize (100, 100);
    // A triangle with its right angle at the top left, on a 10 by 10 canvas.
    button.setHitAreaFromSVG ("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"10\" height=\"10\" viewBox=\"0 0 10 10\">"
                              "<path d=\"M0 0 L10 0 L0 10 Z\" fill=\"#fff\"/></svg>");
    EXPECT_TRUE (button.hitTest (10, 10));
    EXPECT_TRUE (button.hitTest (80, 10));
    EXPECT_FALSE (button.hitTest (90, 90));
    EXPECT_FALSE (button.hitTest (60, 60));

    button.setHitAreaFromSVG ("");
    EXPECT_FALSE (button.hasHitArea());
    EXPECT_TRUE (button.hitTest (90, 90));
}

TEST (ClippedPNGButton, ChoosesItsImageByStateAndScale)
{
    ClippedPNGButton button ("HideEQ");
    button.setSize (208, 24);
    button.setImages ("HideEQNormal", "HideEQHover", "");

    using S = ClippedPNGButton::State;
    EXPECT_EQ (ClippedPNGButton::stateFor (false, false, false), S::normal);
    EXPECT_EQ (ClippedPNGButton::stateFor (true, false, false), S::hover);
    EXPECT_EQ (ClippedPNGButton::stateFor (false, false, true), S::hover);
    EXPECT_EQ (ClippedPNGButton::stateFor (true, true, false), S::down);

    auto normal = button.getImageFor (S::normal, 1.0f);
    auto hover = button.getImageFor (S::hover, 1.0f);
    auto hover2 = button.getImageFor (S::hover, 2.0f);
    auto down = button.getImageFor (S::down, 1.0f); // no down image: the normal one
    ASSERT_TRUE (normal.isValid());
    EXPECT_EQ (normal.getWidth(), 208);
    EXPECT_EQ (hover2.getWidth(), 416);
    EXPECT_EQ (down.getPixelAt (104, 12), normal.getPixelAt (104, 12));
    EXPECT_NE (hover.getPixelAt (104, 3), normal.getPixelAt (104, 3));

    // Painted: the image fills the shape and leaves the cut-away corners clear.
    auto image = kittest::render (button);
    EXPECT_GT (kittest::pixel (image, 104, 3).getAlpha(), 200);
    EXPECT_EQ (kittest::pixel (image, 1, 22).getAlpha(), 0);
}
