#include "display/ButtonReadout.h"

#include "display/StripLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"

#include <cmath>

namespace
{
// Narrowed a little, so that a figure such as "-10.25" and " dBTP" fit side by side in 82 pixels.
juce::Font readoutFont (float height)
{
    return juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (height)
        .withHorizontalScale (0.86f);
}

juce::String figure (float value, int decimals)
{
    return juce::String (std::isfinite (value) ? value : 0.0f, decimals);
}
} // namespace

ButtonReadout::ButtonReadout (const juce::String& iconFamily, const juce::String& bodyFamily, int main, int first,
                              int second, const juce::String& firstUnitText, const juce::String& secondUnitText)
    : ButtonBase (iconFamily, bodyFamily, main, first, second, striplayout::iconSize)
{
    firstUnit.setText (firstUnitText, juce::dontSendNotification);
    secondUnit.setText (secondUnitText, juce::dontSendNotification);
    for (auto* label : { &firstValue, &firstUnit, &secondValue, &secondUnit })
    {
        label->setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
        label->setJustificationType (juce::Justification::centredLeft);
        label->setBorderSize ({});
        addAndMakeVisible (label);
        listenTo (*label);
    }
    setReadouts (0.0f, 0.0f, 1);
    refreshLines();
}

ButtonReadout::~ButtonReadout()
{
    for (auto* label : { &firstValue, &firstUnit, &secondValue, &secondUnit })
        label->removeMouseListener (this);
}

void ButtonReadout::setReadouts (float first, float second, int decimals)
{
    const auto a = figure (first, decimals);
    const auto b = figure (second, decimals);
    if (a == firstValue.getText() && b == secondValue.getText())
        return;
    firstValue.setText (a, juce::dontSendNotification);
    secondValue.setText (b, juce::dontSendNotification);
    place();
}

void ButtonReadout::place()
{
    using namespace striplayout;
    auto row = [] (juce::Label& value, juce::Label& unit, int valueY, int unitY)
    {
        const int width = juce::roundToInt (std::ceil (value.getFont().getStringWidthFloat (value.getText())));
        value.setBounds (valueX, valueY, width, valueHeight);
        const int unitWidth = juce::roundToInt (std::ceil (unit.getFont().getStringWidthFloat (unit.getText()))) + 2;
        unit.setBounds (valueX + width + unitGap, unitY, unitWidth, unitHeight);
    };
    row (firstValue, firstUnit, firstValueY, firstUnitY);
    row (secondValue, secondUnit, secondValueY, secondUnitY);
}

void ButtonReadout::refreshLines()
{
    using namespace striplayout;
    const bool any = anySelected();
    auto look = [any] (juce::Label& value, juce::Label& unit, bool selected)
    {
        const bool hot = value.isMouseOver() || unit.isMouseOver();
        value.setFont (readoutFont (hot ? valueHoverFont : valueFont));
        unit.setFont (readoutFont (hot ? unitHoverFont : unitFont));
        const float alpha = hot || selected || ! any ? 1.0f : 0.8f;
        value.setAlpha (alpha);
        unit.setAlpha (alpha);
    };
    look (firstValue, firstUnit, firstSelected);
    look (secondValue, secondUnit, secondSelected);
    place();
}

int ButtonReadout::lineAt (const juce::MouseEvent& e) const
{
    if (e.eventComponent == &firstValue || e.eventComponent == &firstUnit)
        return 1;
    if (e.eventComponent == &secondValue || e.eventComponent == &secondUnit)
        return 2;
    return 0;
}
