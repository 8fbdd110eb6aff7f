#include "display/TrackDisplay.h"

#include "app/Licence.h"
#include "app/Messages.h"
#include "display/StripLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"
#include "targets/ProblemScan.h"
#include "targets/TrackJudgement.h"

namespace
{
constexpr juce::uint8 nameAlphaActive = 0xe6;
constexpr juce::uint8 nameAlphaAtRest = 0x4c;

juce::Font bookFont (float height)
{
    return juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Book)).withHeight (height);
}

juce::String svg (const char* name)
{
    return bws::Resources::getText (juce::String (name) + "_svg");
}
} // namespace

TrackDisplay::TrackDisplay (Model& m)
    : model (m),
      waveform (m),
      loudnessButton ("lufs", "Loudness", problemscan::loudness, problemscan::integratedOnly,
                      problemscan::shortTermOnly, " INT", " ST"),
      peakButton ("peak", "Peaks", problemscan::peakAndTruePeak, problemscan::truePeakOnly, problemscan::peakOnly,
                  " dBTP", " dB"),
      dynamicsButton ("dr", "DynamicRange", problemscan::dynamics, problemscan::dynamicRangeOnly,
                      problemscan::loudnessRangeOnly, " DR", " LU")
{
    setName ("TrackDisplay");

    feedbackButton.setComponentID ("FeedbackButton");
    feedbackButton.setTooltip (feedbackTooltip);
    feedbackButton.setClickingTogglesState (true);
    setFeedbackImages (false);
    feedbackButton.setEnabled (false);
    addAndMakeVisible (feedbackButton);

    playButton = std::make_unique<bws::SVGButton> ("Play");
    playButton->setImages (svg ("PlayNormal"), svg ("PlayHover"), svg ("PlayDown"), svg ("PlayDisabled"),
                           svg ("PlayDown"), svg ("PlayDown"), svg ("PlayDown"), svg ("PlayDisabled"));
    playButton->setTooltip (playTooltip);
    playButton->setClickingTogglesState (true);
    playButton->setEnabled (false);
    addAndMakeVisible (*playButton);

    addAndMakeVisible (waveform);
    waveform.seekCallback = [this] { if (playCallback) playCallback(); };
    waveform.refreshCallback = [this] { readingsChanged(); };
    waveform.updateCallback = [this] { makeActive(); };
    waveform.loopFinishedCallback = [this]
    {
        // The span's readings become the strip's until the span goes.
        if (track != nullptr && ! track->loops.empty())
            track->currentReadings = &track->loopReadings;
        readingsChanged();
    };
    waveform.loopButtonListener = this;
    waveform.addActionListener (this);

    nameLabel.setFont (bookFont (14.0f));
    nameLabel.setJustificationType (juce::Justification::centredLeft);
    nameLabel.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text).withAlpha (nameAlphaAtRest));
    addAndMakeVisible (nameLabel);

    for (ButtonBase* b : { (ButtonBase*) &loudnessButton, (ButtonBase*) &peakButton, (ButtonBase*) &stereoButton,
                           (ButtonBase*) &dynamicsButton })
    {
        addAndMakeVisible (b);
        b->addActionListener (this);
        b->mainButton.addListener (this);
        b->setEnabled (false);
    }

    deleteButton.setImages (svg ("CloseTrackNormal"), svg ("CloseTrackHover"), svg ("CloseTrackActive"));
    deleteButton.setButtonStyle (juce::DrawableButton::ImageFitted);
    deleteButton.setEdgeIndent (0);
    addAndMakeVisible (deleteButton);

    for (juce::Button* b : { (juce::Button*) &feedbackButton, (juce::Button*) playButton.get(), (juce::Button*) &deleteButton })
        b->addListener (this);

    model.addActionListener (this);
    setVisible (false);
}

TrackDisplay::~TrackDisplay()
{
    model.removeActionListener (this);
    waveform.removeActionListener (this);
    for (ButtonBase* b : { (ButtonBase*) &loudnessButton, (ButtonBase*) &peakButton, (ButtonBase*) &stereoButton,
                           (ButtonBase*) &dynamicsButton })
    {
        b->removeActionListener (this);
        b->mainButton.removeListener (this);
    }
}

void TrackDisplay::setTrack (Track* newTrack)
{
    track = newTrack;
    trackId = track != nullptr ? track->id : 0;
    if (track != nullptr)
    {
        feedbackButton.setComponentID (juce::String (trackId));
        stereoButton.setEnabled (finished && track->numChannels == 2);
        refreshName();
    }
    waveform.setTrack (track);
    setVisible (track != nullptr);
    repaint();
}

void TrackDisplay::refreshName()
{
    if (track == nullptr)
        return;
    const auto name = track->displayName.isNotEmpty() ? track->displayName : track->fileName;
    nameLabel.setText (name, juce::dontSendNotification);
    const float width = nameLabel.getFont().getStringWidthFloat (name);
    const bool fits = width <= (float) (striplayout::nameLabel().getWidth() + striplayout::nameSlack);
    nameLabel.setTooltip (fits ? juce::String() : "NAME: " + name + "\n ");
}

bool TrackDisplay::isActive() const
{
    return track != nullptr && model.activeTrack == track;
}

void TrackDisplay::makeActive()
{
    if (track != nullptr && track->analysisComplete && ! isActive())
        model.setActiveTrack (track, this);
}

void TrackDisplay::showReadings (const AllReadings& r)
{
    loudnessButton.setReadouts (r.integratedLUFS, r.maxShortTermLUFS, feedback::Feedback::loudnessDecimals);
    peakButton.setReadouts (r.maxTruePeakDb, r.maxSamplePeakDb, feedback::Feedback::peakDecimals);
    dynamicsButton.setReadouts (r.minDynamicRange, r.loudnessRange, feedback::Feedback::dynamicsDecimals);
    showStereoSteps (r);
}

void TrackDisplay::showStereoSteps (const AllReadings& r)
{
    if (track->numChannels != 2)
        return;
    std::vector<float> balance, correlation;
    track->copyStereoSteps (r, balance, correlation);
    stereoButton.setStereoReadings (std::move (balance), std::move (correlation));
}

void TrackDisplay::timerCallback()
{
    if (track == nullptr || ! licence::currentStatus().useAllowed)
        return;

    ButtonBase* buttons[] = { &loudnessButton, &peakButton, &stereoButton, &dynamicsButton };
    if (track->loading || track->analysing)
    {
        for (auto* b : buttons)
            if (b != &stereoButton || stereoButton.isEnabled())
                b->setProgress (track->progress);
        // A span's analysis writes its own record; the load writes the whole file's.
        showReadings (track->analysisComplete ? track->loopReadings : track->wholeFileReadings);
    }
    else
    {
        for (auto* b : buttons)
            b->setProgress (1.0f);
    }
    waveform.timerCallback();
}

void TrackDisplay::loadFinished()
{
    finished = true;
    for (ButtonBase* b : { (ButtonBase*) &loudnessButton, (ButtonBase*) &peakButton, (ButtonBase*) &dynamicsButton })
    {
        b->setEnabled (true);
        b->setProgress (1.0f);
    }
    stereoButton.setEnabled (track != nullptr && track->numChannels == 2);
    stereoButton.setProgress (1.0f);
    feedbackButton.setEnabled (true);
    playButton->setEnabled (true);
    rebuildHeatMap();
    buildFeedback();
    waveform.updateDuration();
    resized();
    repaint();
}

void TrackDisplay::rebuildHeatMap()
{
    waveform.rebuildHeatMap();
}

void TrackDisplay::readingsChanged()
{
    rebuildHeatMap();
    buildFeedback();
    repaint();
}

void TrackDisplay::refreshForPreset()
{
    if (track == nullptr || ! track->analysisComplete)
    {
        repaint();
        return;
    }
    rebuildHeatMap();
    problemscan::runWholeTrackTests (*track, judgingPreset (model));
    buildFeedback();
    repaint();
}

void TrackDisplay::setFeedbackImages (bool red)
{
    if ((int) red == redImages)
        return;
    redImages = (int) red;
    if (red)
        feedbackButton.setImages (svg ("FeedbackHoverRed"), svg ("FeedbackHoverRed"), svg ("FeedbackDownRed"),
                                  svg ("FeedbackNormal"), svg ("FeedbackDownRed"), svg ("FeedbackDownRed"),
                                  svg ("FeedbackDownRed"), svg ("FeedbackNormal"));
    else
        feedbackButton.setImages (svg ("FeedbackNormal"), svg ("FeedbackHover"), svg ("FeedbackDown"),
                                  svg ("FeedbackNormal"), svg ("FeedbackDown"), svg ("FeedbackDown"),
                                  svg ("FeedbackDown"), svg ("FeedbackNormal"));
}

void TrackDisplay::buildFeedback()
{
    if (track == nullptr || ! licence::currentStatus().useAllowed)
    {
        repaint();
        return;
    }
    auto built = feedback::buildFeedback (*track->currentReadings, track->numChannels, judgingPreset (model),
                                          bookFont (14.0f));
    if (! built.built)
    {
        repaint();
        return;
    }
    shownFeedback = std::move (built);
    const auto& f = shownFeedback;

    loudnessButton.setReadouts (f.integrated, f.maxShortTerm, feedback::Feedback::loudnessDecimals);
    peakButton.setReadouts (f.truePeak, f.peakLevel, feedback::Feedback::peakDecimals);
    dynamicsButton.setReadouts (f.dynamicRange, f.loudnessRange, feedback::Feedback::dynamicsDecimals);
    if (track->numChannels == 2)
        showStereoSteps (*track->currentReadings);
    else
        stereoButton.setEnabled (false);

    loudnessButton.setOverTarget (f.loudness.first, f.loudness.second);
    peakButton.setOverTarget (f.peak.first, f.peak.second);
    stereoButton.setOverTarget (f.stereo.first, f.stereo.second);
    dynamicsButton.setOverTarget (f.dynamics.first, f.dynamics.second);
    feedbackIssues = f.anyOutOfRange;
    setFeedbackImages (feedbackIssues);
    repaint();
}

textexport::Entry TrackDisplay::exportEntry() const
{
    if (track == nullptr)
        return {};
    return makeExportEntry (*track, shownFeedback);
}

void TrackDisplay::selectReading (int kind, bool updateButtons)
{
    ButtonBase* owners[] = { &peakButton, &loudnessButton, &stereoButton, &dynamicsButton };
    ButtonBase* owner = kind >= 1 && kind <= 12 ? owners[(kind - 1) / 3] : nullptr;
    const bool body = owner != nullptr && kind == owner->mainKind;
    if (body && ! owner->anyOver() && ! updateButtons)
    {
        kind = 0;
        owner = nullptr;
    }
    selectedReading = kind;

    for (auto* b : owners)
    {
        if (b == &stereoButton && ! stereoButton.isEnabled())
            continue;
        const bool mine = b == owner && updateButtons;
        b->setFirstSelected (mine && (body || kind == b->firstKind), false);
        b->setSecondSelected (mine && (body || kind == b->secondKind), false);
        if (b != owner || updateButtons)
            b->repaint();
    }
    if (track != nullptr)
        track->heatMapCategory = kind;
    repaint();
}

void TrackDisplay::selectForAll (int kind)
{
    neutralView = false;
    selectReading (kind, true);
    rebuildHeatMap();
    buildFeedback();
}

void TrackDisplay::neutralLook()
{
    neutralView = true;
    const bool active = isActive();
    setAlpha (active || (track != nullptr && track->selected) ? 1.0f : 0.8f);
    waveform.showMarkers (active);
    nameLabel.setColour (juce::Label::textColourId,
                         juce::Colour (bws::Palette::text).withAlpha (active ? nameAlphaActive : nameAlphaAtRest));
    for (ButtonBase* b : { (ButtonBase*) &loudnessButton, (ButtonBase*) &peakButton, (ButtonBase*) &stereoButton,
                           (ButtonBase*) &dynamicsButton })
    {
        if (b == &stereoButton && ! stereoButton.isEnabled())
            continue;
        b->setFirstSelected (active, false);
        b->setSecondSelected (active, true);
    }
    repaint();
}

void TrackDisplay::paint (juce::Graphics& g)
{
    // The strip's own background shows only in the name band and the gaps between the readouts.
    juce::RectangleList<int> visible (striplayout::nameBand());
    for (int i = 0; i < 3; ++i)
        visible.add (striplayout::readoutGap (i));
    g.saveState();
    g.reduceClipRegion (visible);
    g.setColour (juce::Colour (bws::Palette::stripBackground));
    g.fillRoundedRectangle (getLocalBounds().toFloat(), striplayout::stripCorner);
    g.restoreState();
}

void TrackDisplay::resized()
{
    using namespace striplayout;
    waveform.setBounds (striplayout::waveform (getWidth(), getHeight()));
    nameLabel.setBounds (striplayout::nameLabel());
    feedbackButton.setBounds (striplayout::feedbackButton());
    playButton->setBounds (striplayout::playButton());
    loudnessButton.setBounds (readout (0));
    peakButton.setBounds (readout (1));
    stereoButton.setBounds (readout (2));
    dynamicsButton.setBounds (readout (3));
    deleteButton.setBounds (striplayout::deleteButton (getWidth()));
    refreshName();
}

void TrackDisplay::buttonClicked (juce::Button* button)
{
    if (button == &deleteButton)
    {
        sendActionMessage (juce::String (messages::trackDelete) + juce::String (trackId));
    }
    else if (button == &feedbackButton)
    {
        sendActionMessage (juce::String (messages::feedback)
                           + (feedbackButton.getToggleState() ? juce::String (trackId) : juce::String()));
    }
    else if (button == playButton.get())
    {
        if (track != nullptr && track->imageReady)
        {
            if (playButton->getToggleState())
            {
                track->resumeFromOwnPosition = true;
                makeActive();
                model.setPlayTarget (track);
            }
            else
            {
                model.setPlayTarget (nullptr);
            }
            if (playCallback)
                playCallback();
        }
        else
        {
            playButton->setToggleState (false, juce::dontSendNotification);
        }
    }

    if (button->getComponentID().isEmpty())
    {
        makeActive();
    }
    else if (button != &feedbackButton && ! model.rangeAnalysing)
    {
        // A span's close button: its id is the span's.
        waveform.removeLoop (button->getComponentID().getLargeIntValue());
        readingsChanged();
        return;
    }
    repaint();
}

void TrackDisplay::actionListenerCallback (const juce::String& message)
{
    if (track == nullptr)
        return;

    if (messages::isKeyword (message, messages::update))
    {
        if (! track->imageReady)
            return;
        playButton->setToggleState (track->playTarget && model.transportRunning, juce::dontSendNotification);
        neutralLook();
        rebuildHeatMap();
        buildFeedback();
        waveform.updateDuration();
    }
    else if (message.contains (messages::trackWaveformComplete))
    {
        // Whichever track finished, every strip drops its chosen reading; the track that plays
        // goes on playing untouched.
        neutralView = false;
        selectReading (0, true);
        rebuildHeatMap();
    }
    else if (messages::hasPrefix (message, messages::mainButton))
    {
        const auto click = messages::parseMainButton (message);
        if (! click.has_value() || ! track->imageReady)
            return;
        if (click->modifier)
        {
            sendActionMessage (messages::selectAllMessage (click->kindText, trackId));
        }
        else if (click->position2Set && ! neutralView)
        {
            // The same line again: back to the plain look, nothing chosen.
            neutralLook();
            selectedReading = 0;
            track->heatMapCategory = 0;
            repaint();
            rebuildHeatMap();
            return;
        }
        neutralView = false;
        selectReading (click->kind, true);
        rebuildHeatMap();
    }
    else if (messages::isKeyword (message, messages::closeLoudnessMatch))
    {
        sendActionMessage (message);
    }
}
