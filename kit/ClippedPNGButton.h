#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // A button drawn from PNG images (normal, hover, down and their _x2 twins for
    // high-density screens) that is clickable only inside the shape of an SVG path, so a
    // slanted button doesn't catch clicks in its transparent corners.
    class ClippedPNGButton : public juce::Button
    {
    public:
        explicit ClippedPNGButton (const juce::String& buttonName = {});
        ~ClippedPNGButton() override;

        // Images by family stem: "LoudnessMatchNormal" loads LoudnessMatchNormal_png and
        // LoudnessMatchNormal_x2_png. An empty stem leaves that state without an image.
        void setImages (const juce::String& normalStem,
                        const juce::String& hoverStem,
                        const juce::String& downStem);

        // The clickable shape, from an SVG resource ("LoudnessMatchHitArea_svg") or SVG text.
        // The SVG's canvas is stretched over the button's bounds. Without a shape the whole
        // rectangle is clickable.
        void setHitAreaFromResource (const juce::String& resourceName);
        void setHitAreaFromSVG (const juce::String& svgText);
        void clearHitArea();

        bool hasHitArea() const noexcept { return ! hitPath.isEmpty(); }

        // The hit shape in this button's own coordinates at its present size.
        juce::Path getHitPathInBounds() const;

        bool hitTest (int x, int y) override;

        enum class State { normal, hover, down };

        // The image for a state and a display scale: the _x2 twin when the scale isn't 1.
        // Falls back to the normal image when the state has none.
        juce::Image getImageFor (State state, float displayScale) const;

        // Which state a paint with these flags shows: down when pressed, hover when under the
        // mouse or toggled on, normal otherwise.
        static State stateFor (bool highlighted, bool down, bool toggledOn) noexcept;

        // Draws an image over the whole button (the _x2 twins are drawn at half size).
        void drawImage (juce::Graphics&, const juce::Image&) const;

        void paintButton (juce::Graphics&, bool highlighted, bool down) override;

    private:
        struct Pair { juce::Image plain, doubled; };
        Pair images[3];
        juce::Path hitPath;
        juce::Rectangle<float> hitCanvas;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ClippedPNGButton)
    };
}
