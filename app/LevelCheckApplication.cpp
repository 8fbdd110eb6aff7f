#include "app/LevelCheckApplication.h"

#include "app/AppInfo.h"
#include "app/Layout.h"
#include "app/Messages.h"
#include "kit/Resources.h"
#include "targets/SessionFile.h"

LevelCheckApplication::LevelCheckApplication() = default;
LevelCheckApplication::~LevelCheckApplication() = default;

const juce::String LevelCheckApplication::getApplicationName()
{
    return appinfo::name;
}

const juce::String LevelCheckApplication::getApplicationVersion()
{
    return appinfo::version;
}

bool LevelCheckApplication::moreThanOneInstanceAllowed()
{
    return true;
}

void LevelCheckApplication::initialise (const juce::String& commandLine)
{
    // The Model registered the audio formats when it was made.
    settings.load();
    model.currentPreset = model.getPresetForId (model.defaultPresetId);
    model.currentEQPreset = model.getEQPresetForId (model.defaultEQPresetId);

    lookAndFeel = std::make_unique<bws::OrvaneLookandFeel> (bws::Resources::getTypeface (bws::Resources::FontRole::Book));
    juce::LookAndFeel::setDefaultLookAndFeel (lookAndFeel.get());

    mainWindow = std::make_unique<MainWindow> (getApplicationName(), model, settings);
    anotherInstanceStarted (commandLine);
}

void LevelCheckApplication::shutdown()
{
    if (model.currentPreset != nullptr)
        model.defaultPresetId = model.currentPreset->presetId;
    if (model.currentEQPreset != nullptr)
        model.defaultEQPresetId = model.currentEQPreset->presetId;
    settings.save (false);
    mainWindow.reset();
    juce::LookAndFeel::setDefaultLookAndFeel (nullptr);
    lookAndFeel.reset();
}

void LevelCheckApplication::systemRequestedQuit()
{
    quit();
}

juce::String LevelCheckApplication::sessionPathFromCommandLine (const juce::String& commandLine)
{
    if (! commandLine.contains (sessionfile::extension))
        return {};
    const auto unquoted = commandLine.removeCharacters ("\"");
    return unquoted.upToFirstOccurrenceOf (sessionfile::extension, true, false).trim();
}

void LevelCheckApplication::anotherInstanceStarted (const juce::String& commandLine)
{
    const auto path = sessionPathFromCommandLine (commandLine);
    if (path.isEmpty() || mainWindow == nullptr)
        return;
    if (auto* content = mainWindow->getMainContent())
        content->loadFiles ({ juce::File::getCurrentWorkingDirectory().getChildFile (path) });
}

LevelCheckApplication::MainWindow::MainWindow (const juce::String& name, Model& model, SettingsStore& settings)
    : juce::DocumentWindow (name,
                            juce::Desktop::getInstance().getDefaultLookAndFeel().findColour (juce::ResizableWindow::backgroundColourId),
                            juce::DocumentWindow::allButtons, true),
      applicationName (name)
{
    setUsingNativeTitleBar (true);
    auto* content = new MainContentComponent (model, settings);
    content->addActionListener (this);
    setContentOwned (content, true);
    centreWithSize (getWidth(), getHeight());
    setVisible (true);
    setResizable (true, false);
    setResizeLimits (layout::minimumWidth, layout::minimumHeight, layout::maximumWidth, layout::maximumHeight);
    // The keys go to the main component. The window itself doesn't take the focus, so that
    // when the system hands the window the focus it passes on to the main component.
    setWantsKeyboardFocus (false);
    content->grabKeyboardFocus();
}

LevelCheckApplication::MainWindow::~MainWindow()
{
    if (auto* content = getMainContent())
        content->removeActionListener (this);
    clearContentComponent();
}

bool LevelCheckApplication::MainWindow::keyPressed (const juce::KeyPress& key)
{
    // The window itself takes the keys while no component inside has the focus (as after the
    // window has lost and regained it): they are the main component's all the same.
    if (auto* content = getMainContent())
        return content->keyPressed (key);
    return false;
}

void LevelCheckApplication::MainWindow::activeWindowStatusChanged()
{
    DocumentWindow::activeWindowStatusChanged();
    if (auto* content = getMainContent(); content != nullptr && isActiveWindow() && ! content->hasKeyboardFocus (true))
        content->grabKeyboardFocus();
}

MainContentComponent* LevelCheckApplication::MainWindow::getMainContent() const
{
    return dynamic_cast<MainContentComponent*> (getContentComponent());
}

void LevelCheckApplication::MainWindow::closeButtonPressed()
{
    juce::JUCEApplication::getInstance()->systemRequestedQuit();
}

void LevelCheckApplication::MainWindow::actionListenerCallback (const juce::String& message)
{
    setName (messages::windowTitle (applicationName, message));
}
