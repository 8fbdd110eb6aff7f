#pragma once

#include "kit/SVGButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

// A small window in the accent colour with a text, an OK and a Cancel button. It asks for a
// confirmation, or in hover mode shows its text alone.
class PopUpWindow : public juce::Component,
                    private juce::Button::Listener
{
public:
    PopUpWindow();
    ~PopUpWindow() override;

    static constexpr int askingWidth = 300;
    static constexpr int askingHeight = 175;
    static constexpr juce::uint32 fillColour = 0xff4c58c8;
    static constexpr juce::uint32 outlineColour = 0x334c58c8;

    void setMessage (const juce::String& text);
    juce::String getMessage() const { return messageLabel.getText(); }

    // Hover mode hides both buttons and lets the text fill the window.
    void setHoverMode (bool hoverMode);
    bool isHoverMode() const noexcept { return hovering; }

    std::function<void()> onConfirm;
    std::function<void()> onCancel;

    // Flat at the top, the bottom corners rounded by min(half the shorter side, 10).
    static juce::Path outline (juce::Rectangle<float> area);
    // Fills and strokes that outline: the look of every pop-up.
    static void paintShape (juce::Graphics&, juce::Rectangle<int> bounds);

    void paint (juce::Graphics&) override;
    void resized() override;

    bws::SVGButton okButton { "OK" };
    bws::SVGButton cancelButton { "Cancel" };

private:
    void buttonClicked (juce::Button*) override;

    juce::Label messageLabel;
    bool hovering = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PopUpWindow)
};
