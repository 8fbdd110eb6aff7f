#include "analysis/AudioFileCheck.h"
#include "analysis/FFmpegAudioFormat.h"
#include "analysis/MpegAudioFrames.h"
#include "support/FfmpegTestFiles.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

using ffmpegtest::sameSamples;

#define REQUIRE_FFMPEG_TOOL()                                                  \
    if (! ffmpegtest::toolAvailable())                                         \
    GTEST_SKIP() << "the ffmpeg tool is not installed; no files to decode"

TEST (MpegAudioFrames, HeadersGiveRateChannelsAndFrameSize)
{
    struct Row
    {
        juce::uint32 header;
        bool valid;
        int sampleRate, numChannels, frameSize, samplesPerFrame;
    };
    const Row rows[] = {
        { 0xfffb9064, true, 44100, 2, 417, 1152 },  // MPEG-1, 128 kbit/s, joint stereo
        { 0xfffb9264, true, 44100, 2, 418, 1152 },  // the same, padded
        { 0xfffbe4c4, true, 48000, 1, 960, 1152 },  // 320 kbit/s, mono
        { 0xfffb1800, true, 32000, 2, 144, 1152 },  // 32 kbit/s at 32 kHz
        { 0xfff34040, true, 22050, 2, 104, 576 },   // MPEG-2, 32 kbit/s
        { 0xffe318c4, true, 8000, 1, 72, 576 },     // MPEG-2.5, 8 kbit/s, mono
        { 0xfffb0064, false, 0, 0, 0, 0 },          // free format
        { 0xfffbf064, false, 0, 0, 0, 0 },          // bit rate index 15
        { 0xfffb9c64, false, 0, 0, 0, 0 },          // rate index 3
        { 0xfffd9064, false, 0, 0, 0, 0 },          // layer II
        { 0xffeb9064, false, 0, 0, 0, 0 },          // reserved version
        { 0xff7b9064, false, 0, 0, 0, 0 },          // no sync
    };
    for (const auto& row : rows)
    {
        const auto h = mpegaudio::decodeHeader (row.header);
        SCOPED_TRACE (juce::String::toHexString ((juce::int64) row.header).toStdString());
        ASSERT_EQ (h.valid, row.valid);
        if (! row.valid)
            continue;
        EXPECT_EQ (h.sampleRate, row.sampleRate);
        EXPECT_EQ (h.numChannels, row.numChannels);
        EXPECT_EQ (h.frameSize, row.frameSize);
        EXPECT_EQ (h.samplesPerFrame, row.samplesPerFrame);
    }
}

namespace
{
// What is done to an encoded file before it is read.
enum class Edit
{
    none,
    junkInFront,   // bytes no frame starts with, before the first frame
    cutAtFrame,    // ends on a frame boundary halfway: shorter than its Xing count
    cutMidFrame,   // ends inside a frame
    joined,        // two files one after the other
    brokenHeader,  // one frame's header zeroed
    apeTailWithFF, // an APE tag holding a byte a frame could start with
    secondFrameMode, // the second frame in plain stereo, the rest joint: FFmpeg starts later
    footerFlag,    // a version 4 ID3v2 tag that claims a footer it does not have
    coverArt,      // a PNG in the ID3v2 tag
};

struct Mp3Case
{
    const char* name;
    double rate;
    int channels;
    double seconds;
    juce::StringArray options;
    Edit edit;
    bool walked; // whether the header walk takes the file
};

void PrintTo (const Mp3Case& c, std::ostream* out) { *out << c.name; }

std::optional<mpegaudio::Frames> walk (const juce::File& file)
{
    auto in = file.createInputStream();
    return in != nullptr ? mpegaudio::findFrames (*in) : std::nullopt;
}

bool makeFile (const Mp3Case& c, const juce::File& file)
{
    const auto signal = ffmpegtest::programme (c.rate, c.channels, (int) (c.seconds * c.rate), 7);
    if (c.edit == Edit::coverArt)
    {
        const auto source = file.getSiblingFile ("cover-source.wav");
        juce::StringArray args { "-i", source.getFullPathName(), "-f", "lavfi", "-i", "color=c=red:s=64x64:d=1",
                                 "-map", "0:a", "-map", "1:v", "-frames:v", "1", "-c:v", "png",
                                 "-disposition:v", "attached_pic" };
        args.addArray (c.options);
        args.add (file.getFullPathName());
        return testaudio::writeWav (source, signal, 32) && ffmpegtest::runTool (args);
    }
    if (! ffmpegtest::encode (signal, file, c.options))
        return false;

    juce::MemoryBlock bytes;
    if (! file.loadFileAsData (bytes))
        return false;
    const auto frames = walk (file);
    auto frameAt = [&] (size_t k) { return frames->frames[k].filePos; };
    switch (c.edit)
    {
        case Edit::none:
        case Edit::coverArt: return true;
        case Edit::junkInFront:
        {
            juce::MemoryBlock junk;
            for (int i = 0; i < 300; ++i)
                junk.append ("ab!?", 4); // ("junk" would be taken for a QuickTime atom)
            junk.append (bytes.getData(), bytes.getSize());
            bytes = junk;
            break;
        }
        case Edit::cutAtFrame:
        case Edit::cutMidFrame:
            if (! frames)
                return false;
            bytes.setSize ((size_t) frameAt (frames->frames.size() / 2) + (c.edit == Edit::cutMidFrame ? 100 : 0));
            break;
        case Edit::joined:
        {
            const auto second = file.getSiblingFile ("second.mp3");
            juce::MemoryBlock more;
            if (! ffmpegtest::encode (ffmpegtest::programme (c.rate, c.channels, (int) (c.seconds * c.rate), 8), second, c.options)
                || ! second.loadFileAsData (more))
                return false;
            bytes.append (more.getData(), more.getSize());
            break;
        }
        case Edit::brokenHeader:
            if (! frames)
                return false;
            std::memset (static_cast<char*> (bytes.getData()) + frameAt (frames->frames.size() / 3), 0, 4);
            break;
        case Edit::secondFrameMode:
            if (! frames)
                return false;
            static_cast<juce::uint8*> (bytes.getData())[frameAt (1) + 3] &= 0x3f;
            break;
        case Edit::footerFlag:
            static_cast<juce::uint8*> (bytes.getData())[5] |= 0x10;
            break;
        case Edit::apeTailWithFF:
        {
            bytes.append ("APETAGEX", 8);
            const juce::uint8 rest[24] = { 0xd0, 0x07, 0, 0, 0xff, 0xfb, 0x90, 0x64 };
            bytes.append (rest, sizeof (rest));
            break;
        }
    }
    return file.replaceWithData (bytes.getData(), bytes.getSize());
}

std::unique_ptr<juce::AudioFormatReader> open (const juce::File& file, bool findMpegFramesItself)
{
    FFmpegAudioFormat format (findMpegFramesItself);
    return std::unique_ptr<juce::AudioFormatReader> (format.createReaderFor (file.createInputStream().release(), true));
}

std::optional<audiofile::Fault> faultOf (const juce::AudioFormatReader& reader)
{
    return dynamic_cast<const audiofile::FaultReporting&> (reader).fault();
}

class Mp3File : public ::testing::TestWithParam<Mp3Case>
{
};
} // namespace

// A file the header walk takes reads exactly as through FFmpeg's demuxer: the same length,
// trims, promised length (so the same fault) and samples, in order and from anywhere. Files
// it refuses go to the demuxer, as do all files when the walk is switched off.
TEST_P (Mp3File, ReadsTheSameWhicheverWayItsFramesAreFound)
{
    REQUIRE_FFMPEG_TOOL();
    const auto& c = GetParam();
    testaudio::TempFolder temp;
    const auto file = temp.file (juce::String (c.name) + ".mp3");
    ASSERT_TRUE (makeFile (c, file));
    EXPECT_EQ (walk (file).has_value(), c.walked);

    const auto walked = open (file, true), demuxed = open (file, false);
    ASSERT_NE (demuxed, nullptr);
    ASSERT_NE (walked, nullptr);
    EXPECT_EQ (walked->sampleRate, c.rate);
    EXPECT_EQ ((int) walked->numChannels, c.channels);
    EXPECT_EQ (walked->sampleRate, demuxed->sampleRate);
    EXPECT_EQ (walked->numChannels, demuxed->numChannels);
    EXPECT_EQ (walked->lengthInSamples, demuxed->lengthInSamples);

    const auto samples = ffmpegtest::readAll (*demuxed);
    EXPECT_TRUE (sameSamples (samples, ffmpegtest::readAll (*walked)));
    for (const double at : { 0.37, 0.81, 0.05 })
    {
        const auto start = (juce::int64) (at * (double) walked->lengthInSamples);
        EXPECT_TRUE (sameSamples (ffmpegtest::readRange (*demuxed, start, 3000), ffmpegtest::readRange (*walked, start, 3000)))
            << "at " << start;
    }

    // Faults are asked after reading: a decoder's findings count too.
    const auto a = faultOf (*walked), b = faultOf (*demuxed);
    ASSERT_EQ (a.has_value(), b.has_value());
    if (a)
    {
        EXPECT_EQ (a->kind, b->kind);
        EXPECT_EQ (a->frame, b->frame);
        EXPECT_EQ (a->promised, b->promised);
    }
    if (c.edit == Edit::cutAtFrame)
        EXPECT_TRUE (a.has_value() && a->kind == audiofile::Fault::Kind::truncated && a->promised > a->frame);
}

INSTANTIATE_TEST_SUITE_P (
    MpegAudioFrames, Mp3File,
    ::testing::Values (
        Mp3Case { "Cbr44", 44100, 2, 3.0, { "-c:a", "libmp3lame", "-b:a", "128k" }, Edit::none, true },
        Mp3Case { "Vbr48", 48000, 2, 3.0, { "-c:a", "libmp3lame", "-q:a", "2" }, Edit::none, true },
        Mp3Case { "Cbr32Mono", 32000, 1, 2.0, { "-c:a", "libmp3lame", "-b:a", "48k" }, Edit::none, true },
        Mp3Case { "Mpeg2Mono", 22050, 1, 2.0, { "-c:a", "libmp3lame", "-b:a", "32k" }, Edit::none, true },
        Mp3Case { "Mpeg25", 11025, 2, 3.0, { "-c:a", "libmp3lame", "-q:a", "5" }, Edit::none, true },
        Mp3Case { "LowRateMono", 8000, 1, 3.0, { "-c:a", "libmp3lame", "-b:a", "8k" }, Edit::none, true },
        Mp3Case { "NoXingFrame", 44100, 2, 2.0, { "-c:a", "libmp3lame", "-b:a", "96k", "-write_xing", "0" }, Edit::none, true },
        Mp3Case { "Id3v24AndId3v1", 44100, 2, 2.0,
                  { "-c:a", "libmp3lame", "-id3v2_version", "4", "-metadata", "title=Walk", "-write_id3v1", "1" }, Edit::none, true },
        Mp3Case { "CoverArt", 44100, 2, 2.0, { "-c:a", "libmp3lame", "-id3v2_version", "3" }, Edit::coverArt, true },
        Mp3Case { "CutAtAFrame", 44100, 2, 3.0, { "-c:a", "libmp3lame", "-q:a", "4" }, Edit::cutAtFrame, true },
        Mp3Case { "Joined", 44100, 2, 2.0, { "-c:a", "libmp3lame", "-b:a", "128k", "-id3v2_version", "0" }, Edit::joined, true },
        Mp3Case { "Short", 44100, 2, 0.3, { "-c:a", "libmp3lame" }, Edit::none, false },
        Mp3Case { "JunkInFront", 44100, 2, 2.0, { "-c:a", "libmp3lame", "-id3v2_version", "0" }, Edit::junkInFront, false },
        Mp3Case { "CutInsideAFrame", 44100, 2, 3.0, { "-c:a", "libmp3lame", "-q:a", "4" }, Edit::cutMidFrame, false },
        Mp3Case { "BrokenHeader", 44100, 2, 3.0, { "-c:a", "libmp3lame", "-b:a", "128k" }, Edit::brokenHeader, false },
        Mp3Case { "ApeTagWithFF", 44100, 2, 2.0, { "-c:a", "libmp3lame", "-b:a", "128k" }, Edit::apeTailWithFF, false },
        Mp3Case { "SecondFrameInAnotherMode", 44100, 2, 3.0, { "-c:a", "libmp3lame", "-b:a", "128k" }, Edit::secondFrameMode, false },
        Mp3Case { "FooterFlagWithoutFooter", 44100, 2, 3.0, { "-c:a", "libmp3lame", "-id3v2_version", "4" }, Edit::footerFlag, false }),
    [] (const auto& info) { return std::string (info.param.name); });
