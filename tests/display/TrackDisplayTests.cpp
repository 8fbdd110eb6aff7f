// The strip's rules through the strip itself: which reading a click chooses, and the heat map and
// readouts it then shows. Made-up readings, no files.

#include "app/Messages.h"
#include "display/TrackDisplay.h"
#include "support/ModelHarness.h"
#include "support/SyntheticTrack.h"
#include "targets/WaveformImage.h"

#include <gtest/gtest.h>

namespace
{
class TrackStrip : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { juce::initialiseJuce_GUI(); }
    static void TearDownTestSuite() { juce::shutdownJuce_GUI(); }

    void SetUp() override
    {
        testaudio::ensureMessageThread();
        model = std::make_unique<Model>();
        model->currentPreset = &testtrack::preset (4);
    }

    void TearDown() override
    {
        strip.reset();
        model.reset();
    }

    // A finished strip of 1000 by 140 (a waveform 664 wide) over the given track.
    TrackDisplay& show (std::unique_ptr<Track> madeUp)
    {
        track = std::move (madeUp);
        track->id = 77;
        track->waveformComplete = true;
        track->numSamples = 44100 * 10;
        track->sampleRate = 44100.0;
        strip = std::make_unique<TrackDisplay> (*model);
        strip->setTrack (track.get());
        strip->setSize (1000, 140);
        strip->loadFinished();
        return *strip;
    }

    // The kinds whose lines stand chosen, button by button (peak, loudness, stereo, dynamics).
    std::vector<int> chosenLines() const
    {
        std::vector<int> kinds;
        for (const ButtonBase* b : { (const ButtonBase*) &strip->peakButton, (const ButtonBase*) &strip->loudnessButton,
                                     (const ButtonBase*) &strip->stereoButton, (const ButtonBase*) &strip->dynamicsButton })
        {
            if (b->firstSelected)
                kinds.push_back (b->firstKind);
            if (b->secondSelected)
                kinds.push_back (b->secondKind);
        }
        return kinds;
    }

    int redColumns() const
    {
        int red = 0;
        for (int x = 0; x < track->waveformImage->getWidth(); ++x)
            red += track->waveformImage->getPixelAt (x, 70).getARGB() == waveformimage::flaggedColour ? 1 : 0;
        return red;
    }

    std::unique_ptr<Model> model;
    std::unique_ptr<Track> track;
    std::unique_ptr<TrackDisplay> strip;
};

TEST_F (TrackStrip, ClicksChooseAndClearReadings)
{
    struct Step
    {
        const char* message;
        int selected;                // the strip's reading kind afterwards
        std::vector<int> lines;      // the lines that stand chosen
    };
    // A run of clicks on one strip, each judged from where the one before left it.
    const Step steps[] = {
        { "MAIN_BUTTON:0~0~6", 6, { 6 } },             // integrated loudness alone
        { "MAIN_BUTTON:0~0~2", 2, { 2 } },             // another button's line replaces it
        { "MAIN_BUTTON:0~1~2", 0, {} },                // the same line again clears it (not active: nothing chosen)
        { "MAIN_BUTTON:0~0~9", 9, { 9 } },             // correlation on a stereo track
        { "MAIN_BUTTON:0~4", 0, {} },                  // a click on a body always takes the clearing path
        { "MAIN_BUTTON:0~0~13", 13, {} },              // a kind no button has chooses nothing
    };
    auto& s = show (testtrack::cleanTrack());
    for (const auto& step : steps)
    {
        SCOPED_TRACE (step.message);
        s.actionListenerCallback (step.message);
        EXPECT_EQ (s.getSelectedReading(), step.selected);
        EXPECT_EQ (track->heatMapCategory, step.selected);
        EXPECT_EQ (chosenLines(), step.lines);
    }
}

TEST_F (TrackStrip, ModifierClickGoesToEveryStripAndMonoStripsSkipStereo)
{
    auto& s = show (testtrack::cleanTrack (1));
    EXPECT_FALSE (s.stereoButton.isEnabled());

    testaudio::MessageLog log (s);
    s.actionListenerCallback ("MAIN_BUTTON:1~0~8");
    ASSERT_TRUE (log.waitFor ("SELECT_ALL:", 1, 5000));
    EXPECT_EQ (log.messages.front(), "SELECT_ALL:8~77");

    // "SELECT_ALL:" of a stereo kind on a mono strip: stored, but no line stands chosen.
    s.actionListenerCallback (messages::mainButtonLineMessage (false, false, 11));
    s.selectForAll (8);
    EXPECT_EQ (s.getSelectedReading(), 8);
    EXPECT_TRUE (chosenLines().empty());
    EXPECT_EQ (redColumns(), 0);
}

TEST_F (TrackStrip, ReadoutsAndStereoTicksFollowTheRunningAnalysis)
{
    // A load writes the whole file's record, a span's analysis (after the load) the span's.
    for (bool span : { false, true })
    {
        SCOPED_TRACE (span ? "span" : "load");
        auto& s = show (testtrack::cleanTrack());
        auto& written = span ? track->loopReadings : track->wholeFileReadings;
        track->analysisComplete = span;
        track->loading = ! span;
        track->analysing = true;
        track->progress = 0.25f;
        written.integratedLUFS = -20.5f;
        written.balanceSteps = { -0.5f, 0.25f };
        written.correlationSteps = { 0.75f };
        s.timerCallback();
        EXPECT_EQ (s.loudnessButton.firstValue.getText(), "-20.5");
        EXPECT_EQ (s.stereoButton.balance, written.balanceSteps);
        EXPECT_EQ (s.stereoButton.correlation, written.correlationSteps);
        EXPECT_EQ (s.stereoButton.progress, 0.25f);
    }
}

TEST_F (TrackStrip, BalanceCountsOnlyAfterThirtyStepsInARow)
{
    // Steps 40 onwards of the balance hang far to one side for 29 or 30 steps.
    for (int run : { 29, 30 })
    {
        SCOPED_TRACE (run);
        auto t = testtrack::cleanTrack();
        for (int i = 40; i < 40 + run; ++i)
            t->wholeFileReadings.balanceSmoothed[(size_t) i] = 0.8f;
        auto& s = show (std::move (t));
        s.refreshForPreset();
        const bool counted = run == 30;
        EXPECT_EQ (track->hasProblems, counted);
        EXPECT_EQ (s.stereoButton.firstOver, counted);
        EXPECT_EQ (s.anyOutOfRange(), counted);
        EXPECT_EQ (redColumns() > 0, counted);
    }
}
} // namespace
