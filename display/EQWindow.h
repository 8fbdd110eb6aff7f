#pragma once

#include "display/TrackNamesListBox.h"
#include "display/TrinityPanel.h"
#include "kit/ClippedPNGButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

// The lower pane of the main window: the track-name list and the plot's panel, both shown
// only while at least one track is loaded. Message thread only.
class EQWindow : public juce::Component
{
public:
    explicit EQWindow (Model& model);
    ~EQWindow() override;

    // After tracks came or went: the list reads them again, the panel takes its state, and
    // the pane shows itself or not.
    void updateTrackList();

    void paint (juce::Graphics&) override;
    void resized() override;

    Model& model;
    TrackNamesListBox trackNames { model };
    TrinityPanel trinityPanel { model };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (EQWindow)
};

// The handle of the split above the EQ pane, drawn from its images by state.
class CompareEQButton : public bws::ClippedPNGButton
{
public:
    CompareEQButton();
    static constexpr int buttonWidth = 222;
    static constexpr int buttonHeight = 35;
};

// The button under the EQ pane that hides it, with an image for the disabled state too.
class HideEQButton : public bws::ClippedPNGButton
{
public:
    HideEQButton();
    static constexpr int buttonWidth = 208;
    static constexpr int buttonHeight = 24;
    void paintButton (juce::Graphics&, bool highlighted, bool down) override;

private:
    juce::Image disabledImage;
};
