#include "display/TrackNamesListBox.h"

#include "app/Messages.h"
#include "kit/Palette.h"
#include "kit/Resources.h"
#include "targets/EQCurve.h"

TrackNamesListBox::TrackNamesListBox (Model& m) : model (m)
{
    eye = bws::Resources::getDrawable ("EyeNormal_svg");
    eyeOff = bws::Resources::getDrawable ("EyeOffNormal_svg");
    listBox.setRowHeight (rowHeight);
    listBox.setColour (juce::ListBox::backgroundColourId, juce::Colours::transparentBlack);
    listBox.setOutlineThickness (0);
    listBox.getViewport()->setScrollBarThickness (10);
    listBox.addMouseListener (this, true);
    addAndMakeVisible (listBox);
}

TrackNamesListBox::~TrackNamesListBox()
{
    listBox.removeMouseListener (this);
}

void TrackNamesListBox::update()
{
    listBox.updateContent();
    listBox.repaint();
}

int TrackNamesListBox::getNumRows()
{
    std::lock_guard<std::mutex> guard (model.tracksLock);
    return (int) model.tracks.size();
}

juce::String TrackNamesListBox::clickMessage (int row, int x, int width) const
{
    if (row < 0)
        return {};
    if (x >= width - eyeWidth)
        return messages::hide + juce::String (row);

    int64_t rowId = -1;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        if (row < (int) model.tracks.size())
            rowId = model.tracks[(size_t) row]->id;
    }
    const int64_t chosen = selectedTrackId ? selectedTrackId() : -1;
    if (rowId != -1 && rowId == chosen)
        return messages::unselected;
    return messages::selected + juce::String (row);
}

void TrackNamesListBox::paintListBoxItem (int row, juce::Graphics& g, int width, int height, bool)
{
    juce::String name;
    bool shown = true;
    int64_t rowId = -1;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        if (row < 0 || row >= (int) model.tracks.size())
            return;
        const auto& track = *model.tracks[(size_t) row];
        name = track.displayName.isNotEmpty() ? track.displayName : track.fileName;
        shown = track.showInEQ;
        rowId = track.id;
    }

    const bool chosen = selectedTrackId && rowId == selectedTrackId();
    if (chosen)
        g.fillAll (juce::Colour (bws::Palette::accent));
    else if (row == hoverRow)
        g.fillAll (juce::Colour (bws::Palette::stripBackground));

    // The curve's colour as a short stroke in front of the name.
    g.setColour (juce::Colour (eqcurve::curveColour (row, model.maxContrast)).withAlpha (shown ? 1.0f : 0.3f));
    g.fillRoundedRectangle (8.0f, (float) height / 2.0f - 1.5f, 14.0f, 3.0f, 1.5f);

    g.setColour (juce::Colour (shown || chosen ? bws::Palette::text : bws::Palette::menuTextOff));
    g.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (14.0f));
    g.drawText (name, 30, 0, width - 30 - eyeWidth, height, juce::Justification::centredLeft, true);

    if (auto* icon = shown ? eye.get() : eyeOff.get())
        icon->drawWithin (g, juce::Rectangle<float> ((float) (width - eyeWidth), 0.0f, (float) eyeWidth, (float) height).reduced (6.0f),
                          juce::RectanglePlacement::centred, 1.0f);
}

void TrackNamesListBox::listBoxItemClicked (int row, const juce::MouseEvent& e)
{
    if (e.mods.isPopupMenu())
    {
        if (! onCompareWith || row < 0 || row >= getNumRows())
            return;
        juce::PopupMenu menu;
        menu.addItem (compareWithText, [safe = juce::Component::SafePointer<TrackNamesListBox> (this), row]
                      {
                          if (safe != nullptr && safe->onCompareWith)
                              safe->onCompareWith (row);
                      });
        menu.showMenuAsync (juce::PopupMenu::Options().withTargetComponent (&listBox));
        return;
    }
    const auto message = clickMessage (row, e.getEventRelativeTo (&listBox).x, listBox.getVisibleRowWidth());
    if (message.isNotEmpty())
        sendActionMessage (message);
}

void TrackNamesListBox::resized()
{
    listBox.setBounds (getLocalBounds());
}

void TrackNamesListBox::setHoverRow (int row)
{
    if (row == hoverRow)
        return;
    hoverRow = row;
    sendActionMessage (messages::hover + juce::String (row));
    listBox.repaint();
}

void TrackNamesListBox::mouseMove (const juce::MouseEvent& e)
{
    const auto p = e.getEventRelativeTo (&listBox).getPosition();
    setHoverRow (listBox.getRowContainingPosition (p.x, p.y));
}

void TrackNamesListBox::mouseExit (const juce::MouseEvent& e)
{
    // Moving between the rows' own components isn't leaving the list.
    if (! listBox.getLocalBounds().contains (e.getEventRelativeTo (&listBox).getPosition()))
        setHoverRow (-1);
}
