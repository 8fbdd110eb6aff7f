#include "analysis/FFmpegAudioFormat.h"
#include "support/FfmpegTestFiles.h"
#include "support/TestAudio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <utility>

using testaudio::Signal;

namespace
{
#define REQUIRE_FFMPEG_TOOL()                                                  \
    if (! ffmpegtest::toolAvailable())                                         \
    GTEST_SKIP() << "the ffmpeg tool is not installed; no files to decode"

// ffmpeg 5.1's MP3 writer states an end padding up to 46 samples short when the last frame
// carries fewer than 47 samples, so such a file really decodes longer than its source. Keep
// clear of that: a length whose last frame holds at least 64 samples.
int lengthClearOfShortLastFrame (int frames, double sampleRate)
{
    const int frameLength = sampleRate >= 32000 ? 1152 : 576;
    if (frames % frameLength < 64)
        frames += 64;
    return frames;
}

// Lag of b against a, in [-maxLag, maxLag], at which their correlation over a's frames
// [from, to) peaks.
int bestLag (const std::vector<float>& a, const std::vector<float>& b, int from, int to, int maxLag)
{
    int best = 0;
    double bestValue = -1.0e300;
    const int n = (int) std::min (a.size(), b.size());
    for (int lag = -maxLag; lag <= maxLag; ++lag)
    {
        double sum = 0.0;
        for (int i = std::max (from, -lag); i < to && i < n && i + lag < n; ++i)
            sum += (double) a[(size_t) i] * b[(size_t) (i + lag)];
        if (sum > bestValue)
        {
            bestValue = sum;
            best = lag;
        }
    }
    return best;
}

double rms (const std::vector<float>& x, int from, int to)
{
    double sum = 0.0;
    for (int i = from; i < to; ++i)
        sum += (double) x[(size_t) i] * x[(size_t) i];
    return std::sqrt (sum / (double) (to - from));
}

// Exact comparison of two signals; reports the first difference.
::testing::AssertionResult sameSamples (const Signal& expected, const Signal& actual)
{
    if (expected.numChannels() != actual.numChannels())
        return ::testing::AssertionFailure() << "channels " << expected.numChannels() << " vs " << actual.numChannels();
    if (expected.numFrames() != actual.numFrames())
        return ::testing::AssertionFailure() << "frames " << expected.numFrames() << " vs " << actual.numFrames();
    for (size_t c = 0; c < expected.channels.size(); ++c)
        for (size_t i = 0; i < expected.channels[c].size(); ++i)
            if (expected.channels[c][i] != actual.channels[c][i])
                return ::testing::AssertionFailure() << "channel " << c << " frame " << i << ": "
                                                     << expected.channels[c][i] << " vs " << actual.channels[c][i];
    return ::testing::AssertionSuccess();
}

Signal slice (const Signal& s, juce::int64 start, int count)
{
    Signal out;
    out.sampleRate = s.sampleRate;
    for (const auto& ch : s.channels)
        out.channels.emplace_back (ch.begin() + start, ch.begin() + start + count);
    return out;
}

struct Mp3Case
{
    int sampleRate;
    int channels;
    bool vbr;
};

std::string caseName (const ::testing::TestParamInfo<Mp3Case>& info)
{
    return std::to_string (info.param.sampleRate) + (info.param.channels == 1 ? "Mono" : "Stereo")
         + (info.param.vbr ? "Vbr" : "Cbr");
}

juce::StringArray mp3Options (const Mp3Case& c)
{
    if (c.vbr)
        return { "-c:a", "libmp3lame", "-q:a", "5" };
    const int kbps = c.sampleRate >= 32000 ? 128 : (c.sampleRate >= 16000 ? 48 : 24);
    return { "-c:a", "libmp3lame", "-b:a", juce::String (kbps) + "k" };
}

class Mp3LengthTest : public ::testing::TestWithParam<Mp3Case>
{
protected:
    testaudio::TempFolder temp;
};
} // namespace

// A file made from N frames reads as exactly N frames, at every MPEG-1, -2 and -2.5 rate, and
// its samples are those of ffmpeg's own gapless decode.
TEST_P (Mp3LengthTest, ReadsExactlyTheEncodedFramesAndFfmpegsSamples)
{
    REQUIRE_FFMPEG_TOOL();
    const auto c = GetParam();
    const int frames = lengthClearOfShortLastFrame ((int) (1.3 * c.sampleRate) + 37, c.sampleRate);
    const auto source = ffmpegtest::programme (c.sampleRate, c.channels, frames);
    const auto file = temp.file ("x.mp3");
    ASSERT_TRUE (ffmpegtest::encode (source, file, mp3Options (c)));

    auto reader = ffmpegtest::openReader (file);
    ASSERT_NE (reader, nullptr);
    EXPECT_EQ (reader->lengthInSamples, frames);
    EXPECT_EQ (reader->sampleRate, c.sampleRate);
    EXPECT_EQ ((int) reader->numChannels, c.channels);
    EXPECT_TRUE (reader->usesFloatingPointData);
    EXPECT_EQ (reader->bitsPerSample, 32u);

    const auto decoded = ffmpegtest::readAll (*reader);
    EXPECT_TRUE (sameSamples (ffmpegtest::decode (file, c.channels, c.sampleRate), decoded));
}

INSTANTIATE_TEST_SUITE_P (AllRates, Mp3LengthTest,
                          ::testing::Values (Mp3Case { 44100, 1, false }, Mp3Case { 44100, 2, true },
                                             Mp3Case { 44100, 2, false }, Mp3Case { 48000, 1, true },
                                             Mp3Case { 48000, 2, false }, Mp3Case { 32000, 2, true },
                                             Mp3Case { 22050, 1, false }, Mp3Case { 22050, 2, true },
                                             Mp3Case { 24000, 2, false }, Mp3Case { 16000, 1, true },
                                             Mp3Case { 11025, 2, false }, Mp3Case { 11025, 1, true },
                                             Mp3Case { 12000, 1, false }, Mp3Case { 8000, 1, false },
                                             Mp3Case { 8000, 2, true }),
                          caseName);

namespace
{
struct BurstCase
{
    const char* name;
    int sampleRate;
    const char* extension;
    juce::StringArray options;
};

class BurstTest : public ::testing::TestWithParam<BurstCase>
{
};

std::string burstCaseName (const ::testing::TestParamInfo<BurstCase>& info) { return info.param.name; }
} // namespace

// The encoder delay is really cut, not just counted: a chirp burst comes out where it went in,
// at its level, on its own channel. Windows Media keeps no record of delay; its decoder drops
// two frames at the start, while ffmpeg's encoder delays by one, so a file from ffmpeg comes
// out one frame (2048 samples at 44.1 kHz) early. Within a frame is all it can promise.
TEST_P (BurstTest, ComesOutAtItsOffsetAndLevel)
{
    REQUIRE_FFMPEG_TOOL();
    const auto& c = GetParam();
    testaudio::TempFolder temp;
    const double rate = c.sampleRate;
    const int start = (int) (0.3 * rate), length = (int) (0.5 * rate);
    const int rightShift = 100; // the right burst comes later, so a swap or slip shows
    const bool mp3 = juce::String (c.extension) == ".mp3";
    const auto chirp = [&] (int i)
    {
        if (i < 0 || i >= length)
            return 0.0f;
        const double t = i / rate, f0 = 150.0, f1 = rate * 0.15;
        const double phase = juce::MathConstants<double>::twoPi * (f0 * t + (f1 - f0) * t * t * rate / (2.0 * length));
        const double fade = std::min (1.0, std::min (i, length - i) / (0.01 * rate));
        return (float) (0.5 * fade * std::sin (phase));
    };
    const auto source = testaudio::generate (rate, 2, (int) (1.2 * rate), [&] (int ch, int i)
                                             { return ch == 0 ? chirp (i - start) : -chirp (i - start - rightShift); });
    const auto file = temp.file (juce::String ("burst") + c.extension);
    ASSERT_TRUE (ffmpegtest::encode (source, file, c.options));
    auto reader = ffmpegtest::openReader (file);
    ASSERT_NE (reader, nullptr);
    if (mp3)
        ASSERT_EQ (reader->lengthInSamples, source.numFrames());
    const auto decoded = ffmpegtest::readAll (*reader);

    for (int ch = 0; ch < 2; ++ch)
    {
        SCOPED_TRACE (ch);
        const int from = start + rightShift * ch, to = from + length;
        // An MP3 delay left in would show as a lag of over a thousand samples.
        const int lag = bestLag (source.channels[(size_t) ch], decoded.channels[(size_t) ch], from, to, mp3 ? 1200 : 2500);
        if (mp3)
            EXPECT_EQ (lag, 0);
        else
            EXPECT_LE (std::abs (lag), 2048);
        const double levelDb = 20.0 * std::log10 (rms (decoded.channels[(size_t) ch], from + lag, to + lag)
                                                  / rms (source.channels[(size_t) ch], from, to));
        EXPECT_NEAR (levelDb, 0.0, 0.5);
    }
}

INSTANTIATE_TEST_SUITE_P (Files, BurstTest,
                          ::testing::Values (BurstCase { "Mp3Cbr44k", 44100, ".mp3", mp3Options ({ 44100, 2, false }) },
                                             BurstCase { "Mp3Vbr22k", 22050, ".mp3", mp3Options ({ 22050, 2, true }) },
                                             BurstCase { "Mp3Cbr8k", 8000, ".mp3", mp3Options ({ 8000, 2, false }) },
                                             BurstCase { "Wma44k", 44100, ".wma", { "-c:a", "wmav2", "-b:a", "128k" } }),
                          burstCaseName);

namespace
{
struct SeekCase
{
    const char* name;
    int sampleRate;
    int channels;
    const char* extension;
    juce::StringArray options;
};

class SeekTest : public ::testing::TestWithParam<SeekCase>
{
};

std::string seekCaseName (const ::testing::TestParamInfo<SeekCase>& info) { return info.param.name; }
} // namespace

// Reads at any position, in any order, equal a front-to-back read sample for sample: the
// analysis' own pattern (a full pass, then single blocks at multiples of 16384), random
// spans, backwards steps, and a reader whose first read is in the middle.
TEST_P (SeekTest, AnyReadEqualsTheSequentialDecode)
{
    REQUIRE_FFMPEG_TOOL();
    const auto& c = GetParam();
    testaudio::TempFolder temp;
    const auto source = ffmpegtest::programme (c.sampleRate, c.channels, (int) (3.1 * c.sampleRate), 7);
    const auto file = temp.file (juce::String ("s") + c.extension);
    ASSERT_TRUE (ffmpegtest::encode (source, file, c.options));

    auto reader = ffmpegtest::openReader (file);
    ASSERT_NE (reader, nullptr);
    const auto reference = ffmpegtest::readAll (*reader);
    ASSERT_EQ (reference.numFrames(), reader->lengthInSamples);
    const auto length = reader->lengthInSamples;

    const int block = 16384;
    for (juce::int64 j = (length - 1) / block; j >= 0; --j)
    {
        const int n = (int) std::min<juce::int64> (block, length - j * block);
        ASSERT_TRUE (sameSamples (slice (reference, j * block, n), ffmpegtest::readRange (*reader, j * block, n)))
            << "block " << j;
    }

    juce::Random random (42);
    for (int r = 0; r < 60; ++r)
    {
        const int n = 1 + random.nextInt (6000);
        const auto start = (juce::int64) random.nextInt ((int) (length - n));
        ASSERT_TRUE (sameSamples (slice (reference, start, n), ffmpegtest::readRange (*reader, start, n)))
            << "read " << r << " at " << start;
    }

    auto fresh = ffmpegtest::openReader (file);
    ASSERT_NE (fresh, nullptr);
    const auto middle = length / 2 + 3;
    EXPECT_TRUE (sameSamples (slice (reference, middle, 2000), ffmpegtest::readRange (*fresh, middle, 2000)));
    EXPECT_TRUE (sameSamples (slice (reference, 0, 3000), ffmpegtest::readRange (*fresh, 0, 3000)));
}

INSTANTIATE_TEST_SUITE_P (
    Files, SeekTest,
    ::testing::Values (
        SeekCase { "Mp3Stereo44k", 44100, 2, ".mp3", { "-c:a", "libmp3lame", "-b:a", "128k" } },
        SeekCase { "Mp3Vbr48k", 48000, 2, ".mp3", { "-c:a", "libmp3lame", "-q:a", "2" } },
        // Tiny MPEG-2.5 frames: the bit reservoir reaches back over many of them.
        SeekCase { "Mp3Mono8kLowRate", 8000, 1, ".mp3", { "-c:a", "libmp3lame", "-b:a", "8k" } },
        SeekCase { "Mp3Mono32kLowRate", 32000, 1, ".mp3", { "-c:a", "libmp3lame", "-b:a", "32k" } },
        SeekCase { "Wma2Stereo44k", 44100, 2, ".wma", { "-c:a", "wmav2", "-b:a", "128k" } },
        SeekCase { "Wma1Mono22k", 22050, 1, ".wma", { "-c:a", "wmav1", "-b:a", "32k" } }),
    seekCaseName);

// Outside the file there are zeros, whatever the buffer held before.
TEST (FFmpegAudioFormat, ReadsBeforeTheStartAndPastTheEndGiveZeros)
{
    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    const auto file = temp.file ("edge.mp3");
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (44100, 2, 50000), file, { "-c:a", "libmp3lame", "-b:a", "160k" }));
    auto reader = ffmpegtest::openReader (file);
    ASSERT_NE (reader, nullptr);
    const auto length = reader->lengthInSamples;
    ASSERT_EQ (length, 50000);
    const auto reference = ffmpegtest::readAll (*reader);

    const auto readPrefilled = [&] (juce::int64 start, int n)
    {
        juce::AudioBuffer<float> buffer (2, n);
        for (int c = 0; c < 2; ++c)
            juce::FloatVectorOperations::fill (buffer.getWritePointer (c), 0.75f, n);
        reader->read (&buffer, 0, n, start, true, true);
        return buffer;
    };

    {
        const auto tail = readPrefilled (length - 100, 1000);
        for (int c = 0; c < 2; ++c)
        {
            for (int i = 0; i < 100; ++i)
                ASSERT_EQ (tail.getSample (c, i), reference.channels[(size_t) c][(size_t) (length - 100 + i)]);
            for (int i = 100; i < 1000; ++i)
                ASSERT_EQ (tail.getSample (c, i), 0.0f) << "frame " << i;
        }
    }
    {
        const auto head = readPrefilled (-300, 700);
        for (int c = 0; c < 2; ++c)
        {
            for (int i = 0; i < 300; ++i)
                ASSERT_EQ (head.getSample (c, i), 0.0f) << "frame " << i;
            for (int i = 300; i < 700; ++i)
                ASSERT_EQ (head.getSample (c, i), reference.channels[(size_t) c][(size_t) (i - 300)]);
        }
    }
    {
        const auto beyond = readPrefilled (length + 5000, 16384);
        EXPECT_EQ (beyond.getMagnitude (0, 16384), 0.0f);
    }

    // The raw interface too, where JUCE's own guard doesn't stand in front.
    std::vector<float> left (600, 0.75f), right (600, 0.75f);
    int* channels[] = { reinterpret_cast<int*> (left.data()), reinterpret_cast<int*> (right.data()) };
    ASSERT_TRUE (reader->readSamples (channels, 2, 0, length - 50, 600));
    for (size_t i = 50; i < 600; ++i)
        ASSERT_TRUE (left[i] == 0.0f && right[i] == 0.0f) << "frame " << i;
    ASSERT_TRUE (reader->readSamples (channels, 2, 0, -600, 600));
    for (size_t i = 0; i < 600; ++i)
        ASSERT_TRUE (left[i] == 0.0f && right[i] == 0.0f) << "frame " << i;
}

// The way the analysis opens and reads a file: a format manager with JUCE's formats and ours,
// a reader source, a block buffer of 2 x 16384 and whole-block reads until past the end.
TEST (FFmpegAudioFormat, WorksThroughTheFormatManagerAndAReaderSource)
{
    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    juce::AudioFormatManager manager;
    manager.registerBasicFormats();
    manager.registerFormat (new FFmpegAudioFormat(), false);

    FFmpegAudioFormat format;
    for (const auto* name : { "a.mp3", "b.MP3", "c.wma", "d.wmv", "e.asf", "f.wm" })
        EXPECT_TRUE (format.canHandleFile (juce::File ("/tmp").getChildFile (name))) << name;
    EXPECT_FALSE (format.canHandleFile (juce::File ("/tmp/a.wav")));
    juce::MemoryOutputStream sink;
    EXPECT_EQ (format.createWriterFor (&sink, 44100.0, 2u, 16, {}, 0), nullptr);

    const auto wav = temp.file ("plain.wav");
    ASSERT_TRUE (testaudio::writeWav (wav, ffmpegtest::programme (44100, 2, 44100)));
    std::unique_ptr<juce::AudioFormatReader> wavReader (manager.createReaderFor (wav));
    ASSERT_NE (wavReader, nullptr);
    EXPECT_NE (wavReader->getFormatName(), FFmpegAudioFormat::formatName);

    for (const int channels : { 2, 1 })
    {
        SCOPED_TRACE (channels);
        const int frames = 16384 * 2 + 5000;
        const auto file = temp.file ("managed" + std::to_string (channels) + ".mp3");
        ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (48000, channels, frames), file,
                                         { "-c:a", "libmp3lame", "-b:a", "192k" }));
        std::unique_ptr<juce::AudioFormatReader> reader (manager.createReaderFor (file));
        ASSERT_NE (reader, nullptr);
        EXPECT_EQ (reader->getFormatName(), FFmpegAudioFormat::formatName);
        ASSERT_EQ (reader->lengthInSamples, frames);
        const auto direct = ffmpegtest::readAll (*ffmpegtest::openReader (file));

        juce::AudioFormatReaderSource source (reader.release(), true);
        juce::AudioBuffer<float> blockBuffer (2, 16384);
        const juce::AudioSourceChannelInfo info (&blockBuffer, 0, 16384);
        source.setNextReadPosition (0);
        juce::int64 read = 0;
        int blocks = 0;
        while (source.getNextReadPosition() <= frames)
        {
            source.getNextAudioBlock (info);
            ++blocks;
            const auto over = frames - source.getNextReadPosition();
            const int n = std::max<int> (0, (int) (over < 0 ? 16384 + over : 16384));
            for (int i = 0; i < n; ++i)
                for (int c = 0; c < channels; ++c)
                    ASSERT_EQ (blockBuffer.getSample (c, i), direct.channels[(size_t) c][(size_t) (read + i)])
                        << "block " << blocks << " frame " << i;
            for (int i = n; i < 16384; ++i)
                ASSERT_EQ (blockBuffer.getSample (0, i), 0.0f);
            read += n;
        }
        EXPECT_EQ (read, frames);
        EXPECT_EQ (blocks, 3);

        // Then single blocks again at block starts, as the band pass does.
        for (int j : { 1, 0, 2 })
        {
            source.setNextReadPosition (16384 * j);
            source.getNextAudioBlock (info);
            EXPECT_EQ (blockBuffer.getSample (0, 7), direct.channels[0][(size_t) (16384 * j + 7)]);
        }
    }
}

// Windows Media audio has no record of encoder delay or end padding: its decoders give whole
// frames (2048 samples at 44.1 kHz) and the container counts time in milliseconds. The reader
// gives exactly what the decoder makes, known before the first read.
TEST (FFmpegAudioFormat, WindowsMediaLengthIsTheDecodedLength)
{
    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    struct WmaCase
    {
        int rate, channels;
        const char* codec;
        const char* name;
    };
    for (const auto& c : { WmaCase { 44100, 2, "wmav2", "a.wma" }, WmaCase { 48000, 1, "wmav2", "b.wma" },
                           WmaCase { 22050, 2, "wmav1", "c.asf" } })
    {
        SCOPED_TRACE (c.name);
        const int frames = (int) (1.7 * c.rate) + 101;
        const auto file = temp.file (c.name);
        ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (c.rate, c.channels, frames), file,
                                         { "-c:a", c.codec, "-b:a", "64k" }));
        auto reader = ffmpegtest::openReader (file);
        ASSERT_NE (reader, nullptr);
        EXPECT_EQ (reader->sampleRate, c.rate);
        EXPECT_EQ ((int) reader->numChannels, c.channels);
        const auto reference = ffmpegtest::decode (file, c.channels, c.rate);
        EXPECT_EQ (reader->lengthInSamples, reference.numFrames());
        EXPECT_NEAR ((double) reader->lengthInSamples, frames, 2.0 * 2048.0);
        EXPECT_TRUE (sameSamples (reference, ffmpegtest::readAll (*reader)));
    }
}

// A .wmv with a video stream: the video is passed over, the audio read as from a .wma.
TEST (FFmpegAudioFormat, VideoStreamsAreIgnored)
{
    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    const auto file = temp.file ("clip.wmv");
    ASSERT_TRUE (ffmpegtest::runTool ({ "-f", "lavfi", "-i", "testsrc=size=160x120:rate=25:duration=1.5",
                                        "-f", "lavfi", "-i", "sine=frequency=500:sample_rate=44100:duration=1.5",
                                        "-c:v", "wmv2", "-c:a", "wmav2", "-ac", "2", "-b:a", "96k",
                                        file.getFullPathName() }));
    auto reader = ffmpegtest::openReader (file);
    ASSERT_NE (reader, nullptr);
    EXPECT_EQ (reader->sampleRate, 44100.0);
    EXPECT_EQ (reader->numChannels, 2u);
    const auto reference = ffmpegtest::decode (file, 2, 44100);
    ASSERT_GT (reference.numFrames(), 44100);
    EXPECT_TRUE (sameSamples (reference, ffmpegtest::readAll (*reader)));

    // Cover art in an MP3's ID3 tag comes to FFmpeg as a video stream.
    const auto covered = temp.file ("covered.mp3");
    ASSERT_TRUE (ffmpegtest::runTool ({ "-f", "lavfi", "-i", "sine=frequency=500:sample_rate=44100:duration=1.5",
                                        "-f", "lavfi", "-i", "color=c=red:s=64x64:d=1", "-map", "0:a", "-map", "1:v",
                                        "-frames:v", "1", "-c:v", "png", "-disposition:v", "attached_pic",
                                        "-c:a", "libmp3lame", "-id3v2_version", "3", covered.getFullPathName() }));
    auto coveredReader = ffmpegtest::openReader (covered);
    ASSERT_NE (coveredReader, nullptr);
    EXPECT_EQ (coveredReader->lengthInSamples, 66150);
    EXPECT_EQ (coveredReader->numChannels, 1u);
}

namespace
{
// A stream that tells when it is deleted.
class WatchedStream : public juce::MemoryInputStream
{
public:
    WatchedStream (const juce::MemoryBlock& data, bool& deletedFlag)
        : juce::MemoryInputStream (data, true), deleted (deletedFlag)
    {
    }
    ~WatchedStream() override { deleted = true; }

private:
    bool& deleted;
};

// What the process writes to stderr while it lives (the ffmpeg tool's output goes to a pipe).
class StderrCapture
{
public:
    StderrCapture() { ::testing::internal::CaptureStderr(); }
    ~StderrCapture() { finish(); }
    std::string finish()
    {
        if (std::exchange (done, true))
            return {};
        return ::testing::internal::GetCapturedStderr();
    }

private:
    bool done = false;
};

// Every sample finite, the whole length readable in blocks. Garbage decoded as MP3 may well
// go over full scale (ffmpeg's own decode of the damaged files here peaks near 17), so the
// bound is only there to catch a wild value.
void expectSaneWhenRead (juce::AudioFormatReader& reader)
{
    EXPECT_GE (reader.lengthInSamples, 0);
    EXPECT_GT (reader.sampleRate, 0.0);
    EXPECT_GT (reader.numChannels, 0u);
    const auto all = ffmpegtest::readAll (reader, 4096);
    for (const auto& ch : all.channels)
        for (const float v : ch)
            ASSERT_TRUE (std::isfinite (v) && std::abs (v) < 1000.0f) << v;
}
} // namespace

// A failed open deletes the stream only when asked to; a successful one hands it to the reader.
TEST (FFmpegAudioFormat, StreamOwnershipFollowsTheFlag)
{
    FFmpegAudioFormat format;
    juce::MemoryBlock garbage;
    juce::Random random (5);
    for (int i = 0; i < 4000; ++i)
        garbage.append (&i, 1);
    {
        bool deleted = false;
        auto* stream = new WatchedStream (garbage, deleted);
        EXPECT_EQ (format.createReaderFor (stream, false), nullptr);
        EXPECT_FALSE (deleted);
        EXPECT_EQ (stream->getPosition(), 0);
        delete stream;
    }
    {
        bool deleted = false;
        EXPECT_EQ (format.createReaderFor (new WatchedStream (garbage, deleted), true), nullptr);
        EXPECT_TRUE (deleted);
    }

    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    const auto file = temp.file ("own.mp3");
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (44100, 1, 30000), file, { "-c:a", "libmp3lame" }));
    juce::MemoryBlock bytes;
    ASSERT_TRUE (file.loadFileAsData (bytes));
    bool deleted = false;
    std::unique_ptr<juce::AudioFormatReader> reader (format.createReaderFor (new WatchedStream (bytes, deleted), false));
    ASSERT_NE (reader, nullptr);
    EXPECT_EQ (reader->lengthInSamples, 30000);
    EXPECT_FALSE (deleted);
    reader.reset();
    EXPECT_TRUE (deleted);
}

// Damaged and foreign files: nothing crashes or hangs; a reader, if one is made, delivers
// finite samples over its whole stated length.
TEST (FFmpegAudioFormat, BadInputIsRefusedOrReadsSanely)
{
    testaudio::TempFolder temp;
    juce::AudioFormatManager manager;
    manager.registerBasicFormats();
    manager.registerFormat (new FFmpegAudioFormat(), false);
    const auto open = [&] (const juce::File& f) { return std::unique_ptr<juce::AudioFormatReader> (manager.createReaderFor (f)); };

    StderrCapture quiet; // FFmpeg is to keep quiet about all of this
    const auto text = temp.file ("notes.mp3");
    ASSERT_TRUE (text.replaceWithText (juce::String::repeatedString ("This is not audio at all.\n", 200)));
    EXPECT_EQ (open (text), nullptr);

    const auto empty = temp.file ("empty.wma");
    ASSERT_TRUE (empty.create());
    EXPECT_EQ (open (empty), nullptr);

    juce::Random random (99);
    for (const auto* name : { "noise.mp3", "noise.wma", "noise.wmv" })
    {
        SCOPED_TRACE (name);
        juce::MemoryBlock bytes (60000);
        random.fillBitsRandomly (bytes.getData(), bytes.getSize());
        const auto f = temp.file (name);
        ASSERT_TRUE (f.replaceWithData (bytes.getData(), bytes.getSize()));
        if (auto reader = open (f))
            expectSaneWhenRead (*reader);
    }
    if (! ffmpegtest::toolAvailable())
    {
        EXPECT_EQ (quiet.finish(), "");
        GTEST_SKIP() << "the ffmpeg tool is not installed; no MP3 to damage";
    }
    const int frames = 3 * 44100;
    const auto good = temp.file ("good.mp3");
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (44100, 2, frames, 3), good, { "-c:a", "libmp3lame", "-b:a", "128k" }));
    const auto clean = ffmpegtest::readAll (*open (good));
    juce::MemoryBlock bytes;
    ASSERT_TRUE (good.loadFileAsData (bytes));
    const size_t middle = bytes.getSize() / 2;
    const int frameBytes = 418; // 128 kbit/s at 44.1 kHz
    {
        // Cut 200 bytes into a frame: the frame sync is searched for from the middle.
        size_t cut = middle;
        const auto* b = static_cast<const uint8_t*> (bytes.getData());
        while (! (b[cut] == 0xff && (b[cut + 1] & 0xe0) == 0xe0))
            ++cut;
        cut += 200;
        const auto truncated = temp.file ("truncated.mp3");
        ASSERT_TRUE (truncated.replaceWithData (bytes.getData(), cut));
        auto reader = open (truncated);
        ASSERT_NE (reader, nullptr);
        const double keptFraction = (double) cut / (double) bytes.getSize();
        EXPECT_NEAR ((double) reader->lengthInSamples, keptFraction * frames, 3 * 1152.0);
        expectSaneWhenRead (*reader);
        const int intact = (int) reader->lengthInSamples - 2 * 1152;
        EXPECT_TRUE (sameSamples (slice (clean, 0, intact), ffmpegtest::readRange (*reader, 0, intact)));
    }
    for (const int fill : { -1, 0xff, 0x00 })
    {
        SCOPED_TRACE (fill);
        juce::MemoryBlock damaged (bytes);
        auto* b = static_cast<uint8_t*> (damaged.getData());
        for (size_t i = middle; i < middle + 3000; ++i)
            b[i] = (uint8_t) (fill < 0 ? random.nextInt (256) : fill);
        const auto f = temp.file ("damaged.mp3");
        ASSERT_TRUE (f.replaceWithData (damaged.getData(), damaged.getSize()));
        auto reader = open (f);
        ASSERT_NE (reader, nullptr);
        const int lostFrames = 3000 / frameBytes + 3;
        EXPECT_NEAR ((double) reader->lengthInSamples, frames, lostFrames * 1152.0);
        expectSaneWhenRead (*reader);
        // Up to the frame before the damage the samples are untouched.
        const int intact = (int) ((double) middle / (double) bytes.getSize() * frames) - 3 * 1152;
        EXPECT_TRUE (sameSamples (slice (clean, 0, intact), ffmpegtest::readRange (*reader, 0, intact)));

        // ffmpeg's own decode drops the frames it can't decode; the reader keeps their place
        // as silence. Take out the silent whole frames and the two agree sample for sample.
        const auto ours = ffmpegtest::readAll (*reader);
        const auto theirs = ffmpegtest::decode (f, 2, 44100);
        const int delayInFirstFrame = 1152 - 1105; // LAME's 576 + the decoder's 529
        Signal kept;
        kept.channels.resize (2);
        int silentFrames = 0;
        for (int start = 0; start < ours.numFrames();)
        {
            const int end = start == 0 ? delayInFirstFrame : std::min (start + 1152, ours.numFrames());
            bool silent = end - start == 1152;
            for (int i = start; i < end && silent; ++i)
                silent = ours.channels[0][(size_t) i] == 0.0f && ours.channels[1][(size_t) i] == 0.0f;
            silentFrames += silent ? 1 : 0;
            for (size_t c = 0; c < 2 && ! silent; ++c)
                kept.channels[c].insert (kept.channels[c].end(), ours.channels[c].begin() + start, ours.channels[c].begin() + end);
            start = end;
        }
        EXPECT_GT (silentFrames, 0) << "3000 bytes of damage should cost a frame";
        EXPECT_EQ (ours.numFrames() - theirs.numFrames(), silentFrames * 1152);
        EXPECT_TRUE (sameSamples (theirs, kept));
    }
    EXPECT_EQ (quiet.finish(), "");
}

// Several readers on several threads at once each give what they give alone.
TEST (FFmpegAudioFormat, ReadersRunOnSeveralThreadsAtOnce)
{
    REQUIRE_FFMPEG_TOOL();
    testaudio::TempFolder temp;
    const juce::File files[] = { temp.file ("t1.mp3"), temp.file ("t2.mp3"), temp.file ("t3.wma") };
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (44100, 2, 80000, 1), files[0], { "-c:a", "libmp3lame" }));
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (22050, 1, 40000, 2), files[1], { "-c:a", "libmp3lame" }));
    ASSERT_TRUE (ffmpegtest::encode (ffmpegtest::programme (48000, 2, 90000, 3), files[2], { "-c:a", "wmav2" }));

    std::vector<Signal> alone;
    for (const auto& f : files)
        alone.push_back (ffmpegtest::readAll (*ffmpegtest::openReader (f)));

    std::vector<Signal> together (6);
    std::vector<std::thread> threads;
    for (size_t t = 0; t < together.size(); ++t)
        threads.emplace_back ([&, t]
                              {
                                  auto reader = ffmpegtest::openReader (files[t % 3]);
                                  if (reader == nullptr)
                                      return;
                                  // Backwards in blocks, so that every block is a seek.
                                  const auto length = reader->lengthInSamples;
                                  Signal out;
                                  out.channels.assign (reader->numChannels, std::vector<float> ((size_t) length));
                                  for (juce::int64 pos = (length - 1) / 4096 * 4096; pos >= 0; pos -= 4096)
                                  {
                                      const int n = (int) std::min<juce::int64> (4096, length - pos);
                                      const auto part = ffmpegtest::readRange (*reader, pos, n);
                                      for (size_t c = 0; c < out.channels.size(); ++c)
                                          std::copy (part.channels[c].begin(), part.channels[c].end(),
                                                     out.channels[c].begin() + pos);
                                  }
                                  together[t] = std::move (out);
                              });
    for (auto& th : threads)
        th.join();
    for (size_t t = 0; t < together.size(); ++t)
        EXPECT_TRUE (sameSamples (alone[t % 3], together[t])) << "thread " << t;
}
