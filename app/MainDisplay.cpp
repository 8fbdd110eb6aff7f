#include "app/MainDisplay.h"

#include "app/Layout.h"
#include "app/Messages.h"
#include "display/StripLayout.h"
#include "kit/Palette.h"
#include "kit/Resources.h"

void leaveKeysToTheMainComponent (juce::Component& root)
{
    root.setWantsKeyboardFocus (false);
    root.setMouseClickGrabsKeyboardFocus (false);
    for (auto* child : root.getChildren())
        leaveKeysToTheMainComponent (*child);
}

namespace filedrop
{
bool allAudioFiles (const juce::StringArray& paths)
{
    for (const auto& path : paths)
    {
        const auto extension = path.fromLastOccurrenceOf (".", false, false);
        if (! path.containsChar ('.') || extension.containsAnyOf ("/\\")
            || ! juce::StringArray::fromTokens (audioExtensions, ";", {}).contains (extension, true))
            return false;
    }
    return true;
}

bool dropAccepted (int tracksListed, int filesInDrop)
{
    return tracksListed < maxTracks && filesInDrop <= maxFilesPerDrop;
}
} // namespace filedrop

namespace
{
juce::File absoluteFile (const juce::String& path)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile (path);
}

// Posts the deletion of a track to the message thread; the display may be gone by then.
void postDeletion (juce::WeakReference<MainDisplay> display, int64_t trackId)
{
    juce::MessageManager::callAsync ([display, trackId]
                                     {
                                         if (auto* d = display.get())
                                             d->deleteTrack (trackId);
                                     });
}
} // namespace

MainDisplay::MainDisplay (Model& m)
    : model (m)
{
    setName ("MainDisplay");

    viewport.setViewedComponent (&trackHolder, false);
    viewport.setScrollBarsShown (true, false);
    viewport.setLookAndFeel (&scrollbarLook);
    addAndMakeVisible (viewport);

    dropIcon.setImagesFromResources ({ "DropTracks_svg" });
    dropIcon.setSize (layout::dropIconSize, layout::dropIconSize);
    dropIcon.setInterceptsMouseClicks (false, false);
    trackHolder.addAndMakeVisible (dropIcon);

    dropLabel.setFont (juce::Font (bws::Resources::getTypeface (bws::Resources::FontRole::Bold)).withHeight (26.0f));
    dropLabel.setColour (juce::Label::textColourId, juce::Colour (bws::Palette::text));
    dropLabel.setJustificationType (juce::Justification::centred);
    dropLabel.setSize (layout::dropLabelWidth, layout::dropLabelHeight);
    dropLabel.setInterceptsMouseClicks (false, false);
    trackHolder.addAndMakeVisible (dropLabel);

    browseButton.setImagesFromResources ({ "BrowseNormal_svg", "BrowseHover_svg", "BrowseDown_svg", "BrowseDisabled_svg" });
    browseButton.setSize (layout::browseWidth, layout::browseHeight);
    browseButton.addListener (this);
    trackHolder.addAndMakeVisible (browseButton);

    idleCallback = [] {};
    useAllowed = [] { return true; };

    // The Model may call this from the load worker: it copies the weak reference and posts.
    model.deleteCallback = [display = juce::WeakReference<MainDisplay> (this)] (Track* track)
    {
        if (track != nullptr)
            postDeletion (display, track->id);
    };
    model.addActionListener (this);
}

MainDisplay::~MainDisplay()
{
    model.removeActionListener (this);
    browseButton.removeListener (this);
    viewport.setLookAndFeel (nullptr);
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        trackDisplays.clear();
    }
}

bool MainDisplay::isInterestedInFileDrag (const juce::StringArray& files)
{
    return filedrop::allAudioFiles (files);
}

void MainDisplay::filesDropped (const juce::StringArray& files, int, int)
{
    if (useAllowed && ! useAllowed())
        return;
    if (! filedrop::dropAccepted (tracksListed(), files.size()))
        return;

    for (const auto& path : files)
        model.requestLoad (path);

    if (! files.isEmpty())
    {
        const auto folder = absoluteFile (files[files.size() - 1]).getParentDirectory().getFullPathName();
        if (folder.isNotEmpty())
            model.lastAccessedTrackDirectory = folder;
    }
}

void MainDisplay::deleteTrackCallback (Track* track)
{
    if (track != nullptr)
        postDeletion (this, track->id);
}

int MainDisplay::tracksListed()
{
    std::lock_guard<std::mutex> guard (model.tracksLock);
    return (int) model.tracks.size();
}

bool MainDisplay::loading() const
{
    if (model.loadQueue.processed.load() != model.loadQueue.pushed.load())
        return true;
    for (const auto& strip : trackDisplays)
        if (finishedTracks.count (strip->getTrackId()) == 0)
            return true;
    return false;
}

bool MainDisplay::loadHolds (int64_t trackId) const
{
    return finishedTracks.count (trackId) == 0 && model.loadQueue.busy.load();
}

TrackStrip* MainDisplay::findStrip (int64_t trackId) const
{
    for (const auto& strip : trackDisplays)
        if (strip->getTrackId() == trackId)
            return strip.get();
    return nullptr;
}

void MainDisplay::stopIfPlaying (Track* track)
{
    if (track != nullptr && track == model.activeTrack && track->playTarget)
    {
        track->playTarget = false;
        if (playCallback)
            playCallback();
    }
}

void MainDisplay::removeStripAndTrack (int64_t trackId)
{
    std::unique_ptr<TrackStrip> removed;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        for (auto it = trackDisplays.begin(); it != trackDisplays.end(); ++it)
        {
            if ((*it)->getTrackId() == trackId)
            {
                removed = std::move (*it);
                trackDisplays.erase (it);
                break;
            }
        }
    }
    if (removed != nullptr)
    {
        removed->removeAllActionListeners();
        trackHolder.removeChildComponent (removed.get());
        if (model.activeStrip == removed.get())
            model.activeStrip = nullptr;
        removed.reset();
    }
    model.removeTrack (trackId);
    finishedTracks.erase (trackId);
}

bool MainDisplay::deleteTrack (int64_t trackId)
{
    Track* track = model.getTrackById (trackId);
    if (track != nullptr && (track->id != trackId || track->isReference))
        track = nullptr;
    if (track == nullptr && findStrip (trackId) == nullptr)
        return false;

    stopIfPlaying (track);

    // The next-to-last track becomes active, whichever is deleted; the last one leaves none.
    Track* nextActive = nullptr;
    int listed = 0;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        listed = (int) model.tracks.size();
        if (listed > 1)
            nextActive = model.tracks[(size_t) listed - 2].get();
    }
    if (listed > 1)
        model.setActiveTrack (nextActive, findStrip (nextActive->id));
    else if (listed == 1)
        model.setActiveTrack (nullptr, nullptr);

    removeStripAndTrack (trackId);

    if (! loading() && enableResetCallback)
        enableResetCallback (true);

    closeFeedback();
    resized();
    repaint();
    return true;
}

void MainDisplay::deleteAllTracks()
{
    stopIfPlaying (model.activeTrack);
    model.setActiveTrack (nullptr, nullptr);

    std::vector<std::unique_ptr<TrackStrip>> strips;
    std::vector<int64_t> finished, underLoad;
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        strips = std::move (trackDisplays);
        trackDisplays.clear();
        for (const auto& track : model.tracks)
            (loadHolds (track->id) ? underLoad : finished).push_back (track->id);
    }
    for (auto& strip : strips)
    {
        strip->removeAllActionListeners();
        trackHolder.removeChildComponent (strip.get());
    }
    strips.clear();
    model.activeStrip = nullptr;

    for (auto id : finished)
        model.removeTrack (id);
    finishedTracks.clear();

    // The load worker still holds the track it is reading: it is stopped and handed back
    // through deleteCallback when its load returns.
    for (auto id : underLoad)
    {
        if (auto* track = model.getTrackById (id); track != nullptr && track->id == id)
        {
            track->abortRequested = true;
            model.deleteAfterLoad = true;
        }
    }

    closeFeedback();
    resized();
    repaint();
}

bool MainDisplay::moveActiveStrip (int direction)
{
    const int n = (int) trackDisplays.size();
    if (n == 0 || direction == 0)
        return false;

    int current = -1;
    for (int i = 0; i < n; ++i)
        if (trackDisplays[(size_t) i]->getTrack() == model.activeTrack && model.activeTrack != nullptr)
            current = i;

    const int start = current >= 0 ? current : (direction > 0 ? -1 : n);
    for (int step = 1; step <= n; ++step)
    {
        const int index = ((start + direction * step) % n + n) % n;
        auto* strip = trackDisplays[(size_t) index].get();
        auto* track = strip->getTrack();
        if (track == nullptr || ! strip->isLoadFinished() || ! track->analysisComplete)
            continue;
        if (index != current)
        {
            model.setActiveTrack (track, strip);
            repaint();
        }
        return true;
    }
    return false;
}

void MainDisplay::addStrip (int64_t trackId)
{
    if (enableResetCallback)
        enableResetCallback (false);

    Track* track = model.getTrackById (trackId);
    if (track == nullptr || track->id != trackId || findStrip (trackId) != nullptr)
        return;

    auto strip = std::make_unique<TrackStrip> (model);
    strip->setTrack (track);
    strip->addActionListener (this);
    if (stripListener != nullptr)
        strip->addActionListener (stripListener);
    strip->playCallback = playCallback;
    strip->idleCallback = idleCallback;

    auto* added = strip.get();
    {
        std::lock_guard<std::mutex> guard (model.tracksLock);
        trackDisplays.push_back (std::move (strip));
    }
    trackHolder.addAndMakeVisible (added);
    leaveKeysToTheMainComponent (*added);
    if (feedbackWindow != nullptr)
        feedbackWindow->toFront (false);
    resized();
}

void MainDisplay::stripLoadFinished (int64_t trackId)
{
    auto* strip = findStrip (trackId);
    Track* track = model.getTrackById (trackId);
    if (track != nullptr && track->id != trackId)
        track = nullptr;

    if (track != nullptr && track->abortRequested)
    {
        // Marked for deletion after its reading had ended: its load ran out normally, so the
        // flag meant for it is withdrawn and it goes now.
        model.deleteAfterLoad = false;
        finishedTracks.insert (trackId);
        deleteTrack (trackId);
        return;
    }
    if (strip == nullptr || track == nullptr)
        return;

    finishedTracks.insert (trackId);
    strip->loadFinished();
    resized();
    if (trackDisplays.size() == 1)
        model.setActiveTrack (track, strip);
    if (enableResetCallback)
        enableResetCallback (true);
}

void MainDisplay::handleDelete (const juce::String& message)
{
    const auto trackId = messages::trackIdAfter (message, messages::trackDelete);
    if (trackId == 0 || findStrip (trackId) == nullptr)
        return;

    Track* track = model.getTrackById (trackId);
    if (track != nullptr && (track->id != trackId || track->isReference))
        return;

    if (model.loadQueue.processed.load() == model.loadQueue.pushed.load())
        model.statusCountdown = 30;

    if (track == nullptr || ! loadHolds (trackId))
    {
        deleteTrack (trackId);
    }
    else
    {
        // Still loading: the analysis stops and the Model hands the track back at its end.
        track->abortRequested = true;
        model.deleteAfterLoad = true;
    }
    sendActionMessage (message);
}

void MainDisplay::resized()
{
    viewport.setBounds (getLocalBounds());
    const int holderWidth = juce::jmax (0, getWidth() - viewport.getScrollBarThickness());
    const auto list = layout::trackListLayout (holderWidth, getHeight(), (int) trackDisplays.size());

    for (size_t i = 0; i < trackDisplays.size(); ++i)
        trackDisplays[i]->setBounds (list.strips[i]);
    dropIcon.setBounds (list.dropIcon);
    dropLabel.setBounds (list.dropLabel);
    browseButton.setBounds (list.browseButton);
    trackHolder.setSize (holderWidth, list.holderHeight);
    placeFeedback();
}

void MainDisplay::showFeedback (int64_t trackId)
{
    if (findStrip (trackId) == nullptr)
        return;
    if (feedbackWindow == nullptr)
    {
        feedbackWindow = std::make_unique<AnalysisFeedbackWindow>();
        trackHolder.addAndMakeVisible (*feedbackWindow);
        leaveKeysToTheMainComponent (*feedbackWindow);
    }
    feedbackTrackId = trackId;
    for (auto& strip : trackDisplays)
        if (strip->getTrackId() != trackId)
            strip->feedbackButton.setToggleState (false, juce::dontSendNotification);
    refillFeedback();
}

void MainDisplay::closeFeedback()
{
    feedbackWindow.reset();
    feedbackTrackId = 0;
    for (auto& strip : trackDisplays)
        strip->feedbackButton.setToggleState (false, juce::dontSendNotification);
    resized();
}

void MainDisplay::refillFeedback()
{
    if (feedbackWindow == nullptr)
        return;
    for (size_t i = 0; i < trackDisplays.size(); ++i)
        if (trackDisplays[i]->getTrackId() == feedbackTrackId)
            feedbackWindow->setContent ((int) i, trackDisplays[i]->getFeedbackText(), trackDisplays[i]->anyOutOfRange());
    placeFeedback();
}

void MainDisplay::placeFeedback()
{
    auto* strip = feedbackWindow != nullptr ? findStrip (feedbackTrackId) : nullptr;
    if (strip == nullptr)
        return;
    // The window frames its strip and the text under it; the holder grows to take it.
    feedbackWindow->setBounds (striplayout::feedbackWindow (strip->getBounds()));
    feedbackWindow->toFront (false);
    if (trackHolder.getHeight() < strip->getY() + striplayout::feedbackHeight)
        trackHolder.setSize (trackHolder.getWidth(), strip->getY() + striplayout::feedbackHeight);
}

void MainDisplay::actionListenerCallback (const juce::String& message)
{
    if (auto id = messages::displayTrackId (message, messages::trackInitialLoadComplete))
    {
        addStrip (*id);
    }
    else if (auto finishedId = messages::displayTrackId (message, messages::trackWaveformComplete))
    {
        stripLoadFinished (*finishedId);
    }
    else if (messages::hasPrefix (message, messages::trackDelete))
    {
        handleDelete (message);
    }
    else if (auto kind = messages::parseSelectAllKind (message))
    {
        for (auto& strip : trackDisplays)
            strip->selectForAll (*kind);
    }
    else if (messages::isKeyword (message, messages::update))
    {
        for (auto& strip : trackDisplays)
            strip->repaint();
    }
}

void MainDisplay::buttonClicked (juce::Button* button)
{
    if (button == &browseButton)
        sendActionMessage (messages::openSessionOrAudioFiles);
}

void MainDisplay::mouseEnter (const juce::MouseEvent&)
{
    sendActionMessage (messages::closeLoudnessMatch);
}
