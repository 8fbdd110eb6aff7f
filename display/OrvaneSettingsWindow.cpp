#include "display/OrvaneSettingsWindow.h"

#include "analysis/Model.h"
#include "app/Messages.h"
#include "kit/Palette.h"
#include "kit/Resources.h"
#include "targets/SettingsStore.h"

namespace
{
using Rect = juce::Rectangle<int>;

// Every field of the thresholds page: its label, where it stands and which member it edits.
struct FieldSpec
{
    const char* text;
    Rect label, editor, range;
    float ThresholdPreset::*member;
    float ThresholdPreset::*rangeMember;
};

// clang-format off
const FieldSpec fieldSpecs[] = {
    { "Peak threshold (-50dB and above)",           { 30, 215, 200, 20 }, { 396, 215, 50, 20 }, {},                    &ThresholdPreset::peak,              nullptr },
    { "True Peak (-50dB and above)",                { 30, 240, 300, 20 }, { 396, 240, 50, 20 }, { 451, 240, 91, 20 }, &ThresholdPreset::peakTarget,        &ThresholdPreset::truePeakRange },
    { "Short term LUFS threshold (LUFS 0 to -50)",  { 30, 265, 250, 20 }, { 396, 265, 50, 20 }, { 451, 265, 91, 20 }, &ThresholdPreset::shortTermLUFS,     &ThresholdPreset::shortTermLUFSRange },
    { "Integrated LUFS threshold (LUFS 0 to -50)",  { 30, 290, 250, 20 }, { 396, 290, 50, 20 }, { 451, 290, 91, 20 }, &ThresholdPreset::integratedLUFS,    &ThresholdPreset::integratedLUFSRange },
    { "Stereo Balance (0 to 1)",                    { 30, 315, 200, 20 }, { 396, 315, 50, 20 }, {},                    &ThresholdPreset::stereoBalance,     nullptr },
    { "Stereo Correlation (-1.0 to +1.0)",          { 30, 340, 200, 20 }, { 396, 340, 50, 20 }, {},                    &ThresholdPreset::stereoCorrelation, nullptr },
    { "Dynamic Range (0DR to 50DR)",                { 30, 365, 200, 20 }, { 396, 365, 50, 20 }, {},                    &ThresholdPreset::dynamicRange,      nullptr },
    { "Loudness Range (1LU to 50LU)",               { 30, 390, 200, 20 }, { 396, 390, 50, 20 }, {},                    &ThresholdPreset::loudnessRange,     nullptr },
};

const Rect titleBounds { 30, 40, 100, 20 };
const Rect deviceSelectorBounds { 0, 70, 500, 250 };
const Rect outputSettingsBounds { 30, 70, 109, 34 };
const Rect toolTipsLabelBounds { 30, 115, 200, 20 }, toolTipsOnBounds { 396, 115, 30, 20 }, toolTipsOffBounds { 424, 115, 30, 20 };
const Rect contrastLabelBounds { 30, 140, 200, 20 }, contrastOnBounds { 396, 140, 30, 20 }, contrastOffBounds { 424, 140, 30, 20 };
const Rect textOutputLabelBounds { 30, 165, 200, 20 }, textOutputBoxBounds { 396, 165, 146, 20 };
const Rect presetLabelBounds { 30, 190, 200, 20 }, presetBoxBounds { 396, 190, 146, 20 };
const Rect errorLabelBounds { 140, 425, 300, 20 };
const Rect restoreBounds { 30, 450, 73, 35 }, saveBounds { 391, 450, 73, 35 }, closeOutputBounds { 468, 450, 73, 35 };
// clang-format on

constexpr int toolTipsGroup = 1;
constexpr int contrastGroup = 2;
constexpr juce::uint32 fillColour = 0xff121212;
constexpr juce::uint32 frameColour = 0xffe6e7fa;
} // namespace

CaptionedSVGButton::CaptionedSVGButton (const juce::String& name, const juce::String& captionText)
    : SVGButton (name), caption (captionText)
{
    setImagesFromResources ({ "textbutton_svg", "settingspopupbutton_svg", "settingspopupbutton_svg" });
    setEdgeIndent (0);
}

void CaptionedSVGButton::paintOverChildren (juce::Graphics& g)
{
    g.setColour (juce::Colour (bws::Palette::text).withAlpha (isEnabled() ? 1.0f : 0.4f));
    g.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Medium)).withHeight (14.0f));
    g.drawText (caption, getLocalBounds(), juce::Justification::centred, false);
}

OrvaneSettingsWindow::OrvaneSettingsWindow (Model& m, SettingsStore& s, juce::AudioDeviceManager& deviceManager)
    : model (m),
      settings (s),
      deviceSelector (deviceManager, 0, 2, 0, 2, false, false, true, false)
{
    const juce::Colour text (bws::Palette::text);
    auto addLabel = [this, text] (juce::Label& label, const juce::String& words)
    {
        label.setText (words, juce::dontSendNotification);
        label.setColour (juce::Label::textColourId, text);
        label.setJustificationType (juce::Justification::centredLeft);
        addAndMakeVisible (label);
    };

    addLabel (title, "SETTINGS");
    title.setColour (juce::Label::textColourId, juce::Colours::white);
    title.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Bold)).withHeight (18.0f));

    addChildComponent (deviceSelector);
    outputSettingsButton.setImagesFromResources ({ "outputsettings_svg" });
    outputSettingsButton.setEdgeIndent (0);
    addAndMakeVisible (outputSettingsButton);

    addLabel (toolTipsLabel, "Show tool tips");
    addLabel (contrastLabel, "Show max constrast EQ colours");
    addLabel (textOutputLabel, "Text output setting");
    addLabel (presetLabel, "Select a preset to edit: ");

    for (auto [toggle, group, words] : { std::tuple { &toolTipsOn, toolTipsGroup, "On" }, std::tuple { &toolTipsOff, toolTipsGroup, "Off" },
                                         std::tuple { &contrastOn, contrastGroup, "On" }, std::tuple { &contrastOff, contrastGroup, "Off" } })
    {
        toggle->setRadioGroupId (group);
        toggle->setClickingTogglesState (true);
        toggle->setTooltip (words);
        toggle->addListener (this);
        addAndMakeVisible (toggle);
    }

    textOutputBox.addItemList ({ "Technical readouts & feedback", "Technical readouts", "Feedback" }, 1);
    textOutputBox.addListener (this);
    addAndMakeVisible (textOutputBox);

    presetBox.setTextWhenNothingSelected ("Choose...");
    presetBox.addListener (this);
    addAndMakeVisible (presetBox);

    for (size_t i = 0; i < fields.size(); ++i)
    {
        auto& field = fields[i];
        const auto& entry = fieldSpecs[i];
        addLabel (field.label, entry.text);
        field.member = entry.member;
        field.rangeMember = entry.rangeMember;
        field.editor.setInputRestrictions (10, "0123456789.-+");
        field.editor.setJustification (juce::Justification::centredLeft);
        addAndMakeVisible (field.editor);
        if (entry.rangeMember != nullptr)
        {
            field.rangeBox = std::make_unique<juce::ComboBox>();
            field.rangeBox->setTextWhenNothingSelected ("Range...");
            for (size_t r = 0; r < rangeValues.size(); ++r)
                field.rangeBox->addItem (juce::String::fromUTF8 ("\xc2\xb1") + juce::String (rangeValues[r]), (int) r + 1);
            addAndMakeVisible (*field.rangeBox);
        }
    }

    addLabel (errorLabel, errorText);
    errorLabel.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::problem));
    errorLabel.setJustificationType (juce::Justification::centred);
    errorLabel.setVisible (false);

    for (auto* button : { (juce::Button*) &outputSettingsButton, (juce::Button*) &restoreButton,
                          (juce::Button*) &saveButton, (juce::Button*) &closeOutputButton, (juce::Button*) &xButton })
        button->addListener (this);
    addAndMakeVisible (restoreButton);
    addAndMakeVisible (saveButton);
    addChildComponent (closeOutputButton);

    // The base class took its size before these children existed, so they are placed here.
    resized();
}

OrvaneSettingsWindow::~OrvaneSettingsWindow()
{
    for (auto* button : { (juce::Button*) &outputSettingsButton, (juce::Button*) &restoreButton, (juce::Button*) &saveButton,
                          (juce::Button*) &closeOutputButton, (juce::Button*) &xButton, (juce::Button*) &toolTipsOn,
                          (juce::Button*) &toolTipsOff, (juce::Button*) &contrastOn, (juce::Button*) &contrastOff })
        button->removeListener (this);
    textOutputBox.removeListener (this);
    presetBox.removeListener (this);
}

bool OrvaneSettingsWindow::presetIsValid (const ThresholdPreset& p)
{
    // The limits themselves pass. truePeak isn't edited here, so its test never fails on input.
    return ! (p.peak < -50.0f || p.truePeak < -50.0f
              || p.shortTermLUFS > 0.0f || p.shortTermLUFS < -50.0f
              || p.integratedLUFS > 0.0f || p.integratedLUFS < -50.0f
              || p.stereoBalance < 0.0f || p.stereoBalance > 1.0f
              || p.stereoCorrelation < -1.0f || p.stereoCorrelation > 1.0f
              || p.dynamicRange < 0.0f || p.dynamicRange > 50.0f
              || p.loudnessRange < 1.0f || p.loudnessRange > 50.0f);
}

PresetGroup* OrvaneSettingsWindow::userGroup()
{
    return model.presetGroups.size() > (size_t) presets::userGroup ? &model.presetGroups[(size_t) presets::userGroup] : nullptr;
}

void OrvaneSettingsWindow::fillPresetBox (int selectedPresetId)
{
    presetBox.clear (juce::dontSendNotification);
    if (auto* group = userGroup())
        for (const auto& preset : group->presets)
            presetBox.addItem (preset.name, preset.presetId);
    presetBox.setSelectedId (selectedPresetId, juce::dontSendNotification);
}

void OrvaneSettingsWindow::choosePreset (int presetId)
{
    ThresholdPreset* found = nullptr;
    if (auto* group = userGroup())
        for (auto& preset : group->presets)
            if (preset.presetId == presetId)
                found = &preset;
    if (found == nullptr)
        return;
    presetBox.setEditableText (true);
    nameEditPreset = currentPreset = found;
    fillFields (*found);
}

void OrvaneSettingsWindow::visibilityChanged()
{
    if (! isVisible())
        return;
    toolTipsOn.setToggleState (model.showToolTips, juce::dontSendNotification);
    toolTipsOff.setToggleState (! model.showToolTips, juce::dontSendNotification);
    contrastOn.setToggleState (model.maxContrast, juce::dontSendNotification);
    contrastOff.setToggleState (! model.maxContrast, juce::dontSendNotification);
    textOutputBox.setSelectedItemIndex (model.textOutputType, juce::dontSendNotification);

    auto* group = userGroup();
    const int first = group != nullptr && ! group->presets.empty() ? group->presets.front().presetId : 0;
    fillPresetBox (first);
    choosePreset (first);
    if (currentPreset != nullptr)
        fillFields (*currentPreset);
    errorLabel.setVisible (false);
}

void OrvaneSettingsWindow::fillFields (const ThresholdPreset& preset)
{
    for (auto& field : fields)
    {
        field.editor.setText (juce::String (preset.*field.member), juce::dontSendNotification);
        if (field.rangeBox == nullptr)
            continue;
        const auto value = preset.*field.rangeMember;
        int id = 0;
        for (size_t r = 0; r < rangeValues.size(); ++r)
            if (rangeValues[r] == value)
                id = (int) r + 1;
        field.rangeBox->setSelectedId (id, juce::dontSendNotification);
    }
}

std::vector<juce::Component*> OrvaneSettingsWindow::thresholdChildren()
{
    std::vector<juce::Component*> children { &outputSettingsButton, &toolTipsLabel, &toolTipsOn, &toolTipsOff,
                                             &contrastLabel, &contrastOn, &contrastOff, &textOutputLabel,
                                             &textOutputBox, &presetLabel, &presetBox, &restoreButton, &saveButton };
    for (auto& field : fields)
    {
        children.push_back (&field.label);
        children.push_back (&field.editor);
        if (field.rangeBox != nullptr)
            children.push_back (field.rangeBox.get());
    }
    return children;
}

void OrvaneSettingsWindow::showOutputPage (bool output)
{
    deviceSelector.setVisible (output);
    closeOutputButton.setVisible (output);
    for (auto* child : thresholdChildren())
        child->setVisible (! output);
    errorLabel.setVisible (false);
}

void OrvaneSettingsWindow::save()
{
    if (currentPreset != nullptr)
    {
        // Written before the check, so a refused save leaves the typed values in the record.
        for (auto& field : fields)
        {
            currentPreset->*field.member = field.editor.getText().getFloatValue();
            if (field.rangeBox != nullptr)
            {
                const int index = field.rangeBox->getSelectedItemIndex();
                if (juce::isPositiveAndBelow (index, (int) rangeValues.size()))
                    currentPreset->*field.rangeMember = rangeValues[(size_t) index];
            }
        }
        if (! presetIsValid (*currentPreset))
        {
            errorLabel.setVisible (true);
            return;
        }
    }
    settings.save (false);
    sendActionMessage (messages::closeSettingsWindow);
    setVisible (false);
}

void OrvaneSettingsWindow::restore()
{
    errorLabel.setVisible (false);
    if (currentPreset == nullptr)
        return;
    const auto factory = presets::makeFactoryGroup (presets::userGroup);
    for (const auto& preset : factory.presets)
    {
        if (preset.presetId != currentPreset->presetId)
            continue;
        *currentPreset = preset;
        fillPresetBox (preset.presetId);
        fillFields (*currentPreset);
    }
}

void OrvaneSettingsWindow::buttonClicked (juce::Button* button)
{
    if (button == &saveButton)
        save();
    else if (button == &restoreButton)
        restore();
    else if (button == &outputSettingsButton)
        showOutputPage (true);
    else if (button == &closeOutputButton)
        showOutputPage (false);
    else if (button == &xButton)
    {
        // What was written so far stays in the records; it reaches the file at the next save.
        sendActionMessage (messages::closeSettingsWindow);
        setVisible (false);
    }
    else if (button == &toolTipsOn || button == &toolTipsOff)
        model.showToolTips = toolTipsOn.getToggleState();
    else if (button == &contrastOn || button == &contrastOff)
        model.maxContrast = contrastOn.getToggleState();
}

void OrvaneSettingsWindow::comboBoxChanged (juce::ComboBox* box)
{
    if (box == &textOutputBox)
    {
        model.textOutputType = juce::jmax (0, textOutputBox.getSelectedItemIndex());
        return;
    }
    if (box != &presetBox)
        return;

    presetBox.setEditableText (false);
    const int id = presetBox.getSelectedId();
    if (id == 0)
    {
        // A name was typed over the chosen preset's.
        const auto typed = presetBox.getText();
        if (typed.isNotEmpty() && nameEditPreset != nullptr && typed != nameEditPreset->name)
        {
            nameEditPreset->name = typed;
            fillPresetBox (nameEditPreset->presetId);
        }
        nameEditPreset = nullptr;
        return;
    }
    choosePreset (id);
}

void OrvaneSettingsWindow::paint (juce::Graphics& g)
{
    g.fillAll (juce::Colour (fillColour));
    g.setColour (juce::Colour (frameColour));
    g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (0.5f), 10.0f, 1.0f);
}

void OrvaneSettingsWindow::resized()
{
    SettingsWindow::resized();
    title.setBounds (titleBounds);
    deviceSelector.setBounds (deviceSelectorBounds);
    outputSettingsButton.setBounds (outputSettingsBounds);
    toolTipsLabel.setBounds (toolTipsLabelBounds);
    toolTipsOn.setBounds (toolTipsOnBounds);
    toolTipsOff.setBounds (toolTipsOffBounds);
    contrastLabel.setBounds (contrastLabelBounds);
    contrastOn.setBounds (contrastOnBounds);
    contrastOff.setBounds (contrastOffBounds);
    textOutputLabel.setBounds (textOutputLabelBounds);
    textOutputBox.setBounds (textOutputBoxBounds);
    presetLabel.setBounds (presetLabelBounds);
    presetBox.setBounds (presetBoxBounds);
    for (size_t i = 0; i < fields.size(); ++i)
    {
        fields[i].label.setBounds (fieldSpecs[i].label);
        fields[i].editor.setBounds (fieldSpecs[i].editor);
        if (fields[i].rangeBox != nullptr)
            fields[i].rangeBox->setBounds (fieldSpecs[i].range);
    }
    errorLabel.setBounds (errorLabelBounds);
    restoreButton.setBounds (restoreBounds);
    saveButton.setBounds (saveBounds);
    closeOutputButton.setBounds (closeOutputBounds);
}
