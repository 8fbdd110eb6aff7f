#include "analysis/Track.h"
#include "targets/ProblemScan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

using namespace problemscan;

namespace
{
constexpr float minusInf = -std::numeric_limits<float>::infinity();

const ThresholdPreset& allRound()
{
    static const auto groups = presets::makeFactoryPresetGroups();
    return *presets::findPresetForId (groups, 4);
}

// A stereo track judged against ALL-ROUND with nothing wrong: 100 points, 100 steps and 100
// loudness-range points, one value per column.
std::unique_ptr<Track> cleanTrack (int numChannels = 2)
{
    auto t = std::make_unique<Track> (nullptr);
    auto& r = t->wholeFileReadings;
    const size_t n = 100;
    t->numChannels = numChannels;
    t->analysisComplete = true;
    t->waveformPoints.assign (n, 0.5f);
    t->stepCount = (int) n;
    r.samplePeakPoints.assign (n, -3.0f);
    r.truePeakPoints.assign (n, -3.0f);
    r.shortTermPoints.assign (n, -10.0f);
    r.integratedPoints.assign (n, -12.0f);
    r.integratedLUFS = -12.0f;
    if (numChannels == 2)
    {
        r.balanceSmoothed.assign (n, 0.0f);
        r.correlationSmoothed.assign (n, 0.9f);
    }
    r.dynamicRangeSteps.assign (n, 10.0f);
    r.loudnessRange = 6.0f;
    r.loudnessRangePoints.assign (n, 6.0f);
    t->pointsPerPixel = t->stepsPerPixel = t->rangePointsPerPixel = 1.0f;
    return t;
}

enum Fault { peakFault, truePeakFault, shortTermFault, integratedFault, balanceFault, correlationFault,
             dynamicRangeFault, loudnessRangeFault, faultCount };

void inject (Track& t, Fault f)
{
    auto& r = t.wholeFileReadings;
    auto fill = [] (std::vector<float>& v, float x) { std::fill (v.begin(), v.end(), x); };
    switch (f)
    {
        case peakFault:          fill (r.samplePeakPoints, 1.0f); break;
        case truePeakFault:      fill (r.truePeakPoints, 1.0f); break;
        case shortTermFault:     fill (r.shortTermPoints, -2.0f); break;
        case integratedFault:    r.integratedLUFS = -5.0f; fill (r.integratedPoints, -5.0f); break;
        case balanceFault:       fill (r.balanceSmoothed, -0.5f); break;
        case correlationFault:   fill (r.correlationSmoothed, -0.5f); break;
        case dynamicRangeFault:  fill (r.dynamicRangeSteps, 2.0f); break;
        case loudnessRangeFault: r.loudnessRange = 2.0f; fill (r.loudnessRangePoints, 2.0f); break;
        case faultCount:         break;
    }
}
} // namespace

TEST (HeatMapCategories, EachCategoryLooksAtItsOwnReadings)
{
    // Which faults each category 0..12 sees.
    const std::vector<std::vector<Fault>> seen = {
        { peakFault, truePeakFault, shortTermFault, integratedFault, balanceFault, correlationFault,
          dynamicRangeFault, loudnessRangeFault },
        { peakFault, truePeakFault }, { peakFault }, { truePeakFault },
        { shortTermFault, integratedFault }, { shortTermFault }, { integratedFault },
        { balanceFault, correlationFault }, { balanceFault }, { correlationFault },
        { dynamicRangeFault, loudnessRangeFault }, { dynamicRangeFault }, { loudnessRangeFault },
    };

    for (int f = 0; f < faultCount; ++f)
    {
        for (int category = 0; category <= 13; ++category)
        {
            auto t = cleanTrack();
            EXPECT_FALSE (isOutOfRange (*t, allRound(), 50, t->wholeFileReadings)) << "clean, category " << category;

            inject (*t, (Fault) f);
            t->heatMapCategory = category;
            const bool expected = category < 13
                                  && std::find (seen[(size_t) category].begin(), seen[(size_t) category].end(), f)
                                         != seen[(size_t) category].end();
            EXPECT_EQ (isOutOfRange (*t, allRound(), 50, t->wholeFileReadings), expected)
                << "fault " << f << ", category " << category;
        }
    }
}

TEST (HeatMapCategories, OneChannelIsNeverOutOnBalanceOrCorrelation)
{
    auto t = cleanTrack (1);
    t->wholeFileReadings.balanceSmoothed.assign (100, 0.9f);
    t->wholeFileReadings.correlationSmoothed.assign (100, -0.9f);
    for (int category : { 0, 7, 8, 9 })
    {
        t->heatMapCategory = category;
        EXPECT_FALSE (isOutOfRange (*t, allRound(), 50, t->wholeFileReadings));
    }
    EXPECT_FALSE (t->wholeFileReadings.balanceOutOfRange);
    EXPECT_FALSE (t->wholeFileReadings.correlationOutOfRange);
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
    // Only category 0 to 3 looks at true peak; with peak alone it stays untouched.
    EXPECT_EQ (r.maxTruePeakDb, minusInf);

    EXPECT_TRUE (isOutOfRange (*t, allRound(), 11, r));
    EXPECT_GT (r.maxSamplePeakDb, limit);

    t->heatMapCategory = peakAndTruePeak;
    EXPECT_FALSE (isOutOfRange (*t, allRound(), 10, r));
    EXPECT_EQ (r.maxTruePeakDb, -0.5f);
}

TEST (ColumnStretch, ClipsToTheSeriesAndNeverRunsBackwards)
{
    auto s = columnStretch (2.5f, 3, 100);
    EXPECT_EQ (s.start, 7);   // floor(7.5)
    EXPECT_EQ (s.end, 10);    // ceil(10.0)

    s = columnStretch (2.5f, 39, 100);
    EXPECT_EQ (s.start, 97);
    EXPECT_EQ (s.end, 99);    // ceil(100) clipped to n - 1

    s = columnStretch (0.4f, 7, 100);  // fewer points than columns
    EXPECT_EQ (s.start, 2);
    EXPECT_EQ (s.end, 4);             // ceil(3.2000002)

    s = columnStretch (1.0f, 120, 100);
    EXPECT_EQ (s.start, 120);
    EXPECT_EQ (s.end, 120);          // raised to start; the tests find no value there
}

TEST (ShortTermCheck, OnlyTooLoudCountsAndSilencePasses)
{
    AllReadings r;
    r.shortTermPoints = { minusInf, minusInf, -20.0f, -5.0f, -5.0f, -30.0f };

    EXPECT_FALSE (checkShortTerm (0, 2, -9.0f, 3.0f, r));
    EXPECT_EQ (r.maxShortTermLUFS, minusInf);

    EXPECT_FALSE (checkShortTerm (2, 3, -9.0f, 3.0f, r));  // far too quiet is fine
    EXPECT_EQ (r.maxShortTermLUFS, -20.0f);
    EXPECT_FALSE (r.shortTermOutOfRange);

    EXPECT_TRUE (checkShortTerm (2, 6, -9.0f, 3.0f, r));
    EXPECT_EQ (r.maxShortTermLUFS, -5.0f);
    EXPECT_TRUE (r.shortTermOutOfRange);

    // Sticky: a passing stretch afterwards leaves the flag set.
    EXPECT_FALSE (checkShortTerm (5, 6, -9.0f, 3.0f, r));
    EXPECT_TRUE (r.shortTermOutOfRange);

    // An empty stretch takes the value at first; the edge itself passes.
    AllReadings edge;
    edge.shortTermPoints = { -6.0f, -100.0f };
    EXPECT_FALSE (checkShortTerm (0, 0, -9.0f, 3.0f, edge));
    EXPECT_EQ (edge.maxShortTermLUFS, -6.0f);
    EXPECT_TRUE (checkShortTerm (0, 0, -6.5f, 0.0f, edge));
}

TEST (IntegratedCheck, OverallReadingGatesAndEdgesPass)
{
    AllReadings r;
    r.integratedPoints = { -17.0f, -7.0f, -18.0f };

    r.integratedLUFS = -17.0f;  // exactly at target - range: in range, whatever the series says
    EXPECT_FALSE (checkIntegrated (0, 3, -12.0f, 5.0f, r));

    r.integratedLUFS = std::nextafter (-17.0f, -20.0f);
    EXPECT_FALSE (checkIntegrated (0, 2, -12.0f, 5.0f, r));  // both values on the edges
    EXPECT_TRUE (checkIntegrated (0, 3, -12.0f, 5.0f, r));
    EXPECT_FALSE (checkIntegrated (2, 2, -12.0f, 5.0f, r));  // empty stretch

    // With no tolerance: stretches under the target of a file that is over it.
    r.integratedLUFS = -11.0f;
    EXPECT_TRUE (checkIntegrated (2, 3, -12.0f, 0.0f, r));
    EXPECT_FALSE (checkIntegrated (1, 2, -12.0f, 0.0f, r));
    r.integratedLUFS = -12.0f;
    EXPECT_FALSE (checkIntegrated (0, 3, -12.0f, 0.0f, r));
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

    // A run of 30 followed by good values: the loop stops at the first full window.
    AllReadings run;
    run.balanceSmoothed.assign (30, 0.6f);
    run.balanceSmoothed.resize (80, 0.0f);
    EXPECT_TRUE (checkBalance (2, 0, 79, 0.3f, run));
    EXPECT_TRUE (run.balanceOutOfRange);

    // 29 in a row, or a run broken once, isn't enough.
    AllReadings shortRun;
    shortRun.balanceSmoothed.assign (29, -0.6f);
    shortRun.balanceSmoothed.resize (80, 0.0f);
    shortRun.balanceSmoothed[50] = 0.9f;
    EXPECT_FALSE (checkBalance (2, 0, 79, 0.3f, shortRun));
    EXPECT_FALSE (shortRun.balanceOutOfRange);

    // The flag is sticky over later passing runs; first > last leaves it alone.
    EXPECT_FALSE (checkBalance (2, 40, 79, 0.3f, run));
    EXPECT_FALSE (checkBalance (2, 10, 9, 0.3f, run));
    EXPECT_TRUE (run.balanceOutOfRange);
}

TEST (WindowChecks, ConditionsOfEachTest)
{
    AllReadings r;
    // Balance takes the magnitude: values left of centre count.
    r.balanceSmoothed.assign (40, -0.31f);
    EXPECT_TRUE (checkBalance (2, 0, 39, 0.3f, r));
    // Correlation takes no magnitude: strongly positive values are fine, the edge passes.
    r.correlationSmoothed.assign (40, 0.9f);
    EXPECT_FALSE (checkCorrelation (2, 0, 39, -0.2f, r));
    r.correlationSmoothed.assign (40, -0.2f);
    EXPECT_FALSE (checkCorrelation (2, 0, 39, -0.2f, r));
    r.correlationSmoothed.assign (40, -0.21f);
    EXPECT_TRUE (checkCorrelation (2, 0, 39, -0.2f, r));
    // Dynamic range takes the magnitude.
    r.dynamicRangeSteps.assign (40, -8.0f);
    EXPECT_FALSE (checkDynamicRange (0, 39, 5.0f, r));
    // One channel: never out, flags untouched.
    AllReadings mono;
    mono.balanceSmoothed.assign (40, 1.0f);
    mono.correlationSmoothed.assign (40, -1.0f);
    EXPECT_FALSE (checkBalance (1, 0, 39, 0.3f, mono));
    EXPECT_FALSE (checkCorrelation (1, 0, 39, -0.2f, mono));
    EXPECT_FALSE (mono.balanceOutOfRange || mono.correlationOutOfRange);
}

TEST (WindowChecks, DynamicRangeMinimumLeavesTheLastIndexOut)
{
    AllReadings r;
    r.dynamicRangeSteps = { 8.0f, 3.0f, 9.0f, 1.0f };
    checkDynamicRange (0, 3, 5.0f, r);
    EXPECT_EQ (r.minDynamicRange, 3.0f);
    checkDynamicRange (3, 3, 5.0f, r);  // an empty stretch takes the value at first
    EXPECT_EQ (r.minDynamicRange, 1.0f);
    checkDynamicRange (0, 2, 5.0f, r);  // only ever lowered
    EXPECT_EQ (r.minDynamicRange, 1.0f);
}

TEST (LoudnessRangeCheck, ReadingGatesTheSeries)
{
    AllReadings r;
    r.loudnessRangePoints = { 4.0f, 2.0f, 1.0f };

    r.loudnessRange = 3.5f;  // above the limit: passes
    EXPECT_FALSE (checkLoudnessRange (0, 3, 3.0f, r));
    r.loudnessRange = 0.0f;  // too short a file: passes
    EXPECT_FALSE (checkLoudnessRange (0, 3, 3.0f, r));
    r.loudnessRange = 3.0f;  // exactly at the limit goes on to the series
    EXPECT_FALSE (checkLoudnessRange (0, 1, 3.0f, r));
    EXPECT_FALSE (r.loudnessRangeOutOfRange);
    EXPECT_TRUE (checkLoudnessRange (0, 2, 3.0f, r));
    EXPECT_TRUE (r.loudnessRangeOutOfRange);
}

TEST (ScanForProblems, SetsRatiosAndJudgesTheWholeWidth)
{
    auto t = cleanTrack();
    t->heatMapCategory = balanceOnly;
    t->wholeFileReadings.samplePeakPoints[77] = 0.5f;

    scanForProblems (*t, allRound(), 50);
    EXPECT_FLOAT_EQ (t->pointsPerPixel, 2.0f);
    EXPECT_FLOAT_EQ (t->stepsPerPixel, 2.0f);
    EXPECT_FLOAT_EQ (t->rangePointsPerPixel, 2.0f);
    EXPECT_TRUE (t->hasProblems);        // judged with all readings, not the chosen category
    EXPECT_EQ (t->heatMapCategory, balanceOnly);
    EXPECT_EQ (t->wholeFileReadings.maxSamplePeakDb, 0.5f);
    EXPECT_EQ (t->wholeFileReadings.maxShortTermLUFS, -10.0f);
    EXPECT_EQ (t->wholeFileReadings.minDynamicRange, 10.0f);

    t->wholeFileReadings.samplePeakPoints[77] = -3.0f;
    scanForProblems (*t, allRound(), 50);
    EXPECT_FALSE (t->hasProblems);

    auto reference = cleanTrack();
    reference->isReference = true;
    inject (*reference, peakFault);
    scanForProblems (*reference, allRound(), 100);
    EXPECT_FALSE (reference->hasProblems);
}

TEST (ScanForProblems, OnlyTheFirstRegionIsJudgedCountedFromItsStart)
{
    auto t = cleanTrack();
    Loop first;
    first.startPixel = 40;
    first.endPixel = 50;
    Loop second;
    second.startPixel = 0;
    second.endPixel = 99;
    t->loops = { first, second };

    // Columns 40..49 become 0..9: a fault at point 60 lies outside them.
    t->wholeFileReadings.samplePeakPoints[60] = 2.0f;
    scanForProblems (*t, allRound(), 100);
    EXPECT_FALSE (t->hasProblems);

    t->wholeFileReadings.samplePeakPoints[5] = 2.0f;
    scanForProblems (*t, allRound(), 100);
    EXPECT_TRUE (t->hasProblems);
}

TEST (ScanForProblems, FlagsStaySetUnderALenientPreset)
{
    auto t = cleanTrack();
    t->wholeFileReadings.shortTermPoints[20] = -5.0f;  // over ALL-ROUND's -6, under COMPOSER's -4
    scanForProblems (*t, allRound(), 100);
    EXPECT_TRUE (t->wholeFileReadings.shortTermOutOfRange);

    const auto groups = presets::makeFactoryPresetGroups();
    scanForProblems (*t, *presets::findPresetForId (groups, 10), 100);
    EXPECT_FALSE (t->hasProblems);
    EXPECT_TRUE (t->wholeFileReadings.shortTermOutOfRange);
}

TEST (WholeTrackTests, RunOnFinishedTracksOverWholeSeries)
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

    // They judge currentReadings.
    t->loopReadings.dynamicRangeSteps.assign (40, 1.0f);
    t->currentReadings = &t->loopReadings;
    runWholeTrackTests (*t, allRound());
    EXPECT_TRUE (t->loopReadings.dynamicRangeOutOfRange);
}
