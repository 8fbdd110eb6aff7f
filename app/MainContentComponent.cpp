#include "app/MainContentComponent.h"

#include "app/AppInfo.h"
#include "app/Licence.h"
#include "app/Messages.h"
#include "kit/Palette.h"
#include "kit/Resources.h"
#include "targets/SessionFile.h"
#include "targets/TextExport.h"

namespace
{
constexpr const char* statusFileVariable = "ORVANE_TEST_STATUS_FILE";
constexpr juce::uint32 titleColour = 0xffe6e7fa;

juce::StringArray svgFamily (const juce::String& stem)
{
    return { stem + "Normal_svg", stem + "Hover_svg", stem + "Down_svg", stem + "Disabled_svg" };
}

juce::File folderOrNone (const juce::String& path)
{
    return juce::File::isAbsolutePath (path) ? juce::File (path) : juce::File();
}

juce::Font titleFont (float height)
{
    return juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Bold)).withHeight (height);
}
} // namespace

juce::String MainContentComponent::loadingText (int processed, int pushed)
{
    return "Loading track " + juce::String (processed) + " of " + juce::String (pushed);
}

MainContentComponent::MainContentComponent (Model& m, SettingsStore& s)
    : model (m), settings (s)
{
    setName ("MainContentComponent");

    titleText.setText ("ORVANE 2");
    titleText.setFont (titleFont (26.0f));
    titleText.setColour (juce::Colour (titleColour));
    titleText.setJustification (juce::Justification::centredLeft);
    titleText.setLineSpacing (31.2f);
    titleText.setWordWrap (juce::AttributedString::none);
    bottomTrapezoid = bws::Resources::getDrawable ("HideEQTrapezoidPath_svg");

    // The children, in this order.
    addChildComponent (disabledCover);
    addAndMakeVisible (topBar);
    addAndMakeVisible (textExportButton);
    addAndMakeVisible (saveSessionButton);
    addAndMakeVisible (addTracksButton);
    utilitiesMenu.setSize (bws::UtilitiesMenu::menuWidth, bws::UtilitiesMenu::menuHeight);
    addAndMakeVisible (utilitiesMenu);
    logo.setSize (bws::BrenwickSoundLogo::logoWidth, bws::BrenwickSoundLogo::logoHeight);
    addAndMakeVisible (logo);
    addAndMakeVisible (resetButton);
    settingsWindow = std::make_unique<PlaceholderOverlay> ("SETTINGS", messages::closeSettingsWindow);
    addChildComponent (*settingsWindow);
    addChildComponent (authorisationWindow);
    helpWindow = makePlaceholderHelpWindow (juce::String (appinfo::name) + " " + appinfo::version);
    addChildComponent (*helpWindow);
    addChildComponent (confirmWindow);
    addChildComponent (loudnessMatchWindow);
    statusLabel.setColour (juce::Label::textColourId, juce::Colour (titleColour));
    statusLabel.setJustificationType (juce::Justification::centredLeft);
    statusLabel.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (14.0f));
    addChildComponent (statusLabel);
    productLink = std::make_unique<bws::SVGHyperlinkButton> (juce::URL (bws::BrenwickSoundLogo::makerAddress), "Buy", 5, 0.95f, 1.0f);
    productLink->setImagesFromResources ({ "ClickBuyNormal_svg" });
    addChildComponent (*productLink);
    mainDisplay = std::make_unique<MainDisplay> (model);
    addAndMakeVisible (*mainDisplay);
    eqPanel.setLookAndFeel (&scrollbarLook);
    addAndMakeVisible (eqPanel);
    eqPanel.trinityPanel.makePresetsWindow = [this] { return std::make_unique<PlaceholderEQPresetsWindow> (model); };
    eqPanel.trinityPanel.presetsWindowHost = this;
    addAndMakeVisible (compareEQButton);
    addAndMakeVisible (hideEQButton);
    const float scale = juce::Desktop::getInstance().getDisplays().getPrimaryDisplay() != nullptr
                            ? (float) juce::Desktop::getInstance().getDisplays().getPrimaryDisplay()->scale
                            : 1.0f;
    cornerSeparatorLeft.setImage (bws::Resources::getImageForScale ("EQWindowSeparatorL", scale),
                                  juce::RectanglePlacement::centred);
    cornerSeparatorRight.setImage (bws::Resources::getImageForScale ("EQWindowSeparatorR", scale),
                                   juce::RectanglePlacement::centred);
    addAndMakeVisible (cornerSeparatorLeft);
    addAndMakeVisible (cornerSeparatorRight);

    // 1. The audio source; the playback watches the transport's changes itself.

    // 2. The sound device: 2 in, 2 out, the saved state if any; a failure falls back to the
    // default device, and a failure of that leaves the program silent.
    const auto error = deviceManager.initialise (2, 2, model.storedDeviceState.get(), true, {}, nullptr);
    if (error.isNotEmpty())
        deviceManager.initialiseWithDefaultDevices (2, 2);
    audioSourcePlayer.setSource (this);
    deviceManager.addAudioCallback (&audioSourcePlayer);
    {
        std::lock_guard<std::mutex> guard (model.audioStateLock);
        model.audioDeviceManager = &deviceManager;
        model.audioCallback = &audioSourcePlayer;
    }
    settings.deviceStateProvider = [this] { return deviceManager.createStateXml(); };

    // 3. Messages.
    model.addActionListener (this);
    mainDisplay->addActionListener (this);
    mainDisplay->stripListener = this;
    mainDisplay->playCallback = [this] { togglePlayback(); };
    mainDisplay->enableResetCallback = [this] (bool enable) { resetButton.setEnabled (enable); };
    mainDisplay->useAllowed = [this] { return useAllowed; };
    settingsWindow->addActionListener (this);
    authorisationWindow.addActionListener (this);
    helpWindow->addActionListener (this);

    // 4. Tooltips.
    updateTooltipWindow();

    // 5. Images, tooltips, listeners.
    textExportButton.setImagesFromResources (svgFamily ("TextExport"));
    textExportButton.setTooltip ("Export feedback analysis to a text file on your desktop.");
    saveSessionButton.setImagesFromResources (svgFamily ("SaveSession"));
    saveSessionButton.setTooltip ("Save your session.");
    addTracksButton.setImagesFromResources (svgFamily ("AddTracks"));
    addTracksButton.setTooltip ("Add tracks or open a session.");
    resetButton.setImagesFromResources (svgFamily ("Reset"));
    resetButton.setTooltip ("Reset. WARNING: Deletes ALL tracks!");
    textExportButton.setEnabled (false);
    saveSessionButton.setEnabled (false);

    for (juce::Button* button : { (juce::Button*) &textExportButton, (juce::Button*) &saveSessionButton,
                                  (juce::Button*) &addTracksButton, (juce::Button*) &resetButton,
                                  (juce::Button*) &hideEQButton, (juce::Button*) &topBar.previousButton,
                                  (juce::Button*) &topBar.nextButton, (juce::Button*) &topBar.presetToggle,
                                  (juce::Button*) &topBar.loudnessMatchButton,
                                  (juce::Button*) &utilitiesMenu.settingsButton,
                                  (juce::Button*) &utilitiesMenu.authorisationButton,
                                  (juce::Button*) &utilitiesMenu.helpButton })
        button->addListener (this);
    for (auto* toggle : { &utilitiesMenu.settingsButton, &utilitiesMenu.authorisationButton, &utilitiesMenu.helpButton })
        toggle->setClickingTogglesState (true);

    confirmWindow.onConfirm = [this] { confirmReset(); };
    confirmWindow.onCancel = [this] { cancelReset(); };

    statusLabel.addMouseListener (this, false);
    loudnessMatchWindow.addMouseListener (this, false);
    topBar.loudnessMatchButton.addMouseListener (this, false);
    compareEQButton.addMouseListener (this, false);
    logo.addMouseListener (this, true);
    utilitiesMenu.helpButton.addMouseListener (this, false);

    // 6. The licence layer.
    applyLicenceStatus();

    // 7. Not here yet: the version and new-product checks are made here with the count 100,
    // and their two flags go to utilitiesMenu and logo (see updateAvailableCallback).

    refreshForPreset();

    for (auto* child : getChildren())
        leaveKeysToTheMainComponent (*child);

    // 8.
    setSize (layout::minimumWidth, layout::minimumHeight);
    setVisible (true);
    setWantsKeyboardFocus (true);
    startTimer (33);
}

MainContentComponent::~MainContentComponent()
{
    // The Model's audio state lets go of this component's device and callback, if nobody else
    // holds it just now; nothing waits here.
    {
        std::unique_lock<std::mutex> audioState (model.audioStateLock, std::try_to_lock);
        if (audioState.owns_lock())
        {
            model.audioDeviceManager = nullptr;
            model.audioCallback = nullptr;
        }
    }
    stopTimer();
    settings.deviceStateProvider = nullptr;

    model.removeActionListener (this);
    mainDisplay->removeActionListener (this);
    mainDisplay->stripListener = nullptr;
    settingsWindow->removeActionListener (this);
    authorisationWindow.removeActionListener (this);
    helpWindow->removeActionListener (this);

    // The callback is detached first: once that returns no block is under way, so the stop
    // needn't wait for one and the source can go.
    model.transportRunning = false;
    deviceManager.removeAudioCallback (&audioSourcePlayer);
    audioSourcePlayer.setSource (nullptr);
    changeTransportState (3);
    model.transport.setSource (nullptr);
    shutdownAudio();

    tooltipWindow.reset();
    eqPanel.setLookAndFeel (nullptr);
}

// --- status ------------------------------------------------------------------------------

void MainContentComponent::showStatus (const juce::String& text, int ticks)
{
    statusLabel.setText (text, juce::dontSendNotification);
    statusLabel.setVisible (true);
    model.statusCountdown = ticks;
    reportStatus (text);
}

void MainContentComponent::reportStatus (const juce::String& text)
{
    if (text == lastReportedStatus)
        return;
    lastReportedStatus = text;
    const auto path = juce::SystemStats::getEnvironmentVariable (statusFileVariable, {});
    if (path.isNotEmpty() && juce::File::isAbsolutePath (path))
        juce::File (path).appendText (text + "\n", false, false, "\n");
}

void MainContentComponent::timerCallback()
{
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        for (auto& strip : mainDisplay->trackDisplays)
        {
            juce::MessageManager::callAsync ([weak = juce::WeakReference<TrackStrip> (strip.get())]
                                             {
                                                 if (auto* s = weak.get())
                                                     s->timerCallback();
                                             });
        }
    }

    if (keyFocusTicks > 0)
    {
        --keyFocusTicks;
        auto* peer = getPeer();
        if (peer != nullptr && peer->isFocused() && hasKeyboardFocus (true))
        {
            keyFocusTicks = 0;
        }
        else if (peer != nullptr && isShowing())
        {
            peer->grabFocus();
            grabKeyboardFocus();
        }
    }

    if (model.statusCountdown < 0)
    {
        if (statusLabel.isVisible() || statusLabel.getText().isNotEmpty())
        {
            statusLabel.setText ({}, juce::dontSendNotification);
            statusLabel.setVisible (false);
            reportStatus ({});
        }
    }
    else
    {
        --model.statusCountdown;
    }

    // Not here yet: the version and new-product checks are stepped from this point (they
    // start after 100 ticks) and report through updateAvailableCallback.
}

// --- layout --------------------------------------------------------------------------------

void MainContentComponent::resized()
{
    layout::MainInput in;
    in.width = getWidth();
    in.height = getHeight();
    in.eqWindowHidden = model.eqWindowHidden;
    in.eqPanelTop = eqPanel.getY();
    in.previousHeight = previousHeight;
    in.utilitiesMenuSize = { utilitiesMenu.getWidth(), utilitiesMenu.getHeight() };
    in.logoSize = { logo.getWidth(), logo.getHeight() };
    in.loudnessMatchSize = { loudnessMatchWindow.getWidth(), loudnessMatchWindow.getHeight() };
    const auto l = layout::mainLayout (in);

    disabledCover.setBounds (l.disabledCover);
    statusLabel.setBounds (l.statusLabel);
    productLink->setBounds (l.productLink);
    topBar.setBounds (l.topBar);
    textExportButton.setBounds (l.textExportButton);
    saveSessionButton.setBounds (l.saveSessionButton);
    addTracksButton.setBounds (l.addTracksButton);
    utilitiesMenu.setBounds (l.utilitiesMenu);
    if (buyLink != nullptr)
        buyLink->setBounds (l.buyLink);
    eqPanel.setBounds (l.eqPanel);
    compareEQButton.setBounds (l.compareEQButton);
    cornerSeparatorLeft.setBounds (l.cornerSeparatorLeft);
    cornerSeparatorRight.setBounds (l.cornerSeparatorRight);
    mainDisplay->setBounds (l.mainDisplay);
    settingsWindow->setBounds (l.overlay);
    authorisationWindow.setBounds (l.overlay);
    helpWindow->setBounds (l.overlay);
    resetButton.setBounds (l.resetButton);
    hideEQButton.setBounds (l.hideEQButton);
    logo.setBounds (l.logo);
    loudnessMatchWindow.setBounds (l.loudnessMatchWindow);

    previousHeight = getHeight();
}

void MainContentComponent::setEQDivider (int y)
{
    const auto d = layout::dividerLayout (getWidth(), getHeight(), y);
    eqPanel.setBounds (d.eqPanel);
    compareEQButton.setBounds (d.compareEQButton);
    cornerSeparatorLeft.setBounds (d.cornerSeparatorLeft);
    cornerSeparatorRight.setBounds (d.cornerSeparatorRight);
    model.eqWindowHidden = d.eqWindowHidden;
    mainDisplay->setBounds (d.mainDisplay);
    repaint();
}

void MainContentComponent::setEQPanelHidden()
{
    model.eqWindowHidden = true;
    resized();
    repaint();
}

void MainContentComponent::paint (juce::Graphics& g)
{
    const int w = getWidth();
    const int h = getHeight();

    g.setGradientFill (juce::ColourGradient (juce::Colour (bws::Palette::windowGradientTop), 0.0f, 0.0f,
                                             juce::Colour (bws::Palette::windowGradientBottom), 0.0f, (float) h, false));
    g.fillAll();
    g.fillAll (juce::Colour (bws::Palette::panelFill));

    g.setColour (juce::Colour (bws::Palette::windowFrame));
    g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (3.0f), 12.0f, 2.0f);

    // The top band, centred under the top bar.
    const float centre = (float) (w * 0.499);
    juce::Path band;
    band.startNewSubPath (centre - 222.0f, 3.0f);
    band.lineTo (centre - 200.0f, 47.0f);
    band.lineTo (centre + 200.0f, 47.0f);
    band.lineTo (centre + 222.0f, 3.0f);
    band.closeSubPath();
    g.setColour (juce::Colour (bws::Palette::panelFill));
    g.fillPath (band);
    g.setColour (juce::Colour (bws::Palette::windowFrame));
    g.strokePath (band, juce::PathStrokeType (2.0f));

    titleText.draw (g, { 23.0f, 12.0f, 105.0f, 31.0f });

    g.setColour (juce::Colour (titleColour));
    g.fillRect (w - 95, 14, 1, 22);

    // The bottom frame line, broken by the trapezoid around the hide button.
    const float lineY = (float) (h - 52);
    const float split = (float) (w * 0.568);
    g.setColour (juce::Colour (bws::Palette::stripBackground));
    g.drawLine (6.0f, lineY, split - 111.0f, lineY, 2.0f);
    g.drawLine (split + 111.0f, lineY, (float) (w - 6), lineY, 2.0f);
    const juce::Rectangle<float> trapezoidArea (split - 111.0f, lineY - 1.0f, 222.0f, 26.0f);
    if (bottomTrapezoid != nullptr)
    {
        bottomTrapezoid->drawWithin (g, trapezoidArea, juce::RectanglePlacement::stretchToFit, 1.0f);
    }
    else
    {
        juce::Path trapezoid;
        trapezoid.startNewSubPath (trapezoidArea.getX(), trapezoidArea.getY() + 1.0f);
        trapezoid.lineTo (trapezoidArea.getX() + 14.0f, trapezoidArea.getBottom() - 1.0f);
        trapezoid.lineTo (trapezoidArea.getRight() - 14.0f, trapezoidArea.getBottom() - 1.0f);
        trapezoid.lineTo (trapezoidArea.getRight(), trapezoidArea.getY() + 1.0f);
        g.strokePath (trapezoid, juce::PathStrokeType (2.0f));
    }
}

// --- mouse -----------------------------------------------------------------------------------

void MainContentComponent::mouseDrag (const juce::MouseEvent& e)
{
    if (e.eventComponent != &compareEQButton || ! e.mouseWasDraggedSinceMouseDown())
        return;

    const int y = e.getEventRelativeTo (this).getPosition().y;
    if (layout::dividerDragTaken (y, getHeight()))
    {
        model.eqWindowHeight = y;
        setEQDivider (y);
    }
    else if (layout::dividerDragCollapses (y, getHeight(), model.eqWindowHidden))
    {
        model.eqWindowHidden = true;
        resized();
        repaint();
    }
}

void MainContentComponent::mouseUp (const juce::MouseEvent& e)
{
    if (e.eventComponent != &compareEQButton || e.mouseWasDraggedSinceMouseDown())
        return;

    bool anyTrack = false;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        anyTrack = ! model.tracks.empty();
    }
    if (anyTrack)
        setEQDivider (layout::reopenedDividerY (model.eqWindowHeight, getHeight()));
}

void MainContentComponent::mouseEnter (const juce::MouseEvent& e)
{
    const bool onLogo = e.eventComponent == &logo || logo.isParentOf (e.eventComponent);
    const bool onHelp = e.eventComponent == &utilitiesMenu.helpButton;

    if (e.eventComponent == &topBar.loudnessMatchButton && topBar.loudnessMatchButton.isEnabled())
    {
        loudnessMatchWindow.showModelState();
        loudnessMatchWindow.setVisible (true);
        loudnessMatchWindow.toFront (false);
    }

    // The pop-up speaks for the tooltips when they are off, so that an update is still heard of.
    if (onLogo && newProductAvailable && ! model.showToolTips)
    {
        confirmWindow.setBounds (layout::newProductHoverBounds (getWidth(), getHeight()));
        confirmWindow.setMessage (newProductText);
        confirmWindow.setHoverMode (true);
        confirmWindow.setVisible (true);
        confirmWindow.toFront (false);
    }
    else if (onHelp && updateAvailable && ! model.showToolTips)
    {
        confirmWindow.setBounds (layout::updateHoverBounds (getWidth(), getHeight()));
        confirmWindow.setMessage (updateText);
        confirmWindow.setHoverMode (true);
        confirmWindow.setVisible (true);
        confirmWindow.toFront (false);
    }
}

void MainContentComponent::mouseExit (const juce::MouseEvent& e)
{
    // Left downwards the pointer may travel into the choices; only an exit through the top
    // hides them.
    if (e.eventComponent == &topBar.loudnessMatchButton && e.getEventRelativeTo (this).getPosition().y < 35)
        loudnessMatchWindow.setVisible (false);

    const bool onLogo = e.eventComponent == &logo || logo.isParentOf (e.eventComponent);
    const bool onHelp = e.eventComponent == &utilitiesMenu.helpButton;
    if ((onLogo && newProductAvailable && ! model.showToolTips) || (onHelp && updateAvailable && ! model.showToolTips))
    {
        confirmWindow.setMessage ({});
        confirmWindow.setVisible (false);
    }
}

// --- keyboard --------------------------------------------------------------------------------

bool MainContentComponent::keyPressed (const juce::KeyPress& key)
{
    const int code = key.getKeyCode();
    Track* track = model.activeTrack;

    if (code == juce::KeyPress::spaceKey)
    {
        if (track == nullptr)
            return false;
        if (! track->waveformComplete)
            return true;
        if (! model.transportRunning)
        {
            track->resumeFromOwnPosition = true;
            model.setPlayTarget (track);
        }
        else
        {
            track->playPosition = (float) model.transport.getCurrentPosition();
            model.setPlayTarget (nullptr);
        }
        togglePlayback();
        return true;
    }

    if (code == juce::KeyPress::returnKey)
    {
        if (track == nullptr)
            return false;
        model.transport.setPosition (0.0);
        track->playPosition = 0.0f;
        if (auto* strip = mainDisplay->findStrip (track->id))
            strip->repaint();
        if (model.transportRunning)
        {
            track->resumeFromOwnPosition = true;
            togglePlayback();
        }
        return true;
    }

    int direction = 0;
    if (code == juce::KeyPress::leftKey || code == juce::KeyPress::upKey)
        direction = -1;
    else if (code == juce::KeyPress::rightKey || code == juce::KeyPress::downKey)
        direction = 1;
    if (direction == 0)
        return false;

    const bool playing = model.transportRunning;
    mainDisplay->moveActiveStrip (direction);
    if (playing && model.activeTrack != nullptr && model.activeTrack != track)
    {
        // The new track starts in step, at the position the old one had reached.
        model.setPlayTarget (model.activeTrack);
        togglePlayback();
    }
    return true;
}

// --- playback --------------------------------------------------------------------------------

void MainContentComponent::togglePlayback()
{
    playback.togglePlayback();
}

void MainContentComponent::changeTransportState (int newState)
{
    playback.changeTransportState (newState);
}

void MainContentComponent::changeListenerCallback (juce::ChangeBroadcaster* source)
{
    playback.changeListenerCallback (source);
}

void MainContentComponent::prepareToPlay (int samplesPerBlockExpected, double sampleRate)
{
    playback.prepareToPlay (samplesPerBlockExpected, sampleRate);
}

void MainContentComponent::releaseResources()
{
}

void MainContentComponent::getNextAudioBlock (const juce::AudioSourceChannelInfo& info)
{
    playback.renderNextBlock (info);
}

// --- buttons and overlays ---------------------------------------------------------------------

juce::Component* MainContentComponent::getOverlay (Overlay which)
{
    switch (which)
    {
        case Overlay::settings: return settingsWindow.get();
        case Overlay::authorisation: return &authorisationWindow;
        case Overlay::help: return helpWindow.get();
    }
    return nullptr;
}

void MainContentComponent::openOverlay (Overlay which)
{
    closeOverlays();
    auto* window = getOverlay (which);
    window->toFront (false);
    window->setVisible (true);

    savedWidth = getWidth();
    savedHeight = getHeight();
    const auto size = layout::overlayComponentSize (getWidth(), getHeight());
    setSize (size.x, size.y);

    switch (which)
    {
        case Overlay::settings:
            model.settingsOpen = true;
            topBar.previousButton.setEnabled (false);
            topBar.nextButton.setEnabled (false);
            break;
        case Overlay::authorisation:
            model.authorisationOpen = true;
            utilitiesMenu.settingsButton.setToggleState (false, juce::dontSendNotification);
            utilitiesMenu.helpButton.setToggleState (false, juce::dontSendNotification);
            break;
        case Overlay::help:
            model.helpOpen = true;
            utilitiesMenu.settingsButton.setToggleState (false, juce::dontSendNotification);
            utilitiesMenu.authorisationButton.setToggleState (false, juce::dontSendNotification);
            break;
    }
}

void MainContentComponent::closeOverlay (Overlay which)
{
    closeOverlays();
    switch (which)
    {
        case Overlay::settings: model.settingsOpen = false; break;
        case Overlay::authorisation: model.authorisationOpen = false; break;
        case Overlay::help: model.helpOpen = false; break;
    }
    setSize (savedWidth, savedHeight);
}

void MainContentComponent::closeOverlays()
{
    settingsWindow->setVisible (false);
    authorisationWindow.setVisible (false);
    helpWindow->setVisible (false);
    model.settingsOpen = model.authorisationOpen = model.helpOpen = false;
    mainDisplay->setVisible (true);
    eqPanel.setVisible (true);
    compareEQButton.setVisible (true);
    cornerSeparatorLeft.setVisible (true);
    cornerSeparatorRight.setVisible (true);
    topBar.previousButton.setEnabled (true);
    topBar.nextButton.setEnabled (true);
}

bool MainContentComponent::stepPreset (bool forward)
{
    const int from = model.currentPreset != nullptr ? model.currentPreset->presetId : model.defaultPresetId;
    const int to = forward ? presets::nextPresetId (from) : presets::previousPresetId (from);

    bool exists = false;
    for (const auto& group : model.presetGroups)
        for (const auto& preset : group.presets)
            exists = exists || preset.presetId == to;
    if (! exists)
        return false;

    model.stepPreset (forward);
    refreshForPreset();
    return true;
}

void MainContentComponent::refreshForPreset()
{
    topBar.setPresetName (presets::presetLabel (model.presetGroups, model.currentPreset));
    topBar.presetToggle.setToggleState (false, juce::dontSendNotification);
    reEvaluateStrips();
    mainDisplay->refillFeedback();
    topBar.repaint();
}

void MainContentComponent::reEvaluateStrips()
{
    for (auto& strip : mainDisplay->trackDisplays)
        strip->refreshForPreset();
}

void MainContentComponent::askReset()
{
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        if (model.tracks.empty())
            return;
    }
    confirmWindow.setHoverMode (false);
    confirmWindow.setBounds (layout::resetConfirmBounds (getWidth(), getHeight()));
    confirmWindow.setMessage (resetQuestion);
    confirmWindow.setVisible (true);
    confirmWindow.toFront (false);
}

void MainContentComponent::confirmReset()
{
    confirmWindow.setVisible (false);
    mainDisplay->deleteAllTracks();
    eqPanel.updateTrackList();
    saveSessionButton.setEnabled (false);
    textExportButton.setEnabled (false);
    model.eqWindowHidden = true;
    resized();
}

void MainContentComponent::cancelReset()
{
    confirmWindow.setVisible (false);
}

void MainContentComponent::buttonClicked (juce::Button* button)
{
    if (button == &textExportButton)
        exportText();
    else if (button == &saveSessionButton)
        saveSession();
    else if (button == &addTracksButton)
        openSessionOrAudioFiles();
    else if (button == &resetButton)
        askReset();
    else if (button == &hideEQButton)
    {
        if (! model.eqWindowHidden)
            setEQPanelHidden();
    }
    else if (button == &topBar.previousButton)
        stepPreset (false);
    else if (button == &topBar.nextButton)
        stepPreset (true);
    else if (button == &topBar.loudnessMatchButton)
    {
        model.loudnessMatchOn = button->getToggleState();
        repaint();
    }
    else if (button == &topBar.presetToggle)
    {
        // The presets window opens only while no overlay is open.
        if (model.settingsOpen || model.authorisationOpen || model.helpOpen)
            topBar.presetToggle.setToggleState (false, juce::dontSendNotification);
    }
    else if (button == &utilitiesMenu.settingsButton)
        button->getToggleState() ? openOverlay (Overlay::settings) : closeOverlay (Overlay::settings);
    else if (button == &utilitiesMenu.authorisationButton)
        button->getToggleState() ? openOverlay (Overlay::authorisation) : closeOverlay (Overlay::authorisation);
    else if (button == &utilitiesMenu.helpButton)
        button->getToggleState() ? openOverlay (Overlay::help) : closeOverlay (Overlay::help);
}

void MainContentComponent::updateTooltipWindow()
{
    if (model.showToolTips && tooltipWindow == nullptr)
    {
        tooltipWindow = std::make_unique<juce::TooltipWindow> (nullptr, 500);
        tooltipWindow->setLookAndFeel (&tooltipLook);
    }
    else if (! model.showToolTips && tooltipWindow != nullptr)
    {
        tooltipWindow.reset();
    }
}

void MainContentComponent::applyLicenceStatus()
{
    const auto status = licence::currentStatus();
    useAllowed = status.useAllowed;
    disabledCover.setVisible (! useAllowed);
    authorisationWindow.setVisible (! useAllowed);
    if (! useAllowed)
        authorisationWindow.toFront (false);

    if (status.trial && buyLink == nullptr)
    {
        buyLink = std::make_unique<juce::HyperlinkButton> ("Buy Now", juce::URL (bws::BrenwickSoundLogo::makerAddress));
        buyLink->setTooltip ("Buy Now\n ");
        addAndMakeVisible (*buyLink);
    }
    else if (! status.trial)
    {
        buyLink.reset();
    }
    productLink->setVisible (status.trial);
    if (! getLocalBounds().isEmpty())
        resized();
}

void MainContentComponent::updateAvailableCallback (bool update, bool newProduct)
{
    updateAvailable = update;
    newProductAvailable = newProduct;
    utilitiesMenu.setUpdateAvailable (update);
    logo.newProductAvailableCallback (newProduct);
}

// --- files and sessions --------------------------------------------------------------------------

void MainContentComponent::openSessionOrAudioFiles()
{
    fileChooser = std::make_unique<juce::FileChooser> (fileChooserTitle, folderOrNone (model.lastAccessedTrackDirectory),
                                                       fileChooserPattern, true);
    const int chooserFlags = juce::FileBrowserComponent::openMode | juce::FileBrowserComponent::canSelectFiles
                      | juce::FileBrowserComponent::canSelectMultipleItems;
    fileChooser->launchAsync (chooserFlags, [weak = juce::WeakReference<MainContentComponent> (this)] (const juce::FileChooser& chooser)
                              {
                                  const auto results = chooser.getResults();
                                  auto* c = weak.get();
                                  if (c == nullptr)
                                      return;
                                  // The keys come back to this component as the chooser closes.
                                  c->keyFocusTicks = 30;
                                  if (! results.isEmpty())
                                      c->loadFiles (results);
                              });
}

void MainContentComponent::loadFiles (const juce::Array<juce::File>& files)
{
    juce::StringArray paths;
    for (const auto& file : files)
        paths.add (file.getFullPathName());

    const int session = sessionfile::findSessionPath (paths);
    if (session >= 0)
    {
        openSession (files[session]);
        return;
    }
    if (paths.size() > sessionfile::maxAudioFilesPerList)
        return;
    mainDisplay->filesDropped (paths, 0, 0);
}

bool MainContentComponent::openSession (const juce::File& sessionFile)
{
    SessionOpenHandlers handlers;
    handlers.removeAllTracks = [this] { mainDisplay->deleteAllTracks(); eqPanel.updateTrackList(); };
    handlers.dropFiles = [this] (const juce::StringArray& paths) { mainDisplay->filesDropped (paths, 0, 0); };
    handlers.applyToWindow = [this] (const SessionDefaultsOutcome& outcome) { applySessionToWindow (outcome); };

    const auto name = sessionmodel::open (model, sessionFile, &sessionEqPresets, handlers);
    if (! name.has_value())
        return false;
    sendActionMessage (*name);
    return true;
}

void MainContentComponent::applySessionToWindow (const SessionDefaultsOutcome& outcome)
{
    topBar.setPresetName (outcome.presetName);
    eqPanel.trinityPanel.takeCurrentPreset();
    topBar.presetToggle.setToggleState (false, juce::dontSendNotification);
    presetsWindow.reset();
    reEvaluateStrips();
    repaint();

    if (auto* peer = getPeer())
    {
        if (outcome.fullScreen)
            peer->setFullScreen (true);
        else
            peer->setBounds ({ outcome.x, outcome.y, outcome.width, outcome.height }, false);
    }

    if (! outcome.eqWindowHidden)
    {
        eqPanel.setBounds (4, getHeight() - outcome.eqWindowHeight - 52, eqPanel.getWidth(), outcome.eqWindowHeight);
        resized();
    }
}

SessionWindowState MainContentComponent::windowState() const
{
    SessionWindowState state;
    state.x = getScreenX();
    state.y = getScreenY();
    state.width = getWidth();
    state.height = getHeight();
    auto* peer = getPeer();
    state.fullScreen = peer != nullptr && peer->isFullScreen();
    state.eqWindowHeight = eqPanel.getHeight();
    return state;
}

void MainContentComponent::saveSession()
{
    fileChooser = std::make_unique<juce::FileChooser> (sessionfile::saveDialogTitle,
                                                       folderOrNone (model.lastAccessedSaveSessionDirectory),
                                                       sessionfile::wildcard, true);
    const int chooserFlags = juce::FileBrowserComponent::saveMode | juce::FileBrowserComponent::canSelectFiles
                      | juce::FileBrowserComponent::warnAboutOverwriting;
    fileChooser->launchAsync (chooserFlags, [weak = juce::WeakReference<MainContentComponent> (this)] (const juce::FileChooser& chooser)
                              {
                                  auto* c = weak.get();
                                  const auto file = chooser.getResult();
                                  if (c == nullptr || file == juce::File())
                                      return;
                                  if (sessionmodel::save (c->model, file, c->windowState(), &c->sessionEqPresets))
                                      c->showStatus (sessionfile::savedText, sessionfile::savedCountdown);
                              });
}

void MainContentComponent::exportText()
{
    std::vector<textexport::Entry> entries;
    for (auto& strip : mainDisplay->trackDisplays)
        entries.push_back (strip->exportEntry());
    const auto presetName = model.currentPreset != nullptr ? model.currentPreset->name : juce::String();
    textexport::writeReport (entries, model.textOutputType, presetName);
    // Said whether or not the file could be written.
    showStatus (textexport::savedMessage, textexport::savedMessageCountdown);
}

// --- messages --------------------------------------------------------------------------------

void MainContentComponent::trackCountChanged()
{
    bool anyTrack = false;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        anyTrack = ! model.tracks.empty();
    }
    if (! anyTrack)
    {
        saveSessionButton.setEnabled (false);
        textExportButton.setEnabled (false);
        model.eqWindowHidden = true;
    }
    eqPanel.updateTrackList();
    resized();
}

void MainContentComponent::actionListenerCallback (const juce::String& message)
{
    const int halfHeight = getHeight() / 2;
    auto reopenSplit = [this, halfHeight]
    {
        if (! model.eqWindowHidden)
            setEQDivider (model.eqWindowHeight != 0 ? model.eqWindowHeight : halfHeight);
    };

    if (messages::hasPrefix (message, messages::loadStatus))
    {
        showStatus (loadingText (model.loadQueue.processed.load(), model.loadQueue.pushed.load()), loadingTicks);
        reopenSplit();
    }
    else if (messages::hasPrefix (message, messages::trackWaveformComplete))
    {
        eqPanel.updateTrackList();
        if (model.loadQueue.processed.load() == model.loadQueue.pushed.load())
        {
            showStatus (allTracksLoadedText, allTracksLoadedTicks);
            bool anyTrack = false;
            {
                std::lock_guard<std::mutex> guard (model.tracksLock);
                anyTrack = ! model.tracks.empty();
            }
            saveSessionButton.setEnabled (anyTrack);
            textExportButton.setEnabled (anyTrack);
            reopenSplit();
        }
    }
    else if (messages::hasPrefix (message, messages::trackDelete))
    {
        // Arrives twice, from the strip and relayed by the display: it only reads the state.
        trackCountChanged();
    }
    else if (messages::hasPrefix (message, messages::feedback))
    {
        const auto trackId = messages::trackIdAfter (message, messages::feedback);
        if (trackId == 0)
            mainDisplay->closeFeedback();
        else
            mainDisplay->showFeedback (trackId);
    }
    else if (messages::isKeyword (message, messages::normalPresetIdChanged))
    {
        // Not here yet: the preset browser's list holds the chosen id; it becomes the current
        // preset and refreshForPreset() runs.
        refreshForPreset();
    }
    else if (messages::isKeyword (message, messages::closeLoudnessMatch))
    {
        loudnessMatchWindow.setVisible (false);
        repaint();
    }
    else if (messages::isKeyword (message, messages::openSessionOrAudioFiles))
    {
        this->openSessionOrAudioFiles();
    }
    else if (messages::isKeyword (message, messages::closeHelpWindow) || messages::isKeyword (message, messages::closeSettingsWindow)
             || messages::isKeyword (message, messages::closeAuthorisationWindow))
    {
        for (auto* toggle : { &utilitiesMenu.settingsButton, &utilitiesMenu.authorisationButton, &utilitiesMenu.helpButton })
            toggle->setToggleState (false, juce::dontSendNotification);
        closeOverlays();
        if (savedWidth > 0 && savedHeight > 0)
            setSize (savedWidth, savedHeight);
        reEvaluateStrips();
        updateTooltipWindow();
    }
    else if (messages::isKeyword (message, messages::authorised) || messages::isKeyword (message, messages::deauthorised))
    {
        applyLicenceStatus();
    }
}
