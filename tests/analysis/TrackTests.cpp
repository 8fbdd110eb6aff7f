#include "analysis/Model.h"
#include "analysis/Track.h"

#include <gtest/gtest.h>

TEST (TrackStem, TakesTheTextBetweenLastSeparatorAndLastDot)
{
    EXPECT_EQ (Track::stemOf ("/music/mixes/Song One.wav"), "SONG ONE");
    EXPECT_EQ (Track::stemOf ("C:\\mixes\\take.2.flac"), "TAKE.2");
    EXPECT_EQ (Track::stemOf ("plain.mp3"), "PLAIN");
    // No dot: from after the separator to the end.
    EXPECT_EQ (Track::stemOf ("/music/master"), "MASTER");
    // A dot in a folder name with none in the file name: the stem runs to the end.
    EXPECT_EQ (Track::stemOf ("/music/v1.2/master"), "MASTER");
    EXPECT_EQ (Track::stemOf ("C:\\v1.2\\master"), "MASTER");
    // A dot right after the separator is not a stem boundary.
    EXPECT_EQ (Track::stemOf ("/music/.hidden"), ".HIDDEN");
    EXPECT_EQ (Track::stemOf (".wav"), ".WAV");
    EXPECT_EQ (Track::stemOf ("noext"), "NOEXT");
    EXPECT_EQ (Track::stemOf (""), "");
}

TEST (TrackIdentity, ClockIdIsMillisecondsSince1970)
{
    const auto before = juce::Time::currentTimeMillis();
    const auto id = Track::clockId();
    const auto after = juce::Time::currentTimeMillis();
    EXPECT_GE (id, before - 1);
    EXPECT_LE (id, after + 1);
}

TEST (TrackCopy, ACopyIsALoadRequestHoldingOnlyPathReferenceAndModel)
{
    Track original (nullptr);
    original.filePath = "/x/y.wav";
    original.isReference = true;
    original.id = 1234;
    original.numSamples = 99;
    original.leftChannel.reset (new float[4]());
    original.wholeFileReadings.integratedLUFS = -9.0f;
    original.waveformPoints = { 0.1f, 0.2f };

    const Track copy (original);
    EXPECT_EQ (copy.filePath, "/x/y.wav");
    EXPECT_TRUE (copy.isReference);
    EXPECT_EQ (copy.id, 0);
    EXPECT_EQ (copy.numSamples, 0);
    EXPECT_EQ (copy.leftChannel, nullptr);
    EXPECT_TRUE (copy.waveformPoints.empty());
    EXPECT_TRUE (std::isinf (copy.wholeFileReadings.integratedLUFS));
    EXPECT_EQ (copy.currentReadings, &copy.wholeFileReadings);
}

TEST (TrackRegions, LookupsToleranceAndRemovalOrder)
{
    Track t (nullptr);
    t.addRegion ({ 1, 10, 14 });
    t.addRegion ({ 2, 20, 24 });
    t.addRegion ({ 3, 22, 30 });

    // One pixel of tolerance on both sides for regionAt.
    ASSERT_NE (t.regionAt (9), nullptr);
    EXPECT_EQ (t.regionAt (9)->id, 1);
    EXPECT_EQ (t.regionAt (15)->id, 1);
    EXPECT_EQ (t.regionAt (16), nullptr);
    EXPECT_EQ (t.regionAt (8), nullptr);
    // First match wins.
    EXPECT_EQ (t.regionAt (23)->id, 2);

    // The second lookup has no tolerance and skips one id.
    EXPECT_EQ (t.regionAtExcept (9, 0), nullptr);
    EXPECT_EQ (t.regionAtExcept (23, 2)->id, 3);
    EXPECT_EQ (t.regionAtExcept (23, 99)->id, 2);

    t.removeRegion (2);
    ASSERT_EQ (t.loops.size(), 2u);
    EXPECT_EQ (t.loops[0].id, 1);
    EXPECT_EQ (t.loops[1].id, 3);
    t.removeRegion (42);
    EXPECT_EQ (t.loops.size(), 2u);
}

TEST (TrackReadings, ClearRestoresStartValuesAndKeepsMemory)
{
    AllReadings r;
    r.reserve();
    for (int i = 0; i < 100; ++i)
    {
        r.shortTermPoints.push_back (-10.0f);
        r.balanceSteps.push_back (0.5f);
    }
    r.balanceRing[3] = 0.25f;
    r.ringFilled = true;
    r.maxShortTermLUFS = -3.0f;
    r.minDynamicRange = 4.0f;
    r.loudnessRange = 7.0f;
    r.samplePeak = 0.9f;
    r.shortTermOutOfRange = true;
    const auto capacity = r.shortTermPoints.capacity();

    r.clear();
    EXPECT_TRUE (r.shortTermPoints.empty());
    EXPECT_TRUE (r.balanceSteps.empty());
    EXPECT_EQ (r.shortTermPoints.capacity(), capacity);
    EXPECT_GE (capacity, 2000u);
    EXPECT_FLOAT_EQ (r.balanceRing[3], 1.0f);
    EXPECT_FALSE (r.ringFilled);
    EXPECT_TRUE (std::isinf (r.maxShortTermLUFS) && r.maxShortTermLUFS < 0);
    EXPECT_TRUE (std::isinf (r.minDynamicRange) && r.minDynamicRange > 0);
    EXPECT_EQ (r.loudnessRange, 0.0f);
    EXPECT_EQ (r.samplePeak, 0.0f);
    EXPECT_FALSE (r.shortTermOutOfRange);
}

TEST (TrackText, DisplayableTextAllowsLatinAndGeneralPunctuationOnly)
{
    EXPECT_TRUE (Model::isDisplayableText ("Song – \u00e9t\u00e9"));
    EXPECT_TRUE (Model::isDisplayableText (juce::String::charToString ((juce::juce_wchar) 590)));
    EXPECT_FALSE (Model::isDisplayableText (juce::String::charToString ((juce::juce_wchar) 591)));
    EXPECT_TRUE (Model::isDisplayableText (juce::String::charToString ((juce::juce_wchar) 8399)));
    EXPECT_FALSE (Model::isDisplayableText (juce::String::charToString ((juce::juce_wchar) 8400)));
    EXPECT_FALSE (Model::isDisplayableText (juce::String::charToString ((juce::juce_wchar) 0x65e5)));
}
