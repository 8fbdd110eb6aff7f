#include "app/AppTestSupport.h"
#include "app/Messages.h"
#include "display/OrvaneSettingsWindow.h"
#include "support/ModelHarness.h"

using apptest::AppFixture;

namespace
{
constexpr int user1 = 27;
constexpr int user2 = 28;
} // namespace

// The settings window on a Model whose settings file lies in a temporary folder.
class SettingsWindowTest : public AppFixture
{
protected:
    OrvaneSettingsWindow& open()
    {
        window = std::make_unique<OrvaneSettingsWindow> (*model, *settings, deviceManager);
        window->setVisible (true);
        return *window;
    }

    void TearDown() override
    {
        window.reset();
        AppFixture::TearDown();
    }

    // The user preset as a freshly started program reads it from the file.
    ThresholdPreset reloaded (int presetId)
    {
        Model fresh;
        SettingsStore store (fresh, temp.path());
        store.load();
        return *fresh.getPresetForId (presetId);
    }

    juce::TextEditor& editor (OrvaneSettingsWindow::FieldIndex i) { return window->fields[(size_t) i].editor; }

    juce::AudioDeviceManager deviceManager;
    std::unique_ptr<OrvaneSettingsWindow> window;
};

TEST_F (SettingsWindowTest, OpensOnTheFirstUserPresetWithEveryChildInItsPlace)
{
    auto& w = open();
    EXPECT_EQ (w.presetBox.getSelectedId(), user1);
    EXPECT_EQ (w.presetBox.getNumItems(), 5);
    EXPECT_EQ (w.currentPreset, model->getPresetForId (user1));
    EXPECT_EQ (editor (OrvaneSettingsWindow::integratedField).getText(), "-12");
    EXPECT_EQ (editor (OrvaneSettingsWindow::truePeakField).getText(), "-0.1");  // peakTarget
    EXPECT_EQ (w.fields[OrvaneSettingsWindow::integratedField].rangeBox->getText(), juce::String::fromUTF8 ("\xc2\xb1") + "5");
    EXPECT_TRUE (w.toolTipsOff.getToggleState());  // the fixture turns tool tips off
    EXPECT_FALSE (w.errorLabel.isVisible());

    // Bounds that a reader checks against the screen.
    EXPECT_EQ (w.title.getBounds(), juce::Rectangle<int> (30, 40, 100, 20));
    EXPECT_EQ (w.title.getText(), "SETTINGS");
    EXPECT_EQ (w.presetBox.getBounds(), juce::Rectangle<int> (396, 190, 146, 20));
    EXPECT_EQ (w.fields[OrvaneSettingsWindow::shortTermField].rangeBox->getBounds(), juce::Rectangle<int> (451, 265, 91, 20));
    EXPECT_EQ (w.fields[OrvaneSettingsWindow::loudnessRangeField].label.getText(), "Loudness Range (1LU to 50LU)");
    EXPECT_EQ (w.saveButton.getBounds(), juce::Rectangle<int> (391, 450, 73, 35));

    w.showOutputPage (true);
    EXPECT_TRUE (w.deviceSelector.isVisible() && w.closeOutputButton.isVisible());
    EXPECT_FALSE (w.saveButton.isVisible() || w.presetBox.isVisible() || editor (OrvaneSettingsWindow::peakField).isVisible());
    EXPECT_TRUE (w.title.isVisible());
    w.showOutputPage (false);
    EXPECT_FALSE (w.deviceSelector.isVisible());
    EXPECT_TRUE (w.saveButton.isVisible());
}

TEST_F (SettingsWindowTest, EditsReachTheFileAndComeBackAfterARestart)
{
    auto& w = open();
    // The second user preset, chosen in the box as a user would.
    w.presetBox.setSelectedId (user2, juce::sendNotificationSync);
    ASSERT_EQ (w.currentPreset->presetId, user2);

    struct Edit
    {
        OrvaneSettingsWindow::FieldIndex field;
        const char* text;
        float ThresholdPreset::*member;
        float expected;
    };
    const Edit edits[] = {
        { OrvaneSettingsWindow::peakField, "-3.5", &ThresholdPreset::peak, -3.5f },
        { OrvaneSettingsWindow::truePeakField, "-60", &ThresholdPreset::peakTarget, -60.0f },  // untested field
        { OrvaneSettingsWindow::shortTermField, "-20", &ThresholdPreset::shortTermLUFS, -20.0f },
        { OrvaneSettingsWindow::integratedField, "-30", &ThresholdPreset::integratedLUFS, -30.0f },
        { OrvaneSettingsWindow::balanceField, "0.45", &ThresholdPreset::stereoBalance, 0.45f },
        { OrvaneSettingsWindow::correlationField, "-1.0", &ThresholdPreset::stereoCorrelation, -1.0f },
        { OrvaneSettingsWindow::dynamicRangeField, "50", &ThresholdPreset::dynamicRange, 50.0f },
        { OrvaneSettingsWindow::loudnessRangeField, "1", &ThresholdPreset::loudnessRange, 1.0f },
    };
    for (const auto& e : edits)
        editor (e.field).setText (e.text);
    w.fields[OrvaneSettingsWindow::integratedField].rangeBox->setSelectedItemIndex (1);  // ±0.5
    w.fields[OrvaneSettingsWindow::truePeakField].rangeBox->setSelectedItemIndex (8);    // ±5

    testaudio::MessageLog log (w);
    w.save();
    EXPECT_FALSE (w.errorLabel.isVisible());
    EXPECT_FALSE (w.isVisible());
    EXPECT_TRUE (log.waitFor (messages::closeSettingsWindow, 1, 2000));

    const auto back = reloaded (user2);
    for (const auto& e : edits)
        EXPECT_EQ (back.*e.member, e.expected) << e.text;
    EXPECT_EQ (back.integratedLUFSRange, 0.5f);
    EXPECT_EQ (back.truePeakRange, 5.0f);
    EXPECT_EQ (back.truePeak, -1.0f);  // never edited here
    // The other user presets are untouched.
    EXPECT_EQ (reloaded (user1).integratedLUFS, -12.0f);

    // Opened again, the fields show what was saved.
    w.setVisible (true);
    w.presetBox.setSelectedId (user2, juce::sendNotificationSync);
    EXPECT_EQ (editor (OrvaneSettingsWindow::integratedField).getText(), "-30");
}

TEST_F (SettingsWindowTest, OutOfRangeValuesAreRefusedButStayInTheRecord)
{
    struct Case
    {
        OrvaneSettingsWindow::FieldIndex field;
        const char* text;
        bool accepted;
        float ThresholdPreset::*member;
        float kept;
    };
    // A text that is no number reads as 0; every limit itself passes.
    const Case cases[] = {
        { OrvaneSettingsWindow::truePeakField, "-60", true, &ThresholdPreset::peakTarget, -60.0f },
        { OrvaneSettingsWindow::peakField, "-50", true, &ThresholdPreset::peak, -50.0f },
        { OrvaneSettingsWindow::peakField, "-50.5", false, &ThresholdPreset::peak, -50.5f },
        { OrvaneSettingsWindow::dynamicRangeField, "60", false, &ThresholdPreset::dynamicRange, 60.0f },
        { OrvaneSettingsWindow::loudnessRangeField, "0.5", false, &ThresholdPreset::loudnessRange, 0.5f },
        { OrvaneSettingsWindow::loudnessRangeField, "--", false, &ThresholdPreset::loudnessRange, 0.0f },
        { OrvaneSettingsWindow::correlationField, "-1.0", true, &ThresholdPreset::stereoCorrelation, -1.0f },
        { OrvaneSettingsWindow::correlationField, "1.01", false, &ThresholdPreset::stereoCorrelation, 1.01f },
        { OrvaneSettingsWindow::integratedField, "0.1", false, &ThresholdPreset::integratedLUFS, 0.1f },
        { OrvaneSettingsWindow::integratedField, "-", true, &ThresholdPreset::integratedLUFS, 0.0f },
        { OrvaneSettingsWindow::shortTermField, "-51", false, &ThresholdPreset::shortTermLUFS, -51.0f },
        { OrvaneSettingsWindow::balanceField, "1.5", false, &ThresholdPreset::stereoBalance, 1.5f },
    };
    for (const auto& c : cases)
    {
        auto& w = open();
        editor (c.field).setText (c.text);
        w.save();
        EXPECT_EQ (w.errorLabel.isVisible(), ! c.accepted) << c.text;
        EXPECT_EQ (w.isVisible(), ! c.accepted) << c.text;
        EXPECT_EQ (model->getPresetForId (user1)->*c.member, c.kept) << c.text;
        EXPECT_EQ (settings->getFile().existsAsFile(), c.accepted) << c.text;
        settings->getFile().deleteFile();
        model->presetGroups = presets::makeFactoryPresetGroups (4);
        model->currentPreset = model->getPresetForId (model->defaultPresetId);
    }
    EXPECT_EQ (OrvaneSettingsWindow::errorText, juce::String ("One of the values is incorrect, please ammend and save."));
}

TEST_F (SettingsWindowTest, RestoreRenameTogglesAndReportType)
{
    auto& w = open();
    auto* preset = model->getPresetForId (user1);

    // A member that is none of the nine tolerances shows "Range...".
    const_cast<ThresholdPreset*> (preset)->shortTermLUFSRange = 0.7f;
    w.fillFields (*preset);
    const auto& rangeBox = *w.fields[OrvaneSettingsWindow::shortTermField].rangeBox;
    EXPECT_EQ (rangeBox.getSelectedId(), 0);
    EXPECT_EQ (rangeBox.getTextWhenNothingSelected(), "Range...");

    // A typed name renames the preset at once and reaches the file only with a save.
    w.presetBox.setText ("MY MASTER", juce::sendNotificationSync);
    EXPECT_EQ (preset->name, "MY MASTER");
    EXPECT_EQ (w.presetBox.getText(), "MY MASTER");
    EXPECT_FALSE (settings->getFile().existsAsFile());

    // Restore brings back the factory preset of the same id, its name included.
    editor (OrvaneSettingsWindow::integratedField).setText ("-44");
    w.errorLabel.setVisible (true);
    w.restore();
    EXPECT_FALSE (w.errorLabel.isVisible());
    EXPECT_EQ (preset->name, "USER1");
    EXPECT_EQ (preset->shortTermLUFSRange, 3.0f);
    EXPECT_EQ (editor (OrvaneSettingsWindow::integratedField).getText(), "-12");

    // The toggles and the report type take effect without a save.
    w.toolTipsOn.triggerClick();
    w.contrastOff.triggerClick();
    w.textOutputBox.setSelectedItemIndex (2, juce::sendNotificationSync);
    pumpFor (50);
    EXPECT_TRUE (model->showToolTips);
    EXPECT_FALSE (model->maxContrast);
    EXPECT_EQ (model->textOutputType, 2);

    // The close button keeps what was written and says so.
    testaudio::MessageLog log (w);
    w.getCloseButton().triggerClick();
    EXPECT_TRUE (log.waitFor (messages::closeSettingsWindow, 1, 2000));
    EXPECT_FALSE (w.isVisible());
}
