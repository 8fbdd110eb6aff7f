#include "display/PresetsWindow.h"

#include "analysis/Model.h"
#include "app/Messages.h"
#include "kit/Resources.h"

PresetsWindow::PresetsWindow (Model& m, const juce::String& title, int windowMode)
    : groupsList (m, windowMode), presetsList (m, windowMode), model (m), mode (windowMode)
{
    if (mode == 1)
    {
        dropTarget = std::make_unique<ReferenceTrackDragAndDropTarget> (m);
        addAndMakeVisible (*dropTarget);
    }
    addAndMakeVisible (groupsList);
    addAndMakeVisible (presetsList);
    addAndMakeVisible (xButton);
    groupsList.setLookAndFeel (&scrollbarLook);
    presetsList.setLookAndFeel (&scrollbarLook);

    titleLabel.setText (title, juce::dontSendNotification);
    titleLabel.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Bold)).withHeight (18.0f));
    titleLabel.setColour (juce::Label::textColourId, juce::Colour (PresetListBase::textColour));
    titleLabel.setJustificationType (juce::Justification::centredLeft);
    titleLabel.setInterceptsMouseClicks (false, false);
    addAndMakeVisible (titleLabel);

    groupsList.addActionListener (this);
    presetsList.addActionListener (this);
    if (mode == 1)
        model.addActionListener (this);

    xButton.onClick = [this]
    {
        setVisible (false);
        if (onClose)
            onClose();
    };

    setSize (width, mode == 1 ? compareHeight : normalHeight);
}

PresetsWindow::~PresetsWindow()
{
    stopTimer();
    if (mode == 1)
        model.removeActionListener (this);
    groupsList.removeActionListener (this);
    presetsList.removeActionListener (this);
    groupsList.setLookAndFeel (nullptr);
    presetsList.setLookAndFeel (nullptr);
}

PresetsWindow::Layout PresetsWindow::layoutFor (int windowWidth, int windowHeight, int windowMode)
{
    const int w = juce::jmax (0, windowWidth - 8);
    const int h = juce::jmax (0, windowHeight - 8);
    const int t = juce::jmin (h, 28);

    Layout l;
    l.title = { 12, 4, juce::jmax (0, juce::jmin (w, 100) - 16), t };
    l.close = juce::Rectangle<int> (w - 30, 0, 30, t).reduced (8);

    const int groupsWidth = juce::jmax (0, juce::jmin (w - 10, 244));
    int listsTop = t + 9;
    if (windowMode == 1)
    {
        l.dropTarget = { 4, t + 13, juce::jmax (0, w - 4), juce::jlimit (0, 236, h - (t + 13)) };
        listsTop = l.dropTarget.getBottom() + 9;
    }
    const int listsHeight = juce::jmax (0, h - listsTop);
    l.groups = { 9, listsTop, groupsWidth, listsHeight };
    const int presetsX = l.groups.getRight() + 2;
    l.presets = { presetsX, listsTop, juce::jlimit (0, 237, w - presetsX), listsHeight };
    return l;
}

void PresetsWindow::actionListenerCallback (const juce::String& message)
{
    if (messages::isKeyword (message, messages::normalGroupIdChanged)
        || messages::isKeyword (message, messages::compareEQGroupIdChanged))
    {
        presetsList.groupIndex = groupsList.selectedId;
        presetsList.refill();
    }
    else if (messages::isKeyword (message, messages::normalPresetIdChanged)
             || messages::isKeyword (message, messages::compareEQPresetIdChanged))
    {
        sendActionMessage (message);
        presetsList.refill();
    }
    else if (mode == 1 && messages::hasPrefix (message, messages::trackWaveformComplete))
    {
        // A finished reference analysis brings REFERENCE TRACK into the list.
        presetsList.refill();
    }
}

void PresetsWindow::visibilityChanged()
{
    if (isVisible())
        startTimer (100);
}

void PresetsWindow::timerCallback()
{
    stopTimer();
    if (isShowing())
        grabKeyboardFocus();
}

void PresetsWindow::paint (juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat();
    const auto body = area.withTrimmedTop (notchHeight);
    g.setColour (juce::Colour (bodyColour));
    g.fillRoundedRectangle (body, 9.0f);

    const float tipX = area.getRight() - notchFromRight;
    juce::Path notch;
    notch.addTriangle (tipX - notchHeight, body.getY() + 1.0f, tipX, area.getY(), tipX + notchHeight, body.getY() + 1.0f);
    g.fillPath (notch);

    g.setColour (juce::Colour (frameColour));
    g.drawRoundedRectangle (body.reduced (0.5f), 5.0f, 1.0f);
}

void PresetsWindow::resized()
{
    const auto l = layoutFor (getWidth(), getHeight(), mode);
    const auto below = juce::Point<int> (0, (int) notchHeight);
    titleLabel.setBounds (l.title + below);
    xButton.setBounds (l.close + below);
    groupsList.setBounds (l.groups + below);
    presetsList.setBounds (l.presets + below);
    if (dropTarget != nullptr)
        dropTarget->setBounds (l.dropTarget + below);
}

void PresetsWindow::mouseDown (const juce::MouseEvent& e)
{
    dragStart = e.getEventRelativeTo (this).getPosition();
}

void PresetsWindow::mouseDrag (const juce::MouseEvent& e)
{
    if (e.eventComponent != this)
        return;
    setTopLeftPosition (getPosition() + e.getPosition() - dragStart);
}
