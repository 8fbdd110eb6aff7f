#include "cli/FileCheck.h"

#include <algorithm>
#include <climits>
#include <memory>

namespace orvane::cli
{
namespace
{
uint32_t littleEndian32 (const uint8_t* p) { return (uint32_t) p[0] | (uint32_t) p[1] << 8 | (uint32_t) p[2] << 16 | (uint32_t) p[3] << 24; }
uint32_t bigEndian32 (const uint8_t* p) { return (uint32_t) p[3] | (uint32_t) p[2] << 8 | (uint32_t) p[1] << 16 | (uint32_t) p[0] << 24; }

// Where the sample data of an uncompressed WAV or AIFF file starts, found by walking its
// chunks; -1 if the file is of another kind or has no such chunk.
int64_t audioDataStart (const juce::File& file)
{
    juce::FileInputStream in (file);
    if (! in.openedOk())
        return -1;

    uint8_t head[12];
    if (in.read (head, 12) != 12)
        return -1;
    const bool wav = std::equal (head, head + 4, "RIFF") && std::equal (head + 8, head + 12, "WAVE");
    const bool aiff = std::equal (head, head + 4, "FORM")
                      && (std::equal (head + 8, head + 12, "AIFF") || std::equal (head + 8, head + 12, "AIFC"));
    if (! wav && ! aiff)
        return -1;

    const int64_t size = in.getTotalLength();
    int64_t position = 12;
    uint8_t chunk[8];
    while (position + 8 <= size)
    {
        in.setPosition (position);
        if (in.read (chunk, 8) != 8)
            return -1;
        const int64_t length = wav ? littleEndian32 (chunk + 4) : bigEndian32 (chunk + 4);
        if (wav && std::equal (chunk, chunk + 4, "data"))
            return position + 8;
        if (aiff && std::equal (chunk, chunk + 4, "SSND"))
        {
            uint8_t offset[4];
            if (in.read (offset, 4) != 4)
                return -1;
            return position + 16 + bigEndian32 (offset);
        }
        position += 8 + length + (length & 1);
    }
    return -1;
}

bool isUncompressedPcmFormat (const juce::String& formatName)
{
    return formatName == "WAV file" || formatName == "AIFF file";
}
} // namespace

juce::String findProblem (const juce::File& file, juce::AudioFormatManager& formats)
{
    if (file.isDirectory())
        return "is a directory, not an audio file";
    if (! file.existsAsFile())
        return "no such file";

    {
        juce::FileInputStream probe (file);
        if (! probe.openedOk())
            return "cannot be read (" + probe.getStatus().getErrorMessage().trim() + ")";
    }
    const int64_t fileSize = file.getSize();
    if (fileSize == 0)
        return "is empty (0 bytes)";

    std::unique_ptr<juce::AudioFormatReader> reader (formats.createReaderFor (file));
    if (reader == nullptr)
        return "is not an audio file that can be decoded";

    const int64_t frames = reader->lengthInSamples;
    const double rate = reader->sampleRate;
    if (rate <= 0 || reader->numChannels == 0)
        return "has no audio (no sample rate or no channels in its header)";

    // A header that promises more than the file holds would have the track allocate and
    // walk silence for all of it, gigabytes for a damaged size field.
    if (isUncompressedPcmFormat (reader->getFormatName()) && reader->bitsPerSample > 0)
    {
        const int64_t start = audioDataStart (file);
        if (start >= 0)
        {
            const int64_t bytesPerFrame = (int64_t) reader->numChannels * ((reader->bitsPerSample + 7) / 8);
            const int64_t holds = std::max<int64_t> (0, (fileSize - start) / bytesPerFrame);
            if (frames > holds)
                return "is truncated: its header promises " + juce::String (frames)
                       + " sample frames but the file holds " + juce::String (holds);
        }
    }

    if (frames > INT_MAX)
        return "is too long to analyse (" + juce::String (frames) + " sample frames)";
    if ((double) frames < rate)
        return "is shorter than one second (" + juce::String ((double) frames / rate, 2) + " s)";
    return {};
}
} // namespace orvane::cli
