#include "KitTestEnvironment.h"
#include "kit/AnimatedButton.h"
#include "kit/BrenwickSoundLogo.h"
#include "kit/DisabledCover.h"
#include "kit/HelpWindow.h"
#include "kit/Palette.h"
#include "kit/SettingsWindow.h"
#include "kit/UtilitiesMenu.h"

#include <gtest/gtest.h>

using namespace bws;

TEST (UtilitiesMenu, TheHelpToggleCarriesTheUpdateBadgeAndItsTooltip)
{
    UtilitiesMenu menu;
    EXPECT_EQ (menu.helpButton.getTooltip(), "This version is up to date.");
    const auto plainBounds = menu.helpButton.getStateImage (0)->getDrawableBounds();
    menu.setUpdateAvailable (true);
    EXPECT_EQ (menu.helpButton.getTooltip(), "An update is available, click to download.");
    EXPECT_LT (menu.helpButton.getStateImage (0)->getDrawableBounds().getY(), plainBounds.getY()); // the badge in the corner
    menu.setUpdateAvailable (false);
    EXPECT_EQ (menu.helpButton.getStateImage (0)->getDrawableBounds(), plainBounds);
    EXPECT_EQ (UtilitiesMenu (true).helpButton.getTooltip(), "An update is available, click to download.");
    EXPECT_EQ (UtilitiesMenu::withUpdateBadge ("nonsense"), "nonsense"); // a broken icon comes back unchanged
}

TEST (BrenwickSoundLogo, LinkColourAndImageFollowTheNewProductFlagEvenFromAnotherThread)
{
    const juce::Colour flagged (0xff00ff27), plain (0xffffffff);
    BrenwickSoundLogo logo (flagged, plain);
    auto* plainImage = logo.getCurrentLogo();
    logo.setNewProductAvailable (true);
    EXPECT_TRUE (logo.getLinkColour() == flagged && logo.getCurrentLogo() != plainImage && logo.getCurrentLogo() != nullptr);
    logo.setNewProductAvailable (false);
    EXPECT_TRUE (logo.getLinkColour() == plain && logo.getCurrentLogo() == plainImage);

    // The callback may come from any thread, so it posts; the change arrives with the messages,
    // and a callback for a logo that is gone by then does nothing.
    logo.newProductAvailableCallback (true);
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&] { return logo.getLinkColour() == flagged; }));
    auto gone = std::make_unique<BrenwickSoundLogo> (flagged, plain);
    gone->newProductAvailableCallback (true);
    gone.reset();
    bool ran = false;
    juce::MessageManager::callAsync ([&ran] { ran = true; });
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&ran] { return ran; }));
}

TEST (Overlays, DisabledCoverTakesEveryClickAndSettingsWindowKeepsItsCloseCrossRight)
{
    juce::Component parent;
    juce::TextButton underneath ("Reset");
    DisabledCover cover;
    parent.setVisible (true);
    parent.addAndMakeVisible (underneath);
    parent.addAndMakeVisible (cover);
    parent.setSize (640, 480);
    underneath.setBounds (10, 10, 60, 26);
    EXPECT_EQ (cover.getBounds(), parent.getLocalBounds());
    EXPECT_EQ (parent.getComponentAt (20, 20), &cover);
    EXPECT_GT (kittest::render (parent).getPixelAt (300, 300).getAlpha(), 100);
    cover.setVisible (false);
    EXPECT_EQ (parent.getComponentAt (20, 20), &underneath);

    SettingsWindow window;
    EXPECT_EQ (window.getBounds(), juce::Rectangle<int> (600, 510));
    window.setSize (700, 510);
    ASSERT_NE (window.getChildComponent (0), nullptr);
    EXPECT_EQ (window.getChildComponent (0)->getRight(), 700 - SettingsWindow::closeButtonRightInset);
    EXPECT_EQ (kittest::render (window).getPixelAt (300, 300), juce::Colour (Palette::waveformBackground));
}

TEST (HelpWindow, LinksVersionUpdateLineAndCloseMessage)
{
    HelpWindow::Contents contents;
    contents.links = { { "Walkthrough Video & User Manual", juce::URL ("https://example.com/manual") },
                       { "Help Centre", juce::URL ("https://example.com/help") } };
    contents.versionLine = "This is ORVANE version 2.0.6 : build today";
    contents.closeMessage = "CLOSE_HELP_WONDOW";
    HelpWindow window (contents);
    window.setVisible (true);
    ASSERT_EQ (window.getNumLinks(), 2);
    EXPECT_EQ (window.getLinkButton (1)->getURL().toString (false), "https://example.com/help");
    EXPECT_LT (window.getLinkButton (0)->getY(), window.getLinkButton (1)->getY());
    EXPECT_EQ (window.getVersionLabel().getText(), contents.versionLine);
    EXPECT_TRUE (! window.getUpdateLink().isVisible() && window.getUpToDateLabel().isVisible());
    window.setUpdateAvailable (true);
    EXPECT_TRUE (window.getUpdateLink().isVisible() && ! window.getUpToDateLabel().isVisible());

    struct Catcher : juce::ActionListener
    {
        void actionListenerCallback (const juce::String& message) override { messages.add (message); }
        juce::StringArray messages;
    } catcher;
    window.addActionListener (&catcher);
    window.getCloseButton().triggerClick();
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&catcher] { return catcher.messages.size() > 0; }));
    EXPECT_EQ (catcher.messages, juce::StringArray ("CLOSE_HELP_WONDOW"));
    EXPECT_FALSE (window.isVisible());
    window.removeActionListener (&catcher);
}

TEST (ButtonAnimation, WalksFrameByFrameTowardsItsTargetAndTheButtonRunsItOnItsTimer)
{
    ButtonAnimation steps;
    for (int i = 1; i <= 5; ++i)
        steps.addFrameFromSVG ("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + juce::String (i)
                               + "\" height=\"4\"><rect width=\"" + juce::String (i) + "\" height=\"4\" fill=\"#fff\"/></svg>");
    steps.addFrameFromSVG ("broken");
    int changes = 0, taken = 0;
    steps.onFrameChanged = [&changes] { ++changes; };
    steps.animateTo (3);
    while (steps.step())
        ++taken;
    EXPECT_TRUE (taken == 3 && changes == 3 && steps.getCurrentFrame() == 3);
    EXPECT_FLOAT_EQ (steps.getCurrentDrawable()->getDrawableBounds().getWidth(), 4.0f);
    steps.setFrame (99);
    EXPECT_EQ (steps.getCurrentFrame(), 5);
    EXPECT_EQ (steps.getCurrentDrawable(), nullptr); // the broken frame is empty

    // The main button's twelve frames light up step by step: strong ink never shrinks.
    MainButtonAnimation frames;
    ASSERT_EQ (frames.getNumFrames(), MainButtonAnimation::numFrames);
    for (int i = 0, previousInk = -1; i < frames.getNumFrames(); ++i)
    {
        frames.setFrame (i);
        ASSERT_NE (frames.getCurrentDrawable(), nullptr) << "frame " << i;
        juce::Image image (juce::Image::ARGB, 28, 28, true);
        juce::Graphics g (image);
        frames.getCurrentDrawable()->drawWithin (g, { 0.0f, 0.0f, 28.0f, 28.0f }, juce::RectanglePlacement::centred, 1.0f);
        int ink = 0;
        for (int p = 0; p < 28 * 28; ++p)
            ink += image.getPixelAt (p % 28, p / 28).getAlpha() > 160 ? 1 : 0;
        EXPECT_GE (ink, previousInk) << "frame " << i;
        previousInk = ink;
    }

    // A button runs its animation forward on its timer when toggled on, and back when off.
    AnimatedButton button ("MainButton", std::make_unique<MainButtonAnimation>());
    button.setSize (28, 28);
    auto& animation = button.getAnimation();
    animation.setFrameInterval (1);
    button.setToggleState (true, juce::dontSendNotification);
    button.triggerClick(); // a click toggles nothing here but makes the button follow its state
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&animation] { return animation.getCurrentFrame() == MainButtonAnimation::numFrames - 1; }));
    kittest::render (button); // a flashed button lets go only once it has been painted
    button.setToggleState (false, juce::dontSendNotification);
    button.triggerClick();
    EXPECT_TRUE (kittest::pumpMessagesUntil ([&animation] { return animation.getCurrentFrame() == 0; }));
}
