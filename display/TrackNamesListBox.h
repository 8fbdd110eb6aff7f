#pragma once

#include "analysis/Model.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <memory>

// The EQ pane's list of track names, one row per track in list order, each with its curve's
// colour and an eye that shows or hides the curve. A click on a name shows that track alone;
// a second click on the same name shows all again; a right click offers that track as the
// reference for all. It tells the plot by message: "HOVER" + row
// ("-1" on leaving), "SELECTED" + row, "UNSELECTED", "HIDE" + row. Message thread only.
class TrackNamesListBox : public juce::Component,
                          public juce::ListBoxModel,
                          public juce::ActionBroadcaster
{
public:
    explicit TrackNamesListBox (Model& model);
    ~TrackNamesListBox() override;

    static constexpr int rowHeight = 30;
    static constexpr int eyeWidth = 30;

    // The track whose name is chosen, -1 for none; the plot holds it.
    std::function<int64_t()> selectedTrackId;
    // A right click on a name offers to compare every track with that one.
    std::function<void (int row)> onCompareWith;
    static constexpr const char* compareWithText = "Compare all tracks with this one";

    // Reads the tracks again.
    void update();
    // The message a click at x on a row sends, for a list of this width.
    juce::String clickMessage (int row, int x, int width) const;

    int getNumRows() override;
    void paintListBoxItem (int row, juce::Graphics&, int width, int height, bool rowIsSelected) override;
    void listBoxItemClicked (int row, const juce::MouseEvent&) override;

    void resized() override;
    void mouseMove (const juce::MouseEvent&) override;
    void mouseExit (const juce::MouseEvent&) override;

    juce::ListBox listBox { "Track Names List Box", this };
    int hoverRow = -1;

private:
    void setHoverRow (int row);

    std::unique_ptr<juce::Drawable> eye, eyeOff;
    Model& model;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TrackNamesListBox)
};
