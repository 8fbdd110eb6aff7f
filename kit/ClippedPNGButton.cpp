#include "ClippedPNGButton.h"
#include "Resources.h"

namespace bws
{
    ClippedPNGButton::ClippedPNGButton (const juce::String& buttonName)
        : juce::Button (buttonName)
    {
    }

    ClippedPNGButton::~ClippedPNGButton() = default;

    void ClippedPNGButton::setImages (const juce::String& normalStem,
                                      const juce::String& hoverStem,
                                      const juce::String& downStem)
    {
        const juce::String* stems[] = { &normalStem, &hoverStem, &downStem };

        for (int i = 0; i < 3; ++i)
        {
            images[i].plain = Resources::getImage (*stems[i] + "_png");
            images[i].doubled = Resources::getImage (*stems[i] + "_x2_png");
        }

        repaint();
    }

    void ClippedPNGButton::setHitAreaFromResource (const juce::String& resourceName)
    {
        hitPath = Resources::getSVGPath (resourceName, &hitCanvas);
    }

    void ClippedPNGButton::setHitAreaFromSVG (const juce::String& svgText)
    {
        hitPath = Resources::getSVGPathFromText (svgText, &hitCanvas);
    }

    void ClippedPNGButton::clearHitArea()
    {
        hitPath.clear();
        hitCanvas = {};
    }

    juce::Path ClippedPNGButton::getHitPathInBounds() const
    {
        if (hitPath.isEmpty() || hitCanvas.isEmpty() || getWidth() <= 0 || getHeight() <= 0)
            return {};

        auto transform = juce::RectanglePlacement (juce::RectanglePlacement::stretchToFit)
                             .getTransformToFit (hitCanvas, getLocalBounds().toFloat());
        juce::Path p (hitPath);
        p.applyTransform (transform);
        return p;
    }

    bool ClippedPNGButton::hitTest (int x, int y)
    {
        if (! getLocalBounds().contains (x, y))
            return false;

        if (hitPath.isEmpty())
            return true;

        return getHitPathInBounds().contains ((float) x + 0.5f, (float) y + 0.5f);
    }

    ClippedPNGButton::State ClippedPNGButton::stateFor (bool highlighted, bool down, bool toggledOn) noexcept
    {
        if (down)
            return State::down;

        return (highlighted || toggledOn) ? State::hover : State::normal;
    }

    juce::Image ClippedPNGButton::getImageFor (State state, float displayScale) const
    {
        auto pick = [displayScale] (const Pair& pair)
        {
            if (! juce::approximatelyEqual (displayScale, 1.0f) && pair.doubled.isValid())
                return pair.doubled;

            return pair.plain;
        };

        auto image = pick (images[(int) state]);
        return image.isValid() ? image : pick (images[0]);
    }

    void ClippedPNGButton::drawImage (juce::Graphics& g, const juce::Image& image) const
    {
        if (! image.isValid())
            return;

        g.drawImage (image, getLocalBounds().toFloat(), juce::RectanglePlacement::stretchToFit);
    }

    void ClippedPNGButton::paintButton (juce::Graphics& g, bool highlighted, bool down)
    {
        auto scale = g.getInternalContext().getPhysicalPixelScaleFactor();
        drawImage (g, getImageFor (stateFor (highlighted, down, getToggleState()), scale));
    }
}
