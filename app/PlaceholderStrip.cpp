#include "app/PlaceholderStrip.h"

#include "app/Messages.h"
#include "kit/Palette.h"

namespace
{
constexpr int waveformX = 336;
constexpr juce::uint32 dimText = 0x4ce6e7fa;
} // namespace

PlaceholderStrip::PlaceholderStrip (Model& m)
    : model (m)
{
    deleteButton.addListener (this);
    deleteButton.setTooltip ("Remove this track");
    addAndMakeVisible (deleteButton);
    setVisible (false);
}

PlaceholderStrip::~PlaceholderStrip()
{
    deleteButton.removeListener (this);
}

void PlaceholderStrip::setTrack (Track* t)
{
    track = t;
    trackId = t != nullptr ? t->id : 0;
    setVisible (t != nullptr);
    repaint();
}

void PlaceholderStrip::timerCallback()
{
    if (track == nullptr)
        return;
    const float progress = finished ? 1.0f : track->progress;
    if (progress != shownProgress)
    {
        shownProgress = progress;
        repaint();
    }
}

void PlaceholderStrip::loadFinished()
{
    finished = true;
    shownProgress = 1.0f;
    judge();
    repaint();
}

void PlaceholderStrip::refreshForPreset()
{
    if (finished)
        judge();
    repaint();
}

void PlaceholderStrip::selectReading (int kind)
{
    selectedReading = kind;
    if (track != nullptr)
        track->heatMapCategory = kind;
    if (finished)
        judge();
    repaint();
}

void PlaceholderStrip::judge()
{
    if (track == nullptr || model.currentPreset == nullptr || ! track->analysisComplete)
        return;
    judgement = judgeTrack (*track, *model.currentPreset, juce::jmax (1, getWidth() - waveformX));
}

textexport::Entry PlaceholderStrip::exportEntry() const
{
    if (judgement.has_value())
        return judgement->exportEntry;
    return { track != nullptr ? track->fileName : juce::String(), {}, {} };
}

void PlaceholderStrip::paint (juce::Graphics& g)
{
    const bool active = track != nullptr && model.activeTrack == track;
    g.setColour (juce::Colour (bws::Palette::stripBackground));
    g.fillRoundedRectangle (getLocalBounds().toFloat(), 10.0f);

    g.setColour (active ? juce::Colour (bws::Palette::text).withAlpha ((juce::uint8) 0xe6) : juce::Colour (dimText));
    g.setFont (14.0f);
    const auto name = track != nullptr ? track->displayName.isNotEmpty() ? track->displayName : track->fileName
                                       : juce::String();
    g.drawText (name, 10, 0, 284, 28, juce::Justification::centredLeft);

    // The waveform's place: the level points once they exist, else the load's progress.
    const auto plot = juce::Rectangle<int> (waveformX, 0, juce::jmax (0, getWidth() - waveformX), getHeight());
    g.setColour (juce::Colour (bws::Palette::waveformBackground));
    g.fillRect (plot.reduced (0, 4).withTrimmedRight (30));
    const auto inner = plot.reduced (0, 4).withTrimmedRight (30).reduced (4);
    if (finished && track != nullptr && ! track->waveformPoints.empty())
    {
        const auto& points = track->waveformPoints;
        g.setColour (juce::Colour (bws::Palette::accent));
        const float mid = (float) inner.getCentreY();
        const float half = inner.getHeight() * 0.5f;
        for (int x = 0; x < inner.getWidth(); ++x)
        {
            const auto index = (size_t) ((double) x / inner.getWidth() * (double) points.size());
            const float v = juce::jlimit (0.0f, 1.0f, points[juce::jmin (index, points.size() - 1)]);
            g.drawVerticalLine (inner.getX() + x, mid - v * half, mid + v * half);
        }
    }
    else
    {
        g.setColour (juce::Colour (bws::Palette::text).withAlpha ((juce::uint8) 0x4c));
        g.fillRect (inner.withHeight (4).withY (inner.getCentreY() - 2)
                         .withWidth ((int) (inner.getWidth() * juce::jlimit (0.0f, 1.0f, shownProgress))));
    }

    // The main figures, in the place of the readout buttons.
    if (judgement.has_value())
    {
        const auto& f = judgement->feedback;
        const juce::String lines[] = {
            feedback::fixed (f.integrated, 1) + " INT   " + feedback::fixed (f.maxShortTerm, 1) + " ST",
            feedback::fixed (f.truePeak, 2) + " dBTP   " + feedback::fixed (f.peakLevel, 2) + " dB",
            feedback::fixed (f.dynamicRange, 1) + " DR   " + feedback::fixed (f.loudnessRange, 1) + " LU",
        };
        g.setColour (juce::Colour (f.anyOutOfRange ? bws::Palette::problem : bws::Palette::text));
        for (int i = 0; i < 3; ++i)
            g.drawText (lines[i], 10, 40 + i * 28, 316, 24, juce::Justification::centredLeft);
    }
}

void PlaceholderStrip::resized()
{
    deleteButton.setBounds (getWidth() - 24, 6, 18, 18);
}

void PlaceholderStrip::mouseUp (const juce::MouseEvent&)
{
    if (track != nullptr && track->analysisComplete)
        model.setActiveTrack (track, this);
}

void PlaceholderStrip::buttonClicked (juce::Button* button)
{
    if (button == &deleteButton)
        sendActionMessage (juce::String (messages::trackDelete) + juce::String (trackId));
    repaint();
}
