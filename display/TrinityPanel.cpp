#include "display/TrinityPanel.h"

#include "app/Messages.h"
#include "display/EQLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"
#include "targets/ModelEQPresets.h"

namespace
{
juce::Font bookFont (float height)
{
    return juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (height);
}

void setUpLabel (juce::Label& label, float fontHeight, juce::Justification justification)
{
    label.setFont (bookFont (fontHeight));
    label.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    label.setJustificationType (justification);
    label.setBorderSize ({});
}

// Normal, hover, down, unavailable; then the same four for the button that is on.
void setModeImages (bws::SVGButton& button, const juce::String& stem)
{
    const auto n = stem + "Normal_svg", h = stem + "Hover_svg", a = stem + "Active_svg", u = stem + "Unavailable_svg";
    button.setImagesFromResources ({ n, h, a, u, a, a, a, u });
}
} // namespace

RangeButton::RangeButton (const juce::String& name)
    : bws::AnimatedButton (name, std::make_unique<bws::MainButtonAnimation> (28))
{
}

void RangeButton::flash()
{
    getAnimation().playForward();
    juce::Timer::callAfterDelay (400, [safe = juce::Component::SafePointer<RangeButton> (this)]
                                 {
                                     if (safe != nullptr && ! safe->isOver())
                                         safe->getAnimation().playBackward();
                                 });
}

void RangeButton::paintButton (juce::Graphics& g, bool highlighted, bool down)
{
    bws::AnimatedButton::paintButton (g, highlighted, down);
    g.setColour (juce::Colour (bws::Palette::text).withAlpha (isEnabled() ? 1.0f : 0.4f));
    g.setFont (bookFont (11.0f));
    g.drawText (getButtonText(), getLocalBounds(), juce::Justification::centred);
}

TrinityPanel::TrinityPanel (Model& m) : model (m)
{
    setName ("TrinityPanel");
    addAndMakeVisible (trinity);

    setUpLabel (zeroDbLabel, 11.0f, juce::Justification::centredLeft);
    zeroDbLabel.setInterceptsMouseClicks (false, false);
    addAndMakeVisible (zeroDbLabel);

    for (auto* range : { &upperRange, &lowerRange })
    {
        range->setTooltip (rangeTooltip);
        range->addListener (this);
        addAndMakeVisible (*range);
    }

    setModeImages (stereoButton, "Stereo");
    setModeImages (midButton, "Mid");
    setModeImages (sideButton, "Side");
    stereoButton.setTooltip ("Select to view Stereo LUFS EQ comparison");
    midButton.setTooltip ("Select to view Mid LUFS EQ comparison");
    sideButton.setTooltip ("Select to view Side LUFS EQ comparison");
    for (auto* mode : { &stereoButton, &midButton, &sideButton })
    {
        mode->setClickingTogglesState (true);
        mode->setRadioGroupId (1);
        mode->addListener (this);
        addAndMakeVisible (*mode);
    }

    menuButton.setImagesFromResources ({ "PresetsMenuNormal_svg", "PresetsMenuHover_svg", "PresetsMenuDown_svg",
                                         "PresetsMenuDisabled_svg", "PresetsMenuDown_svg", "PresetsMenuDown_svg",
                                         "PresetsMenuDown_svg", "PresetsMenuDisabled_svg" });
    menuButton.setClickingTogglesState (true);
    menuButton.addListener (this);
    addAndMakeVisible (menuButton);

    setUpLabel (presetNameLabel, 14.0f, juce::Justification::centredLeft);
    addAndMakeVisible (presetNameLabel);

    setUpLabel (horizontalLabel, 14.0f, juce::Justification::centred);
    horizontalLabel.setTooltip ("Shows the dB value at the current mouse position.\n ");
    setUpLabel (verticalLabel, 14.0f, juce::Justification::centred);
    verticalLabel.setTooltip ("Shows the frequency value at the current mouse position");
    for (auto* floating : { &horizontalLabel, &verticalLabel })
    {
        floating->addMouseListener (this, false);
        addChildComponent (*floating);
    }

    trinity.onMouseOver = [this] (std::optional<juce::Point<int>> mouse) { placeFloatingLabels (mouse); };
    trinity.mouseFollowed = [this] { return trinity.isEnabled(); };

    model.addActionListener (this);
    setCurveMode (model.eqCurveMode);
    takeCurrentPreset();
}

TrinityPanel::~TrinityPanel()
{
    model.removeActionListener (this);
    if (presetsWindow != nullptr)
        presetsWindow->removeComponentListener (this);
}

void TrinityPanel::resized()
{
    const auto l = eqlayout::trinityPanel (getWidth(), getHeight());
    trinity.setBounds (l.trinity);
    zeroDbLabel.setBounds (l.zeroDbLabel);
    upperRange.setBounds (l.upperRange);
    lowerRange.setBounds (l.lowerRange);
    stereoButton.setBounds (l.stereoButton);
    midButton.setBounds (l.midButton);
    sideButton.setBounds (l.sideButton);
    menuButton.setBounds (l.menuButton);
    presetNameLabel.setBounds (l.presetName);
    upperRange.setButtonText ("+" + juce::String (trinity.dbRange));
    lowerRange.setButtonText ("-" + juce::String (trinity.dbRange));
}

void TrinityPanel::stepRange()
{
    const int before = trinity.getRange();
    trinity.setRange (eqcurve::nextRange (before));
    upperRange.setButtonText ("+" + juce::String (trinity.dbRange));
    lowerRange.setButtonText ("-" + juce::String (trinity.dbRange));
    if (onRangeChanged)
        onRangeChanged (trinity.dbRange);
}

void TrinityPanel::fitRange (float value)
{
    const int r = eqcurve::fitRange (value);
    if (r == trinity.getRange())
        return;
    (r > trinity.getRange() ? upperRange : lowerRange).flash();
    upperRange.setButtonText ("+" + juce::String (r));
    lowerRange.setButtonText ("-" + juce::String (r));
    trinity.setRange (r);
    repaint();
}

void TrinityPanel::takeCurrentPreset()
{
    presetNameLabel.setText (model.currentEQPreset != nullptr ? model.currentEQPreset->name : juce::String (noPresetText),
                             juce::dontSendNotification);
    updateEnabledState();
    fitRangeToCurves();
    repaint();
}

void TrinityPanel::updateEnabledState()
{
    bool anyAnalysed = false;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        for (const auto& track : model.tracks)
            anyAnalysed = anyAnalysed || track->waveformComplete;
    }
    const bool enabled = anyAnalysed && model.currentEQPreset != nullptr;
    for (juce::Component* c : { (juce::Component*) &trinity, (juce::Component*) &upperRange, (juce::Component*) &lowerRange,
                                (juce::Component*) &stereoButton, (juce::Component*) &midButton, (juce::Component*) &sideButton })
        c->setEnabled (enabled);
    if (! enabled)
        hideFloatingLabels();
}

void TrinityPanel::setCurveMode (int mode)
{
    model.eqCurveMode = mode;
    stereoButton.setToggleState (mode == eqcurve::stereoMode, juce::dontSendNotification);
    midButton.setToggleState (mode == eqcurve::midMode, juce::dontSendNotification);
    sideButton.setToggleState (mode == eqcurve::sideMode, juce::dontSendNotification);
    updateEnabledState();
    trinity.repaint();
}

void TrinityPanel::compareWithTrack (int row)
{
    int64_t trackId = -1;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        if (row < 0 || row >= (int) model.tracks.size())
            return;
        trackId = model.tracks[(size_t) row]->id;
    }
    if (! eqpresets::useTrackAsReference (model, trackId))
        return;
    model.selectEQPresetById (eqpresets::referencePresetId);
    takeCurrentPreset();
}

bool TrinityPanel::isBusy() const
{
    return model.bulkReading || model.rangeAnalysing.load() || model.loadQueue.busy.load();
}

void TrinityPanel::togglePresetsWindow (bool open)
{
    if (presetsWindow != nullptr)
    {
        presetsWindow->removeComponentListener (this);
        presetsWindow.reset();
    }
    auto* host = presetsWindowHost != nullptr ? presetsWindowHost : getTopLevelComponent();
    if (! open || isBusy() || ! makePresetsWindow || host == nullptr || host == this)
    {
        menuButton.setToggleState (false, juce::dontSendNotification);
        return;
    }

    presetsWindow = makePresetsWindow();
    if (auto* broadcaster = dynamic_cast<juce::ActionBroadcaster*> (presetsWindow.get()))
        broadcaster->addActionListener (this);
    presetsWindow->setBounds (eqlayout::presetsWindow (host->getLocalArea (this, getLocalBounds()), host->getLocalBounds()));
    presetsWindow->addComponentListener (this);
    host->addAndMakeVisible (*presetsWindow);
    presetsWindow->toFront (true);
}

void TrinityPanel::componentVisibilityChanged (juce::Component& component)
{
    // The list's own close button hides it: the toggle follows.
    if (&component == presetsWindow.get() && ! component.isVisible())
        menuButton.setToggleState (false, juce::dontSendNotification);
}

void TrinityPanel::buttonClicked (juce::Button* button)
{
    if (button == &upperRange || button == &lowerRange)
        stepRange();
    else if (button == &menuButton)
        togglePresetsWindow (menuButton.getToggleState());
    else if (button == &stereoButton || button == &midButton || button == &sideButton)
    {
        if (! button->getToggleState())
            return;
        setCurveMode (button == &stereoButton ? eqcurve::stereoMode
                                              : button == &midButton ? eqcurve::midMode : eqcurve::sideMode);
        fitRangeToCurves();
    }
}

void TrinityPanel::placeFloatingLabels (std::optional<juce::Point<int>> mouse)
{
    if (! mouse.has_value())
    {
        hideFloatingLabels();
        return;
    }
    const int w = trinity.getWidth();
    const int h = trinity.getHeight();
    horizontalLabel.setVisible (true);
    verticalLabel.setVisible (true);
    if (const auto bounds = eqlayout::horizontalLabel (mouse->y, h))
    {
        horizontalLabel.setText (juce::String (eqcurve::dbAtY ((float) mouse->y, (float) h, trinity.dbRange), 1),
                                 juce::dontSendNotification);
        horizontalLabel.setBounds (*bounds);
    }
    const int shifted = mouse->x + eqlayout::verticalLabelShift;
    verticalLabel.setText (juce::String (eqcurve::frequencyAtX ((float) shifted, (float) w)), juce::dontSendNotification);
    if (const auto bounds = eqlayout::verticalLabel (mouse->x, w, getHeight()))
        verticalLabel.setBounds (*bounds);
}

void TrinityPanel::hideFloatingLabels()
{
    horizontalLabel.setVisible (false);
    verticalLabel.setVisible (false);
    trinity.hint.setVisible (false);
}

void TrinityPanel::mouseEnter (const juce::MouseEvent& e)
{
    // Outside the plot, or onto a floating label, the labels go.
    if (e.eventComponent == this || e.eventComponent == &horizontalLabel || e.eventComponent == &verticalLabel)
        hideFloatingLabels();
}

void TrinityPanel::handleListMessage (const juce::String& message)
{
    int64_t trackId = -1;
    std::optional<int> row;
    const bool hover = message.startsWith (messages::hover);
    const bool hide = message.startsWith (messages::hide);
    const bool select = message.startsWith (messages::selected);
    const bool unselect = messages::isKeyword (message, messages::unselected);
    if (hover)
        row = messages::rowAfter (message, messages::hover);
    else if (hide)
        row = messages::rowAfter (message, messages::hide);
    else if (select)
        row = messages::rowAfter (message, messages::selected);

    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        auto& tracks = model.tracks;
        if (row.has_value() && *row >= (int) tracks.size())
            return;
        if (row.has_value() && *row >= 0)
            trackId = tracks[(size_t) *row]->id;

        if (hover)
            trinity.hoveredTrackId = trackId;
        else if (hide && trackId != -1)
        {
            auto& track = *tracks[(size_t) *row];
            track.showInEQ = ! track.showInEQ;
            trinity.selectedTrackId = -1;
        }
        else if (select && trackId != -1)
        {
            for (auto& track : tracks)
                track->showInEQ = track->id == trackId;
            trinity.selectedTrackId = trackId;
        }
        else if (unselect)
        {
            for (auto& track : tracks)
                track->showInEQ = true;
            trinity.selectedTrackId = -1;
        }
        else
            return;
    }
    trinity.repaint();
    if (onTrackListChanged)
        onTrackListChanged();
}

void TrinityPanel::actionListenerCallback (const juce::String& message)
{
    if (messages::isKeyword (message, messages::compareEQPresetIdChanged))
    {
        takeCurrentPreset();
    }
    else if (messages::hasPrefix (message, messages::trackWaveformComplete)
             || messages::hasPrefix (message, messages::trackDelete))
    {
        // A reference analysis reaches preset 62 through another taker of the same message:
        // the curves are measured once every taker has had it.
        juce::MessageManager::callAsync ([safe = juce::Component::SafePointer<TrinityPanel> (this)]
                                         {
                                             if (safe == nullptr)
                                                 return;
                                             safe->updateEnabledState();
                                             safe->fitRangeToCurves();
                                             safe->trinity.repaint();
                                         });
    }
    else if (message.startsWith (messages::hover) || message.startsWith (messages::hide)
             || message.startsWith (messages::selected) || messages::isKeyword (message, messages::unselected))
    {
        handleListMessage (message);
    }
}
