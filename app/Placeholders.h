#pragma once

// Stand-ins for displays that are not written yet: the top bar with the preset name and its
// arrows, and the settings, authorisation and help overlays. Each has the size, the buttons
// and the messages the main component relies on, and nothing more.

#include "display/LoudnessMatchButton.h"
#include "kit/HelpWindow.h"
#include "kit/SettingsWindow.h"

#include <juce_gui_basics/juce_gui_basics.h>

// The bar at the top centre: the current preset's name between the previous and next arrows,
// and the preset toggle.
class PlaceholderTopBar : public juce::Component
{
public:
    PlaceholderTopBar();

    static constexpr int barWidth = 395;
    static constexpr int barHeight = 43;

    void setPresetName (const juce::String& name);
    juce::String getPresetName() const { return presetName.getText(); }

    juce::TextButton previousButton { "<" };
    juce::TextButton nextButton { ">" };
    juce::ToggleButton presetToggle { "PRESETS" };
    // At the bar's right end: width - 137, 5, 137 by 36.
    LoudnessMatchButton loudnessMatchButton;

    void resized() override;

private:
    juce::Label presetName;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PlaceholderTopBar)
};

// An overlay panel whose close button hides it and sends its close message.
class PlaceholderOverlay : public bws::SettingsWindow,
                           private juce::Button::Listener
{
public:
    PlaceholderOverlay (const juce::String& heading, const juce::String& closeMessage);
    ~PlaceholderOverlay() override;

    bws::XButton& getCloseButton() noexcept { return xButton; }
    void resized() override;

private:
    void buttonClicked (juce::Button*) override;

    juce::Label headingLabel;
    juce::String closeMessage;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PlaceholderOverlay)
};

// The help overlay: the version and the close message, without the help texts.
std::unique_ptr<bws::HelpWindow> makePlaceholderHelpWindow (const juce::String& versionLine);
