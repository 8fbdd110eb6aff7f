#include "targets/TextExport.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

using namespace textexport;

namespace
{
std::vector<uint8_t> bytesOf (const juce::MemoryBlock& block)
{
    auto* p = static_cast<const uint8_t*> (block.getData());
    return { p, p + block.getSize() };
}

std::vector<uint8_t> bytesOf (const juce::File& file)
{
    juce::MemoryBlock block;
    file.loadFileAsData (block);
    return bytesOf (block);
}

// What an ASCII text looks like in the file, mark included.
std::vector<uint8_t> utf16 (const std::string& ascii)
{
    std::vector<uint8_t> out { 0xff, 0xfe };
    for (char c : ascii)
        out.insert (out.end(), { (uint8_t) c, 0 });
    return out;
}
} // namespace

TEST (TextExport, OutputTypesAndLineEnds)
{
    const Entry e { "TRACK", "readout", "feedback" };
    EXPECT_EQ (entryText (e, readoutsAndFeedback), "TRACK\r\nreadoutfeedback\r\n");
    EXPECT_EQ (entryText (e, readoutsOnly), "TRACK\r\nreadout\r\n");
    EXPECT_EQ (entryText (e, feedbackOnly), "TRACK\r\nfeedback\r\n");
    EXPECT_EQ (entryText (e, 3), "TRACK\r\n\r\n");
    EXPECT_EQ (entryText (e, -1), "TRACK\r\n\r\n");

    // Every line end of the tracks' texts gets a second carriage return.
    const std::vector<Entry> two { { "FIRST", "\nR1\n", "F1\n\nF2" }, { "SECOND", "R2", "F3" } };
    EXPECT_EQ (buildReportText (two, readoutsAndFeedback), "FIRST\r\r\n\r\nR1\r\nF1\r\n\r\nF2\r\r\nSECOND\r\r\nR2F3\r\r\n");
    EXPECT_EQ (buildReportText (two, feedbackOnly), "FIRST\r\r\nF1\r\n\r\nF2\r\r\nSECOND\r\r\nF3\r\r\n");
    EXPECT_EQ (buildReportText ({}, readoutsOnly), "");
}

TEST (TextExport, EncodesOneLittleEndianUnitPerCharacter)
{
    juce::String text ("A");
    for (juce::juce_wchar c : { 0xb1, 0x2019, 0x1f600 })  // the last beyond the basic plane: cut to 16 bits
        text += juce::String::charToString (c);
    text += "\r\n";
    const std::vector<uint8_t> expected { 0xff, 0xfe, 0x41, 0x00, 0xb1, 0x00, 0x19, 0x20,
                                          0x00, 0xf6, 0x0d, 0x00, 0x0a, 0x00 };
    EXPECT_EQ (bytesOf (encodeUtf16 (text)), expected);
    EXPECT_EQ (bytesOf (encodeUtf16 ({})), utf16 (""));
}

TEST (TextExport, WritesTheReportUnderAPresetAndTimeName)
{
    EXPECT_EQ (timeStamp (juce::Time (2024, 0, 5, 7, 3, 9)), "7-3-9");
    EXPECT_EQ (reportFileName ("EBU R 128", juce::Time (2024, 5, 1, 23, 59, 0)), "orvane-readings_EBU R 128_23-59-0.txt");

    testaudio::TempFolder folder;
    const juce::Time time (2023, 10, 20, 14, 5, 30);
    const auto result = writeReport ({ { "SONG", "\nR\n", "F" } }, readoutsAndFeedback, "CLUB", folder.path(), time);
    EXPECT_TRUE (result.written);
    EXPECT_EQ (result.file, folder.file ("orvane-readings_CLUB_14-5-30.txt"));
    EXPECT_EQ (bytesOf (result.file), utf16 ("SONG\r\r\n\r\nR\r\nF\r\r\n"));

    // With no tracks the file holds the mark alone.
    const auto empty = writeReport ({}, readoutsOnly, "CD", folder.path(), time);
    EXPECT_TRUE (empty.written);
    EXPECT_EQ (bytesOf (empty.file), utf16 (""));

    // A slash in the preset name aims into a folder that doesn't exist.
    const auto slashed = writeReport ({ { "SONG", "R", "F" } }, readoutsOnly, "AGCOM 219/09/CSP", folder.path(),
                                      juce::Time (2023, 10, 20, 9, 0, 1));
    EXPECT_FALSE (slashed.written);
    EXPECT_EQ (slashed.file, folder.path().getChildFile ("orvane-readings_AGCOM 219").getChildFile ("09")
                                 .getChildFile ("CSP_9-0-1.txt"));
    EXPECT_FALSE (slashed.file.exists());
}
