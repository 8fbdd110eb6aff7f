#pragma once

// Stands in for the EQ preset browser until it is written: the reference drop area above one
// plain list of every EQ preset, group by group. A click on a row makes that preset current
// and says so with "COMPARE_EQ_PRESET_ID_CHANGED"; REFERENCE TRACK is listed once a reference
// analysis stands in it. The close button hides the window.

#include "analysis/Model.h"
#include "display/ReferenceTrackDragAndDropTarget.h"
#include "kit/XButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

class PlaceholderEQPresetsWindow : public juce::Component,
                                   public juce::ActionListener,
                                   public juce::ActionBroadcaster,
                                   private juce::ListBoxModel,
                                   private juce::Button::Listener
{
public:
    explicit PlaceholderEQPresetsWindow (Model& model);
    ~PlaceholderEQPresetsWindow() override;

    static constexpr int rowHeight = 22;
    static constexpr int dropAreaHeight = 236;

    // The preset ids in list order.
    const std::vector<int>& rows() const noexcept { return presetIds; }

    ReferenceTrackDragAndDropTarget dropTarget;
    juce::ListBox list { "Presets List Box", this };
    bws::XButton closeButton;
    juce::Label title { "Presets Window Title", "EQ PRESETS" };

    void paint (juce::Graphics&) override;
    void resized() override;
    void actionListenerCallback (const juce::String& message) override;

private:
    void refill();
    int getNumRows() override;
    void paintListBoxItem (int row, juce::Graphics&, int width, int height, bool selected) override;
    void listBoxItemClicked (int row, const juce::MouseEvent&) override;
    void buttonClicked (juce::Button*) override;

    Model& model;
    std::vector<int> presetIds;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PlaceholderEQPresetsWindow)
};
