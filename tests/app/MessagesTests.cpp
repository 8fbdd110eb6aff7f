#include "app/LevelCheckApplication.h"
#include "app/Messages.h"

#include <gtest/gtest.h>

using namespace messages;

namespace
{
// A 64-bit track id beyond the 32-bit range, as the clock gives them.
constexpr int64_t bigId = 1763700000123LL;
} // namespace

TEST (Messages, LoadMessagesCarryFlagThenIdReadFromTheFlagsPosition)
{
    const juce::String display = juce::String (trackInitialLoadComplete) + "0" + juce::String (bigId);
    const auto load = parseLoadMessage (display, trackInitialLoadComplete);
    ASSERT_TRUE (load.has_value());
    EXPECT_FALSE (load->reference);
    EXPECT_EQ (load->trackId, bigId);

    const juce::String reference = juce::String (trackWaveformComplete) + "1" + juce::String (bigId);
    const auto ref = parseLoadMessage (reference, trackWaveformComplete);
    ASSERT_TRUE (ref.has_value());
    EXPECT_TRUE (ref->reference);

    // The two prefixes are told apart.
    EXPECT_FALSE (parseLoadMessage (display, trackWaveformComplete).has_value());
    EXPECT_FALSE (parseLoadMessage ("UPDATE:", trackInitialLoadComplete).has_value());
}

TEST (Messages, MainDisplayDropsReferenceTracksAndIdsBelowOne)
{
    const juce::String prefix = trackInitialLoadComplete;
    EXPECT_EQ (displayTrackId (prefix + "0" + juce::String (bigId), trackInitialLoadComplete), bigId);
    EXPECT_FALSE (displayTrackId (prefix + "1" + juce::String (bigId), trackInitialLoadComplete).has_value());
    EXPECT_FALSE (displayTrackId (prefix + "0", trackInitialLoadComplete).has_value());
    EXPECT_FALSE (displayTrackId (prefix, trackInitialLoadComplete).has_value());
    EXPECT_FALSE (displayTrackId (prefix + "0-5", trackInitialLoadComplete).has_value());
    EXPECT_FALSE (displayTrackId (prefix + "junk", trackInitialLoadComplete).has_value());
}

TEST (Messages, TheModelsOwnLoadMessagesParseBack)
{
    // The texts the Model builds in its load path, with its own prefixes.
    for (const char* prefix : { Model::initialLoadCompleteMessage, Model::waveformCompleteMessage })
    {
        const auto text = juce::String (prefix) + "0" + juce::String (bigId);
        EXPECT_EQ (displayTrackId (text, prefix), bigId) << text;
    }
}

TEST (Messages, TrackIdAfterPrefixTreatsMissingOrBadPayloadAsNoId)
{
    EXPECT_EQ (trackIdAfter ("TRACK_DELETE:" + juce::String (bigId), trackDelete), bigId);
    EXPECT_EQ (trackIdAfter ("TRACK_DELETE:", trackDelete), 0);
    EXPECT_EQ (trackIdAfter ("TRACK_DELETE:abc", trackDelete), 0);
    EXPECT_EQ (trackIdAfter ("TRACK_DELETE:0", trackDelete), 0);
    EXPECT_EQ (trackIdAfter ("FEEDBACK:", messages::feedback), 0);
    EXPECT_EQ (trackIdAfter ("FEEDBACK:42", messages::feedback), 42);
    EXPECT_EQ (trackIdAfter ("FEEDBACK:42", trackDelete), 0);
}

TEST (Messages, MainButtonLineClickReadsFixedPositions)
{
    const auto plain = parseMainButton (mainButtonLineMessage (false, true, 12));
    ASSERT_TRUE (plain.has_value());
    EXPECT_FALSE (plain->modifier);
    EXPECT_TRUE (plain->position2Set);
    EXPECT_EQ (plain->kindText, "12");
    EXPECT_EQ (plain->kind, 12);

    const auto modified = parseMainButton (mainButtonLineMessage (true, false, 3));
    ASSERT_TRUE (modified.has_value());
    EXPECT_TRUE (modified->modifier);
    EXPECT_FALSE (modified->position2Set);
    EXPECT_EQ (modified->kind, 3);

    EXPECT_EQ (mainButtonLineMessage (true, false, 3), "MAIN_BUTTON:1~0~3");
}

TEST (Messages, MainButtonBodyClickHasNoKindAtPositionFour)
{
    // A body click puts the kind at position 2; with two digits the second lands at 3 and
    // position 4 stays empty, so the body always takes the toggling path.
    for (int kind : { 1, 4, 7, 10 })
    {
        const auto text = mainButtonBodyMessage (false, kind);
        const auto click = parseMainButton (text);
        ASSERT_TRUE (click.has_value()) << text;
        EXPECT_TRUE (click->position2Set) << text;
        EXPECT_TRUE (click->kindText.isEmpty()) << text;
        EXPECT_EQ (click->kind, 0) << text;
    }
    EXPECT_EQ (mainButtonBodyMessage (true, 10), "MAIN_BUTTON:1~10");
    EXPECT_FALSE (parseMainButton ("SELECT_ALL:4~1").has_value());

    // A truncated text reads as zeros past its end.
    const auto shortText = parseMainButton ("MAIN_BUTTON:");
    ASSERT_TRUE (shortText.has_value());
    EXPECT_FALSE (shortText->modifier);
    EXPECT_FALSE (shortText->position2Set);
}

TEST (Messages, SelectAllCarriesTheKindFromPositionFour)
{
    const auto line = parseMainButton (mainButtonLineMessage (true, false, 9));
    ASSERT_TRUE (line.has_value());
    const auto relay = selectAllMessage (line->kindText, bigId);
    EXPECT_EQ (relay, "SELECT_ALL:9~" + juce::String (bigId));
    EXPECT_EQ (parseSelectAllKind (relay), 9);

    // From a body click the kind is empty and selects nothing.
    EXPECT_EQ (parseSelectAllKind (selectAllMessage ({}, bigId)), 0);
    EXPECT_FALSE (parseSelectAllKind ("MAIN_BUTTON:1~9").has_value());
}

TEST (Messages, TrackNameListRowsParse)
{
    EXPECT_EQ (rowAfter ("SELECTED3", selected), 3);
    EXPECT_EQ (rowAfter ("HIDE12", hide), 12);
    EXPECT_EQ (rowAfter ("HOVER-1", hover), -1);
    EXPECT_FALSE (rowAfter ("UNSELECTED", selected).has_value());
    EXPECT_FALSE (rowAfter ("HIDE", hide).has_value());
    EXPECT_FALSE (rowAfter ("HOVERx", hover).has_value());
}

TEST (Messages, KeywordsAreComparedWholeAndPrefixesByStart)
{
    EXPECT_TRUE (isKeyword ("CLOSE_LOUDNESSMATCH", closeLoudnessMatch));
    EXPECT_FALSE (isKeyword ("CLOSE_LOUDNESSMATCH ", closeLoudnessMatch));
    EXPECT_TRUE (isKeyword ("UPDATE:", update));
    EXPECT_FALSE (isKeyword ("UPDATE:x", update));
    EXPECT_TRUE (hasPrefix ("LOAD-STATUS:Loading A", loadStatus));
    EXPECT_FALSE (hasPrefix ("LOAD-STATUS", loadStatus));
}

TEST (Messages, WindowTitleJoinsApplicationAndSessionName)
{
    EXPECT_EQ (windowTitle ("ORVANE", "mix review.bws"), "ORVANE - mix review.bws");
}

TEST (CommandLine, SessionPathIsCutAfterTheFirstBwsWithoutQuotes)
{
    using App = LevelCheckApplication;
    EXPECT_EQ (App::sessionPathFromCommandLine ("\"/home/me/My Sessions/a.bws\""), "/home/me/My Sessions/a.bws");
    EXPECT_EQ (App::sessionPathFromCommandLine ("/tmp/a.bws /tmp/b.bws"), "/tmp/a.bws");
    EXPECT_EQ (App::sessionPathFromCommandLine ("/tmp/a.bwsx"), "/tmp/a.bws");
    EXPECT_EQ (App::sessionPathFromCommandLine ("/tmp/a.wav"), "");
    EXPECT_EQ (App::sessionPathFromCommandLine ("/tmp/A.BWS"), "");
    EXPECT_EQ (App::sessionPathFromCommandLine (""), "");
}
