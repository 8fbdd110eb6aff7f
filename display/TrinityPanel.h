#pragma once

#include "display/Trinity.h"
#include "kit/AnimatedButton.h"
#include "kit/SVGButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <memory>

// A range button of the EQ plot: its text ("+5", "-5") over the panel's ring animation.
class RangeButton : public bws::AnimatedButton
{
public:
    explicit RangeButton (const juce::String& name);
    // The ring lights up once and goes out again, to show that the range moved this way.
    void flash();
    void paintButton (juce::Graphics&, bool highlighted, bool down) override;
};

// The right side of the EQ pane: the plot, its range and mode buttons, the EQ preset's name
// with the menu button that opens the preset list, and the labels that follow the mouse.
// Listens to the Model and to the track-name list. Message thread only.
class TrinityPanel : public juce::Component,
                     public juce::ActionListener,
                     public juce::Button::Listener,
                     private juce::ComponentListener
{
public:
    explicit TrinityPanel (Model& model);
    ~TrinityPanel() override;

    static constexpr const char* noPresetText = "[NO PRESET SELECTED]";
    static constexpr const char* rangeTooltip =
        "Manually set the range of the dB scale display.\n\nClick the + or - to jump through the range.\n ";

    // Steps the range 5, 10, 15, 20, 5 (both buttons do the same).
    void stepRange();
    // Follows the curves: the range that fits the largest difference.
    void fitRange (float value);
    void fitRangeToCurves() { fitRange (model.largestEQDifference()); }
    // Shows the current EQ preset's name and fits the range.
    void takeCurrentPreset();
    // Enabled while there is a preset and at least one analysed track.
    void updateEnabledState();
    // Every track against the one in that row of the list: it becomes the reference analysis
    // in preset 62, which is chosen.
    void compareWithTrack (int row);
    // The mode buttons: 1 stereo, 2 mid, 4 side.
    void setCurveMode (int mode);

    // The menu button: opens or closes the EQ preset list made by makePresetsWindow, unless
    // the Model is busy with a load or a span.
    void togglePresetsWindow (bool open);
    bool isBusy() const;

    void resized() override;
    void mouseEnter (const juce::MouseEvent&) override;
    void actionListenerCallback (const juce::String& message) override;
    void buttonClicked (juce::Button*) override;

    Model& model;
    Trinity trinity { model };
    juce::Label zeroDbLabel { "0 dB", "0 dB" };
    RangeButton upperRange { "+" };
    RangeButton lowerRange { "-" };
    bws::SVGButton stereoButton { "Stereo" };
    bws::SVGButton midButton { "Mid" };
    bws::SVGButton sideButton { "Side" };
    bws::SVGButton menuButton { "Presets Menu" };
    juce::Label presetNameLabel;
    juce::Label horizontalLabel { "Horizontal" };
    juce::Label verticalLabel { "Vertical" };

    // The window of the preset list, made when the menu button opens it; it must be an
    // ActionBroadcaster for this panel to hear of a chosen preset.
    std::function<std::unique_ptr<juce::Component>()> makePresetsWindow;
    std::unique_ptr<juce::Component> presetsWindow;
    // Where the list's window stands, over everything else; the top-level component if null.
    juce::Component* presetsWindowHost = nullptr;
    // Told of a new range, and of a change the track-name list must show.
    std::function<void (int)> onRangeChanged;
    std::function<void()> onTrackListChanged;

private:
    void placeFloatingLabels (std::optional<juce::Point<int>> mouse);
    void hideFloatingLabels();
    void handleListMessage (const juce::String& message);
    void componentVisibilityChanged (juce::Component&) override;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TrinityPanel)
};
