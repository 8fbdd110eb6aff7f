#include "app/PopUpWindow.h"

#include "kit/Palette.h"

PopUpWindow::PopUpWindow()
{
    messageLabel.setColour (juce::Label::textColourId, juce::Colours::white);
    messageLabel.setJustificationType (juce::Justification::centred);
    messageLabel.setFont (juce::Font (14.0f));
    messageLabel.setInterceptsMouseClicks (false, false);
    addAndMakeVisible (messageLabel);

    okButton.setImagesFromResources ({ "OKNormal_svg", "OKHover_svg", "OKHover_svg" });
    cancelButton.setImagesFromResources ({ "CancelNormal_svg", "CancelHover_svg", "CancelHover_svg" });
    for (auto* button : { &okButton, &cancelButton })
    {
        button->addListener (this);
        addAndMakeVisible (button);
    }
    setSize (askingWidth, askingHeight);
}

PopUpWindow::~PopUpWindow()
{
    okButton.removeListener (this);
    cancelButton.removeListener (this);
}

void PopUpWindow::setMessage (const juce::String& text)
{
    messageLabel.setText (text, juce::dontSendNotification);
}

void PopUpWindow::setHoverMode (bool hoverMode)
{
    hovering = hoverMode;
    okButton.setVisible (! hoverMode);
    cancelButton.setVisible (! hoverMode);
    resized();
}

juce::Path PopUpWindow::outline (juce::Rectangle<float> area)
{
    const float radius = juce::jmin (juce::jmin (area.getWidth(), area.getHeight()) * 0.5f, 10.0f);
    juce::Path shape;
    // JUCE's rounded corners put their control points at 0.45 of the radius.
    shape.addRoundedRectangle (area.getX(), area.getY(), area.getWidth(), area.getHeight(), radius, radius,
                               false, false, true, true);
    return shape;
}

void PopUpWindow::paint (juce::Graphics& g)
{
    paintShape (g, getLocalBounds());
}

void PopUpWindow::paintShape (juce::Graphics& g, juce::Rectangle<int> bounds)
{
    const auto shape = outline (bounds.toFloat().reduced (0.5f));
    g.setColour (juce::Colour (fillColour));
    g.fillPath (shape);
    g.setColour (juce::Colour (outlineColour));
    g.strokePath (shape, juce::PathStrokeType (1.0f));
}

void PopUpWindow::resized()
{
    auto area = getLocalBounds().reduced (12, 8);
    if (hovering)
    {
        messageLabel.setBounds (area);
        return;
    }
    auto buttonRow = area.removeFromBottom (34);
    messageLabel.setBounds (area);
    const int buttonWidth = 80;
    const int centre = getWidth() / 2;
    okButton.setBounds (centre - buttonWidth - 6, buttonRow.getY(), buttonWidth, 28);
    cancelButton.setBounds (centre + 6, buttonRow.getY(), buttonWidth, 28);
}

void PopUpWindow::buttonClicked (juce::Button* button)
{
    if (button == &okButton)
    {
        if (onConfirm)
            onConfirm();
    }
    else if (button == &cancelButton)
    {
        if (onCancel)
            onCancel();
    }
}
