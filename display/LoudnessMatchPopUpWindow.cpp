#include "display/LoudnessMatchPopUpWindow.h"

#include "app/PopUpWindow.h"
#include "kit/Resources.h"

namespace
{
// The value each child stands for: modes for the first two, targets in LUFS for the rest.
constexpr float choiceValues[LoudnessMatchPopUpWindow::numChoices] = { 0.0f, 1.0f, -24.0f, -14.0f, -8.0f };
} // namespace

PopUpButton::PopUpButton (const juce::String& buttonText) : juce::TextButton (buttonText)
{
    setClickingTogglesState (true);
}

LoudnessMatchPopUpWindow::LoudnessMatchPopUpWindow (Model& m)
    : model (m), look (bws::Resources::getTypeface (bws::Resources::FontRole::Medium))
{
    for (size_t i = 0; i < choices.size(); ++i)
    {
        auto* button = choices[i];
        button->setLookAndFeel (&look);
        button->setRadioGroupId (i < 2 ? modeGroup : targetGroup, juce::dontSendNotification);
        button->setWantsKeyboardFocus (false);
        button->addListener (this);
        addAndMakeVisible (button);
    }
    showModelState();
    setSize (windowWidth, windowHeight);
}

LoudnessMatchPopUpWindow::~LoudnessMatchPopUpWindow()
{
    for (auto* button : choices)
    {
        button->removeListener (this);
        button->setLookAndFeel (nullptr);
    }
}

void LoudnessMatchPopUpWindow::showModelState()
{
    for (size_t i = 0; i < choices.size(); ++i)
    {
        const bool on = i < 2 ? (int) choiceValues[i] == model.loudnessMatchMode
                              : choiceValues[i] == model.loudnessMatchTarget;
        choices[i]->setToggleState (on, juce::dontSendNotification);
    }
}

void LoudnessMatchPopUpWindow::buttonClicked (juce::Button* button)
{
    for (size_t i = 0; i < choices.size(); ++i)
    {
        if (choices[i] != button || ! button->getToggleState())
            continue;
        // Taken by the audio callback at its next block.
        if (i < 2)
            model.loudnessMatchMode = (int) choiceValues[i];
        else
            model.loudnessMatchTarget = choiceValues[i];
    }
}

void LoudnessMatchPopUpWindow::paint (juce::Graphics& g)
{
    PopUpWindow::paintShape (g, getLocalBounds());
}

void LoudnessMatchPopUpWindow::resized()
{
    auto area = getLocalBounds().withHeight (juce::jmin (getHeight() - 2, 84));
    shortTermButton.setBounds (area.removeFromTop (26));
    area.removeFromTop (2);
    integratedButton.setBounds (area.removeFromTop (26));
    auto targets = area.removeFromTop (juce::jmin (30, area.getHeight())).withTrimmedBottom (4);
    const int third = targets.getWidth() / 3;
    quietTargetButton.setBounds (targets.removeFromLeft (third));
    middleTargetButton.setBounds (targets.removeFromLeft (third));
    loudTargetButton.setBounds (targets);
}
