#pragma once

#include "display/PresetsListBox.h"
#include "display/ReferenceTrackDragAndDropTarget.h"
#include "kit/ScrollbarLNF.h"
#include "kit/XButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

class Model;

// The pop-up in which a preset is chosen by group and name: the groups on the left, the
// group's presets on the right. Mode 0 lists the threshold presets, mode 1 the EQ presets
// with the reference drop area above the lists. It relays the lists' choices to its own
// listeners, and can be dragged by its body. Made anew each time it opens. Message thread only.
class PresetsWindow : public juce::Component,
                      public juce::ActionListener,
                      public juce::ActionBroadcaster,
                      public juce::Timer
{
public:
    PresetsWindow (Model& model, const juce::String& title, int mode);
    ~PresetsWindow() override;

    // The sizes the two callers give it.
    static constexpr int width = 499;
    static constexpr int normalHeight = 364;
    static constexpr int compareHeight = 600;
    // The notch's tip stands this far from the right edge; the notch points at the toggle.
    static constexpr float notchFromRight = 36.5f;
    static constexpr float notchHeight = 7.0f;
    static constexpr juce::uint32 bodyColour = 0xff111111;
    static constexpr juce::uint32 frameColour = 0xff2e2e2e;

    // Where each child stands in a window of that size and mode.
    struct Layout
    {
        juce::Rectangle<int> title, close, dropTarget, groups, presets;
    };
    static Layout layoutFor (int windowWidth, int windowHeight, int mode);

    // The reference drop area that mode 1 holds; none in mode 0.
    ReferenceTrackDragAndDropTarget* getDropTarget() const noexcept { return dropTarget.get(); }

    // Called after the close button hid the window; the owner deletes it.
    std::function<void()> onClose;

    int getMode() const noexcept { return mode; }

    void actionListenerCallback (const juce::String& message) override;
    void timerCallback() override;
    void visibilityChanged() override;
    void paint (juce::Graphics&) override;
    void resized() override;
    void mouseDown (const juce::MouseEvent&) override;
    void mouseDrag (const juce::MouseEvent&) override;

    // The children, in the order the window holds them (the drop target comes first).
    PresetGroupsListBox groupsList;
    PresetsListBox presetsList;
    bws::XButton xButton;
    juce::Label titleLabel { "Presets Window Title" };

private:
    Model& model;
    const int mode;
    std::unique_ptr<ReferenceTrackDragAndDropTarget> dropTarget;
    bws::ScrollbarLNF scrollbarLook;
    juce::Point<int> dragStart;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PresetsWindow)
};
