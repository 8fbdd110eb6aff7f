#pragma once

#include "analysis/Model.h"
#include "app/Layout.h"
#include "app/Messages.h"
#include "app/MainDisplay.h"
#include "app/EQPresetsPlaceholder.h"
#include "app/Playback.h"
#include "app/Placeholders.h"
#include "display/EQWindow.h"
#include "app/PopUpWindow.h"
#include "display/LoudnessMatchPopUpWindow.h"
#include "kit/BrenwickSoundLogo.h"
#include "kit/ClippedPNGButton.h"
#include "kit/DisabledCover.h"
#include "kit/HelpWindow.h"
#include "kit/SVGButton.h"
#include "kit/ScrollbarLNF.h"
#include "kit/TooltipLookAndFeel.h"
#include "kit/UtilitiesMenu.h"
#include "targets/ModelEQPresets.h"
#include "targets/SessionModel.h"
#include "targets/SettingsStore.h"

#include <juce_audio_utils/juce_audio_utils.h>
#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

// Fills the main window: the top band with its buttons, the track list, the EQ panel under
// a movable split, the overlays, the status text and the heartbeat. It is the audio source
// of the sound device.
class MainContentComponent : public juce::AudioAppComponent,
                             public juce::Button::Listener,
                             public juce::ActionListener,
                             public juce::ActionBroadcaster,
                             public juce::ChangeListener,
                             public juce::Timer
{
public:
    MainContentComponent (Model& model, SettingsStore& settings);
    ~MainContentComponent() override;

    // The texts of the status label.
    static constexpr const char* allTracksLoadedText = "All tracks loaded";
    static constexpr int allTracksLoadedTicks = 60;
    static constexpr int loadingTicks = 0x7fffffff;
    static constexpr const char* resetQuestion = "Are you sure?\n\nThis will delete all currently loaded tracks.";
    static constexpr const char* newProductText = "A new product is available! Click the link to visit our website.\n ";
    static constexpr const char* updateText = "An update is available! Click the '?' icon to view the link.\n ";
    static constexpr const char* fileChooserTitle = "Load one or more audio files, or an ORVANE session...";
    static constexpr const char* fileChooserPattern = "*.wav;*.mp3;*.aif;*.aiff;*.fla;*.flac;*.wmv;*.asf;*.wm;*.wma;*.bws";

    // "Loading track " + processed + " of " + pushed.
    static juce::String loadingText (int processed, int pushed);

    // Operations other parts reach through messages or function objects.
    void openSessionOrAudioFiles();
    void loadFiles (const juce::Array<juce::File>& files);
    void setEQDivider (int y);
    void closeOverlays();
    void refreshForPreset();
    void togglePlayback();
    void updateAvailableCallback (bool updateAvailable, bool newProductAvailable);

    // The overlays of the utilities menu.
    enum class Overlay
    {
        settings,
        authorisation,
        help
    };
    void openOverlay (Overlay which);
    void closeOverlay (Overlay which);
    juce::Component* getOverlay (Overlay which);

    // The top bar's arrows: +1 or +31 modulo 32; an id with no preset changes nothing.
    bool stepPreset (bool forward);

    // Shows a status text for a number of ticks of the heartbeat.
    void showStatus (const juce::String& text, int ticks);

    // The reset button's confirmation, and its two answers.
    void askReset();
    void confirmReset();
    void cancelReset();

    void saveSession();
    void exportText();

    // Where a session saved now would put the window.
    SessionWindowState windowState() const;

    // Component
    void mouseEnter (const juce::MouseEvent&) override;
    void mouseExit (const juce::MouseEvent&) override;
    void mouseDrag (const juce::MouseEvent&) override;
    void mouseUp (const juce::MouseEvent&) override;
    void paint (juce::Graphics&) override;
    bool keyPressed (const juce::KeyPress&) override;
    void resized() override;

    // AudioSource
    void prepareToPlay (int samplesPerBlockExpected, double sampleRate) override;
    void releaseResources() override;
    void getNextAudioBlock (const juce::AudioSourceChannelInfo&) override;

    void buttonClicked (juce::Button*) override;
    void actionListenerCallback (const juce::String& message) override;
    void changeListenerCallback (juce::ChangeBroadcaster*) override;
    void timerCallback() override;

    Model& model;
    SettingsStore& settings;
    juce::AttributedString titleText;
    int savedWidth = 0;
    int savedHeight = 0;
    int previousHeight = 800;

    // Children, in the order of their creation.
    bws::DisabledCover disabledCover;
    PlaceholderTopBar topBar;
    bws::SVGButton textExportButton { "TextExport" };
    bws::SVGButton saveSessionButton { "SaveSession" };
    bws::SVGButton addTracksButton { "AddTracks" };
    bws::UtilitiesMenu utilitiesMenu;
    bws::BrenwickSoundLogo logo { juce::Colour (0xff00ff27), juce::Colour (0xffffffff) };
    bws::SVGButton resetButton { "Reset" };
    std::unique_ptr<PlaceholderOverlay> settingsWindow;
    PlaceholderOverlay authorisationWindow { "AUTHORISATION", messages::closeAuthorisationWindow };
    std::unique_ptr<bws::HelpWindow> helpWindow;
    std::unique_ptr<juce::Component> presetsWindow;
    PopUpWindow confirmWindow;
    LoudnessMatchPopUpWindow loudnessMatchWindow { model };
    std::unique_ptr<juce::HyperlinkButton> buyLink;
    juce::Label statusLabel;
    std::unique_ptr<bws::SVGHyperlinkButton> productLink;
    std::unique_ptr<MainDisplay> mainDisplay;
    EQWindow eqPanel { model };
    CompareEQButton compareEQButton;
    HideEQButton hideEQButton;
    juce::ImageComponent cornerSeparatorLeft { "Corner Separator L" };
    juce::ImageComponent cornerSeparatorRight { "Corner Separator R" };

    std::unique_ptr<juce::TooltipWindow> tooltipWindow;

    bool updateAvailable = false;
    bool newProductAvailable = false;

    // The transport and the loudness match; transportState lives there.
    Playback playback { model };

private:
    void changeTransportState (int newState);
    void applyLicenceStatus();
    void applySessionToWindow (const SessionDefaultsOutcome& outcome);
    void updateTooltipWindow();
    void setEQPanelHidden();
    void trackCountChanged();
    void reEvaluateStrips();
    void stopDeviceAudio();
    bool openSession (const juce::File& sessionFile);
    // The test hook: with ORVANE_TEST_STATUS_FILE set, every new status text is appended there.
    void reportStatus (const juce::String& text);

    juce::AudioSourcePlayer audioSourcePlayer;
    eqpresets::ModelSessionEqPresets sessionEqPresets { model };
    std::unique_ptr<juce::Drawable> bottomTrapezoid;
    bws::ScrollbarLNF scrollbarLook;
    bws::TooltipLookAndFeel tooltipLook;
    std::unique_ptr<juce::FileChooser> fileChooser;
    juce::String lastReportedStatus;
    bool useAllowed = true;
    // Heartbeats left to take the keyboard focus: the first grab can come before the window
    // can be focused, at the start and when a file chooser closes. Ends once it has it.
    int keyFocusTicks = 60;

    JUCE_DECLARE_WEAK_REFERENCEABLE (MainContentComponent)
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (MainContentComponent)
};
