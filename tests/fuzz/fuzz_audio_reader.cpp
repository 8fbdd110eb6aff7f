// libFuzzer target: a file opened as a track opens it (every registered format: WAV, AIFF,
// FLAC and Ogg Vorbis through JUCE, MP3 and Windows Media through FFmpeg, each wrapped in the
// checked reader) and read front to back in blocks, as the first pass reads it, then a few
// blocks again out of order, as the band pass does. The length must never exceed what the
// file can hold by more than a compressed frame can make, no sample may come out that is not
// a finite number, and a fault must lie inside the length the header promised.

#include "analysis/AudioFileCheck.h"
#include "analysis/FFmpegAudioFormat.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace
{
void require (bool condition, const char* what)
{
    if (! condition)
    {
        std::fprintf (stderr, "fuzz_audio_reader: %s\n", what);
        std::abort();
    }
}

juce::AudioFormatManager& formats()
{
    static juce::AudioFormatManager manager;
    static const bool registered = []
    {
        manager.registerBasicFormats();
        manager.registerFormat (new FFmpegAudioFormat(), false);
        return true;
    }();
    (void) registered;
    return manager;
}

// Formats are chosen by the file's extension: each input is tried under every one, as a file
// in a private folder.
juce::File scratchFile (const char* extension)
{
    static const juce::File folder = []
    {
        auto f = juce::File::getSpecialLocation (juce::File::tempDirectory)
                     .getChildFile ("orvane-fuzz-audio-" + juce::String ((int) getpid()));
        f.createDirectory();
        return f;
    }();
    return folder.getChildFile (juce::String ("input") + extension);
}

// Enough to reach every decoder's end on a small input, without reading a fuzzed length of hours.
constexpr juce::int64 mostFramesRead = 1 << 20;
constexpr int block = 4096;

void readAsTrack (const uint8_t* data, size_t size, const char* extension);
} // namespace

extern "C" int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    for (auto* extension : { ".wav", ".aiff", ".flac", ".ogg", ".mp3", ".wma" })
        readAsTrack (data, size, extension);
    return 0;
}

namespace
{
void readAsTrack (const uint8_t* data, size_t size, const char* extension)
{
    const auto file = scratchFile (extension);
    require (file.replaceWithData (data, size), "the input could not be written");

    auto opened = audiofile::open (file, formats());
    file.deleteFile();
    if (opened.reader == nullptr)
    {
        require (opened.problem.isNotEmpty(), "a refusal without a reason");
        return;
    }
    auto& reader = *opened.reader;
    require (reader.sampleRate >= audiofile::lowestSampleRate && reader.sampleRate <= audiofile::highestSampleRate,
             "a rate outside the measured range was let through");
    require (reader.lengthInSamples <= reader.claimedLength(), "the length grew beyond the header's");

    juce::AudioBuffer<float> buffer ((int) juce::jmin (reader.numChannels, 8u), block);
    const juce::int64 frames = juce::jmin (reader.lengthInSamples, mostFramesRead);
    auto readAt = [&] (juce::int64 start)
    {
        buffer.clear();
        reader.read (&buffer, 0, block, start, true, true);
        for (int c = 0; c < buffer.getNumChannels(); ++c)
            for (int i = 0; i < block; ++i)
                require (std::isfinite (buffer.getSample (c, i)), "a sample that is not a finite number");
    };
    for (juce::int64 start = 0; start < frames + block; start += block)
        readAt (start);
    for (juce::int64 start : { frames / 2, (juce::int64) 0, frames - 1 })
        readAt (juce::jmax<juce::int64> (0, start));

    if (const auto fault = reader.fault())
        require (fault->frame >= 0 && fault->frame <= reader.claimedLength(), "a fault outside the promised length");
}
} // namespace
