#pragma once

#include "kit/SVGButton.h"
#include "kit/SettingsWindow.h"
#include "targets/ThresholdPresets.h"

#include <juce_audio_utils/juce_audio_utils.h>
#include <juce_gui_basics/juce_gui_basics.h>

#include <array>

class Model;
class SettingsStore;

// An SVG button with its caption drawn over the art: the settings window's Save, Restore and
// Close buttons share one outline image.
class CaptionedSVGButton : public bws::SVGButton_1
{
public:
    CaptionedSVGButton (const juce::String& name, const juce::String& caption);
    void paintOverChildren (juce::Graphics&) override;

private:
    juce::String caption;
};

// The settings overlay. The thresholds page edits the five user presets field by field and
// the display options; the "Output Settings" page holds the audio device selector. A preset's
// fields are written into the Model's record on Save, checked, and the settings file written
// only if every value lies within its field's range; the toggles and the report type take
// effect at once. Message thread only.
class OrvaneSettingsWindow : public bws::SettingsWindow,
                             public juce::Button::Listener,
                             public juce::ComboBox::Listener
{
public:
    OrvaneSettingsWindow (Model& model, SettingsStore& settings, juce::AudioDeviceManager& deviceManager);
    ~OrvaneSettingsWindow() override;

    // The tolerance values a range box offers, item id = index + 1.
    static constexpr std::array<float, 9> rangeValues { 0.0f, 0.5f, 1.0f, 1.5f, 2.0f, 2.5f, 3.0f, 4.0f, 5.0f };
    static constexpr const char* errorText = "One of the values is incorrect, please ammend and save.";

    // The save's check: true if every tested member of the preset lies within its range.
    static bool presetIsValid (const ThresholdPreset& preset);

    // Every editor takes its member as text; a range box selects the entry equal to its member,
    // or shows "Range..." when there is none.
    void fillFields (const ThresholdPreset& preset);
    // The audio device page (true) or the thresholds page (false).
    void showOutputPage (bool output);
    bool isOutputPageShown() const noexcept { return deviceSelector.isVisible(); }
    bws::XButton& getCloseButton() noexcept { return xButton; }

    // What the buttons do, callable without a click.
    void save();
    void restore();

    void visibilityChanged() override;
    void paint (juce::Graphics&) override;
    void resized() override;
    void buttonClicked (juce::Button*) override;
    void comboBoxChanged (juce::ComboBox*) override;

    // One labelled field of a preset: its editor, and its range box where it has one.
    struct Field
    {
        juce::Label label;
        juce::TextEditor editor;
        std::unique_ptr<juce::ComboBox> rangeBox;
        float ThresholdPreset::*member = nullptr;
        float ThresholdPreset::*rangeMember = nullptr;
    };
    enum FieldIndex { peakField, truePeakField, shortTermField, integratedField, balanceField,
                      correlationField, dynamicRangeField, loudnessRangeField, numFields };

    Model& model;
    SettingsStore& settings;

    juce::Label title;
    juce::AudioDeviceSelectorComponent deviceSelector;
    bws::SVGButton_1 outputSettingsButton { "Output Settings" };
    juce::Label toolTipsLabel, contrastLabel, textOutputLabel, presetLabel;
    juce::ToggleButton toolTipsOn, toolTipsOff, contrastOn, contrastOff;
    juce::ComboBox textOutputBox, presetBox;
    std::array<Field, numFields> fields;
    juce::Label errorLabel;
    CaptionedSVGButton restoreButton { "Restore", "RESTORE" };
    CaptionedSVGButton saveButton { "Save", "SAVE" };
    CaptionedSVGButton closeOutputButton { "CloseOutputSettings", "CLOSE" };

    ThresholdPreset* currentPreset = nullptr;
    ThresholdPreset* nameEditPreset = nullptr;

private:
    // The presets of group USER, or null when the settings held none.
    PresetGroup* userGroup();
    // Fills presetBox with the user presets and selects one without a notice.
    void fillPresetBox (int selectedPresetId);
    // A preset chosen in presetBox becomes the one edited.
    void choosePreset (int presetId);
    // The children of the thresholds page.
    std::vector<juce::Component*> thresholdChildren();

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (OrvaneSettingsWindow)
};
