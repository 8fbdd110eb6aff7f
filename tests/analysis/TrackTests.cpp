#include "analysis/Model.h"
#include "analysis/Track.h"

#include <gtest/gtest.h>

// The upper-case stem between the last separator and the last dot; a dot in a folder name
// or right after the separator is no stem boundary.
TEST (Track, StemIsTheTextBetweenLastSeparatorAndLastDot)
{
    const std::pair<const char*, const char*> cases[] = {
        { "/music/mixes/Song One.wav", "SONG ONE" }, { "C:\\mixes\\take.2.flac", "TAKE.2" }, { "plain.mp3", "PLAIN" },
        { "/music/master", "MASTER" },               { "/music/v1.2/master", "MASTER" },    { "C:\\v1.2\\master", "MASTER" },
        { "/music/.hidden", ".HIDDEN" },             { ".wav", ".WAV" },                    { "noext", "NOEXT" }, { "", "" },
    };
    for (const auto& [path, stem] : cases)
        EXPECT_EQ (Track::stemOf (path), stem) << path;
}

TEST (Track, ClockIdIsMillisecondsSince1970)
{
    const auto before = juce::Time::currentTimeMillis();
    const auto id = Track::clockId();
    EXPECT_GE (id, before - 1);
    EXPECT_LE (id, juce::Time::currentTimeMillis() + 1);
}

// A copy is a load request: path, reference flag and model, nothing measured.
TEST (Track, ACopyHoldsOnlyPathReferenceAndModel)
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

// regionAt allows a pixel either side and takes the first match; regionAtExcept allows none
// and passes over one id.
TEST (Track, RegionLookupsAndRemoval)
{
    Track t (nullptr);
    t.addRegion ({ 1, 10, 14 });
    t.addRegion ({ 2, 20, 24 });
    t.addRegion ({ 3, 22, 30 });
    const auto idAt = [] (const Loop* loop) { return loop == nullptr ? int64_t (-1) : loop->id; };
    for (const auto& [pixel, id] : { std::pair<int, int64_t> { 9, 1 }, { 15, 1 }, { 16, -1 }, { 8, -1 }, { 23, 2 } })
        EXPECT_EQ (idAt (t.regionAt (pixel)), id) << pixel;
    EXPECT_EQ (idAt (t.regionAtExcept (9, 0)), -1);
    EXPECT_EQ (idAt (t.regionAtExcept (23, 2)), 3);
    EXPECT_EQ (idAt (t.regionAtExcept (23, 99)), 2);

    t.removeRegion (2);
    t.removeRegion (42);
    ASSERT_EQ (t.loops.size(), 2u);
    EXPECT_EQ (t.loops[0].id, 1);
    EXPECT_EQ (t.loops[1].id, 3);
}

TEST (Track, ClearingReadingsRestoresStartValuesAndKeepsMemory)
{
    AllReadings r;
    r.reserve();
    r.shortTermPoints.assign (100, -10.0f);
    r.balanceSteps.assign (100, 0.5f);
    r.balanceRing[3] = 0.25f;
    r.ringFilled = true;
    r.maxShortTermLUFS = -3.0f;
    r.minDynamicRange = 4.0f;
    r.loudnessRange = 7.0f;
    r.samplePeak = 0.9f;
    r.shortTermOutOfRange = true;
    const auto capacity = r.shortTermPoints.capacity();

    r.clear();
    EXPECT_TRUE (r.shortTermPoints.empty() && r.balanceSteps.empty());
    EXPECT_EQ (r.shortTermPoints.capacity(), capacity);
    EXPECT_GE (capacity, 2000u);
    EXPECT_FLOAT_EQ (r.balanceRing[3], 1.0f);
    EXPECT_FALSE (r.ringFilled || r.shortTermOutOfRange);
    EXPECT_TRUE (std::isinf (r.maxShortTermLUFS) && r.maxShortTermLUFS < 0);
    EXPECT_TRUE (std::isinf (r.minDynamicRange) && r.minDynamicRange > 0);
    EXPECT_EQ (r.loudnessRange, 0.0f);
    EXPECT_EQ (r.samplePeak, 0.0f);
}

// Latin up to U+024E and general punctuation up to U+20CF are shown; nothing else is.
TEST (Track, DisplayableTextIsLatinAndGeneralPunctuationOnly)
{
    EXPECT_TRUE (Model::isDisplayableText ("Song \u2013 \u00e9t\u00e9"));
    for (const auto& [c, shown] : { std::pair<int, bool> { 590, true }, { 591, false }, { 8399, true }, { 8400, false }, { 0x65e5, false } })
        EXPECT_EQ (Model::isDisplayableText (juce::String::charToString ((juce::juce_wchar) c)), shown) << c;
}
