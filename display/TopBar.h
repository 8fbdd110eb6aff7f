#pragma once

#include "display/LoudnessMatchButton.h"
#include "kit/SVGButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

class Model;

// The bar at the top centre of the main window: the current threshold preset's name between
// the arrows that step through the presets, the toggle of the presets window, and the
// loudness-match switch at the right. Message thread only.
class TopBar : public juce::Component
{
public:
    explicit TopBar (Model& model);
    ~TopBar() override;

    // Every bound of the bar, in the bar's own coordinates.
    struct Bounds
    {
        static constexpr int width = 395;
        static constexpr int height = 43;
        static juce::Rectangle<int> background() { return { 0, 1, 395, 43 }; }
        static juce::Rectangle<int> presetName() { return { 50, 11, 160, 20 }; }
        static juce::Rectangle<int> presetsMenu() { return { 230, 13, 22, 16 }; }
        static juce::Rectangle<int> previous() { return { 26, 17, 6, 8 }; }
        static juce::Rectangle<int> next() { return { 36, 17, 6, 8 }; }
        static juce::Rectangle<int> loudnessMatch (int barWidth) { return { barWidth - 137, 5, 137, 36 }; }
    };

    static constexpr float nameFontHeight = 14.0f;
    static constexpr juce::uint32 nameColour = 0xffe6e7fa;
    static constexpr const char* previousTooltip = "Click to scroll back through presets\n ";
    static constexpr const char* nextTooltip = "Click to scroll forward through presets\n ";

    // Shows the current threshold preset's name ("[NO PRESET SELECTED]" when there is none).
    void refresh();
    void setPresetName (const juce::String& name);
    juce::String getPresetName() const { return presetNameLabel.getText(); }

    juce::ImageComponent background { "Top Bar Background" };
    juce::Label presetNameLabel;
    bws::SVGButton_1 presetsMenuButton { "Presets Menu" };
    bws::SVGButton_1 previousButton { "Previous" };
    bws::SVGButton_1 nextButton { "Next" };
    LoudnessMatchButton loudnessMatchButton;

    void resized() override;
    // A click on the preset's name works the presets toggle.
    void mouseUp (const juce::MouseEvent&) override;

private:
    Model& model;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TopBar)
};
