#include "display/LoudnessMatchButton.h"

LoudnessMatchButton::LoudnessMatchButton() : bws::ClippedPNGButton ("LoudnessMatch")
{
    setImages ("LoudnessMatchNormal", "LoudnessMatchHover", {});
    setHitAreaFromResource ("LoudnessMatchHitArea_svg");
    setClickingTogglesState (true);
    setSize (buttonWidth, buttonHeight);
}

void LoudnessMatchButton::paintButton (juce::Graphics& g, bool highlighted, bool)
{
    const auto state = (getToggleState() || highlighted) ? State::hover : State::normal;
    drawImage (g, getImageFor (state, g.getInternalContext().getPhysicalPixelScaleFactor()));
}
