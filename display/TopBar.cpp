#include "display/TopBar.h"

#include "analysis/Model.h"
#include "kit/Resources.h"

namespace
{
// The arrows are small enough to be drawn here: a triangle pointing left or right, in the
// text colour, brighter under the mouse and dim when disabled.
juce::String arrowSvg (bool pointsRight, const char* opacity)
{
    const juce::String points = pointsRight ? "0.5,0.5 5.5,4 0.5,7.5" : "5.5,0.5 0.5,4 5.5,7.5";
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"6\" height=\"8\" viewBox=\"0 0 6 8\">"
           "<polygon points=\"" + points + "\" fill=\"#e6e7fa\" opacity=\"" + opacity + "\"/></svg>";
}

void setArrowImages (bws::SVGButton& button, bool pointsRight)
{
    button.setImages (arrowSvg (pointsRight, "0.7"), arrowSvg (pointsRight, "1"), arrowSvg (pointsRight, "0.5"),
                      arrowSvg (pointsRight, "0.2"), {}, {}, {}, {});
    button.setEdgeIndent (0);
}
} // namespace

TopBar::TopBar (Model& m)
    : model (m)
{
    background.setImage (bws::Resources::getImageForScale ("TopBar_Background", 1.0f), juce::RectanglePlacement::stretchToFit);
    background.setInterceptsMouseClicks (false, false);
    addAndMakeVisible (background);

    presetNameLabel.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Medium)).withHeight (nameFontHeight));
    presetNameLabel.setColour (juce::Label::textColourId, juce::Colour (nameColour));
    presetNameLabel.setJustificationType (juce::Justification::centred);
    presetNameLabel.setMouseCursor (juce::MouseCursor::PointingHandCursor);
    presetNameLabel.addMouseListener (this, false);
    addAndMakeVisible (presetNameLabel);

    presetsMenuButton.setImagesFromResources ({ "PresetsMenuNormal_svg", "PresetsMenuHover_svg", "PresetsMenuDown_svg",
                                                "PresetsMenuDisabled_svg", "PresetsMenuDown_svg", "PresetsMenuDown_svg",
                                                "PresetsMenuDown_svg", "PresetsMenuDisabled_svg" });
    presetsMenuButton.setClickingTogglesState (true);
    presetsMenuButton.setEdgeIndent (0);
    addAndMakeVisible (presetsMenuButton);

    setArrowImages (previousButton, false);
    previousButton.setTooltip (previousTooltip);
    addAndMakeVisible (previousButton);
    setArrowImages (nextButton, true);
    nextButton.setTooltip (nextTooltip);
    addAndMakeVisible (nextButton);
    addAndMakeVisible (loudnessMatchButton);

    refresh();
    setSize (Bounds::width, Bounds::height);
}

TopBar::~TopBar()
{
    presetNameLabel.removeMouseListener (this);
}

void TopBar::refresh()
{
    setPresetName (model.getCurrentPresetName (0));
}

void TopBar::setPresetName (const juce::String& name)
{
    presetNameLabel.setText (name, juce::dontSendNotification);
    repaint();
}

void TopBar::resized()
{
    background.setBounds (Bounds::background());
    presetNameLabel.setBounds (Bounds::presetName());
    presetsMenuButton.setBounds (Bounds::presetsMenu());
    previousButton.setBounds (Bounds::previous());
    nextButton.setBounds (Bounds::next());
    loudnessMatchButton.setBounds (Bounds::loudnessMatch (getWidth()));
}

void TopBar::mouseUp (const juce::MouseEvent& e)
{
    if (e.eventComponent == &presetNameLabel && presetNameLabel.getLocalBounds().contains (e.getPosition())
        && presetsMenuButton.isEnabled())
        presetsMenuButton.triggerClick();
}
