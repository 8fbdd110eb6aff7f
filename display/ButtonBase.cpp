#include "display/ButtonBase.h"

#include "app/Messages.h"
#include "display/StripLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"

ButtonBase::ButtonBase (const juce::String& iconFamily, const juce::String& bodyFamily, int main, int first,
                        int second, int size)
    : mainKind (main), firstKind (first), secondKind (second), iconSize (size)
{
    const auto neutral = bws::Resources::getText (bodyFamily + "Normal_svg");
    const auto over = bws::Resources::getText (bodyFamily + "Problem_svg");
    bodyImages = { neutral, over, over, over };
    const auto neutralHover = bws::Resources::getText (bodyFamily + "Hover_svg");
    const auto overHover = bws::Resources::getText (bodyFamily + "ProblemHoverDown_svg");
    bodyHoverImages = { neutralHover, overHover, overHover, overHover };

    int i = 0;
    for (const char* member : { "selectedOK", "selectedERROR", "unselectedOK", "unselectedERROR" })
        icon.images[(size_t) i++] = bws::Resources::getDrawable (iconFamily + member + "_svg");
    icon.setName ("Icon");
    icon.setInterceptsMouseClicks (false, false);

    addAndMakeVisible (mainButton);
    addAndMakeVisible (icon);
    listenTo (mainButton);
    refreshBody();
}

ButtonBase::~ButtonBase()
{
    mainButton.removeMouseListener (this);
}

void ButtonBase::listenTo (juce::Component& child)
{
    child.addMouseListener (this, false);
}

void ButtonBase::Icon::paint (juce::Graphics& g)
{
    if (auto* image = images[(size_t) shown].get())
        image->drawWithin (g, getLocalBounds().toFloat(), juce::RectanglePlacement::centred, 1.0f);
}

juce::uint32 ButtonBase::innerFill (bool selectedOrHovering, bool over)
{
    if (selectedOrHovering)
        return over ? bws::Palette::problem : bws::Palette::accent;
    return over ? bws::Palette::readoutInnerOverTarget : bws::Palette::readoutInnerAtRest;
}

juce::Path ButtonBase::shape (juce::Rectangle<float> area, bool rounded)
{
    juce::Path p;
    if (! rounded)
    {
        p.addRectangle (area);
        return p;
    }
    const float r = juce::jmin (area.getWidth() * 0.5f, striplayout::bottomCorner);
    const float c = r * 0.45f;  // the control points of a quarter ellipse
    const float x = area.getX(), y = area.getY(), right = area.getRight(), bottom = area.getBottom();
    p.startNewSubPath (x, y);
    p.lineTo (right, y);
    p.lineTo (right, bottom - r);
    p.cubicTo (right, bottom - c, right - c, bottom, right - r, bottom);
    p.lineTo (x + r, bottom);
    p.cubicTo (x + c, bottom, x, bottom - c, x, bottom - r);
    p.closeSubPath();
    return p;
}

void ButtonBase::paint (juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat();
    const bool lit = hovering || anySelected();
    g.setColour (juce::Colour (isEnabled() && lit ? bws::Palette::readoutHoverOuter : bws::Palette::stripBackground));
    g.fillPath (shape (area, roundedBottom));

    if (isEnabled())
    {
        const auto inner = area.withTrimmedLeft ((float) striplayout::innerInset)
                               .withTrimmedRight ((float) striplayout::innerInset)
                               .withTrimmedBottom ((float) striplayout::innerBottom);
        g.setColour (juce::Colour (innerFill (lit, anyOver())));
        g.fillPath (shape (inner, roundedBottom));
    }
}

void ButtonBase::paintOverChildren (juce::Graphics& g)
{
    // While loading, the button shows the load as a clock over its icon.
    if (progress > 0.99f)
        return;
    const auto box = juce::Rectangle<float> ((float) striplayout::iconX, (float) striplayout::iconY,
                                             (float) iconSize, (float) iconSize);
    juce::Path pie;
    pie.addPieSegment (box, 0.0f, juce::jmax (0.0f, progress) * juce::MathConstants<float>::twoPi, 0.0f);
    g.setColour (juce::Colour (bws::Palette::text).withAlpha ((juce::uint8) 0x4c));
    g.fillPath (pie);
}

void ButtonBase::resized()
{
    mainButton.setBounds (getLocalBounds());
    icon.setBounds (striplayout::iconX, striplayout::iconY, iconSize, iconSize);
}

void ButtonBase::refreshBody()
{
    const int index = (firstOver ? 1 : 0) + (secondOver ? 2 : 0);
    if (index != shownBody)
    {
        shownBody = index;
        mainButton.setImages (bodyImages[(size_t) index], bodyHoverImages[(size_t) index],
                              bodyHoverImages[(size_t) index]);
    }
    icon.shown = (anySelected() ? 0 : 2) + (anyOver() ? 1 : 0);
    icon.repaint();
}

void ButtonBase::setOverTarget (bool first, bool second)
{
    firstOver = first;
    secondOver = second;
    refreshBody();
    refreshLines();
    repaint();
}

void ButtonBase::setFirstSelected (bool selected, bool repaintNow)
{
    firstSelected = selected;
    selectionChanged (repaintNow);
}

void ButtonBase::setSecondSelected (bool selected, bool repaintNow)
{
    secondSelected = selected;
    selectionChanged (repaintNow);
}

void ButtonBase::selectionChanged (bool repaintNow)
{
    refreshBody();
    refreshLines();
    if (repaintNow)
        repaint();
}

void ButtonBase::setProgress (float newProgress)
{
    if (newProgress != progress)
    {
        progress = newProgress;
        repaint();
    }
}

void ButtonBase::mouseEnter (const juce::MouseEvent&)
{
    hovering = isMouseOver (true);
    refreshLines();
    repaint();
}

void ButtonBase::mouseExit (const juce::MouseEvent&)
{
    hovering = isMouseOver (true);
    refreshLines();
    repaint();
}

void ButtonBase::mouseUp (const juce::MouseEvent& e)
{
    if (! isEnabled() || e.mouseWasDraggedSinceMouseDown() || ! e.eventComponent->contains (e.getPosition()))
        return;

    const bool modifier = e.mods.isCtrlDown() || e.mods.isAltDown();
    switch (lineAt (e))
    {
        case 0:
            refreshBody();
            sendActionMessage (messages::mainButtonBodyMessage (modifier, mainKind));
            break;
        case 1: sendActionMessage (messages::mainButtonLineMessage (modifier, firstSelected, firstKind)); break;
        case 2: sendActionMessage (messages::mainButtonLineMessage (modifier, secondSelected, secondKind)); break;
        default: break;
    }
    repaint();
}
