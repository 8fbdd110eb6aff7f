#include "KitTestEnvironment.h"
#include "kit/AnimatedButton.h"
#include "kit/BrenwickSoundLogo.h"
#include "kit/DisabledCover.h"
#include "kit/HelpWindow.h"
#include "kit/Palette.h"
#include "kit/SettingsWindow.h"
#include "kit/UtilitiesMenu.h"
#include "kit/XButton.h"

#include <gtest/gtest.h>

namespace
{
    using namespace bws;

    struct MessageCatcher : juce::ActionListener
    {
        void actionListenerCallback (const juce::String& message) override { messages.add (message); }
        juce::StringArray messages;
    };
}

TEST (UtilitiesMenu, ThreeTogglesInARowAndTheUpdateBadge)
{
    UtilitiesMenu menu;
    EXPECT_EQ (menu.getWidth(), UtilitiesMenu::menuWidth);
    EXPECT_EQ (menu.getHeight(), UtilitiesMenu::menuHeight);

    EXPECT_TRUE (menu.settingsButton.getClickingTogglesState());
    EXPECT_TRUE (menu.authorisationButton.getClickingTogglesState());
    EXPECT_TRUE (menu.helpButton.getClickingTogglesState());
    EXPECT_LT (menu.settingsButton.getRight(), menu.authorisationButton.getX());
    EXPECT_LT (menu.authorisationButton.getRight(), menu.helpButton.getX());
    EXPECT_LE (menu.helpButton.getRight(), menu.getWidth());

    for (auto* b : { &menu.settingsButton, &menu.authorisationButton, &menu.helpButton })
        EXPECT_NE (b->getStateImage (0), nullptr);

    EXPECT_FALSE (menu.isUpdateAvailable());
    EXPECT_EQ (menu.helpButton.getTooltip(), "This version is up to date.");
    auto plainBounds = menu.helpButton.getStateImage (0)->getDrawableBounds();

    menu.setUpdateAvailable (true);
    EXPECT_TRUE (menu.isUpdateAvailable());
    EXPECT_EQ (menu.helpButton.getTooltip(), "An update is available, click to download.");
    auto badgeBounds = menu.helpButton.getStateImage (0)->getDrawableBounds();
    EXPECT_LT (badgeBounds.getY(), plainBounds.getY()); // the badge reaches up into the corner
    EXPECT_GT (badgeBounds.getRight(), plainBounds.getRight());

    menu.setUpdateAvailable (false);
    EXPECT_EQ (menu.helpButton.getTooltip(), "This version is up to date.");
    EXPECT_EQ (menu.helpButton.getStateImage (0)->getDrawableBounds(), plainBounds);

    UtilitiesMenu flagged (true);
    EXPECT_EQ (flagged.helpButton.getTooltip(), "An update is available, click to download.");

    // The badge is added to any icon, and a broken text comes back unchanged.
    auto badged = UtilitiesMenu::withUpdateBadge ("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"17\" height=\"17\"/>");
    EXPECT_TRUE (badged.contains ("circle"));
    EXPECT_TRUE (badged.contains ("#fa4d42"));
    EXPECT_EQ (UtilitiesMenu::withUpdateBadge ("nonsense"), "nonsense");
}

TEST (BrenwickSoundLogo, LinkColourAndImageFollowTheNewProductFlag)
{
    const juce::Colour flagged (0xff00ff27), plain (0xffffffff);
    BrenwickSoundLogo logo (flagged, plain);
    EXPECT_GT (logo.getWidth(), 0);
    EXPECT_EQ (logo.getLinkColour(), plain);
    EXPECT_FALSE (logo.isNewProductShown());
    auto* plainImage = logo.getCurrentLogo();
    ASSERT_NE (plainImage, nullptr);

    logo.setNewProductAvailable (true);
    EXPECT_EQ (logo.getLinkColour(), flagged);
    EXPECT_NE (logo.getCurrentLogo(), plainImage);
    EXPECT_NE (logo.getCurrentLogo(), nullptr);

    logo.setNewProductAvailable (false);
    EXPECT_EQ (logo.getLinkColour(), plain);
    EXPECT_EQ (logo.getCurrentLogo(), plainImage);

    // The callback may come from any thread, so it posts; the change arrives with the messages.
    logo.newProductAvailableCallback (true);
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&logo] { return logo.isNewProductShown(); }));
    EXPECT_EQ (logo.getLinkColour(), flagged);

    BrenwickSoundLogo startsFlagged (flagged, plain, true);
    EXPECT_EQ (startsFlagged.getLinkColour(), flagged);
}

TEST (BrenwickSoundLogo, ACallbackForALogoThatIsGoneDoesNothing)
{
    auto logo = std::make_unique<BrenwickSoundLogo> (juce::Colours::green, juce::Colours::white);
    logo->newProductAvailableCallback (true);
    logo.reset();

    bool ran = false;
    juce::MessageManager::callAsync ([&ran] { ran = true; });
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&ran] { return ran; }));
}

TEST (DisabledCover, FillsItsParentAndTakesEveryClick)
{
    juce::Component parent;
    parent.setVisible (true);
    parent.setSize (300, 200);
    juce::TextButton underneath ("Reset");
    parent.addAndMakeVisible (underneath);
    underneath.setBounds (10, 10, 60, 26);

    DisabledCover cover;
    parent.addAndMakeVisible (cover);
    EXPECT_EQ (cover.getBounds(), parent.getLocalBounds());

    parent.setSize (640, 480);
    EXPECT_EQ (cover.getBounds(), parent.getLocalBounds());

    EXPECT_EQ (parent.getComponentAt (20, 20), &cover);
    EXPECT_EQ (parent.getComponentAt (600, 400), &cover);

    cover.setVisible (false);
    EXPECT_EQ (parent.getComponentAt (20, 20), &underneath);

    cover.setVisible (true);
    auto image = kittest::render (parent);
    EXPECT_GT (kittest::pixel (image, 300, 300).getAlpha(), 100);
}

TEST (XButton, SizeAndStateColours)
{
    XButton x;
    EXPECT_EQ (x.getWidth(), XButton::defaultSize);
    EXPECT_EQ (x.getHeight(), XButton::defaultSize);
    EXPECT_NE (XButton::crossColour (false, false), XButton::crossColour (true, false));
    EXPECT_EQ (XButton::crossColour (true, true), juce::Colour (Palette::accent));

    auto image = kittest::render (x);
    EXPECT_GT (kittest::pixel (image, 8, 8).getAlpha(), 0);   // where the strokes cross
    EXPECT_EQ (kittest::pixel (image, 8, 1).getAlpha(), 0);   // between the arms
}

TEST (SettingsWindow, PanelWithItsOwnLookAndACloseButtonAtTheRight)
{
    SettingsWindow window;
    EXPECT_EQ (window.getWidth(), 600);
    EXPECT_EQ (window.getHeight(), 510);
    EXPECT_EQ (&window.getLookAndFeel(), &window.getSettingsLookAndFeel());

    auto* close = dynamic_cast<XButton*> (window.getChildComponent (0));
    ASSERT_NE (close, nullptr);
    EXPECT_EQ (close->getRight(), 600 - SettingsWindow::closeButtonRightInset);

    window.setSize (700, 510);
    EXPECT_EQ (close->getRight(), 700 - SettingsWindow::closeButtonRightInset);

    auto image = kittest::render (window);
    EXPECT_EQ (kittest::pixel (image, 300, 300), juce::Colour (Palette::waveformBackground));
    EXPECT_TRUE (kittest::near (kittest::pixel (image, 300, 0), juce::Colour (Palette::text), 80));

    // Children take the settings look: a toggle turned on shows the accent.
    juce::ToggleButton toggle;
    window.addAndMakeVisible (toggle);
    toggle.setBounds (396, 115, 30, 20);
    toggle.setToggleState (true, juce::dontSendNotification);
    auto dot = SettingsLookandFeel::toggleDot (toggle.getLocalBounds());
    auto toggled = kittest::render (toggle);
    EXPECT_TRUE (kittest::near (kittest::pixel (toggled, (int) dot.getCentreX(), (int) dot.getCentreY()), juce::Colour (Palette::accent), 6));
}

TEST (HelpWindow, LinksVersionAndTheUpdateLine)
{
    HelpWindow::Contents contents;
    contents.heading = "Links to Online Help";
    contents.links = { { "Walkthrough Video & User Manual", juce::URL ("https://example.com/manual") },
                       { "Reset License instructions", juce::URL ("https://example.com/reset") },
                       { "Help Centre", juce::URL ("https://example.com/help") } };
    contents.support = { "Support", juce::URL ("https://example.com/support") };
    contents.versionLine = "This is ORVANE version 2.0.6 : build today";
    contents.update = { "An update is available, click to download.", juce::URL ("https://example.com/update") };
    contents.upToDateText = "This version is up to date.";
    contents.closeMessage = "CLOSE_HELP_WONDOW";

    HelpWindow window (contents);
    window.setVisible (true);
    EXPECT_EQ (window.getNumLinks(), 3);
    EXPECT_EQ (window.getLinkButton (2)->getButtonText(), "Help Centre");
    EXPECT_EQ (window.getLinkButton (0)->getURL().toString (false), "https://example.com/manual");
    EXPECT_EQ (window.getSupportLink().getButtonText(), "Support");
    EXPECT_EQ (window.getVersionLabel().getText(), contents.versionLine);

    // The links stand in order under one another, inside the window.
    EXPECT_LT (window.getLinkButton (0)->getY(), window.getLinkButton (1)->getY());
    EXPECT_LT (window.getLinkButton (2)->getY(), window.getSupportLink().getY());
    EXPECT_TRUE (window.getLocalBounds().contains (window.getUpdateLink().getBounds()));

    EXPECT_FALSE (window.getUpdateLink().isVisible());
    EXPECT_TRUE (window.getUpToDateLabel().isVisible());
    window.setUpdateAvailable (true);
    EXPECT_TRUE (window.getUpdateLink().isVisible());
    EXPECT_FALSE (window.getUpToDateLabel().isVisible());
    EXPECT_EQ (window.getUpdateLink().getButtonText(), "An update is available, click to download.");

    MessageCatcher catcher;
    window.addActionListener (&catcher);
    window.getCloseButton().triggerClick();
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&catcher] { return catcher.messages.size() > 0; }));
    EXPECT_EQ (catcher.messages, juce::StringArray ("CLOSE_HELP_WONDOW"));
    EXPECT_FALSE (window.isVisible());
    window.removeActionListener (&catcher);
}

//==============================================================================
TEST (ButtonAnimation, WalksFrameByFrameTowardsItsTarget)
{
    ButtonAnimation animation;
    EXPECT_EQ (animation.getCurrentDrawable(), nullptr);

    for (int i = 0; i < 5; ++i)
        animation.addFrameFromSVG ("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + juce::String (i + 1)
                                   + "\" height=\"4\"><rect width=\"" + juce::String (i + 1) + "\" height=\"4\" fill=\"#fff\"/></svg>");
    animation.addFrameFromSVG ("broken");
    ASSERT_EQ (animation.getNumFrames(), 6);

    int changes = 0;
    animation.onFrameChanged = [&changes] { ++changes; };

    animation.setFrame (0);
    EXPECT_EQ (changes, 0);
    animation.animateTo (3);
    EXPECT_EQ (animation.getTargetFrame(), 3);
    EXPECT_TRUE (animation.step());
    EXPECT_TRUE (animation.step());
    EXPECT_TRUE (animation.step());
    EXPECT_FALSE (animation.step());
    EXPECT_EQ (animation.getCurrentFrame(), 3);
    EXPECT_EQ (changes, 3);
    EXPECT_FLOAT_EQ (animation.getCurrentDrawable()->getDrawableBounds().getWidth(), 4.0f);

    animation.playBackward();
    while (animation.step()) {}
    EXPECT_EQ (animation.getCurrentFrame(), 0);

    animation.setFrame (99);
    EXPECT_EQ (animation.getCurrentFrame(), 5);
    EXPECT_EQ (animation.getCurrentDrawable(), nullptr); // the broken frame is empty
    animation.setFrame (-4);
    EXPECT_EQ (animation.getCurrentFrame(), 0);
    EXPECT_FALSE (animation.isAnimating());
}

TEST (ButtonAnimation, TheTimerRunsTheAnimationToItsEnd)
{
    MainButtonAnimation animation;
    animation.setFrameInterval (1);
    animation.playForward();
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&animation] { return animation.getCurrentFrame() == MainButtonAnimation::numFrames - 1; }));
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&animation] { return ! animation.isAnimating(); }));
}

TEST (MainButtonAnimation, TwelveFramesThatLightUpStepByStep)
{
    MainButtonAnimation animation;
    ASSERT_EQ (animation.getNumFrames(), MainButtonAnimation::numFrames);

    juce::Colour previousCentre;
    int previousInk = -1;

    for (int i = 0; i < animation.getNumFrames(); ++i)
    {
        animation.setFrame (i);
        auto* frame = animation.getCurrentDrawable();
        ASSERT_NE (frame, nullptr) << "frame " << i;

        juce::Image image (juce::Image::ARGB, 28, 28, true);
        {
            juce::Graphics g (image);
            frame->drawWithin (g, { 0.0f, 0.0f, 28.0f, 28.0f }, juce::RectanglePlacement::centred, 1.0f);
        }

        // The lit arc grows: the amount of strong ink never shrinks from frame to frame.
        int ink = 0;
        for (int y = 0; y < 28; ++y)
            for (int x = 0; x < 28; ++x)
                ink += image.getPixelAt (x, y).getAlpha() > 160 ? 1 : 0;

        EXPECT_GE (ink, previousInk) << "frame " << i;
        previousInk = ink;
    }
}

TEST (AnimatedButton, RunsForwardWhenToggledOnAndBackWhenOff)
{
    AnimatedButton button ("MainButton", std::make_unique<MainButtonAnimation>());
    button.setSize (28, 28);
    auto& animation = button.getAnimation();

    button.setToggleState (true, juce::dontSendNotification);
    button.triggerClick(); // a click toggles nothing here but makes the button follow its state
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&animation] { return animation.getTargetFrame() == MainButtonAnimation::numFrames - 1; }));

    button.setToggleState (false, juce::dontSendNotification);
    button.triggerClick();
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&animation] { return animation.getTargetFrame() == 0; }));

    auto image = kittest::render (button);
    EXPECT_TRUE (image.isValid());
}
