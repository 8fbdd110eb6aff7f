#include "app/Placeholders.h"

#include "app/Messages.h"
#include "kit/Palette.h"

PlaceholderTopBar::PlaceholderTopBar()
{
    presetName.setJustificationType (juce::Justification::centred);
    presetName.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    presetName.setFont (juce::Font (14.0f));
    presetName.setInterceptsMouseClicks (false, false);
    addAndMakeVisible (presetName);
    addAndMakeVisible (previousButton);
    addAndMakeVisible (nextButton);
    addAndMakeVisible (loudnessMatchButton);
    presetToggle.setColour (juce::ToggleButton::textColourId, juce::Colour (bws::Palette::text));
    setSize (barWidth, barHeight);
}

void PlaceholderTopBar::setPresetName (const juce::String& name)
{
    presetName.setText (name, juce::dontSendNotification);
}

void PlaceholderTopBar::resized()
{
    loudnessMatchButton.setBounds (getWidth() - LoudnessMatchButton::buttonWidth, 5, LoudnessMatchButton::buttonWidth, 36);
    auto area = getLocalBounds().reduced (40, 8).withRight (loudnessMatchButton.getX() - 4);
    previousButton.setBounds (area.removeFromLeft (24));
    nextButton.setBounds (area.removeFromRight (24));
    presetName.setBounds (area);
}

PlaceholderOverlay::PlaceholderOverlay (const juce::String& heading, const juce::String& message)
    : closeMessage (message)
{
    headingLabel.setText (heading, juce::dontSendNotification);
    headingLabel.setFont (juce::Font (26.0f));
    headingLabel.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    addAndMakeVisible (headingLabel);
    xButton.addListener (this);
    setSize (windowWidth, windowHeight);
}

PlaceholderOverlay::~PlaceholderOverlay()
{
    xButton.removeListener (this);
}

void PlaceholderOverlay::resized()
{
    SettingsWindow::resized();
    headingLabel.setBounds (30, 30, getWidth() - 90, 31);
}

void PlaceholderOverlay::buttonClicked (juce::Button*)
{
    setVisible (false);
    sendActionMessage (closeMessage);
}

std::unique_ptr<bws::HelpWindow> makePlaceholderHelpWindow (const juce::String& versionLine)
{
    bws::HelpWindow::Contents contents;
    contents.heading = "HELP";
    contents.versionLine = versionLine;
    contents.upToDateText = "This version is up to date.";
    contents.closeMessage = messages::closeHelpWindow;
    return std::make_unique<bws::HelpWindow> (contents, false);
}
