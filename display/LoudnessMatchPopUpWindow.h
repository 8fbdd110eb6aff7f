#pragma once

#include "analysis/Model.h"
#include "kit/PopupLookAndFeel.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>

// A text toggle of the small accent-coloured pop-ups.
class PopUpButton : public juce::TextButton
{
public:
    explicit PopUpButton (const juce::String& buttonText);
};

// Shown under the loudness match button while the pointer is over it: the match's mode
// (short-term or integrated) and its target (-24, -14 or -8 LUFS), each a radio group whose
// click sets the Model's field at once. Message thread only.
class LoudnessMatchPopUpWindow : public juce::Component,
                                 private juce::Button::Listener
{
public:
    explicit LoudnessMatchPopUpWindow (Model& model);
    ~LoudnessMatchPopUpWindow() override;

    static constexpr int windowWidth = 115;
    static constexpr int windowHeight = 90;
    static constexpr int modeGroup = 1;
    static constexpr int targetGroup = 2;

    // The five children: the two modes, then the three targets.
    static constexpr int numChoices = 5;
    PopUpButton& getChoice (int index) { return *choices[(size_t) index]; }

    // Sets the toggles from the Model's present mode and target.
    void showModelState();

    void paint (juce::Graphics&) override;
    void resized() override;

private:
    void buttonClicked (juce::Button*) override;

    Model& model;
    bws::PopupLookAndFeel look;
    PopUpButton shortTermButton { "Short-Term LUFS" };
    PopUpButton integratedButton { "Integrated LUFS" };
    PopUpButton quietTargetButton { "-24" };
    PopUpButton middleTargetButton { "-14" };
    PopUpButton loudTargetButton { "-8" };
    std::array<PopUpButton*, numChoices> choices { &shortTermButton, &integratedButton, &quietTargetButton,
                                                   &middleTargetButton, &loudTargetButton };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (LoudnessMatchPopUpWindow)
};
