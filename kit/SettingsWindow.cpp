#include "SettingsWindow.h"
#include "Palette.h"

namespace bws
{
    SettingsWindow::SettingsWindow()
    {
        setLookAndFeel (&settingsLookAndFeel);
        addAndMakeVisible (xButton);
        setSize (windowWidth, windowHeight);
    }

    SettingsWindow::~SettingsWindow()
    {
        setLookAndFeel (nullptr);
    }

    void SettingsWindow::paint (juce::Graphics& g)
    {
        g.fillAll (juce::Colour (Palette::waveformBackground));
        g.setColour (juce::Colour (Palette::text));
        g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (0.5f), 10.0f, 1.0f);
    }

    void SettingsWindow::resized()
    {
        placeCloseButton();
    }

    void SettingsWindow::placeCloseButton()
    {
        xButton.setTopLeftPosition (getWidth() - closeButtonRightInset - xButton.getWidth(), closeButtonTop);
    }
}
