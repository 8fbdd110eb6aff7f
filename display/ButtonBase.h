#pragma once

#include "kit/SVGButton.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <memory>

// What the readout buttons of a strip share: the body (a click on it chooses both readings of
// the group), the group's icon, two lines each of which can be chosen, over its target or not,
// and the load shown as a clock over the icon. Clicks go out as "MAIN_BUTTON:" texts to the
// strip. Message thread only.
class ButtonBase : public juce::Component,
                   public juce::ActionBroadcaster
{
public:
    // iconFamily "lufs" names the four icon images, bodyFamily "Loudness" the body's.
    ButtonBase (const juce::String& iconFamily, const juce::String& bodyFamily, int mainKind, int firstKind,
                int secondKind, int iconSize);
    ~ButtonBase() override;

    void mouseEnter (const juce::MouseEvent&) override;
    void mouseExit (const juce::MouseEvent&) override;
    void mouseUp (const juce::MouseEvent&) override;
    void paint (juce::Graphics&) override;
    void paintOverChildren (juce::Graphics&) override;
    void resized() override;

    virtual void setOverTarget (bool first, bool second);
    virtual void setFirstSelected (bool selected, bool repaintNow = true);
    virtual void setSecondSelected (bool selected, bool repaintNow = true);
    void setProgress (float newProgress);

    bool anySelected() const noexcept { return firstSelected || secondSelected; }
    bool anyOver() const noexcept { return firstOver || secondOver; }

    // The fill inside the frame, by whether the button is chosen or hovered and any line is over.
    static juce::uint32 innerFill (bool selectedOrHovering, bool over);
    // The outline with bottom corners of min(width / 2, 9) when rounded.
    static juce::Path shape (juce::Rectangle<float> area, bool roundedBottom);

    bws::SVGButton mainButton { "MainButton" };
    // The body's images: neutral, first over, second over, both over (each normal and hovered).
    std::array<juce::String, 4> bodyImages, bodyHoverImages;
    bool firstSelected = false;
    bool secondSelected = false;
    bool firstOver = false;
    bool secondOver = false;
    bool hovering = false;
    float progress = 0.0f;
    bool roundedBottom = true;
    int mainKind = 0;
    int firstKind = 0;
    int secondKind = 0;

protected:
    // Which part of the button a click landed on: 0 the body, 1 line one, 2 line two.
    virtual int lineAt (const juce::MouseEvent& e) const = 0;
    // The labels' looks after a change of selection or hover.
    virtual void refreshLines() {}
    void listenTo (juce::Component& child);

private:
    class Icon : public juce::Component
    {
    public:
        void paint (juce::Graphics&) override;
        // selectedOK, selectedERROR, unselectedOK, unselectedERROR
        std::array<std::unique_ptr<juce::Drawable>, 4> images;
        int shown = 2;
    };

    void refreshBody();
    void selectionChanged (bool repaintNow);

    Icon icon;
    int iconSize;
    int shownBody = -1;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ButtonBase)
};
