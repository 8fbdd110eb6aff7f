#include "AppTestSupport.h"

#include "app/MainDisplay.h"
#include "app/Messages.h"

using apptest::AppFixture;

TEST (FileDrop, EveryFileMustBeAudio)
{
    juce::StringArray ten;
    for (int i = 0; i < 10; ++i)
        ten.add ("/music/take" + juce::String (i) + ".wav");
    EXPECT_TRUE (filedrop::allAudioFiles (ten));

    ten.add ("/music/notes.txt");
    EXPECT_FALSE (filedrop::allAudioFiles (ten));

    EXPECT_TRUE (filedrop::allAudioFiles ({ "/a/B.WAV", "/a/c.flac", "/a/d.fla", "/a/e.aiff", "/a/f.wma", "/a/g.mp3" }));
    // A session can't be dropped, only opened.
    EXPECT_FALSE (filedrop::allAudioFiles ({ "/a/b.wav", "/a/review.bws" }));
    EXPECT_FALSE (filedrop::allAudioFiles ({ "/a.wav/noextension" }));
    EXPECT_FALSE (filedrop::allAudioFiles ({ "/music/wav" }));
}

TEST (FileDrop, FiftyTracksAndFiftyFilesAtATime)
{
    EXPECT_TRUE (filedrop::dropAccepted (49, 50));
    EXPECT_FALSE (filedrop::dropAccepted (0, 51));
    EXPECT_FALSE (filedrop::dropAccepted (50, 1));
    // The test is on each count alone: 30 and 30 pass and end with 60.
    EXPECT_TRUE (filedrop::dropAccepted (30, 30));
}

class MainDisplayTest : public AppFixture
{
protected:
    void SetUp() override
    {
        AppFixture::SetUp();
        display = std::make_unique<MainDisplay> (*model);
        display->setSize (992, 681);
        display->playCallback = [this] { ++plays; };
        display->enableResetCallback = [this] (bool enabled) { resetEnabled = enabled; };
    }

    void TearDown() override
    {
        display.reset();
        AppFixture::TearDown();
    }

    juce::StringArray droppedPaths (int count)
    {
        juce::StringArray paths;
        for (int i = 0; i < count; ++i)
            paths.add (temp.file ("d" + juce::String (i) + ".wav").getFullPathName());
        return paths;
    }

    // Loads real files through the Model and waits until every strip has finished.
    void loadTones (int count)
    {
        juce::StringArray paths;
        for (int i = 0; i < count; ++i)
            paths.add (writeTone ("tone" + juce::String (i) + ".wav", 1.2, 220.0 * (i + 1)).getFullPathName());
        display->filesDropped (paths, 0, 0);
        ASSERT_TRUE (pumpUntil ([&] {
            if (display->getNumStrips() != count)
                return false;
            for (int i = 0; i < count; ++i)
                if (! display->getStrip (i)->isLoadFinished())
                    return false;
            return true;
        }));
    }

    std::unique_ptr<MainDisplay> display;
    int plays = 0;
    bool resetEnabled = true;
};

TEST_F (MainDisplayTest, DragInterestFollowsTheExtensions)
{
    EXPECT_TRUE (display->isInterestedInFileDrag (droppedPaths (3)));
    auto withText = droppedPaths (10);
    withText.add ("/tmp/readme.txt");
    EXPECT_FALSE (display->isInterestedInFileDrag (withText));
}

TEST_F (MainDisplayTest, DropLimitsCountListedTracksAndFiles)
{
    model->loadQueue.setPaused (true);

    display->filesDropped (droppedPaths (51), 0, 0);
    EXPECT_EQ (model->loadQueue.pushed.load(), 0);

    addPlaceholderTracks (49);
    display->filesDropped (droppedPaths (50), 0, 0);
    EXPECT_EQ (model->loadQueue.pushed.load(), 50);
    EXPECT_EQ (model->lastAccessedTrackDirectory, temp.path().getFullPathName());

    addPlaceholderTracks (1);
    display->filesDropped (droppedPaths (1), 0, 0);
    EXPECT_EQ (model->loadQueue.pushed.load(), 50);
}

TEST_F (MainDisplayTest, NoDropWhileUseIsForbidden)
{
    model->loadQueue.setPaused (true);
    display->useAllowed = [] { return false; };
    display->filesDropped (droppedPaths (2), 0, 0);
    EXPECT_EQ (model->loadQueue.pushed.load(), 0);
}

TEST_F (MainDisplayTest, ReferenceTracksAndUnknownIdsGetNoStrip)
{
    addPlaceholderTracks (1);
    const auto id = model->tracks.front()->id;
    display->actionListenerCallback ("TRACK_INITIAL_LOAD_COMPLETE:1" + juce::String (id));
    display->actionListenerCallback ("TRACK_INITIAL_LOAD_COMPLETE:0987654321");
    display->actionListenerCallback ("TRACK_INITIAL_LOAD_COMPLETE:0");
    EXPECT_EQ (display->getNumStrips(), 0);

    display->actionListenerCallback ("TRACK_INITIAL_LOAD_COMPLETE:0" + juce::String (id));
    ASSERT_EQ (display->getNumStrips(), 1);
    EXPECT_EQ (display->getStrip (0)->getTrackId(), id);
    EXPECT_TRUE (display->getStrip (0)->isVisible());
    EXPECT_EQ (display->getStrip (0)->getParentComponent(), &display->trackHolder);
    EXPECT_FALSE (resetEnabled);

    // The same message again makes no second strip.
    display->actionListenerCallback ("TRACK_INITIAL_LOAD_COMPLETE:0" + juce::String (id));
    EXPECT_EQ (display->getNumStrips(), 1);
}

TEST_F (MainDisplayTest, LoadedFilesGetStripsInOrderAndTheFirstBecomesActive)
{
    loadTones (3);
    ASSERT_EQ (trackCount(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ (display->getStrip (i)->getTrackId(), model->tracks[(size_t) i]->id);
    // Only the strip that was alone when it finished became active.
    EXPECT_EQ (model->activeTrack, model->tracks[0].get());
    EXPECT_TRUE (resetEnabled);

    // The strips stack in the holder and the drop block follows them.
    EXPECT_LT (display->getStrip (0)->getBottom(), display->getStrip (1)->getY());
    EXPECT_GT (display->browseButton.getY(), display->getStrip (2)->getBottom());
    EXPECT_GE (display->trackHolder.getHeight(), display->browseButton.getBottom());
}

TEST_F (MainDisplayTest, StripsLeaveTheKeysToTheMainComponent)
{
    loadTones (1);
    auto* strip = display->getStrip (0);
    // Were the delete button to take the focus at a click, Space would delete the track.
    EXPECT_FALSE (strip->getWantsKeyboardFocus());
    EXPECT_FALSE (strip->getMouseClickGrabsKeyboardFocus());
    EXPECT_FALSE (strip->deleteButton.getWantsKeyboardFocus());
    EXPECT_FALSE (strip->deleteButton.getMouseClickGrabsKeyboardFocus());
}

TEST_F (MainDisplayTest, ArrowKeysWalkTheStripsAndWrap)
{
    loadTones (3);
    auto trackAt = [&] (int i) { return display->getStrip (i)->getTrack(); };
    ASSERT_EQ (model->activeTrack, trackAt (0));

    EXPECT_TRUE (display->moveActiveStrip (-1));
    EXPECT_EQ (model->activeTrack, trackAt (2));
    EXPECT_TRUE (display->moveActiveStrip (1));
    EXPECT_EQ (model->activeTrack, trackAt (0));
    EXPECT_TRUE (display->moveActiveStrip (1));
    EXPECT_EQ (model->activeTrack, trackAt (1));
    EXPECT_EQ (model->activeStrip, display->getStrip (1));
}

TEST_F (MainDisplayTest, DeleteMessageRemovesStripAndTrackAndIsRelayed)
{
    loadTones (3);
    testaudio::MessageLog relayed (*display);
    const auto lastId = display->getStrip (2)->getTrackId();
    const auto secondTrack = display->getStrip (1)->getTrack();

    display->actionListenerCallback ("TRACK_DELETE:" + juce::String (lastId));
    EXPECT_EQ (display->getNumStrips(), 2);
    EXPECT_EQ (trackCount(), 2);
    EXPECT_EQ (display->findStrip (lastId), nullptr);
    // The next-to-last track of the list became active.
    EXPECT_EQ (model->activeTrack, secondTrack);
    EXPECT_EQ (model->statusCountdown, 30);
    ASSERT_TRUE (relayed.waitFor ("TRACK_DELETE:", 1, 5000));

    // The second delivery finds nothing to do.
    display->actionListenerCallback ("TRACK_DELETE:" + juce::String (lastId));
    EXPECT_EQ (display->getNumStrips(), 2);
    EXPECT_EQ (trackCount(), 2);
}

TEST_F (MainDisplayTest, DeletingTheLastTrackLeavesNoActiveTrack)
{
    loadTones (1);
    const auto id = display->getStrip (0)->getTrackId();
    display->getStrip (0)->deleteButton.triggerClick();
    ASSERT_TRUE (pumpUntil ([&] { return display->getNumStrips() == 0; }, 5000));
    EXPECT_EQ (trackCount(), 0);
    EXPECT_EQ (model->activeTrack, nullptr);
    EXPECT_EQ (model->activeStrip, nullptr);
    EXPECT_EQ (display->findStrip (id), nullptr);
}

TEST_F (MainDisplayTest, DeletingThePlayingActiveTrackStopsPlayback)
{
    loadTones (2);
    auto* active = model->activeTrack;
    ASSERT_NE (active, nullptr);
    active->playTarget = true;
    EXPECT_TRUE (display->deleteTrack (active->id));
    EXPECT_EQ (plays, 1);
    EXPECT_EQ (trackCount(), 1);
}

TEST_F (MainDisplayTest, TheModelsDeleteCallbackPostsTheDeletion)
{
    loadTones (2);
    Track* second = display->getStrip (1)->getTrack();
    model->deleteCallback (second);
    // Nothing happens inline.
    EXPECT_EQ (trackCount(), 2);
    ASSERT_TRUE (pumpUntil ([&] { return trackCount() == 1; }, 5000));
    EXPECT_EQ (display->getNumStrips(), 1);
}

TEST_F (MainDisplayTest, DeleteAllClearsStripsTracksAndTheActiveTrack)
{
    loadTones (3);
    model->activeTrack->playTarget = true;
    display->deleteAllTracks();
    EXPECT_EQ (display->getNumStrips(), 0);
    EXPECT_EQ (trackCount(), 0);
    EXPECT_EQ (model->activeTrack, nullptr);
    EXPECT_EQ (plays, 1);
    EXPECT_EQ (display->trackHolder.getNumChildComponents(), 3);  // icon, label, browse
}

TEST_F (MainDisplayTest, SelectAllReachesEveryStrip)
{
    loadTones (2);
    display->actionListenerCallback (messages::selectAllMessage ("6", 12345));
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ (display->getStrip (i)->getSelectedReading(), 6);
        EXPECT_EQ (display->getStrip (i)->getTrack()->heatMapCategory, 6);
    }
}

TEST_F (MainDisplayTest, BrowseButtonAsksForTheFileDialog)
{
    testaudio::MessageLog log (*display);
    display->browseButton.triggerClick();
    ASSERT_TRUE (log.waitFor ("OPEN_SESSION_OR_AUDIO_FILES", 1, 5000));
}

class MainContentWithTracks : public AppFixture
{
};

TEST_F (MainContentWithTracks, SpaceAndReturnDriveTheActiveTrack)
{
    auto& c = makeContent();
    c.stopTimer();
    const auto path = writeTone ("play.wav", 1.5).getFullPathName();
    c.mainDisplay->filesDropped ({ path }, 0, 0);
    ASSERT_TRUE (pumpUntil ([&] { return c.mainDisplay->getNumStrips() == 1 && c.mainDisplay->getStrip (0)->isLoadFinished(); }));
    ASSERT_TRUE (pumpUntil ([&] { return c.statusLabel.getText() == "All tracks loaded"; }, 5000));
    EXPECT_TRUE (c.saveSessionButton.isEnabled());
    auto* track = model->activeTrack;
    ASSERT_NE (track, nullptr);

    EXPECT_TRUE (c.keyPressed (juce::KeyPress (juce::KeyPress::spaceKey)));
    EXPECT_TRUE (model->transportRunning);
    EXPECT_TRUE (track->playTarget);

    track->playPosition = 0.7f;
    EXPECT_TRUE (c.keyPressed (juce::KeyPress (juce::KeyPress::returnKey)));
    EXPECT_EQ (track->playPosition, 0.0f);
    EXPECT_TRUE (model->transportRunning);

    EXPECT_TRUE (c.keyPressed (juce::KeyPress (juce::KeyPress::spaceKey)));
    EXPECT_FALSE (model->transportRunning);
    EXPECT_FALSE (track->playTarget);
}
