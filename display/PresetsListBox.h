#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <optional>

class Model;

// The two lists of the presets window: the groups, and the presets of the group shown. Each
// works in one of two modes, 0 for the threshold presets and 1 for the EQ presets, and says
// what was chosen by an action message; the id travels in selectedId, not in the message.
// Message thread only.
class PresetListBase : public juce::Component,
                       public juce::ListBoxModel,
                       public juce::ActionBroadcaster
{
public:
    PresetListBase (Model& model, int mode, const juce::String& listName);
    ~PresetListBase() override;

    static constexpr int rowHeight = 38;
    static constexpr int scrollBarThickness = 10;
    static constexpr float fontHeight = 16.0f;
    static constexpr int textWidth = 203;
    static constexpr int textIndent = 10;
    static constexpr juce::uint32 textColour = 0xffe6e7fa;
    static constexpr juce::uint32 chosenColour = 0xff4c58c8;
    static constexpr juce::uint32 hoverColour = 0xff2d2e39;

    // The id shown by a row: a preset's id, or a group's index.
    virtual int rowId (int row) const = 0;
    virtual juce::String rowName (int row) const = 0;

    // The rows are read again from the Model.
    void refill();

    // The fill of a row: the chosen row keeps its colour under the pointer.
    static std::optional<juce::Colour> rowFill (bool chosen, bool hovered);

    void paintListBoxItem (int row, juce::Graphics&, int width, int height, bool selected) override;
    void mouseMove (const juce::MouseEvent&) override;
    void mouseExit (const juce::MouseEvent&) override;
    void resized() override;

    Model* model;
    const int mode;
    int hoverRow = -1;
    int selectedId = -1;
    juce::ListBox listBox;

private:
    JUCE_DECLARE_NON_COPYABLE (PresetListBase)
};

// The groups of the mode's kind of preset. A click stores the row in selectedId and sends
// "NORMAL_GROUP_ID_CHANGED" or "COMPARE_EQ_GROUP_ID_CHANGED"; it changes no preset.
class PresetGroupsListBox : public PresetListBase
{
public:
    PresetGroupsListBox (Model& model, int mode);

    int getNumRows() override;
    int rowId (int row) const override;
    juce::String rowName (int row) const override;
    void selectedRowsChanged (int lastRowSelected) override;
};

// The presets of group groupIndex. A click makes the preset the current one of its kind and
// sends "NORMAL_PRESET_ID_CHANGED" or "COMPARE_EQ_PRESET_ID_CHANGED". In mode 1 the last row
// of group 0, REFERENCE TRACK, stays hidden until a reference has been analysed.
class PresetsListBox : public PresetListBase
{
public:
    PresetsListBox (Model& model, int mode);

    int getNumRows() override;
    int rowId (int row) const override;
    juce::String rowName (int row) const override;
    void selectedRowsChanged (int lastRowSelected) override;

    int groupIndex = 0;
};
