#include "analysis/AudioFileCheck.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <span>
#include <sys/stat.h>
#include <sys/statfs.h>

namespace audiofile
{
namespace
{
constexpr long procMagic = 0x9fa0;   // PROC_SUPER_MAGIC
constexpr long sysfsMagic = 0x62656572; // SYSFS_MAGIC

uint32_t littleEndian32 (const uint8_t* p) { return (uint32_t) p[0] | (uint32_t) p[1] << 8 | (uint32_t) p[2] << 16 | (uint32_t) p[3] << 24; }
uint32_t bigEndian32 (const uint8_t* p) { return (uint32_t) p[3] | (uint32_t) p[2] << 8 | (uint32_t) p[1] << 16 | (uint32_t) p[0] << 24; }

bool startsWith (const juce::MemoryBlock& data, size_t at, const char* tag)
{
    const auto length = std::strlen (tag);
    return at + length <= data.getSize() && std::memcmp ((const char*) data.getData() + at, tag, length) == 0;
}

// What a scan of the file itself says: how many frames it can hold (-1 when the scan can't
// tell) and a fault when that is fewer than the header promises.
struct Scan
{
    juce::int64 framesHeld = -1;
};

// Uncompressed WAV and AIFF: the bytes after the start of the sample data.
Scan scanPcm (juce::InputStream& in, const juce::AudioFormatReader& reader)
{
    uint8_t head[12];
    if (in.read (head, 12) != 12)
        return {};
    const bool wav = std::equal (head, head + 4, "RIFF") && std::equal (head + 8, head + 12, "WAVE");
    const bool aiff = std::equal (head, head + 4, "FORM")
                      && (std::equal (head + 8, head + 12, "AIFF") || std::equal (head + 8, head + 12, "AIFC"));
    if ((! wav && ! aiff) || reader.bitsPerSample == 0 || reader.numChannels == 0)
        return {};

    const juce::int64 size = in.getTotalLength();
    const juce::int64 bytesPerFrame = (juce::int64) reader.numChannels * ((reader.bitsPerSample + 7) / 8);
    juce::int64 position = 12;
    uint8_t chunk[12];
    while (position + 8 <= size)
    {
        in.setPosition (position);
        if (in.read (chunk, 8) != 8)
            return {};
        const juce::int64 length = wav ? littleEndian32 (chunk + 4) : bigEndian32 (chunk + 4);
        juce::int64 start = -1;
        if (wav && std::equal (chunk, chunk + 4, "data"))
            start = position + 8;
        else if (aiff && std::equal (chunk, chunk + 4, "SSND") && in.read (chunk + 8, 4) == 4)
            start = position + 16 + bigEndian32 (chunk + 8);
        if (start >= 0)
            return { std::max<juce::int64> (0, (size - start) / bytesPerFrame) };
        position += 8 + length + (length & 1);
    }
    return {};
}

// FLAC: the last frame whose header and CRC-16 check out ends where the audio ends.
uint8_t crc8 (const uint8_t* p, size_t n)
{
    uint8_t crc = 0;
    for (size_t i = 0; i < n; ++i)
    {
        crc ^= p[i];
        for (int b = 0; b < 8; ++b)
            crc = (uint8_t) ((crc & 0x80) ? (crc << 1) ^ 0x07 : crc << 1);
    }
    return crc;
}

uint16_t crc16 (const uint8_t* p, size_t n)
{
    uint16_t crc = 0;
    for (size_t i = 0; i < n; ++i)
    {
        crc ^= (uint16_t) (p[i] << 8);
        for (int b = 0; b < 8; ++b)
            crc = (uint16_t) ((crc & 0x8000) ? (crc << 1) ^ 0x8005 : crc << 1);
    }
    return crc;
}

struct FlacFrame
{
    juce::int64 firstSample = 0;
    int blockSize = 0;
};

// The frame header at p, if its fields are legal and its CRC-8 holds.
std::optional<FlacFrame> flacFrameAt (const uint8_t* p, size_t available, int fixedBlockSize)
{
    if (available < 6 || p[0] != 0xFF || (p[1] & 0xFE) != 0xF8)
        return {};
    const int sizeCode = p[2] >> 4, rateCode = p[2] & 15;
    if (sizeCode == 0 || rateCode == 15 || (p[3] >> 4) > 10 || ((p[3] >> 1) & 7) == 3 || (p[3] & 1) != 0)
        return {};
    size_t at = 4;
    juce::int64 number = p[at];
    int extra = 0;
    if (p[at] >= 0x80)
    {
        if ((p[at] & 0xC0) == 0x80 || p[at] == 0xFF)
            return {};
        for (uint8_t mask = 0x40; (p[at] & mask) != 0 && mask != 0; mask >>= 1)
            ++extra;
        number = p[at] & (0x3F >> extra);
    }
    ++at;
    for (int i = 0; i < extra; ++i, ++at)
    {
        if (at >= available || (p[at] & 0xC0) != 0x80)
            return {};
        number = (number << 6) | (p[at] & 0x3F);
    }
    int blockSize = 0;
    if (sizeCode == 1)
        blockSize = 192;
    else if (sizeCode <= 5)
        blockSize = 576 << (sizeCode - 2);
    else if (sizeCode == 6 && at < available)
        blockSize = p[at++] + 1;
    else if (sizeCode == 7 && at + 1 < available)
    {
        blockSize = (p[at] << 8 | p[at + 1]) + 1;
        at += 2;
    }
    else if (sizeCode >= 8)
        blockSize = 256 << (sizeCode - 8);
    at += rateCode == 12 ? 1 : (rateCode == 13 || rateCode == 14) ? 2 : 0;
    if (blockSize == 0 || at >= available || crc8 (p, at) != p[at])
        return {};
    const bool variable = (p[1] & 1) != 0;
    return FlacFrame { variable ? number : number * fixedBlockSize, blockSize };
}

Scan scanFlac (juce::InputStream& in)
{
    const juce::int64 size = in.getTotalLength();
    uint8_t info[42];
    if (size < 42 || in.read (info, 42) != 42 || std::memcmp (info, "fLaC", 4) != 0 || (info[4] & 0x7F) != 0)
        return {};
    const int fixedBlockSize = info[10] << 8 | info[11];

    // The audio starts after the last metadata block.
    juce::int64 audioStart = 4;
    for (bool last = false; ! last;)
    {
        uint8_t header[4];
        in.setPosition (audioStart);
        if (in.read (header, 4) != 4)
            return { 0 };
        last = (header[0] & 0x80) != 0;
        audioStart += 4 + (header[1] << 16 | header[2] << 8 | header[3]);
    }
    if (audioStart >= size)
        return { 0 };

    // A frame is at most a few hundred kilobytes; the tail read reaches back far enough for one.
    const juce::int64 tailStart = std::max (audioStart, size - (juce::int64) (1 << 20));
    juce::MemoryBlock tail ((size_t) (size - tailStart));
    in.setPosition (tailStart);
    if (in.read (tail.getData(), (int) tail.getSize()) != (int) tail.getSize())
        return {};
    auto* bytes = static_cast<const uint8_t*> (tail.getData());
    size_t end = tail.getSize();
    if (end >= 128 && startsWith (tail, end - 128, "TAG"))
        end -= 128; // an ID3v1 tag behind the last frame

    for (size_t i = end; i-- > 0;)
    {
        const auto frame = flacFrameAt (bytes + i, end - i, fixedBlockSize);
        if (! frame)
            continue;
        // The last frame is whole when its CRC-16 covers it up to the end; otherwise the file
        // ends inside it and the audio ends where it starts.
        const bool whole = crc16 (bytes + i, end - i) == 0;
        return { frame->firstSample + (whole ? frame->blockSize : 0) };
    }
    return { tailStart == audioStart ? 0 : -1 };
}

// Ogg: a stream that is whole ends with a complete page marked end-of-stream.
bool oggEndsProperly (juce::InputStream& in)
{
    const juce::int64 size = in.getTotalLength();
    const juce::int64 tailStart = std::max<juce::int64> (0, size - 70000);
    juce::MemoryBlock tail ((size_t) (size - tailStart));
    in.setPosition (tailStart);
    if (in.read (tail.getData(), (int) tail.getSize()) != (int) tail.getSize())
        return true;
    auto* bytes = static_cast<const uint8_t*> (tail.getData());
    const size_t n = tail.getSize();
    for (size_t i = n < 27 ? 0 : n - 27 + 1; i-- > 0;)
    {
        if (! startsWith (tail, i, "OggS") || bytes[i + 4] != 0)
            continue;
        const size_t segments = bytes[i + 26];
        if (i + 27 + segments > n)
            return false;
        size_t length = 27 + segments;
        for (size_t s = 0; s < segments; ++s)
            length += bytes[i + 27 + s];
        return i + length == n && (bytes[i + 5] & 0x04) != 0;
    }
    return true;
}

void zeroNonFinite (float* samples, int n, juce::int64& count)
{
    for (int i = 0; i < n; ++i)
    {
        if (! std::isfinite (samples[i]))
        {
            samples[i] = 0.0f;
            ++count;
        }
    }
}
} // namespace

juce::String notARegularFile (const juce::File& file)
{
    const auto path = file.getFullPathName();
    struct stat info;
    if (::stat (path.toRawUTF8(), &info) != 0)
    {
        if (errno == ELOOP)
            return "is a symbolic link loop";
        if (errno == ENOENT || errno == ENOTDIR)
            return ::lstat (path.toRawUTF8(), &info) == 0 ? "is a broken symbolic link" : "no such file";
        return "cannot be read (" + juce::String (std::strerror (errno)) + ")";
    }
    if (S_ISDIR (info.st_mode))
        return "is a directory, not an audio file";
    if (S_ISFIFO (info.st_mode))
        return "is a named pipe (FIFO), not a regular file";
    if (S_ISSOCK (info.st_mode))
        return "is a socket, not a regular file";
    if (S_ISCHR (info.st_mode) || S_ISBLK (info.st_mode))
        return "is a device, not a regular file";
    if (! S_ISREG (info.st_mode))
        return "is not a regular file";
    struct statfs system;
    if (::statfs (path.toRawUTF8(), &system) == 0 && (system.f_type == procMagic || system.f_type == sysfsMagic))
        return "is a file of the kernel's /proc or /sys, not a stored file";
    return {};
}

CheckedReader::CheckedReader (std::unique_ptr<juce::AudioFormatReader> decoder, std::optional<Fault> scanned,
                              juce::int64 framesHeld)
    : juce::AudioFormatReader (nullptr, decoder->getFormatName()), inner (std::move (decoder)),
      scannedFault (scanned)
{
    sampleRate = inner->sampleRate;
    numChannels = inner->numChannels;
    bitsPerSample = inner->bitsPerSample;
    usesFloatingPointData = true;
    metadataValues = inner->metadataValues;
    claimed = inner->lengthInSamples;
    lengthInSamples = framesHeld >= 0 ? std::min (claimed, framesHeld) : claimed;
}

bool CheckedReader::readSamples (int* const* destChannels, int numDestChannels, int startOffsetInDestBuffer,
                                 juce::int64 startSampleInFile, int numSamples)
{
    // Past the frames the file holds there is nothing to decode: silence, at once.
    const int available = (int) juce::jlimit<juce::int64> (0, numSamples, lengthInSamples - startSampleInFile);
    // Playback reads here on the audio thread, which must not allocate.
    constexpr int mostChannels = 256;
    numDestChannels = std::min (numDestChannels, mostChannels);
    float* destArray[mostChannels];
    const std::span<float*> dest (destArray, (size_t) numDestChannels);
    for (int c = 0; c < numDestChannels; ++c)
        dest[(size_t) c] = destChannels[c] != nullptr ? reinterpret_cast<float*> (destChannels[c] + startOffsetInDestBuffer)
                                                       : nullptr;
    if (available > 0 && ! inner->read (destArray, numDestChannels, startSampleInFile, available))
        for (auto* d : dest)
            if (d != nullptr)
                std::fill (d, d + available, 0.0f);

    // NaN and infinities would stay in every filter they reach: they read as silence. They are
    // counted once per position, as the band pass reads the loudest blocks a second time.
    const int firstUncounted = (int) juce::jlimit<juce::int64> (0, available, countedUpTo - startSampleInFile);
    juce::int64 found = 0;
    for (auto* d : dest)
    {
        if (d == nullptr)
            continue;
        std::fill (d + available, d + numSamples, 0.0f);
        juce::int64 before = 0;
        zeroNonFinite (d, firstUncounted, before);
        zeroNonFinite (d + firstUncounted, available - firstUncounted, found);
    }
    if (startSampleInFile <= countedUpTo)
    {
        nonFinite += found;
        countedUpTo = std::max (countedUpTo, startSampleInFile + available);
    }
    return true;
}

std::optional<Fault> CheckedReader::fault() const
{
    std::optional<Fault> decoded;
    if (auto* reporting = dynamic_cast<const FaultReporting*> (inner.get()))
        decoded = reporting->fault();
    if (scannedFault && (! decoded || scannedFault->frame <= decoded->frame))
        return scannedFault;
    return decoded;
}

namespace
{
// Opens a file the way juce::AudioFormatManager does (each format that claims the file's
// extension has a go, in order), but through a read buffer: the readers ask for a few
// kilobytes at a time, and a read from the system for each of them costs more than the
// decoding of a WAV file does.
juce::AudioFormatReader* createBufferedReader (const juce::File& file, juce::AudioFormatManager& formats)
{
    for (auto* format : formats)
    {
        if (! format->canHandleFile (file))
            continue;
        auto in = file.createInputStream();
        if (in == nullptr)
            continue;
        auto* buffered = new juce::BufferedInputStream (in.release(), readBufferBytes, true);
        if (auto* reader = format->createReaderFor (buffered, true))
            return reader;
    }
    return nullptr;
}
} // namespace

Opened open (const juce::File& file, juce::AudioFormatManager& formats)
{
    Opened opened;
    opened.problem = notARegularFile (file);
    if (opened.problem.isNotEmpty())
        return opened;

    std::unique_ptr<juce::AudioFormatReader> decoder (createBufferedReader (file, formats));
    if (decoder == nullptr)
    {
        opened.problem = "is not an audio file that can be decoded";
        return opened;
    }
    if (decoder->numChannels == 0 || decoder->lengthInSamples < 0)
    {
        opened.problem = "has no audio (no channels in its header)";
        return opened;
    }
    const double rate = decoder->sampleRate;
    if (! (rate >= lowestSampleRate && rate <= highestSampleRate))
    {
        opened.problem = "has a sample rate of " + juce::String (rate, 0) + " Hz; the measures are made for "
                         + juce::String (lowestSampleRate, 0) + " to " + juce::String (highestSampleRate, 0) + " Hz";
        return opened;
    }

    Scan scan;
    bool oggCut = false;
    if (juce::FileInputStream in (file); in.openedOk())
    {
        const auto format = decoder->getFormatName();
        if (format == "WAV file" || format == "AIFF file")
            scan = scanPcm (in, *decoder);
        else if (format == "FLAC file")
            scan = scanFlac (in);
        else if (format == "Ogg-Vorbis file")
            oggCut = ! oggEndsProperly (in);
    }

    std::optional<Fault> fault;
    if (scan.framesHeld >= 0 && scan.framesHeld < decoder->lengthInSamples)
        fault = Fault { Fault::Kind::truncated, scan.framesHeld, decoder->lengthInSamples };
    else if (oggCut)
        fault = Fault { Fault::Kind::truncated, decoder->lengthInSamples };
    opened.reader = std::make_unique<CheckedReader> (std::move (decoder), fault, scan.framesHeld);
    return opened;
}

juce::String describe (const Fault& fault, double sampleRate)
{
    const double seconds = sampleRate > 0 ? (double) fault.frame / sampleRate : 0.0;
    juce::String at;
    if (seconds >= 60.0)
    {
        const int minutes = (int) (seconds / 60.0);
        at = juce::String (minutes) + ":" + juce::String (seconds - minutes * 60.0, 2).paddedLeft ('0', 5);
    }
    else
        at = juce::String (seconds, 2) + " s";
    return (fault.kind == Fault::Kind::truncated ? "truncated at " : "damaged at ") + at;
}
} // namespace audiofile
