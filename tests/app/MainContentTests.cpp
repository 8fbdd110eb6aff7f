#include "AppTestSupport.h"

#include "app/Messages.h"
#include "targets/SessionFile.h"

using apptest::AppFixture;
using layout::Rect;

namespace
{
juce::KeyPress key (int code)
{
    return juce::KeyPress (code);
}
} // namespace

class MainContent : public AppFixture
{
};

TEST_F (MainContent, ChildrenTakeTheLayoutOfTheSmallestWindow)
{
    auto& c = makeContent();
    EXPECT_EQ (c.getWidth(), 1000);
    EXPECT_EQ (c.getHeight(), 800);
    EXPECT_EQ (c.statusLabel.getBounds(), Rect (137, 24, 200, 14));
    EXPECT_EQ (c.topBar.getBounds(), Rect (302, 0, 395, 43));
    EXPECT_EQ (c.textExportButton.getBounds(), Rect (809, 16, 17, 17));
    EXPECT_EQ (c.saveSessionButton.getBounds(), Rect (841, 16, 17, 17));
    EXPECT_EQ (c.addTracksButton.getBounds(), Rect (873, 16, 17, 17));
    EXPECT_EQ (c.utilitiesMenu.getBounds().getRight(), 980);
    EXPECT_EQ (c.eqPanel.getBounds(), Rect (4, 738, 992, 10));
    EXPECT_EQ (c.compareEQButton.getBounds(), Rect (458, 738, 220, 35));
    EXPECT_EQ (c.mainDisplay->getBounds(), Rect (4, 55, 992, 681));
    EXPECT_EQ (c.resetButton.getBounds(), Rect (24, 759, 60, 26));
    EXPECT_EQ (c.hideEQButton.getBounds(), Rect (464, 748, 208, 24));
    EXPECT_EQ (c.logo.getBounds().getRight(), 980);
    EXPECT_EQ (c.helpWindow->getBounds(), Rect (200, 145, 600, 510));
    EXPECT_EQ (c.loudnessMatchWindow.getBounds(), Rect (566, 43, 115, 90));
    EXPECT_EQ (c.disabledCover.getBounds(), Rect (0, 0, 1000, 800));
    EXPECT_EQ (c.previousHeight, 800);

    // Named children, and the order of creation where it decides what lies on top.
    EXPECT_EQ (c.cornerSeparatorLeft.getName(), "Corner Separator L");
    EXPECT_EQ (c.cornerSeparatorRight.getName(), "Corner Separator R");
    EXPECT_EQ (c.mainDisplay->trackHolder.getName(), "TrackHolder");
    EXPECT_EQ (c.getIndexOfChildComponent (&c.disabledCover), 0);
    EXPECT_LT (c.getIndexOfChildComponent (&c.statusLabel), c.getIndexOfChildComponent (c.mainDisplay.get()));
    EXPECT_LT (c.getIndexOfChildComponent (c.mainDisplay.get()), c.getIndexOfChildComponent (&c.eqPanel));
    EXPECT_EQ (c.getIndexOfChildComponent (&c.cornerSeparatorRight), c.getNumChildComponents() - 1);

    // Tooltips and the state at start.
    EXPECT_EQ (c.textExportButton.getTooltip(), "Export feedback analysis to a text file on your desktop.");
    EXPECT_EQ (c.resetButton.getTooltip(), "Reset. WARNING: Deletes ALL tracks!");
    EXPECT_FALSE (c.saveSessionButton.isEnabled());
    EXPECT_FALSE (c.textExportButton.isEnabled());
    EXPECT_FALSE (c.statusLabel.isVisible());
    EXPECT_FALSE (c.disabledCover.isVisible());
    EXPECT_EQ (c.buyLink, nullptr);
}

TEST_F (MainContent, OnlyTheMainComponentTakesTheKeys)
{
    auto& c = makeContent();
    EXPECT_TRUE (c.getWantsKeyboardFocus());
    std::function<void (juce::Component&)> check = [&] (juce::Component& parent)
    {
        for (auto* child : parent.getChildren())
        {
            EXPECT_FALSE (child->getWantsKeyboardFocus()) << child->getName();
            EXPECT_FALSE (child->getMouseClickGrabsKeyboardFocus()) << child->getName();
            check (*child);
        }
    };
    check (c);
}

TEST_F (MainContent, ResizingKeepsTheOpenEQPanelsShare)
{
    auto& c = makeContent();
    c.setEQDivider (400);
    EXPECT_FALSE (model->eqWindowHidden);
    EXPECT_EQ (c.eqPanel.getBounds(), Rect (4, 400, 992, 348));
    EXPECT_EQ (c.mainDisplay->getBounds(), Rect (4, 53, 992, 345));

    c.setSize (1000, 1200);
    const int middle = 1200 - 8 - 49 - 48;
    EXPECT_EQ (c.eqPanel.getHeight(), middle / 2);
    EXPECT_EQ (c.previousHeight, 1200);
    EXPECT_EQ (c.compareEQButton.getY(), c.eqPanel.getY());

    c.setSize (1400, 900);
    EXPECT_EQ (c.eqPanel.getWidth(), 1392);
    EXPECT_NEAR ((double) c.eqPanel.getHeight() / (900 - 105), 0.5, 0.01);
}

TEST_F (MainContent, HideButtonCollapsesThePanelOnce)
{
    auto& c = makeContent();
    c.setEQDivider (500);
    ASSERT_FALSE (model->eqWindowHidden);
    c.hideEQButton.triggerClick();
    pumpUntil ([&] { return model->eqWindowHidden; }, 2000);
    EXPECT_TRUE (model->eqWindowHidden);
    EXPECT_EQ (c.eqPanel.getHeight(), 10);

    // The divider takes the panel's height as its hidden state.
    c.setEQDivider (800 - 52 - 10);
    EXPECT_TRUE (model->eqWindowHidden);
}

TEST_F (MainContent, StatusTextCountsDownInTicks)
{
    auto& c = makeContent();
    c.stopTimer();  // the ticks are driven by hand

    c.showStatus (MainContentComponent::allTracksLoadedText, MainContentComponent::allTracksLoadedTicks);
    EXPECT_TRUE (c.statusLabel.isVisible());
    EXPECT_EQ (model->statusCountdown, 60);

    // Counted down to -1 over 61 ticks, cleared at the next: about two seconds at 33 ms.
    for (int tick = 0; tick < 61; ++tick)
        c.timerCallback();
    EXPECT_TRUE (c.statusLabel.isVisible());
    EXPECT_EQ (c.statusLabel.getText(), "All tracks loaded");
    c.timerCallback();
    EXPECT_FALSE (c.statusLabel.isVisible());
    EXPECT_TRUE (c.statusLabel.getText().isEmpty());
}

TEST_F (MainContent, LoadStatusAndWaveformMessagesDriveTheStatusText)
{
    auto& c = makeContent();
    c.stopTimer();
    model->loadQueue.setPaused (true);
    model->loadQueue.pushed = 3;
    model->loadQueue.processed = 1;

    c.actionListenerCallback ("LOAD-STATUS:Loading TONE");
    EXPECT_EQ (c.statusLabel.getText(), "Loading track 1 of 3");
    EXPECT_EQ (model->statusCountdown, 0x7fffffff);
    EXPECT_TRUE (c.statusLabel.isVisible());

    // Not the last of the batch: nothing changes.
    c.actionListenerCallback ("TRACK_WAVEFORM_COMPLETE:0123");
    EXPECT_EQ (c.statusLabel.getText(), "Loading track 1 of 3");

    model->loadQueue.processed = 3;
    addPlaceholderTracks (1);
    c.actionListenerCallback ("TRACK_WAVEFORM_COMPLETE:0123");
    EXPECT_EQ (c.statusLabel.getText(), "All tracks loaded");
    EXPECT_EQ (model->statusCountdown, 60);
    EXPECT_TRUE (c.saveSessionButton.isEnabled());
    EXPECT_TRUE (c.textExportButton.isEnabled());
    model->loadQueue.pushed = 0;
    model->loadQueue.processed = 0;
}

TEST_F (MainContent, LoadStatusReopensAnOpenSplitAtItsHeightOrHalf)
{
    auto& c = makeContent();
    model->eqWindowHidden = false;
    model->eqWindowHeight = 0;
    c.actionListenerCallback ("LOAD-STATUS:Loading A");
    EXPECT_EQ (c.eqPanel.getY(), 400);

    model->eqWindowHeight = 300;
    c.actionListenerCallback ("LOAD-STATUS:Loading B");
    EXPECT_EQ (c.eqPanel.getY(), 300);

    model->eqWindowHidden = true;
    c.resized();
    c.actionListenerCallback ("LOAD-STATUS:Loading C");
    EXPECT_EQ (c.eqPanel.getHeight(), 10);
}

TEST_F (MainContent, TrackDeleteDeliveredTwiceIsHarmless)
{
    auto& c = makeContent();
    c.saveSessionButton.setEnabled (true);
    c.textExportButton.setEnabled (true);
    c.setEQDivider (400);

    c.actionListenerCallback ("TRACK_DELETE:777");
    c.actionListenerCallback ("TRACK_DELETE:777");
    EXPECT_FALSE (c.saveSessionButton.isEnabled());
    EXPECT_FALSE (c.textExportButton.isEnabled());
    EXPECT_TRUE (model->eqWindowHidden);
    EXPECT_EQ (c.eqPanel.getHeight(), 10);

    // With a track still listed, the buttons stay as they are.
    addPlaceholderTracks (1);
    c.saveSessionButton.setEnabled (true);
    c.actionListenerCallback ("TRACK_DELETE:777");
    EXPECT_TRUE (c.saveSessionButton.isEnabled());
}

TEST_F (MainContent, OverlayOnTheSmallestWindowChangesNoSize)
{
    auto& c = makeContent();
    c.openOverlay (MainContentComponent::Overlay::help);
    EXPECT_EQ (c.getWidth(), 1000);
    EXPECT_EQ (c.getHeight(), 800);
    EXPECT_TRUE (c.helpWindow->isVisible());
    EXPECT_TRUE (model->helpOpen);
    EXPECT_EQ (c.helpWindow->getBounds(), Rect (200, 145, 600, 510));
    // It lies above the track list.
    EXPECT_GT (c.getIndexOfChildComponent (c.helpWindow.get()), c.getIndexOfChildComponent (c.mainDisplay.get()));

    c.closeOverlay (MainContentComponent::Overlay::help);
    EXPECT_FALSE (c.helpWindow->isVisible());
    EXPECT_FALSE (model->helpOpen);
}

TEST_F (MainContent, OverlayGrowsASmallComponentAndClosingRestoresIt)
{
    auto& c = makeContent();
    c.setSize (700, 600);
    c.openOverlay (MainContentComponent::Overlay::settings);
    EXPECT_EQ (c.getWidth(), 800);
    EXPECT_EQ (c.getHeight(), 680);
    EXPECT_EQ (c.savedWidth, 700);
    EXPECT_EQ (c.savedHeight, 600);
    EXPECT_TRUE (model->settingsOpen);
    EXPECT_FALSE (c.topBar.nextButton.isEnabled());
    EXPECT_FALSE (c.topBar.previousButton.isEnabled());
    EXPECT_EQ (c.settingsWindow->getBounds(), Rect (100, 85, 600, 510));

    c.closeOverlay (MainContentComponent::Overlay::settings);
    EXPECT_EQ (c.getWidth(), 700);
    EXPECT_EQ (c.getHeight(), 600);
    EXPECT_TRUE (c.topBar.nextButton.isEnabled());
}

TEST_F (MainContent, OnlyOneOverlayAtATime)
{
    auto& c = makeContent();
    c.utilitiesMenu.settingsButton.setToggleState (true, juce::dontSendNotification);
    c.utilitiesMenu.authorisationButton.setToggleState (true, juce::dontSendNotification);
    c.openOverlay (MainContentComponent::Overlay::settings);
    c.openOverlay (MainContentComponent::Overlay::help);
    EXPECT_FALSE (c.settingsWindow->isVisible());
    EXPECT_TRUE (c.helpWindow->isVisible());
    EXPECT_FALSE (model->settingsOpen);
    EXPECT_TRUE (model->helpOpen);
    // Help puts the other two toggles off without telling anyone.
    EXPECT_FALSE (c.utilitiesMenu.settingsButton.getToggleState());
    EXPECT_FALSE (c.utilitiesMenu.authorisationButton.getToggleState());
    EXPECT_TRUE (c.topBar.nextButton.isEnabled());
}

TEST_F (MainContent, CloseMessageOfAWindowClosesEverythingAndRestoresTheSize)
{
    auto& c = makeContent();
    c.setSize (700, 600);
    c.utilitiesMenu.helpButton.setToggleState (true, juce::dontSendNotification);
    c.openOverlay (MainContentComponent::Overlay::help);
    ASSERT_EQ (c.getHeight(), 680);

    c.actionListenerCallback ("CLOSE_HELP_WONDOW");
    EXPECT_FALSE (c.helpWindow->isVisible());
    EXPECT_FALSE (model->helpOpen);
    EXPECT_FALSE (c.utilitiesMenu.helpButton.getToggleState());
    EXPECT_EQ (c.getWidth(), 700);
    EXPECT_EQ (c.getHeight(), 600);

    c.openOverlay (MainContentComponent::Overlay::settings);
    c.actionListenerCallback ("CLOSE_SETTINGS_WONDOW");
    EXPECT_FALSE (c.settingsWindow->isVisible());
    EXPECT_FALSE (model->settingsOpen);
}

TEST_F (MainContent, HelpWindowsCloseButtonSendsItsMessage)
{
    auto& c = makeContent();
    testaudio::MessageLog log (*c.helpWindow);
    c.openOverlay (MainContentComponent::Overlay::help);
    c.helpWindow->getCloseButton().triggerClick();
    ASSERT_TRUE (log.waitFor ("CLOSE_HELP_WONDOW", 1, 5000));
    EXPECT_TRUE (pumpUntil ([&] { return ! model->helpOpen; }, 5000));
}

TEST_F (MainContent, PresetArrowsWrapModulo32)
{
    auto& c = makeContent();
    model->selectPresetById (31);
    ASSERT_EQ (model->currentPreset->presetId, 31);
    EXPECT_TRUE (c.stepPreset (true));
    EXPECT_EQ (model->currentPreset->presetId, 0);
    EXPECT_EQ (c.topBar.getPresetName(), presets::presetLabel (model->presetGroups, model->currentPreset));

    EXPECT_TRUE (c.stepPreset (false));
    EXPECT_EQ (model->currentPreset->presetId, 31);

    // Without the user group, the step from 26 finds no preset 27 and changes nothing.
    model->presetGroups = presets::makeFactoryPresetGroups (3);
    model->selectPresetById (26);
    const auto nameBefore = (c.refreshForPreset(), c.topBar.getPresetName());
    EXPECT_FALSE (c.stepPreset (true));
    EXPECT_EQ (model->currentPreset->presetId, 26);
    EXPECT_EQ (c.topBar.getPresetName(), nameBefore);
}

TEST_F (MainContent, KeysWithoutTracks)
{
    auto& c = makeContent();
    EXPECT_FALSE (c.keyPressed (key (juce::KeyPress::spaceKey)));
    EXPECT_FALSE (c.keyPressed (key (juce::KeyPress::returnKey)));
    // The arrows are swallowed even with no strips.
    EXPECT_TRUE (c.keyPressed (key (juce::KeyPress::leftKey)));
    EXPECT_TRUE (c.keyPressed (key (juce::KeyPress::downKey)));
    EXPECT_FALSE (c.keyPressed (key ('a')));
}

TEST_F (MainContent, ResetWithoutTracksAsksNothing)
{
    auto& c = makeContent();
    c.askReset();
    EXPECT_FALSE (c.confirmWindow.isVisible());
}

TEST_F (MainContent, ResetAsksThenDeletesEverything)
{
    auto& c = makeContent();
    addPlaceholderTracks (3);
    c.saveSessionButton.setEnabled (true);
    c.setEQDivider (400);

    c.askReset();
    EXPECT_TRUE (c.confirmWindow.isVisible());
    EXPECT_EQ (c.confirmWindow.getBounds(), Rect (350, 275, 300, 175));
    EXPECT_EQ (c.confirmWindow.getMessage(), "Are you sure?\n\nThis will delete all currently loaded tracks.");
    EXPECT_TRUE (c.confirmWindow.okButton.isVisible());

    c.confirmWindow.cancelButton.triggerClick();
    pumpUntil ([&] { return ! c.confirmWindow.isVisible(); }, 2000);
    EXPECT_FALSE (c.confirmWindow.isVisible());
    EXPECT_EQ (trackCount(), 3);

    c.askReset();
    c.confirmWindow.okButton.triggerClick();
    pumpUntil ([&] { return trackCount() == 0; }, 2000);
    EXPECT_FALSE (c.confirmWindow.isVisible());
    EXPECT_FALSE (c.saveSessionButton.isEnabled());
    EXPECT_TRUE (model->eqWindowHidden);
}

TEST_F (MainContent, ExportSaysSavedWhateverHappened)
{
    auto& c = makeContent();
    c.stopTimer();
    c.exportText();
    EXPECT_EQ (c.statusLabel.getText(), "File saved to Desktop");
    EXPECT_EQ (model->statusCountdown, 90);
}

TEST_F (MainContent, CloseLoudnessMatchHidesItsWindow)
{
    auto& c = makeContent();
    c.loudnessMatchWindow.setVisible (true);
    c.actionListenerCallback ("CLOSE_LOUDNESSMATCH");
    EXPECT_FALSE (c.loudnessMatchWindow.isVisible());
}

TEST_F (MainContent, LoudnessMatchButtonAndItsChoicesSetTheModel)
{
    auto& c = makeContent();
    auto& button = c.topBar.loudnessMatchButton;
    EXPECT_EQ (button.getBounds(), Rect (395 - 137, 5, 137, 36));

    // Hover shows the choices; leaving downwards keeps them, through the top hides them.
    const auto at = [&] (int y)
    {
        const juce::Point<float> p (10.0f, (float) y);
        return juce::MouseEvent (juce::Desktop::getInstance().getMainMouseSource(), p, {}, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f,
                                 &button, &button, juce::Time(), p, juce::Time(), 1, false);
    };
    c.mouseEnter (at (10));
    EXPECT_TRUE (c.loudnessMatchWindow.isVisible());
    c.mouseExit (at (40));
    EXPECT_TRUE (c.loudnessMatchWindow.isVisible());
    c.mouseExit (at (-2));
    EXPECT_FALSE (c.loudnessMatchWindow.isVisible());

    button.triggerClick();
    pumpFor (50);
    EXPECT_TRUE (model->loudnessMatchOn);

    // Each click sets its field at once; each group keeps one choice.
    struct Choice { int index; int mode; float target; };
    for (const auto& choice : { Choice { 0, 0, -14.0f }, Choice { 2, 0, -24.0f }, Choice { 1, 1, -24.0f }, Choice { 4, 1, -8.0f } })
    {
        c.loudnessMatchWindow.getChoice (choice.index).triggerClick();
        pumpFor (20);
        EXPECT_EQ (model->loudnessMatchMode, choice.mode);
        EXPECT_EQ (model->loudnessMatchTarget, choice.target);
        int on = 0;
        for (int i = 0; i < LoudnessMatchPopUpWindow::numChoices; ++i)
            on += c.loudnessMatchWindow.getChoice (i).getToggleState() ? 1 : 0;
        EXPECT_EQ (on, 2);
    }

    button.triggerClick();
    pumpFor (50);
    EXPECT_FALSE (model->loudnessMatchOn);
}

TEST_F (MainContent, RunsSilentlyWithoutASoundDevice)
{
    auto& c = makeContent();
    if (auto* device = c.deviceManager.getCurrentAudioDevice())
    {
        // A machine with sound: at most the two outputs asked for.
        EXPECT_LE (device->getActiveOutputChannels().countNumberOfSetBits(), 2);
    }
    else
    {
        // No device and no message: the heartbeat and the status text go on.
        c.stopTimer();
        c.showStatus ("File saved to Desktop", 0);
        c.timerCallback();
        c.timerCallback();
        EXPECT_FALSE (c.statusLabel.isVisible());
    }

    // While nothing plays, the callback hands out silence.
    juce::AudioBuffer<float> buffer (2, 64);
    for (int ch = 0; ch < 2; ++ch)
        for (int i = 0; i < 64; ++i)
            buffer.setSample (ch, i, 0.5f);
    c.getNextAudioBlock (juce::AudioSourceChannelInfo (&buffer, 0, 64));
    EXPECT_EQ (buffer.getMagnitude (0, 64), 0.0f);
}

TEST_F (MainContent, DeviceStateGoesToTheSettingsWhileTheComponentLives)
{
    makeContent();
    EXPECT_TRUE ((bool) settings->deviceStateProvider);
    content.reset();
    EXPECT_FALSE ((bool) settings->deviceStateProvider);
}

// --- files ---------------------------------------------------------------------------------

TEST_F (MainContent, AudioListsAreQueuedUpToFifty)
{
    auto& c = makeContent();
    model->loadQueue.setPaused (true);

    juce::Array<juce::File> files;
    for (int i = 0; i < 51; ++i)
        files.add (temp.file ("t" + juce::String (i) + ".wav"));
    c.loadFiles (files);
    EXPECT_EQ (model->loadQueue.pushed.load(), 0);

    files.removeLast();
    c.loadFiles (files);
    EXPECT_EQ (model->loadQueue.pushed.load(), 50);
    EXPECT_EQ (model->lastAccessedTrackDirectory, temp.path().getFullPathName());
}

TEST_F (MainContent, ASessionInTheListOpensAloneAndNamesTheWindow)
{
    auto& c = makeContent();
    model->loadQueue.setPaused (true);
    testaudio::MessageLog log (c);

    SessionDocument session;
    session.defaults.currentPresetID = 7;
    session.tracks.push_back ({ 1, temp.file ("one.wav").getFullPathName() });
    session.tracks.push_back ({ 2, temp.file ("two.wav").getFullPathName() });
    const auto sessionFile = temp.file ("review.bws");
    ASSERT_TRUE (sessionfile::write (sessionFile, session));

    // The session comes third in a list of 60: the limit of 50 is for audio lists only.
    juce::Array<juce::File> files;
    for (int i = 0; i < 60; ++i)
        files.add (i == 2 ? sessionFile : temp.file ("x" + juce::String (i) + ".wav"));
    c.loadFiles (files);

    EXPECT_EQ (model->loadQueue.pushed.load(), 2);  // the session's tracks, not the list's
    EXPECT_EQ (model->currentPreset->presetId, 7);
    EXPECT_EQ (c.topBar.getPresetName(), presets::presetLabel (model->presetGroups, model->currentPreset));
    ASSERT_TRUE (log.waitFor ("review.bws", 1, 5000));
    EXPECT_EQ (log.messages.back(), "review.bws");
}

TEST_F (MainContent, ASessionNamedInCapitalsIsTakenForAudio)
{
    auto& c = makeContent();
    model->loadQueue.setPaused (true);
    SessionDocument session;
    session.tracks.push_back ({ 1, temp.file ("one.wav").getFullPathName() });
    const auto sessionFile = temp.file ("LOUD.BWS");
    ASSERT_TRUE (sessionfile::write (sessionFile, session));

    c.loadFiles ({ sessionFile });
    // Queued as an audio path: one request, for the session file itself.
    EXPECT_EQ (model->loadQueue.pushed.load(), 1);
    EXPECT_NE (model->currentPreset, nullptr);
}

TEST_F (MainContent, ADamagedSessionChangesNothingButTheFolder)
{
    auto& c = makeContent();
    testaudio::MessageLog log (c);
    const auto sessionFile = temp.file ("broken.bws");
    ASSERT_TRUE (sessionFile.replaceWithText ("not a session"));
    const int presetBefore = model->currentPreset->presetId;

    c.loadFiles ({ sessionFile });
    pumpFor (50);
    EXPECT_EQ (model->currentPreset->presetId, presetBefore);
    EXPECT_TRUE (log.messages.empty());
    EXPECT_EQ (model->lastAccessedSaveSessionDirectory, temp.path().getFullPathName());
}
