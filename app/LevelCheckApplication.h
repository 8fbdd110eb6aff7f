#pragma once

#include "analysis/Model.h"
#include "app/MainContentComponent.h"
#include "kit/OrvaneLookandFeel.h"
#include "targets/SettingsStore.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

// The application object: owns the window, the Model and the settings store.
class LevelCheckApplication : public juce::JUCEApplication
{
public:
    LevelCheckApplication();
    ~LevelCheckApplication() override;

    const juce::String getApplicationName() override;
    const juce::String getApplicationVersion() override;
    bool moreThanOneInstanceAllowed() override;
    void initialise (const juce::String& commandLine) override;
    void shutdown() override;
    void anotherInstanceStarted (const juce::String& commandLine) override;
    void systemRequestedQuit() override;

    // The one top-level window. It takes the session names its content sends as its title.
    class MainWindow : public juce::DocumentWindow,
                       public juce::ActionListener
    {
    public:
        MainWindow (const juce::String& name, Model& model, SettingsStore& settings);
        ~MainWindow() override;

        void closeButtonPressed() override;
        // The keys go to the main component whenever the window comes to the front, also when
        // a file chooser closes over it.
        void activeWindowStatusChanged() override;
        bool keyPressed (const juce::KeyPress& key) override;
        void actionListenerCallback (const juce::String& message) override;

        MainContentComponent* getMainContent() const;

    private:
        juce::String applicationName;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (MainWindow)
    };

    MainWindow* getMainWindow() const noexcept { return mainWindow.get(); }

    // The session path a command line names: quotes removed, cut just after the first ".bws".
    // Empty when it names none.
    static juce::String sessionPathFromCommandLine (const juce::String& commandLine);

private:
    // The look outlives the window it is the default of.
    std::unique_ptr<bws::OrvaneLookandFeel> lookAndFeel;
    std::unique_ptr<MainWindow> mainWindow;
    Model model;
    SettingsStore settings { model };
};
