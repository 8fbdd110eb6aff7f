#include "display/PresetsListBox.h"

#include "analysis/Model.h"
#include "app/Messages.h"
#include "kit/Resources.h"

PresetListBase::PresetListBase (Model& m, int listMode, const juce::String& listName)
    : model (&m), mode (listMode), listBox (listName, nullptr)
{
    listBox.setRowHeight (rowHeight);
    listBox.setColour (juce::ListBox::backgroundColourId, juce::Colours::transparentBlack);
    listBox.setColour (juce::ListBox::outlineColourId, juce::Colours::transparentBlack);
    listBox.getViewport()->setScrollBarThickness (scrollBarThickness);
    listBox.addMouseListener (this, true);
    addAndMakeVisible (listBox);
    // The derived list becomes the model once it can count its rows.
}

PresetListBase::~PresetListBase()
{
    listBox.removeMouseListener (this);
    listBox.setModel (nullptr);
}

void PresetListBase::refill()
{
    listBox.updateContent();
    // The chosen row is drawn from selectedId; the list's own selection is cleared so that a
    // click on the same row number in another group still counts.
    listBox.deselectAllRows();
    listBox.repaint();
}

std::optional<juce::Colour> PresetListBase::rowFill (bool chosen, bool hovered)
{
    if (chosen)
        return juce::Colour (chosenColour);
    if (hovered)
        return juce::Colour (hoverColour);
    return std::nullopt;
}

void PresetListBase::paintListBoxItem (int row, juce::Graphics& g, int width, int height, bool)
{
    if (row < 0 || row >= getNumRows())
        return;
    if (const auto fill = rowFill (rowId (row) == selectedId, row == hoverRow))
    {
        g.setColour (*fill);
        g.fillRect (0, 0, width, height);
    }

    juce::AttributedString text;
    text.append (rowName (row), juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Medium)).withHeight (fontHeight),
                 juce::Colour (textColour));
    text.setJustification (juce::Justification::centredLeft);
    text.setWordWrap (juce::AttributedString::none);
    text.draw (g, juce::Rectangle<float> ((float) textIndent, 0.0f, (float) textWidth, (float) rowHeight));
}

void PresetListBase::mouseMove (const juce::MouseEvent& e)
{
    const auto position = e.getEventRelativeTo (&listBox).getPosition();
    hoverRow = listBox.getLocalBounds().contains (position) ? listBox.getRowContainingPosition (position.x, position.y) : -1;
    listBox.repaint();
}

void PresetListBase::mouseExit (const juce::MouseEvent&)
{
    hoverRow = -1;
    listBox.repaint();
}

void PresetListBase::resized()
{
    listBox.setBounds (getLocalBounds());
}

// --- groups --------------------------------------------------------------------------------

PresetGroupsListBox::PresetGroupsListBox (Model& m, int listMode)
    : PresetListBase (m, listMode, "Preset Groups List Box")
{
    selectedId = listMode == 0 ? (m.currentPreset != nullptr ? m.currentPreset->groupId : 0)
                               : (m.currentEQPreset != nullptr ? m.currentEQPreset->groupId : 0);
    listBox.setModel (this);
}

int PresetGroupsListBox::getNumRows()
{
    return mode == 0 ? (int) model->presetGroups.size() : (int) model->eqPresetGroups.size();
}

int PresetGroupsListBox::rowId (int row) const
{
    return row;
}

juce::String PresetGroupsListBox::rowName (int row) const
{
    if (mode == 0)
        return juce::isPositiveAndBelow (row, model->presetGroups.size()) ? model->presetGroups[(size_t) row].name : juce::String();
    return juce::isPositiveAndBelow (row, model->eqPresetGroups.size()) ? model->eqPresetGroups[(size_t) row].name : juce::String();
}

void PresetGroupsListBox::selectedRowsChanged (int row)
{
    if (row < 0 || row >= getNumRows())
        return;
    selectedId = row;
    listBox.repaint();
    sendActionMessage (mode == 0 ? messages::normalGroupIdChanged : messages::compareEQGroupIdChanged);
}

// --- presets -------------------------------------------------------------------------------

PresetsListBox::PresetsListBox (Model& m, int listMode)
    : PresetListBase (m, listMode, "Presets List Box")
{
    if (listMode == 0 && m.currentPreset != nullptr)
    {
        groupIndex = m.currentPreset->groupId;
        selectedId = m.currentPreset->presetId;
    }
    else if (listMode != 0 && m.currentEQPreset != nullptr)
    {
        groupIndex = m.currentEQPreset->groupId;
        selectedId = m.currentEQPreset->presetId;
    }
    listBox.setModel (this);
}

int PresetsListBox::getNumRows()
{
    if (mode == 0)
        return juce::isPositiveAndBelow (groupIndex, model->presetGroups.size())
                   ? (int) model->presetGroups[(size_t) groupIndex].presets.size() : 0;
    if (! juce::isPositiveAndBelow (groupIndex, model->eqPresetGroups.size()))
        return 0;
    const int rows = (int) model->eqPresetGroups[(size_t) groupIndex].presets.size();
    return groupIndex == 0 && ! model->userPresetSet ? juce::jmax (0, rows - 1) : rows;
}

int PresetsListBox::rowId (int row) const
{
    if (mode == 0)
        return model->presetGroups[(size_t) groupIndex].presets[(size_t) row].presetId;
    return model->eqPresetGroups[(size_t) groupIndex].presets[(size_t) row].presetId;
}

juce::String PresetsListBox::rowName (int row) const
{
    if (mode == 0)
        return model->presetGroups[(size_t) groupIndex].presets[(size_t) row].name;
    return model->eqPresetGroups[(size_t) groupIndex].presets[(size_t) row].name;
}

void PresetsListBox::selectedRowsChanged (int row)
{
    if (row < 0 || row >= getNumRows())
        return;
    selectedId = rowId (row);
    if (mode == 0)
        model->selectPresetById (selectedId);
    else
        model->selectEQPresetById (selectedId);
    listBox.repaint();
    sendActionMessage (mode == 0 ? messages::normalPresetIdChanged : messages::compareEQPresetIdChanged);
}
