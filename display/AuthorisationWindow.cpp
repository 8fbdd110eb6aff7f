#include "display/AuthorisationWindow.h"

#include "app/Messages.h"
#include "kit/Palette.h"
#include "kit/Resources.h"

AuthorisationWindow::AuthorisationWindow()
{
    headingLabel.setText (heading, juce::dontSendNotification);
    headingLabel.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Bold)).withHeight (18.0f));
    headingLabel.setColour (juce::Label::textColourId, juce::Colours::white);
    addAndMakeVisible (headingLabel);
    statusLabel.setText (statusText, juce::dontSendNotification);
    statusLabel.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    addAndMakeVisible (statusLabel);
    xButton.addListener (this);
    // The base class took its size before these children existed, so they are placed here.
    resized();
}

AuthorisationWindow::~AuthorisationWindow()
{
    xButton.removeListener (this);
}

void AuthorisationWindow::resized()
{
    SettingsWindow::resized();
    headingLabel.setBounds (30, 40, 300, 20);
    statusLabel.setBounds (30, 80, getWidth() - 60, 20);
}

void AuthorisationWindow::buttonClicked (juce::Button*)
{
    setVisible (false);
    sendActionMessage (messages::closeAuthorisationWindow);
}
