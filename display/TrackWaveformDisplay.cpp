#include "display/TrackWaveformDisplay.h"

#include "app/Messages.h"
#include "display/StripLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"
#include "targets/WaveformImage.h"

#include <cmath>

const ThresholdPreset& judgingPreset (const Model& model)
{
    return model.currentPreset != nullptr ? *model.currentPreset : *model.getPresetForId (model.defaultPresetId);
}

namespace
{
constexpr const char* timeTooltip = "Shows the transport marker's time.\n ";

float primaryScale()
{
    const auto* display = juce::Desktop::getInstance().getDisplays().getPrimaryDisplay();
    return display != nullptr ? (float) display->scale : 1.0f;
}
} // namespace

TransportMarker::TransportMarker()
{
    setInterceptsMouseClicks (false, false);
}

void TransportMarker::paint (juce::Graphics& g)
{
    g.fillAll (juce::Colour (bws::Palette::text));
}

TrackWaveformDisplay::TrackWaveformDisplay (Model& m)
    : model (m)
{
    setName ("TrackWaveformDisplay");
    addAndMakeVisible (playMarker);
    addAndMakeVisible (hoverMarker);

    const float scale = primaryScale();
    defaultCursor = bws::Resources::getCursor ("playcursor", { 5, 12 }, scale);
    edgeCursor = bws::Resources::getCursor ("dragcursor", { 12, 12 }, scale);
    setMouseCursor (defaultCursor);

    const auto font = juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (11.0f);
    durationLabel.setFont (font);
    durationLabel.setJustificationType (juce::Justification::centredRight);
    durationLabel.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    durationLabel.setBorderSize ({});
    durationLabel.setInterceptsMouseClicks (false, false);
    addChildComponent (durationLabel);

    timeLabel.setComponentID ("Vertical");
    timeLabel.setName ("TrackWaveformDisplay");
    timeLabel.setFont (font);
    timeLabel.setJustificationType (juce::Justification::centred);
    timeLabel.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::waveformBackground));
    timeLabel.setColour (juce::Label::backgroundColourId, juce::Colour (bws::Palette::accent));
    timeLabel.setTooltip (timeTooltip);
    timeLabel.setBorderSize ({});
    timeLabel.setInterceptsMouseClicks (false, false);
    addChildComponent (timeLabel);
}

TrackWaveformDisplay::~TrackWaveformDisplay()
{
    // A span's analysis still running ends before the display goes.
    if (analysisResult.valid())
        analysisResult.wait();
}

void TrackWaveformDisplay::setTrack (Track* newTrack)
{
    track = newTrack;
    if (track != nullptr && track->waveformComplete)
        rebuildHeatMap();
    timeLabel.setVisible (track != nullptr);
    updateDuration();
    repaint();
}

bool TrackWaveformDisplay::ready() const
{
    return track != nullptr && track->imageReady;
}

bool TrackWaveformDisplay::activeAndPlaying() const
{
    return track != nullptr && model.activeTrack == track && model.transportRunning;
}

void TrackWaveformDisplay::rebuildHeatMap()
{
    if (track == nullptr || ! track->waveformComplete)
        return;
    waveformimage::rebuildHeatMap (*track, judgingPreset (model), getWidth() - leftInset, getHeight());
    repaint();
}

void TrackWaveformDisplay::showMarkers (bool show)
{
    playMarker.setVisible (show);
    hoverMarker.setVisible (show);
}

void TrackWaveformDisplay::setMarkerPosition (float fraction)
{
    const int x = (int) (fraction * (float) (getWidth() - leftInset)) + leftInset;
    playMarker.setBounds (x, striplayout::markerY, 1, striplayout::markerHeight);
    repaint (x, striplayout::markerY, 2, striplayout::markerHeight);
}

juce::String TrackWaveformDisplay::formatTime (float seconds)
{
    const int minutes = (int) std::floor (seconds / 60.0f);
    const int rest = (int) (seconds - (float) minutes * 60.0f);
    const juce::String m = minutes < 10 ? "0" + juce::String (minutes) : minutes < 100 ? juce::String (minutes) : "99";
    const juce::String s = rest < 10 ? "0" + juce::String (rest) : juce::String (rest);
    return m + ":" + s;
}

void TrackWaveformDisplay::updateDuration()
{
    if (track == nullptr || track->sampleRate <= 0.0)
        return;
    durationLabel.setText (formatTime ((float) (track->numSamples / track->sampleRate)), juce::dontSendNotification);
}

float TrackWaveformDisplay::timeAt (int x) const
{
    if (track == nullptr || track->sampleRate <= 0.0 || getWidth() - leftInset <= 0)
        return 0.0f;
    return (float) ((double) (x - leftInset) / (double) (getWidth() - leftInset) * track->numSamples / track->sampleRate);
}

Loop* TrackWaveformDisplay::findLoop (int64_t loopId) const
{
    if (track == nullptr || loopId == 0)
        return nullptr;
    for (auto& loop : track->loops)
        if (loop.id == loopId)
            return &loop;
    return nullptr;
}

bws::SVGButton* TrackWaveformDisplay::buttonFor (int64_t loopId) const
{
    for (auto& button : loopButtons)
        if (button->getComponentID() == juce::String (loopId))
            return button.get();
    return nullptr;
}

void TrackWaveformDisplay::placeLoopButton (const Loop& loop)
{
    if (auto* button = buttonFor (loop.id))
        button->setBounds (loop.endPixel - striplayout::loopButtonOffset, 0, striplayout::loopButtonSize,
                           striplayout::loopButtonSize);
}

void TrackWaveformDisplay::addLoopButton (const Loop& loop)
{
    auto button = std::make_unique<bws::SVGButton> ("Close span");
    button->setImagesFromResources ({ "loopdeleteoff_svg", "loopdeleteon_svg", "loopdeleteon_svg" });
    button->setComponentID (juce::String (loop.id));
    button->setWantsKeyboardFocus (false);
    button->setMouseClickGrabsKeyboardFocus (false);
    if (loopButtonListener != nullptr)
        button->addListener (loopButtonListener);
    addAndMakeVisible (*button);
    loopButtons.push_back (std::move (button));
    placeLoopButton (loop);
}

void TrackWaveformDisplay::removeLoop (int64_t loopId)
{
    for (auto it = loopButtons.begin(); it != loopButtons.end(); ++it)
    {
        if ((*it)->getComponentID() == juce::String (loopId))
        {
            removeChildComponent (it->get());
            loopButtons.erase (it);
            break;
        }
    }
    if (track != nullptr)
    {
        track->removeRegion (loopId);
        track->currentReadings = &track->wholeFileReadings;
    }
    if (currentLoop == loopId)
        currentLoop = 0;
    repaint();
}

void TrackWaveformDisplay::storePosition (int x)
{
    track->playPosition = timeAt (x);
    const float length = (float) (track->numSamples / track->sampleRate);
    setMarkerPosition (length > 0.0f ? track->playPosition / length : 0.0f);
}

// --- mouse -----------------------------------------------------------------------------------

void TrackWaveformDisplay::mouseMove (const juce::MouseEvent& e)
{
    if (! ready())
        return;
    const int x = e.x;
    hoverMarker.setBounds (x, striplayout::markerY, 1, striplayout::markerHeight);
    if (! activeAndPlaying())
    {
        timeLabel.setText (formatTime (timeAt (x)), juce::dontSendNotification);
        timeLabel.setBounds (striplayout::timeLabel (x, getHeight()));
    }

    Loop* near = track->regionAt (x);
    if (near == nullptr)
    {
        for (auto& loop : track->loops)
            loop.edgeHot = false;
        setMouseCursor (defaultCursor);
        repaint();
        return;
    }
    const bool onEdge = std::abs (x - near->startPixel) < striplayout::edgeReach
                        || std::abs (x - near->endPixel) < striplayout::edgeReach;
    near->edgeHot = onEdge;
    setMouseCursor (onEdge ? edgeCursor : defaultCursor);
    repaint();
}

void TrackWaveformDisplay::mouseEnter (const juce::MouseEvent&)
{
    sendActionMessage (messages::closeLoudnessMatch);
    const bool show = (track != nullptr && model.activeTrack == track) || ! model.transportRunning;
    playMarker.setVisible (playMarker.isVisible() || show);
    hoverMarker.setVisible (show);
    timeLabel.setVisible (track != nullptr && show);
}

void TrackWaveformDisplay::mouseDown (const juce::MouseEvent& e)
{
    if (track == nullptr || ! track->analysisComplete || ! track->waveformComplete || model.rangeAnalysing)
        return;
    pressX = e.x;
    dragging = false;

    if (auto* under = track->regionAt (e.x))
    {
        currentLoop = under->id;
        startNewLoop = false;
        repaint();
        return;
    }
    // A press outside every span clears the one standing, so that one span stands at a time.
    if (! track->loops.empty())
    {
        removeLoop (currentLoop != 0 && findLoop (currentLoop) != nullptr ? currentLoop : track->loops.front().id);
        currentLoop = 0;
        if (refreshCallback)
            refreshCallback();
    }
    startNewLoop = true;
}

void TrackWaveformDisplay::mouseDrag (const juce::MouseEvent& e)
{
    const int x = e.x;
    if (track == nullptr || e.getDistanceFromDragStart() <= striplayout::dragThreshold || x <= 0 || x >= getWidth()
        || ! track->waveformComplete || model.rangeAnalysing)
        return;

    if (startNewLoop)
    {
        Loop loop;
        loop.id = Track::clockId();
        while (findLoop (loop.id) != nullptr)
            ++loop.id;
        loop.startPixel = pressX;
        loop.endPixel = pressX + 5;
        loop.startSample = (int) ((float) (pressX - leftInset) / (float) getWidth() * (float) track->numSamples);
        track->addRegion (loop);
        addLoopButton (loop);
        currentLoop = loop.id;
        startNewLoop = false;
    }

    // Spans don't overlap: one that the pointer enters goes.
    while (auto* other = track->regionAtExcept (x, currentLoop))
        removeLoop (other->id);

    auto* loop = findLoop (currentLoop);
    if (loop == nullptr)
        return;
    dragging = true;
    // The nearer edge follows the pointer.
    if ((float) x < (float) (loop->startPixel + loop->endPixel) * 0.5f)
        loop->startPixel = x;
    else
        loop->endPixel = x;
    placeLoopButton (*loop);
    repaint();
}

void TrackWaveformDisplay::mouseUp (const juce::MouseEvent& e)
{
    if (! ready() || model.rangeAnalysing)
        return;

    auto* loop = findLoop (currentLoop);
    if (loop == nullptr || ! dragging)
    {
        // A seek. A click while another track plays moves playback here, at the click.
        storePosition (e.x);
        const bool takeOver = model.transportRunning && model.activeTrack != track;
        if (takeOver)
        {
            track->resumeFromOwnPosition = true;
            model.setPlayTarget (track);
        }
        if (updateCallback)
            updateCallback();
        if (takeOver && seekCallback)
            seekCallback();

        if (! dragging && track->waveformComplete)
            if (auto* under = track->regionAt (pressX))
                under->selected = ! under->selected;
        if (refreshCallback)
            refreshCallback();
        return;
    }

    dragging = false;
    loop->selected = track->loops.size() == 1;
    storePosition (pressX);
    if (model.transportRunning)
    {
        track->resumeFromOwnPosition = true;
        model.setPlayTarget (track);
        if (updateCallback)
            updateCallback();
        if (seekCallback)
            seekCallback();
    }

    const float width = (float) getWidth();
    const float samples = (float) track->numSamples;
    loop->startSample = juce::jlimit (0, track->numSamples, (int) ((float) loop->startPixel / width * samples));
    loop->endSample = juce::jlimit (0, track->numSamples, (int) ((float) loop->endPixel / width * samples));
    startSpanAnalysis (*loop);
}

void TrackWaveformDisplay::startSpanAnalysis (Loop& loop)
{
    if (loop.endSample <= loop.startSample)
        return;
    // Held from here, before the task starts, so that no second press slips in.
    model.rangeAnalysing = true;
    Track* t = track;
    const int start = loop.startSample;
    const int end = loop.endSample;
    juce::WeakReference<TrackWaveformDisplay> weak (this);
    analysisResult = std::async (std::launch::async, [t, start, end, weak]
    {
        t->analyseRange (start, end, &t->loopReadings, 0.5f, [weak]
        {
            juce::MessageManager::callAsync ([weak]
            {
                if (auto* display = weak.get())
                    display->loopFinishedAnalysis();
            });
        });
    });
}

void TrackWaveformDisplay::loopFinishedAnalysis()
{
    if (loopFinishedCallback)
        loopFinishedCallback();
}

// --- painting and layout ---------------------------------------------------------------------

void TrackWaveformDisplay::paint (juce::Graphics& g)
{
    const auto bounds = getLocalBounds().toFloat().reduced (1.0f);
    const float corner = juce::jmin (bounds.getWidth() * 0.5f, bounds.getHeight() * 0.5f, striplayout::waveformCorner);
    juce::Path frame;
    frame.addRoundedRectangle (bounds, corner);

    g.saveState();
    g.setColour (juce::Colour (bws::Palette::waveformBackground));
    g.fillPath (frame);
    g.reduceClipRegion (frame);

    if (ready() && track->waveformImage != nullptr)
        g.drawImageAt (*track->waveformImage, leftInset, 0);

    if (track != nullptr)
    {
        const auto ink = juce::Colour (bws::Palette::text);
        const float bottom = (float) getHeight() - 1.0f;
        for (const auto& loop : track->loops)
        {
            g.setColour (ink);
            for (int edge : { loop.startPixel, loop.endPixel })
            {
                if (loop.edgeHot)
                    g.fillRect ((float) edge - 1.0f, 1.0f, 2.0f, bottom - 1.0f);
                else
                    g.fillRect ((float) edge, 1.0f, 1.0f, bottom - 1.0f);
            }
            // The veil over what lies outside the span.
            g.setColour (ink.withAlpha ((juce::uint8) 0x80));
            g.fillRect (0, 0, juce::jmax (0, loop.startPixel), getHeight());
            g.fillRect (loop.endPixel + 1, 0, juce::jmax (0, getWidth() - 2 - (loop.endPixel + 1)), getHeight());
        }
    }
    g.restoreState();

    g.setColour (juce::Colour (bws::Palette::stripBackground));
    g.strokePath (frame, juce::PathStrokeType (2.0f));
}

void TrackWaveformDisplay::resized()
{
    if (track != nullptr && track->waveformComplete && track->numSamples > 0)
    {
        for (auto& loop : track->loops)
        {
            if (loop.endSample <= loop.startSample)
                continue;
            loop.startPixel = (int) ((double) loop.startSample * getWidth() / track->numSamples);
            loop.endPixel = (int) ((double) loop.endSample * getWidth() / track->numSamples);
            placeLoopButton (loop);
        }
        rebuildHeatMap();
        // As the timer's expression has it only at 0; the next tick puts a playing marker right.
        const int x = (int) ((double) track->numSamples * track->playPosition / track->sampleRate
                                 * (getWidth() - leftInset) + leftInset);
        playMarker.setBounds (x, striplayout::markerY, 1, striplayout::markerHeight);
        hoverMarker.setBounds (x, striplayout::markerY, 1, striplayout::markerHeight);
    }
    durationLabel.setBounds (striplayout::durationLabel (getWidth(), getHeight()));
    durationLabel.setVisible (true);
}

void TrackWaveformDisplay::timerCallback()
{
    if (! ready() || ! activeAndPlaying() || track->sampleRate <= 0.0)
        return;
    const float length = (float) (track->numSamples / track->sampleRate);
    if (length > 0.0f)
        setMarkerPosition (track->playPosition / length);
    timeLabel.setText (formatTime (track->playPosition), juce::dontSendNotification);
}
