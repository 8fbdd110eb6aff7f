#include "display/EQWindow.h"

#include "display/EQLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"

EQWindow::EQWindow (Model& m) : model (m)
{
    setName ("EQWindow");
    addChildComponent (trackNames);
    addChildComponent (trinityPanel);
    trackNames.selectedTrackId = [this] { return trinityPanel.trinity.selectedTrackId; };
    trackNames.addActionListener (&trinityPanel);
    trinityPanel.onTrackListChanged = [this] { trackNames.update(); };
    trackNames.onCompareWith = [this] (int row) { trinityPanel.compareWithTrack (row); };
    updateTrackList();
}

EQWindow::~EQWindow()
{
    trackNames.removeActionListener (&trinityPanel);
}

void EQWindow::updateTrackList()
{
    bool anyTrack = false;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        anyTrack = ! model.tracks.empty();
        // A selection whose track has gone is no selection.
        auto& trinity = trinityPanel.trinity;
        const auto exists = [&] (int64_t id)
        { return std::any_of (model.tracks.begin(), model.tracks.end(), [id] (const auto& t) { return t->id == id; }); };
        if (trinity.selectedTrackId != -1 && ! exists (trinity.selectedTrackId))
        {
            trinity.selectedTrackId = -1;
            for (auto& track : model.tracks)
                track->showInEQ = true;
        }
        if (trinity.hoveredTrackId != -1 && ! exists (trinity.hoveredTrackId))
            trinity.hoveredTrackId = -1;
    }
    trackNames.setVisible (anyTrack);
    trinityPanel.setVisible (anyTrack);
    trackNames.update();
    trinityPanel.updateEnabledState();
    trinityPanel.fitRangeToCurves();
    trinityPanel.trinity.repaint();
}

void EQWindow::paint (juce::Graphics& g)
{
    g.setColour (juce::Colour (bws::Palette::panelFill));
    g.fillRoundedRectangle (getLocalBounds().toFloat(), 6.0f);
    g.setColour (juce::Colour (bws::Palette::panelOutline));
    g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (0.5f), 6.0f, 1.0f);
}

void EQWindow::resized()
{
    const auto l = eqlayout::eqWindow (getWidth(), getHeight());
    trackNames.setBounds (l.trackNames);
    trinityPanel.setBounds (l.trinityPanel);
}

CompareEQButton::CompareEQButton() : bws::ClippedPNGButton ("Compare EQ")
{
    setImages ("EQWindowCompareEQ", "EQWindowCompareEQHover", "EQWindowCompareEQHover");
    setHitAreaFromResource ("EQWindowCompareEQHitArea_svg");
}

HideEQButton::HideEQButton() : bws::ClippedPNGButton ("Hide EQ")
{
    setImages ("HideEQNormal", "HideEQHover", "HideEQDown");
    setHitAreaFromResource ("HideEQHitArea_svg");
    disabledImage = bws::Resources::getImageForScale ("HideEQDisabled", 1.0f);
    setSize (buttonWidth, buttonHeight);
}

void HideEQButton::paintButton (juce::Graphics& g, bool highlighted, bool down)
{
    if (! isEnabled() && disabledImage.isValid())
        drawImage (g, disabledImage);
    else
        bws::ClippedPNGButton::paintButton (g, highlighted, down);
}
