#include "HelpWindow.h"
#include "Palette.h"

namespace bws
{
    HelpWindow::HelpWindow (Contents newContents, bool updateAvailable)
        : contents (std::move (newContents))
    {
        const juce::Colour text (Palette::text);

        auto setUpLabel = [this, text] (juce::Label& label, const juce::String& words, float height)
        {
            label.setText (words, juce::dontSendNotification);
            label.setColour (juce::Label::textColourId, text);
            label.setFont (juce::Font (height));
            label.setJustificationType (juce::Justification::centredLeft);
            addAndMakeVisible (label);
        };

        setUpLabel (headingLabel, contents.heading, 18.0f);
        setUpLabel (versionLabel, contents.versionLine, 14.0f);
        setUpLabel (upToDateLabel, contents.upToDateText, 14.0f);

        auto setUpLink = [this] (juce::HyperlinkButton& button, const Link& link)
        {
            button.setButtonText (link.text);
            button.setURL (link.address);
            button.setColour (juce::HyperlinkButton::textColourId, juce::Colour (Palette::accent).brighter (0.6f));
            button.setFont (juce::Font (14.0f), false, juce::Justification::centredLeft);
            button.setTooltip (link.address.toString (false));
            addAndMakeVisible (button);
        };

        for (auto& link : contents.links)
            setUpLink (*linkButtons.add (new juce::HyperlinkButton()), link);

        setUpLink (supportLink, contents.support);
        setUpLink (updateLink, contents.update);

        xButton.addListener (this);
        addAndMakeVisible (xButton);

        setUpdateAvailable (updateAvailable);
        setSize (windowWidth, windowHeight);
    }

    HelpWindow::~HelpWindow()
    {
        xButton.removeListener (this);
    }

    void HelpWindow::setUpdateAvailable (bool updateAvailable)
    {
        updateShown = updateAvailable;
        updateLink.setVisible (updateAvailable);
        upToDateLabel.setVisible (! updateAvailable);
    }

    void HelpWindow::buttonClicked (juce::Button* button)
    {
        if (button != &xButton)
            return;

        setVisible (false);

        if (contents.closeMessage.isNotEmpty())
            sendActionMessage (contents.closeMessage);
    }

    void HelpWindow::paint (juce::Graphics& g)
    {
        g.fillAll (juce::Colour (Palette::waveformBackground));
        g.setColour (juce::Colour (Palette::text));
        g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (0.5f), 10.0f, 1.0f);

        // A thin rule under the heading.
        g.setColour (juce::Colour (Palette::stripBackground));
        g.fillRect (30, 72, getWidth() - 60, 1);
    }

    void HelpWindow::resized()
    {
        xButton.setTopLeftPosition (getWidth() - 30 - xButton.getWidth(), 40);
        headingLabel.setBounds (30, 40, getWidth() - 100, 26);

        int y = 86;

        for (auto* button : linkButtons)
        {
            button->setBounds (30, y, getWidth() - 60, 22);
            y += 28;
        }

        y += 12;
        supportLink.setBounds (30, y, getWidth() - 60, 22);

        auto bottom = getHeight() - 40;
        upToDateLabel.setBounds (30, bottom - 22, getWidth() - 60, 22);
        updateLink.setBounds (30, bottom - 22, getWidth() - 60, 22);
        versionLabel.setBounds (30, bottom - 52, getWidth() - 60, 22);
    }
}
