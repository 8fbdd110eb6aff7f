#include "app/EQPresetsPlaceholder.h"

#include "app/Messages.h"
#include "kit/Palette.h"
#include "targets/EQPresets.h"

PlaceholderEQPresetsWindow::PlaceholderEQPresetsWindow (Model& m) : dropTarget (m), model (m)
{
    addAndMakeVisible (dropTarget);
    list.setRowHeight (rowHeight);
    list.setColour (juce::ListBox::backgroundColourId, juce::Colour (bws::Palette::listBackground));
    addAndMakeVisible (list);
    closeButton.addListener (this);
    addAndMakeVisible (closeButton);
    title.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    addAndMakeVisible (title);
    model.addActionListener (this);
    refill();
}

PlaceholderEQPresetsWindow::~PlaceholderEQPresetsWindow()
{
    model.removeActionListener (this);
    closeButton.removeListener (this);
}

void PlaceholderEQPresetsWindow::refill()
{
    presetIds.clear();
    for (const auto& group : model.eqPresetGroups)
        for (const auto& preset : group.presets)
            if (preset.presetId != eqpresets::referencePresetId || model.userPresetSet)
                presetIds.push_back (preset.presetId);
    list.updateContent();
    list.repaint();
}

int PlaceholderEQPresetsWindow::getNumRows()
{
    return (int) presetIds.size();
}

void PlaceholderEQPresetsWindow::paintListBoxItem (int row, juce::Graphics& g, int width, int height, bool)
{
    if (row < 0 || row >= (int) presetIds.size())
        return;
    const auto* preset = model.getEQPresetForId (presetIds[(size_t) row]);
    if (preset == nullptr)
        return;
    if (preset == model.currentEQPreset)
        g.fillAll (juce::Colour (bws::Palette::accent));
    g.setColour (juce::Colour (bws::Palette::text));
    g.setFont (14.0f);
    const auto& group = model.eqPresetGroups[(size_t) preset->groupId];
    g.drawText (group.name + ": " + preset->name, 8, 0, width - 16, height, juce::Justification::centredLeft, true);
}

void PlaceholderEQPresetsWindow::listBoxItemClicked (int row, const juce::MouseEvent&)
{
    if (row < 0 || row >= (int) presetIds.size())
        return;
    model.selectEQPresetById (presetIds[(size_t) row]);
    list.repaint();
    sendActionMessage (messages::compareEQPresetIdChanged);
}

void PlaceholderEQPresetsWindow::buttonClicked (juce::Button*)
{
    setVisible (false);
}

void PlaceholderEQPresetsWindow::actionListenerCallback (const juce::String& message)
{
    // A finished reference analysis puts REFERENCE TRACK in the list.
    // The drop area takes the same message, in no set order: the list follows it afterwards.
    if (messages::hasPrefix (message, messages::trackWaveformComplete))
        juce::MessageManager::callAsync ([safe = juce::Component::SafePointer<PlaceholderEQPresetsWindow> (this)]
                                         {
                                             if (safe != nullptr)
                                                 safe->refill();
                                         });
}

void PlaceholderEQPresetsWindow::paint (juce::Graphics& g)
{
    g.setColour (juce::Colour (bws::Palette::panelFill));
    g.fillRoundedRectangle (getLocalBounds().toFloat(), 9.0f);
    g.setColour (juce::Colour (bws::Palette::windowInnerFrame));
    g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (0.5f), 5.0f, 1.0f);
}

void PlaceholderEQPresetsWindow::resized()
{
    const int w = getWidth();
    title.setBounds (12, 4, 200, 24);
    closeButton.setBounds (w - 28, 8, bws::XButton::defaultSize, bws::XButton::defaultSize);
    dropTarget.setBounds (4, 41, w - 8, dropAreaHeight);
    list.setBounds (4, 41 + dropAreaHeight + 4, w - 8, getHeight() - (41 + dropAreaHeight + 4) - 8);
}
