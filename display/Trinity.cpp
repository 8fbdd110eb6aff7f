#include "display/Trinity.h"

#include "display/EQLayout.h"

#include "kit/Palette.h"
#include "kit/Resources.h"

#include <set>

Trinity::Trinity (Model& m) : model (&m)
{
    setName ("Trinity");
    const juce::Font font (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (11.0f));
    for (size_t i = 0; i < frequencyLabels.size(); ++i)
    {
        const auto& entry = eqcurve::frequencyLabels()[i];
        auto label = std::make_unique<juce::Label> (juce::String (entry.value), entry.text);
        label->setFont (font);
        label->setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
        label->setJustificationType (juce::Justification::centred);
        label->setBorderSize ({});
        label->setInterceptsMouseClicks (false, false);
        addAndMakeVisible (*label);
        frequencyLabels[i] = std::move (label);
    }

    hint.setFont (font.withHeight (14.0f));
    hint.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    hint.setJustificationType (juce::Justification::centredRight);
    hint.setInterceptsMouseClicks (false, false);
    addChildComponent (hint);
}

void Trinity::setRange (int newRange)
{
    if (newRange == dbRange)
        return;
    dbRange = newRange;
    rebuildGrid();
    repaint();
}

void Trinity::rebuildGrid()
{
    gridImage = eqpicture::makeScaleImage (getWidth(), getHeight(), dbRange);
}

void Trinity::resized()
{
    const int w = getWidth();
    const int h = getHeight();
    model->plotFrequencies = eqcurve::makePlotFrequencies (w);
    for (int i = 0; i < (int) frequencyLabels.size(); ++i)
        frequencyLabels[(size_t) i]->setBounds (eqcurve::frequencyLabelX (i, w), h - 13, eqcurve::frequencyLabelWidth,
                                                eqcurve::frequencyLabelHeight);
    rebuildGrid();
}

bool Trinity::isDrawn (const Track& track) const
{
    return track.showInEQ || track.id == selectedTrackId || (selectedTrackId != -1 && track.id == hoveredTrackId);
}

bool Trinity::isFaded (const Track& track) const
{
    // A row under the mouse stands out by fading every curve but its own and the selected one.
    return hoveredTrackId != -1 && track.id != selectedTrackId && ! (track.showInEQ && track.id == hoveredTrackId);
}

const juce::Path& Trinity::curveFor (int64_t trackId, int modeBit, const EQPreset::Bands& differences)
{
    auto& cached = curves[{ trackId, modeBit }];
    if (cached.path.isEmpty() || cached.differences != differences || cached.width != getWidth()
        || cached.height != getHeight() || cached.range != dbRange)
    {
        cached.differences = differences;
        cached.width = getWidth();
        cached.height = getHeight();
        cached.range = dbRange;
        cached.path = eqpicture::curvePath (eqcurve::curveValues (differences, model->plotFrequencies), getWidth(),
                                            getHeight(), dbRange);
        ++lastComputed;
    }
    return cached.path;
}

void Trinity::paint (juce::Graphics& g)
{
    lastComputed = 0;
    g.drawImageAt (gridImage, 0, 0);

    if (const auto* preset = model->currentEQPreset)
    {
        std::set<std::pair<int64_t, int>> drawn;
        std::lock_guard<std::mutex> guard (model->tracksLock);
        for (int t = 0; t < (int) model->tracks.size(); ++t)
        {
            const auto& track = *model->tracks[(size_t) t];
            // The band lists are final once the waveform is.
            if (! track.waveformComplete || ! isDrawn (track))
                continue;
            for (const int bit : eqcurve::modeBits)
            {
                if ((model->eqCurveMode & bit) == 0)
                    continue;
                const auto differences = eqcurve::curveDifferences (track, *preset, bit);
                if (! differences.has_value())
                    continue;
                auto colour = juce::Colour (eqcurve::curveColour (t, model->maxContrast));
                if (isFaded (track))
                    colour = colour.withAlpha (eqcurve::fadedAlpha);
                eqpicture::strokeCurve (g, curveFor (track.id, bit, *differences), colour);
                drawn.insert ({ track.id, bit });
            }
        }
        // Deleted tracks and modes no longer drawn leave the cache.
        for (auto it = curves.begin(); it != curves.end();)
            it = drawn.count (it->first) != 0 ? std::next (it) : curves.erase (it);
    }

    eqpicture::drawEdges (g, getWidth(), getHeight());
}

void Trinity::mouseMove (const juce::MouseEvent& e)
{
    if (mouseFollowed && ! mouseFollowed())
        return;
    if (onMouseOver)
        onMouseOver (e.getPosition());

    if (model->showToolTips)
    {
        const bool lower = e.y >= getHeight() / 2;
        hint.setText (lower ? lowerHint : upperHint, juce::dontSendNotification);
        hint.setBounds (eqlayout::hint (lower, getWidth(), getHeight()));
        hint.setVisible (true);
    }
}

void Trinity::mouseExit (const juce::MouseEvent&)
{
    if (onMouseOver)
        onMouseOver (std::nullopt);
    hint.setVisible (false);
}
