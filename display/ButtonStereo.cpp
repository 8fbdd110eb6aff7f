#include "display/ButtonStereo.h"

#include "display/StripLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"

ButtonStereo::ButtonStereo()
    : ButtonBase ("stereo", "PhaseStereo", 7, 8, 9, striplayout::stereoIconSize)
{
    const auto font = juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (14.0f);
    for (auto* label : { &left, &right, &minusOne, &plusOne })
    {
        label->setFont (font);
        label->setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
        label->setBorderSize ({});
        addAndMakeVisible (label);
        listenTo (*label);
    }
    left.setJustificationType (juce::Justification::centredLeft);
    minusOne.setJustificationType (juce::Justification::centredLeft);
    right.setJustificationType (juce::Justification::centredRight);
    plusOne.setJustificationType (juce::Justification::centredRight);
}

ButtonStereo::~ButtonStereo()
{
    for (auto* label : { &left, &right, &minusOne, &plusOne })
        label->removeMouseListener (this);
}

void ButtonStereo::setStereoReadings (std::vector<float> first, std::vector<float> second)
{
    balance = std::move (first);
    correlation = std::move (second);
    repaint();
}

void ButtonStereo::paint (juce::Graphics& g)
{
    ButtonBase::paint (g);

    const std::vector<float>* series[] = { &balance, &correlation };
    const bool over[] = { firstOver, secondOver };
    for (int line = 0; line < 2; ++line)
    {
        const auto bar = striplayout::stereoBar (line);
        g.setColour (juce::Colour (bws::Palette::panelFill));
        g.fillRect (bar);
        g.setColour (juce::Colour (over[line] ? bws::Palette::problem : bws::Palette::accent)
                         .withAlpha (striplayout::tickAlpha));
        const auto& values = *series[line];
        for (size_t i = 0; i < values.size(); i += striplayout::tickEvery)
            g.fillRect (tickX (values[i]), bar.getY(), 1, bar.getHeight());
    }
}

void ButtonStereo::resized()
{
    ButtonBase::resized();
    // The ends of each bar are named above it.
    for (int line = 0; line < 2; ++line)
    {
        const auto bar = striplayout::stereoBar (line);
        const juce::Rectangle<int> above (bar.getX(), bar.getY() - 16, bar.getWidth(), 14);
        (line == 0 ? left : minusOne).setBounds (above.withWidth (24));
        (line == 0 ? right : plusOne).setBounds (above.withTrimmedLeft (above.getWidth() - 24));
    }
}

void ButtonStereo::refreshLines()
{
    const bool any = anySelected();
    auto look = [any] (juce::Label& a, juce::Label& b, bool selected)
    {
        const float alpha = selected || ! any ? 1.0f : 0.8f;
        a.setAlpha (alpha);
        b.setAlpha (alpha);
    };
    look (left, right, firstSelected);
    look (minusOne, plusOne, secondSelected);
}

int ButtonStereo::lineAt (const juce::MouseEvent& e) const
{
    if (e.eventComponent == &left || e.eventComponent == &right)
        return 1;
    if (e.eventComponent == &minusOne || e.eventComponent == &plusOne)
        return 2;
    // On the body, the band of each bar chooses its line too.
    const int y = e.getScreenY() - getScreenY();
    for (int line = 0; line < 2; ++line)
        if (y >= striplayout::stereoBar (line).getY() - 16 && y < striplayout::stereoBar (line).getBottom() + 3)
            return line + 1;
    return 0;
}
