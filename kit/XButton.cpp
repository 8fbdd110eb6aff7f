#include "XButton.h"
#include "Palette.h"

namespace bws
{
    XButton::XButton()
        : juce::Button ("X")
    {
        setSize (defaultSize, defaultSize);
        setMouseCursor (juce::MouseCursor::PointingHandCursor);
    }

    juce::Colour XButton::crossColour (bool highlighted, bool down) noexcept
    {
        if (down)
            return juce::Colour (Palette::accent);

        return highlighted ? juce::Colour (Palette::text) : juce::Colour (Palette::text).withAlpha (0.6f);
    }

    void XButton::paintButton (juce::Graphics& g, bool highlighted, bool down)
    {
        auto area = getLocalBounds().toFloat().reduced (juce::jmin (getWidth(), getHeight()) * 0.2f);

        if (highlighted || down)
        {
            g.setColour (juce::Colour (Palette::accent).withAlpha (down ? 0.5f : 0.25f));
            g.fillEllipse (getLocalBounds().toFloat().reduced (0.5f));
        }

        g.setColour (crossColour (highlighted, down));
        g.drawLine ({ area.getTopLeft(), area.getBottomRight() }, 1.3f);
        g.drawLine ({ area.getTopRight(), area.getBottomLeft() }, 1.3f);
    }
}
