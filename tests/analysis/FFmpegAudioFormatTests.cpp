#include "analysis/FFmpegAudioFormat.h"
#include "support/FfmpegTestFiles.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>

using ffmpegtest::sameSamples;
using testaudio::Signal;

#define REQUIRE_FFMPEG_TOOL()                                                  \
    if (! ffmpegtest::toolAvailable())                                         \
    GTEST_SKIP() << "the ffmpeg tool is not installed; no files to decode"

namespace
{
Signal slice (const Signal& s, juce::int64 start, int count)
{
    Signal out;
    out.sampleRate = s.sampleRate;
    for (const auto& ch : s.channels)
        out.channels.emplace_back (ch.begin() + start, ch.begin() + start + count);
    return out;
}

// Lag of b against a, within maxLag, at which their correlation over a's frames [from, to) peaks.
int bestLag (const std::vector<float>& a, const std::vector<float>& b, int from, int to, int maxLag)
{
    int best = 0;
    double bestValue = -1.0e300;
    for (int lag = -maxLag; lag <= maxLag; ++lag)
    {
        double sum = 0.0;
        for (int i = from; i < to; ++i)
            sum += (double) a[(size_t) i] * b[(size_t) (i + lag)];
        if (sum > bestValue)
            std::tie (bestValue, best) = std::make_pair (sum, lag);
    }
    return best;
}

// Programme material with a chirp through most of it; the right channel's chirp is inverted
// and 100 frames later, so a delay left in, a slip or a swapped channel shows as a lag.
Signal programmeWithChirp (double rate, int numChannels, int frames)
{
    auto s = ffmpegtest::programme (rate, numChannels, frames);
    const int start = (int) (0.2 * rate), length = frames - (int) (0.6 * rate);
    for (int c = 0; c < numChannels; ++c)
        for (int i = 0; i < length; ++i)
        {
            const double t = i / rate, f0 = 150.0, f1 = rate * 0.15;
            const double phase = juce::MathConstants<double>::twoPi * (f0 * t + (f1 - f0) * t * t * rate / (2.0 * length));
            const double fade = std::min (1.0, std::min (i, length - i) / (0.01 * rate));
            s.channels[(size_t) c][(size_t) (start + 100 * c + i)] += (float) ((c == 0 ? 0.4 : -0.4) * fade * std::sin (phase));
        }
    return s;
}

// Reads in any order equal the front-to-back decode, with zeros outside the file whatever the
// buffer held: the analysis' own pattern through a reader source (whole 16384 blocks until past
// the end, then single blocks backwards), random spans, raw reads over both ends where JUCE's
// own guard doesn't stand in front, and two fresh readers on threads of their own reading
// backwards, so that every read is a seek.
void expectReadsAnywhereAsInOrder (std::unique_ptr<juce::AudioFormatReader> reader, const Signal& reference,
                                   const juce::File& file)
{
    const auto length = reader->lengthInSamples;
    const int channels = reference.numChannels();
    const auto expected = [&] (juce::int64 start, int n)
    {
        return testaudio::generate (reference.sampleRate, channels, n, [&] (int c, int i)
                                    { return start + i >= 0 && start + i < length ? reference.channels[(size_t) c][(size_t) (start + i)] : 0.0f; });
    };
    const auto prefilled = [] (int numChannels, int n)
    {
        juce::AudioBuffer<float> buffer (numChannels, n);
        for (int c = 0; c < numChannels; ++c)
            juce::FloatVectorOperations::fill (buffer.getWritePointer (c), 0.75f, n);
        return buffer;
    };
    const auto got = [&] (const juce::AudioBuffer<float>& b)
    { return testaudio::generate (reference.sampleRate, channels, b.getNumSamples(), [&] (int c, int i) { return b.getSample (c, i); }); };

    auto& raw = *reader;
    juce::AudioFormatReaderSource source (reader.release(), true);
    std::vector<juce::int64> starts;
    for (juce::int64 start = 0; start <= length; start += 16384)
        starts.push_back (start);
    starts.insert (starts.end(), starts.rbegin() + 1, starts.rend());
    for (const auto start : starts)
    {
        auto block = prefilled (2, 16384);
        source.setNextReadPosition (start);
        source.getNextAudioBlock (juce::AudioSourceChannelInfo (&block, 0, 16384));
        ASSERT_TRUE (sameSamples (expected (start, 16384), got (block))) << "block at " << start;
    }
    juce::Random random (42);
    for (int r = 0; r < 40; ++r)
    {
        const int n = 1 + random.nextInt (6000);
        const auto start = (juce::int64) random.nextInt ((int) (length - n));
        ASSERT_TRUE (sameSamples (expected (start, n), ffmpegtest::readRange (raw, start, n))) << "at " << start;
    }
    for (const auto start : { length - 50, (juce::int64) -600, (juce::int64) -300 })
    {
        auto buffer = prefilled (channels, 700);
        ASSERT_TRUE (raw.readSamples (reinterpret_cast<int* const*> (buffer.getArrayOfWritePointers()), channels, 0, start, 700));
        EXPECT_TRUE (sameSamples (expected (start, 700), got (buffer))) << "raw from " << start;
    }

    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t)
        threads.emplace_back ([&]
                              {
                                  auto fresh = ffmpegtest::openReader (file);
                                  for (auto pos = (length - 1) / 4096 * 4096; fresh != nullptr && pos >= 0; pos -= 4096)
                                  {
                                      const int n = (int) std::min<juce::int64> (4096, length - pos);
                                      if (! sameSamples (expected (pos, n), ffmpegtest::readRange (*fresh, pos, n)))
                                          return ADD_FAILURE() << "thread read at " << pos;
                                  }
                                  EXPECT_NE (fresh, nullptr);
                              });
    for (auto& th : threads)
        th.join();
}

struct CompressedCase
{
    const char *name, *extension;
    int rate, channels;
    juce::StringArray options;
};
void PrintTo (const CompressedCase& c, std::ostream* os) { *os << c.name; }

class CompressedFile : public ::testing::TestWithParam<CompressedCase>
{
};
} // namespace

// Each file reads as ffmpeg's own gapless decode, sample for sample, from any position. MP3
// comes out exactly as long as its source, with the encoder delay really cut: the chirp lies
// where it went in, on its own channel. Windows Media keeps no record of delay: its decoder
// drops two frames at the start while ffmpeg's encoder delays by one, so its files are as long
// as the decode makes them and a frame (2048 at 44.1 kHz) is all the placement it can promise.
TEST_P (CompressedFile, ReadsExactlyFfmpegsDecodeInPlaceAndFromAnyPosition)
{
    REQUIRE_FFMPEG_TOOL();
    const auto& c = GetParam();
    testaudio::TempFolder temp;
    juce::AudioFormatManager manager;
    manager.registerBasicFormats();
    manager.registerFormat (new FFmpegAudioFormat(), false);
    const bool mp3 = juce::String (c.extension) == ".mp3";
    // ffmpeg 5.1's MP3 writer states an end padding up to 46 short when the last frame
    // holds fewer than 47 samples; keep the last frame fuller than that.
    int frames = (int) (2.5 * c.rate) + 37;
    if (frames % (c.rate >= 32000 ? 1152 : 576) < 64)
        frames += 64;
    const auto source = programmeWithChirp (c.rate, c.channels, frames);
    const auto file = temp.file (juce::String (c.name) + c.extension);
    ASSERT_TRUE (ffmpegtest::encode (source, file, c.options));

    std::unique_ptr<juce::AudioFormatReader> reader (manager.createReaderFor (file));
    ASSERT_NE (reader, nullptr);
    EXPECT_EQ (reader->getFormatName(), FFmpegAudioFormat::formatName);
    EXPECT_EQ (reader->sampleRate, c.rate);
    EXPECT_EQ ((int) reader->numChannels, c.channels);
    if (mp3)
        EXPECT_EQ (reader->lengthInSamples, frames);
    else
        EXPECT_NEAR ((double) reader->lengthInSamples, frames, 2.0 * 2048.0);
    const auto decoded = ffmpegtest::readAll (*reader);
    ASSERT_TRUE (sameSamples (ffmpegtest::decode (file), decoded));

    for (int ch = 0; ch < c.channels; ++ch)
    {
        const int from = (int) (0.5 * c.rate) + 100 * ch, to = from + (int) (0.25 * c.rate);
        const int lag = bestLag (source.channels[(size_t) ch], decoded.channels[(size_t) ch], from, to, mp3 ? 1200 : 2500);
        EXPECT_LE (std::abs (lag), mp3 ? 0 : 2048) << "channel " << ch;
    }
    expectReadsAnywhereAsInOrder (std::move (reader), decoded, file);
}

INSTANTIATE_TEST_SUITE_P (
    FFmpegAudioFormat, CompressedFile,
    ::testing::Values (CompressedCase { "Cbr44", ".mp3", 44100, 2, { "-c:a", "libmp3lame", "-b:a", "128k" } },
                       CompressedCase { "Vbr48", ".mp3", 48000, 2, { "-c:a", "libmp3lame", "-q:a", "2" } },
                       CompressedCase { "Mpeg2Mono", ".mp3", 22050, 1, { "-c:a", "libmp3lame", "-b:a", "32k" } },
                       CompressedCase { "Mpeg25", ".mp3", 11025, 2, { "-c:a", "libmp3lame", "-q:a", "5" } },
                       // Tiny MPEG-2.5 frames: the bit reservoir reaches back over many of them,
                       // so a seek needs a long pre-roll.
                       CompressedCase { "LowRateMono", ".mp3", 8000, 1, { "-c:a", "libmp3lame", "-b:a", "8k" } },
                       CompressedCase { "Wma2", ".wma", 44100, 2, { "-c:a", "wmav2", "-b:a", "128k" } },
                       CompressedCase { "Wma1Mono", ".asf", 22050, 1, { "-c:a", "wmav1", "-b:a", "32k" } }),
    [] (const auto& info) { return std::string (info.param.name); });

TEST (FFmpegAudioFormat, ClaimsItsExtensionsAndWritesNothing)
{
    FFmpegAudioFormat format;
    for (const auto* name : { "a.mp3", "b.MP3", "c.wma", "d.wmv", "e.asf", "f.wm" })
        EXPECT_TRUE (format.canHandleFile (juce::File ("/tmp").getChildFile (name))) << name;
    EXPECT_FALSE (format.canHandleFile (juce::File ("/tmp/a.wav")));
    juce::MemoryOutputStream sink;
    EXPECT_EQ (format.createWriterFor (&sink, 44100.0, 2u, 16, {}, 0), nullptr);
}

// A .wmv's video stream is passed over and its audio read as from a .wma; so is the cover
// art in an MP3's ID3 tag, which comes to FFmpeg as a video stream.
TEST (FFmpegAudioFormat, VideoStreamsAreIgnored)
{
    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    const auto clip = temp.file ("clip.wmv"), covered = temp.file ("covered.mp3");
    const juce::String sine = "sine=frequency=500:sample_rate=44100:duration=1.5";
    ASSERT_TRUE (ffmpegtest::runTool ({ "-f", "lavfi", "-i", "testsrc=size=160x120:rate=25:duration=1.5", "-f", "lavfi",
                                        "-i", sine, "-c:v", "wmv2", "-c:a", "wmav2", "-ac", "2", clip.getFullPathName() }));
    ASSERT_TRUE (ffmpegtest::runTool ({ "-f", "lavfi", "-i", sine, "-f", "lavfi", "-i", "color=c=red:s=64x64:d=1",
                                        "-map", "0:a", "-map", "1:v", "-frames:v", "1", "-c:v", "png",
                                        "-disposition:v", "attached_pic", "-c:a", "libmp3lame", "-id3v2_version", "3",
                                        covered.getFullPathName() }));
    auto reader = ffmpegtest::openReader (clip);
    ASSERT_NE (reader, nullptr);
    EXPECT_EQ (reader->numChannels, 2u);
    const auto reference = ffmpegtest::decode (clip);
    ASSERT_GT (reference.numFrames(), 44100);
    EXPECT_TRUE (sameSamples (reference, ffmpegtest::readAll (*reader)));

    auto coveredReader = ffmpegtest::openReader (covered);
    ASSERT_NE (coveredReader, nullptr);
    EXPECT_EQ (coveredReader->lengthInSamples, 66150);
    EXPECT_EQ (coveredReader->numChannels, 1u);
}

#if JUCE_LINUX
namespace
{
bool demuxerMapped()
{
    return juce::File ("/proc/self/maps").loadFileAsString().contains ("libavformat");
}
} // namespace

// The demuxing library is held from a file's opening until samples are first read: the
// readers decode without it, and the next file loads it again. A plain MP3 never needs it.
TEST (FFmpegAudioFormat, TheDemuxingLibraryIsClosedOnceSamplesAreRead)
{
    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    const auto first = temp.file ("first.mp3"), second = temp.file ("second.wma");
    const auto signal = ffmpegtest::programme (44100.0, 2, 44100 * 2, 5);
    ASSERT_TRUE (ffmpegtest::encode (signal, first, { "-c:a", "libmp3lame", "-b:a", "160k" }));
    ASSERT_TRUE (ffmpegtest::encode (signal, second, { "-c:a", "wmav2", "-b:a", "128k" }));

    for (const auto& file : { first, second })
    {
        auto reader = ffmpegtest::openReader (file, false);
        ASSERT_NE (reader, nullptr);
        EXPECT_TRUE (demuxerMapped()) << "kept for a second opening";
        const auto again = ffmpegtest::openReader (file, false);
        ASSERT_NE (again, nullptr);
        const auto samples = ffmpegtest::readAll (*reader);
        EXPECT_FALSE (demuxerMapped()) << "closed once decoding has begun";
        EXPECT_TRUE (sameSamples (ffmpegtest::decode (file), samples));
        EXPECT_TRUE (sameSamples (samples, ffmpegtest::readAll (*again)));
    }

    const auto plain = ffmpegtest::openReader (first);
    ASSERT_NE (plain, nullptr);
    EXPECT_FALSE (demuxerMapped()) << "a plain MP3's frames are found without it";
}
#endif

namespace
{
// A stream that tells when it is deleted.
struct WatchedStream : juce::MemoryInputStream
{
    WatchedStream (const juce::MemoryBlock& data, bool& deletedFlag) : juce::MemoryInputStream (data, true), deleted (deletedFlag) {}
    ~WatchedStream() override { deleted = true; }
    bool& deleted;
};

// FFmpeg is to keep quiet whatever it is fed.
struct NothingOnStderr
{
    NothingOnStderr() { ::testing::internal::CaptureStderr(); }
    ~NothingOnStderr() { EXPECT_EQ (::testing::internal::GetCapturedStderr(), ""); }
};
} // namespace

// A failed open deletes the stream only when asked to, and leaves it where it was; a
// successful one hands it to the reader for good.
TEST (FFmpegAudioFormat, StreamOwnershipFollowsTheFlag)
{
    FFmpegAudioFormat format;
    juce::MemoryBlock garbage;
    for (int i = 0; i < 4000; ++i)
        garbage.append (&i, 1);
    bool deleted = false;
    auto* stream = new WatchedStream (garbage, deleted);
    EXPECT_EQ (format.createReaderFor (stream, false), nullptr);
    EXPECT_FALSE (deleted);
    EXPECT_EQ (stream->getPosition(), 0);
    delete stream;
    deleted = false;
    EXPECT_EQ (format.createReaderFor (new WatchedStream (garbage, deleted), true), nullptr);
    EXPECT_TRUE (deleted);

    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    const auto file = temp.file ("own.mp3");
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (44100, 1, 30000), file, { "-c:a", "libmp3lame" }));
    juce::MemoryBlock bytes;
    ASSERT_TRUE (file.loadFileAsData (bytes));
    deleted = false;
    std::unique_ptr<juce::AudioFormatReader> reader (format.createReaderFor (new WatchedStream (bytes, deleted), false));
    ASSERT_NE (reader, nullptr);
    EXPECT_EQ (reader->lengthInSamples, 30000);
    EXPECT_FALSE (deleted);
    reader.reset();
    EXPECT_TRUE (deleted);
}

// Damaged and foreign files: nothing crashes or hangs, and FFmpeg prints nothing. A reader,
// if one is made, gives finite samples over its whole stated length (garbage decoded as MP3
// may well go over full scale; the bound only catches a wild value). A damaged MP3 keeps its
// samples up to the damage, keeps the place of the frames it can't decode as silence where
// ffmpeg's own decode drops them, and goes on as ffmpeg's does.
TEST (FFmpegAudioFormat, BadInputIsRefusedOrReadsSanely)
{
    NothingOnStderr quiet;
    testaudio::TempFolder temp;
    juce::AudioFormatManager manager;
    manager.registerBasicFormats();
    manager.registerFormat (new FFmpegAudioFormat(), false);
    juce::Random random (99);
    const auto open = [&] (const juce::String& name, const void* data, size_t size)
    {
        const auto f = temp.file (name);
        EXPECT_TRUE (f.replaceWithData (data, size));
        return std::unique_ptr<juce::AudioFormatReader> (manager.createReaderFor (f));
    };
    const auto expectFinite = [] (const Signal& signal)
    {
        for (const auto& ch : signal.channels)
            for (const float v : ch)
                ASSERT_TRUE (std::isfinite (v) && std::abs (v) < 1000.0f) << v;
    };

    const auto text = juce::String::repeatedString ("This is not audio at all.\n", 200);
    EXPECT_EQ (open ("notes.mp3", text.toRawUTF8(), text.getNumBytesAsUTF8()), nullptr);
    EXPECT_EQ (open ("empty.wma", "", 0), nullptr);
    for (const auto* name : { "noise.mp3", "noise.wma", "noise.wmv" })
    {
        juce::MemoryBlock bytes (60000);
        random.fillBitsRandomly (bytes.getData(), bytes.getSize());
        if (auto reader = open (name, bytes.getData(), bytes.getSize()))
        {
            EXPECT_GT (reader->sampleRate, 0.0);
            expectFinite (ffmpegtest::readAll (*reader, 4096));
        }
    }

    if (! ffmpegtest::toolAvailable())
        return;
    const int frames = 3 * 44100;
    const auto good = temp.file ("good.mp3");
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (44100, 2, frames, 3), good, { "-c:a", "libmp3lame", "-b:a", "128k" }));
    juce::MemoryBlock bytes;
    ASSERT_TRUE (good.loadFileAsData (bytes));
    const size_t middle = bytes.getSize() / 2;
    size_t cut = middle; // 200 bytes into the first frame from the middle on
    for (const auto* b = static_cast<const uint8_t*> (bytes.getData()); ! (b[cut] == 0xff && (b[cut + 1] & 0xe0) == 0xe0);)
        ++cut;
    cut += 200;

    for (const int fill : { -2, -1, 0xff, 0x00 }) // -2: cut short there; -1: random bytes
    {
        SCOPED_TRACE (fill);
        juce::MemoryBlock damaged (bytes);
        auto* b = static_cast<uint8_t*> (damaged.getData());
        for (size_t i = middle; fill != -2 && i < middle + 3000; ++i)
            b[i] = (uint8_t) (fill < 0 ? random.nextInt (256) : fill);
        auto reader = open ("damaged.mp3", b, fill == -2 ? cut : damaged.getSize());
        ASSERT_NE (reader, nullptr);
        const double expected = fill == -2 ? (double) cut / (double) bytes.getSize() * frames : frames;
        EXPECT_NEAR ((double) reader->lengthInSamples, expected, (fill == -2 ? 3 : 3000 / 418 + 3) * 1152.0);
        const auto ours = ffmpegtest::readAll (*reader, 4096);
        expectFinite (ours);
        const auto theirs = ffmpegtest::decode (temp.file ("damaged.mp3"));
        const int lost = ours.numFrames() - theirs.numFrames();
        EXPECT_TRUE (lost >= 0 && lost % 1152 == 0) << lost;
        // Up to the frame before the damage, and from a little after it, the samples are ffmpeg's.
        const int head = (int) ((double) middle / (double) bytes.getSize() * frames) - 3 * 1152;
        const int tail = std::min (theirs.numFrames() - head, 20000);
        EXPECT_TRUE (sameSamples (slice (theirs, 0, head), slice (ours, 0, head)));
        EXPECT_TRUE (sameSamples (slice (theirs, theirs.numFrames() - tail, tail), slice (ours, ours.numFrames() - tail, tail)));
    }
}
