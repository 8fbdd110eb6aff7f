#include "analysis/Track.h"
#include "support/SyntheticTrack.h"
#include "targets/FlaggedRanges.h"
#include "targets/ProblemScan.h"
#include "targets/WaveformImage.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>

using namespace problemscan;

namespace
{
constexpr float minusInf = -std::numeric_limits<float>::infinity();

using testtrack::cleanTrack;
using testtrack::inject;
using testtrack::preset;
using testtrack::seriesOf;

const ThresholdPreset& allRound() { return preset (4); }
} // namespace

TEST (HeatMapCategories, EachCategoryLooksAtItsOwnReadings)
{
    // Which faults each category 0..12 sees, as a bit mask over seriesOf; 13 sees none.
    const unsigned seen[] = { 0xff, 0x03, 0x01, 0x02, 0x0c, 0x04, 0x08, 0x30, 0x10, 0x20, 0xc0, 0x40, 0x80, 0x00 };
    for (int fault = 0; fault < 8; ++fault)
        for (int category = 0; category <= 13; ++category)
        {
            SCOPED_TRACE (testing::Message() << "fault " << fault << ", category " << category);
            auto t = cleanTrack();
            t->heatMapCategory = category;
            EXPECT_FALSE (isOutOfRange (*t, allRound(), 50, t->wholeFileReadings));
            inject (*t, fault);
            EXPECT_EQ (isOutOfRange (*t, allRound(), 50, t->wholeFileReadings), ((seen[category] >> fault) & 1) != 0);
        }

    // One channel is never out on balance or correlation, and leaves their flags alone.
    auto mono = cleanTrack (1);
    inject (*mono, 4);
    inject (*mono, 5);
    for (int category : { 0, 7, 8, 9 })
    {
        mono->heatMapCategory = category;
        EXPECT_FALSE (isOutOfRange (*mono, allRound(), 50, mono->wholeFileReadings));
    }
    EXPECT_FALSE (mono->wholeFileReadings.balanceOutOfRange || mono->wholeFileReadings.correlationOutOfRange);
}

TEST (HeatMapCategories, PeakEdgeIsInRangeAndRunningMaximaRise)
{
    auto t = cleanTrack();
    auto& r = t->wholeFileReadings;
    const float limit = allRound().peak + allRound().truePeakRange;
    r.samplePeakPoints[10] = limit;
    r.samplePeakPoints[11] = std::nextafter (limit, 1.0f);
    r.truePeakPoints[10] = -0.5f;
    t->heatMapCategory = peakOnly;

    EXPECT_FALSE (isOutOfRange (*t, allRound(), 10, r));
    EXPECT_EQ (r.maxSamplePeakDb, limit);
    EXPECT_EQ (r.maxTruePeakDb, minusInf);  // peak alone leaves true peak untouched
    EXPECT_TRUE (isOutOfRange (*t, allRound(), 11, r));
    EXPECT_GT (r.maxSamplePeakDb, limit);
    t->heatMapCategory = peakAndTruePeak;
    EXPECT_FALSE (isOutOfRange (*t, allRound(), 10, r));
    EXPECT_EQ (r.maxTruePeakDb, -0.5f);
}

TEST (ColumnStretch, ClipsToTheSeriesAndNeverRunsBackwards)
{
    struct Case { float ratio; int column; int start, end; };
    const Case cases[] = {
        { 2.5f, 3, 7, 10 },      // floor(7.5), ceil(10.0)
        { 2.5f, 39, 97, 99 },    // ceil(100) clipped to n - 1
        { 0.4f, 7, 2, 4 },       // fewer points than columns: ceil(3.2000002)
        { 1.0f, 120, 120, 120 }, // raised to start; the tests find no value there
    };
    for (const auto& c : cases)
    {
        const auto s = columnStretch (c.ratio, c.column, 100);
        EXPECT_EQ (s.start, c.start) << c.column;
        EXPECT_EQ (s.end, c.end) << c.column;
    }
}

TEST (LevelChecks, ShortTermIntegratedAndLoudnessRangeEdges)
{
    AllReadings r;
    r.shortTermPoints = { minusInf, minusInf, -20.0f, -5.0f, -5.0f, -30.0f };
    EXPECT_FALSE (checkShortTerm (0, 2, -9.0f, 3.0f, r));  // silence passes
    EXPECT_EQ (r.maxShortTermLUFS, minusInf);
    EXPECT_FALSE (checkShortTerm (2, 3, -9.0f, 3.0f, r));  // far too quiet is fine
    EXPECT_EQ (r.maxShortTermLUFS, -20.0f);
    EXPECT_TRUE (checkShortTerm (2, 6, -9.0f, 3.0f, r));
    EXPECT_EQ (r.maxShortTermLUFS, -5.0f);
    EXPECT_FALSE (checkShortTerm (5, 6, -9.0f, 3.0f, r));
    EXPECT_TRUE (r.shortTermOutOfRange);  // sticky
    AllReadings edge;                      // an empty stretch takes the value at first; the edge passes
    edge.shortTermPoints = { -6.0f, -100.0f };
    EXPECT_FALSE (checkShortTerm (0, 0, -9.0f, 3.0f, edge));
    EXPECT_EQ (edge.maxShortTermLUFS, -6.0f);
    EXPECT_TRUE (checkShortTerm (0, 0, -6.5f, 0.0f, edge));

    r.integratedPoints = { -17.0f, -7.0f, -18.0f };
    r.integratedLUFS = -17.0f;  // exactly at target - range: in range, whatever the series says
    EXPECT_FALSE (checkIntegrated (0, 3, -12.0f, 5.0f, r));
    r.integratedLUFS = std::nextafter (-17.0f, -20.0f);
    EXPECT_FALSE (checkIntegrated (0, 2, -12.0f, 5.0f, r));  // both values on the edges
    EXPECT_TRUE (checkIntegrated (0, 3, -12.0f, 5.0f, r));
    EXPECT_FALSE (checkIntegrated (2, 2, -12.0f, 5.0f, r));  // empty stretch
    r.integratedLUFS = -11.0f;  // no tolerance: stretches under the target of a file over it
    EXPECT_TRUE (checkIntegrated (2, 3, -12.0f, 0.0f, r));
    EXPECT_FALSE (checkIntegrated (1, 2, -12.0f, 0.0f, r));

    r.loudnessRangePoints = { 4.0f, 2.0f, 1.0f };
    for (float reading : { 3.5f, 0.0f })  // above the limit, or too short a file: passes
    {
        r.loudnessRange = reading;
        EXPECT_FALSE (checkLoudnessRange (0, 3, 3.0f, r));
    }
    r.loudnessRange = 3.0f;  // exactly at the limit goes on to the series
    EXPECT_FALSE (checkLoudnessRange (0, 1, 3.0f, r));
    EXPECT_FALSE (r.loudnessRangeOutOfRange);
    EXPECT_TRUE (checkLoudnessRange (0, 2, 3.0f, r));
    EXPECT_TRUE (r.loudnessRangeOutOfRange);
}

TEST (WindowChecks, ThirtyInARowAreNeededAndTheLastValueNeverCounts)
{
    for (int length : { 30, 31 })
    {
        AllReadings r;
        r.dynamicRangeSteps.assign ((size_t) length, 2.0f);
        EXPECT_EQ (checkDynamicRange (0, length - 1, 5.0f, r), length == 31) << length;
        EXPECT_EQ (r.dynamicRangeOutOfRange, length == 31);
    }

    AllReadings run;  // a run of 30 followed by good values
    run.balanceSmoothed.assign (30, 0.6f);
    run.balanceSmoothed.resize (80, 0.0f);
    EXPECT_TRUE (checkBalance (2, 0, 79, 0.3f, run));
    AllReadings shortRun;  // 29 in a row, and a lone one later, aren't enough
    shortRun.balanceSmoothed.assign (29, -0.6f);
    shortRun.balanceSmoothed.resize (80, 0.0f);
    shortRun.balanceSmoothed[50] = 0.9f;
    EXPECT_FALSE (checkBalance (2, 0, 79, 0.3f, shortRun));
    EXPECT_FALSE (shortRun.balanceOutOfRange);
    // The flag is sticky over later passing runs; first > last leaves it alone.
    EXPECT_FALSE (checkBalance (2, 40, 79, 0.3f, run));
    EXPECT_FALSE (checkBalance (2, 10, 9, 0.3f, run));
    EXPECT_TRUE (run.balanceOutOfRange);

    // Balance and dynamic range take the magnitude, correlation doesn't; its edge passes.
    AllReadings r;
    r.balanceSmoothed.assign (40, -0.31f);
    r.correlationSmoothed.assign (40, 0.9f);
    r.dynamicRangeSteps.assign (40, -8.0f);
    EXPECT_TRUE (checkBalance (2, 0, 39, 0.3f, r));
    EXPECT_FALSE (checkCorrelation (2, 0, 39, -0.2f, r) || checkDynamicRange (0, 39, 5.0f, r));
    r.correlationSmoothed.assign (40, -0.2f);
    EXPECT_FALSE (checkCorrelation (2, 0, 39, -0.2f, r));
    r.correlationSmoothed.assign (40, -0.21f);
    EXPECT_TRUE (checkCorrelation (2, 0, 39, -0.2f, r));
    EXPECT_FALSE (checkBalance (1, 0, 39, 0.0f, r) || checkCorrelation (1, 0, 39, 0.0f, r));

    // The minimum leaves the last index out and takes the value at first when empty.
    r.dynamicRangeSteps = { 8.0f, 3.0f, 9.0f, 1.0f };
    r.minDynamicRange = AllReadings::plusInfinity;
    checkDynamicRange (0, 3, 5.0f, r);
    EXPECT_EQ (r.minDynamicRange, 3.0f);
    checkDynamicRange (3, 3, 5.0f, r);
    EXPECT_EQ (r.minDynamicRange, 1.0f);
}

TEST (ScanForProblems, SetsRatiosJudgesAllReadingsAndKeepsFlags)
{
    auto t = cleanTrack();
    t->heatMapCategory = balanceOnly;
    t->wholeFileReadings.samplePeakPoints[77] = 0.5f;
    scanForProblems (*t, allRound(), 50);
    EXPECT_FLOAT_EQ (t->pointsPerPixel, 2.0f);
    EXPECT_FLOAT_EQ (t->stepsPerPixel, 2.0f);
    EXPECT_FLOAT_EQ (t->rangePointsPerPixel, 2.0f);
    EXPECT_TRUE (t->hasProblems);  // judged with all readings, not the chosen category
    EXPECT_EQ (t->heatMapCategory, balanceOnly);
    EXPECT_EQ (t->wholeFileReadings.maxSamplePeakDb, 0.5f);
    EXPECT_EQ (t->wholeFileReadings.minDynamicRange, 10.0f);

    // Flags stay set under a more lenient preset: -5 is over ALL-ROUND's -6, under COMPOSER's -4.
    t->wholeFileReadings.samplePeakPoints[77] = -3.0f;
    t->wholeFileReadings.shortTermPoints[20] = -5.0f;
    scanForProblems (*t, allRound(), 100);
    EXPECT_TRUE (t->hasProblems);
    scanForProblems (*t, preset (10), 100);
    EXPECT_FALSE (t->hasProblems);
    EXPECT_TRUE (t->wholeFileReadings.shortTermOutOfRange);

    // Only the first region is judged, its columns counted from its start: 40..49 become 0..9.
    auto looped = cleanTrack();
    Loop first, second;
    first.startPixel = 40;
    first.endPixel = 50;
    second.endPixel = 99;
    looped->loops = { first, second };
    looped->wholeFileReadings.samplePeakPoints[60] = 2.0f;
    looped->stepCount = 10;  // counted by the span's own analysis: the ratios stay the file's
    scanForProblems (*looped, allRound(), 100);
    EXPECT_FALSE (looped->hasProblems);
    EXPECT_FLOAT_EQ (looped->stepsPerPixel, 1.0f);
    looped->wholeFileReadings.samplePeakPoints[5] = 2.0f;
    scanForProblems (*looped, allRound(), 100);
    EXPECT_TRUE (looped->hasProblems);

    auto reference = cleanTrack();
    reference->isReference = true;
    inject (*reference, 0);
    scanForProblems (*reference, allRound(), 100);
    EXPECT_FALSE (reference->hasProblems);
}

TEST (WholeTrackTests, RunOnFinishedTracksOverWholeSeriesOfTheCurrentReadings)
{
    auto t = cleanTrack();
    auto& r = t->wholeFileReadings;
    r.dynamicRangeSteps.assign (31, 2.0f);
    r.loudnessRange = 3.0f;
    r.loudnessRangePoints = { 3.0f, 3.0f, 1.0f };  // the one low value is the last: left out

    t->analysisComplete = false;
    runWholeTrackTests (*t, allRound());
    EXPECT_FALSE (r.dynamicRangeOutOfRange);
    t->analysisComplete = true;
    runWholeTrackTests (*t, allRound());
    EXPECT_TRUE (r.dynamicRangeOutOfRange);
    EXPECT_FALSE (r.loudnessRangeOutOfRange);
    EXPECT_EQ (r.minDynamicRange, 2.0f);

    t->loopReadings.dynamicRangeSteps.assign (40, 1.0f);
    t->currentReadings = &t->loopReadings;
    runWholeTrackTests (*t, allRound());
    EXPECT_TRUE (t->loopReadings.dynamicRangeOutOfRange);
}

namespace
{
// The colour the image holds in the middle of column x (transparent where nothing is drawn).
juce::uint32 drawnColour (const Track& t, int x)
{
    return t.waveformImage->getPixelAt (x, t.waveformImage->getHeight() / 2).getARGB();
}

// Rows of column x that are drawn.
int drawnHeight (const Track& t, int x)
{
    int rows = 0;
    for (int y = 0; y < t.waveformImage->getHeight(); ++y)
        rows += t.waveformImage->getPixelAt (x, y).getAlpha() != 0 ? 1 : 0;
    return rows;
}
} // namespace

TEST (WaveformImage, EachColumnTakesTheColourOfItsCase)
{
    constexpr auto plain = waveformimage::plainColour;
    constexpr auto flagged = waveformimage::flaggedColour;
    constexpr auto dim = waveformimage::dimColour;
    struct Case
    {
        const char* what;
        bool reference;
        int faultFrom, faultTo;  // sample-peak points out of range, [from, to)
        std::vector<std::pair<int, int>> loops;
        std::vector<std::pair<int, juce::uint32>> expected;  // column, colour
    };
    const Case cases[] = {
        { "no problem, also inside a span", false, 0, 0, { { 20, 40 } }, { { 0, plain }, { 30, plain }, { 99, plain } } },
        { "a reference is dim and never judged", true, 0, 100, {}, { { 0, dim }, { 50, dim }, { 99, dim } } },
        { "flagged columns red, the rest dim", false, 40, 50, {}, { { 39, dim }, { 40, flagged }, { 49, flagged }, { 51, dim } } },
        // The span's readings start at the span: its columns are judged from their own index 0.
        { "only the first span is judged", false, 0, 100, { { 20, 40 }, { 60, 80 } },
          { { 19, plain }, { 20, flagged }, { 40, flagged }, { 41, plain }, { 70, plain } } },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE (c.what);
        auto t = cleanTrack();
        t->isReference = c.reference;
        for (int i = c.faultFrom; i < c.faultTo; ++i)
            t->wholeFileReadings.samplePeakPoints[(size_t) i] = 1.0f;
        for (auto [from, to] : c.loops)
            t->addRegion ({ Track::clockId() + from, from, to, 0, 0, false, false });

        waveformimage::rebuildHeatMap (*t, allRound(), 100, 20);
        ASSERT_TRUE (t->imageReady);
        ASSERT_EQ (t->waveformImage->getWidth(), 100);
        for (auto [column, colour] : c.expected)
            EXPECT_EQ (drawnColour (*t, column), colour) << "column " << column;
    }
}

TEST (WaveformImage, ColumnsShowTheMeanOfTheirOverlappingStretch)
{
    struct Case
    {
        int width, column, height;
    };
    // Point i is 0.01 i + 0.003; a column of ratio R covers floor(R x) .. ceil(R (x + 1)).
    const Case cases[] = {
        { 100, 10, 21 },  // R 1: points 10 and 11, mean 0.108 of 200 rows, truncated
        { 200, 20, 21 },  // R 0.5: points 10 and 11 ...
        { 200, 21, 21 },  // ... read again by the next column
        { 50, 49, 197 },  // R 2: points 98 and 99; 100 doesn't exist
    };
    for (const auto& c : cases)
    {
        auto t = cleanTrack();
        for (size_t i = 0; i < t->waveformPoints.size(); ++i)
            t->waveformPoints[i] = (float) i * 0.01f + 0.003f;
        waveformimage::rebuildHeatMap (*t, allRound(), c.width, 200);
        EXPECT_EQ (drawnHeight (*t, c.column), c.height) << "width " << c.width << ", column " << c.column;
    }

    auto empty = cleanTrack();
    empty->waveformPoints.clear();
    waveformimage::renderWaveformImage (*empty, allRound(), 100, 20);
    EXPECT_FALSE (empty->imageReady);
    EXPECT_EQ (empty->waveformImage, nullptr);
}

TEST (FlaggedRanges, RunsOfRedColumnsPerReadingAndTheAudioTheyJudged)
{
    // 10 s over 100 columns: 100 points and 100 steps of 4800 frames, 0.1 s each. The peak test
    // of column x looks at point x; the window tests of column x end at steps x and x + 1.
    struct Case
    {
        const char* what;
        bool loop, reference;
        int category;
        std::vector<int> outValues;  // of sample peak or of balance, by the category
        std::vector<ColumnRun> runs;
        std::vector<TimeRange> times;
    };
    std::vector<int> tenAndOne { 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 60 };
    std::vector<int> forty;
    for (int i = 40; i < 80; ++i)
        forty.push_back (i);
    const Case cases[] = {
        { "peak, whole width", false, false, peakOnly, tenAndOne, { { 20, 29 }, { 60, 60 } }, { { 2.0, 3.0 }, { 6.0, 6.1 } } },
        { "peak, first region 40..70, counted from its start", true, false, peakOnly, tenAndOne, { { 60, 69 } },
          { { 2.0, 3.0 } } },
        { "balance out from 4 s to 8 s: 30 in a row trip the windows", false, false, balanceOnly, forty,
          { { 69, 80 } }, { { 3.9, 8.1 } } },
        { "reference track", false, true, peakOnly, tenAndOne, {}, {} },
        { "no problem anywhere", false, false, peakOnly, {}, {}, {} },
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE (c.what);
        auto t = cleanTrack();
        t->sampleRate = 48000.0;
        t->numSamples = 480000;
        t->stepLength = 4800;
        t->isReference = c.reference;
        if (c.loop)
        {
            Loop region;
            region.startPixel = 40;
            region.endPixel = 70;
            t->loops = { region };
        }
        auto& series = c.category == peakOnly ? t->wholeFileReadings.samplePeakPoints
                                              : t->wholeFileReadings.balanceSmoothed;
        for (int i : c.outValues)
            series[(size_t) i] = 0.5f;
        t->heatMapCategory = stereo;
        scanForProblems (*t, allRound(), 100);

        const auto kinds = flaggedByKind (*t, allRound(), 100);
        ASSERT_EQ (kinds.size(), 8u);
        EXPECT_EQ (t->heatMapCategory, stereo);
        for (const auto& k : kinds)
        {
            const bool judged = k.kind.category == c.category;
            ASSERT_EQ (k.columns.size(), judged ? c.runs.size() : 0u) << k.kind.key;
            ASSERT_EQ (k.times.size(), k.columns.size());
            for (size_t i = 0; i < k.columns.size(); ++i)
            {
                EXPECT_EQ (k.columns[i].first, c.runs[i].first) << k.kind.key;
                EXPECT_EQ (k.columns[i].last, c.runs[i].last) << k.kind.key;
                EXPECT_NEAR (k.times[i].start, c.times[i].start, 1e-9);
                EXPECT_NEAR (k.times[i].end, c.times[i].end, 1e-9);
            }
        }
    }
}
