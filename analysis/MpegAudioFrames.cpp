#include "analysis/MpegAudioFrames.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace mpegaudio
{
namespace
{
// What two frames of one stream share: sync, version, layer and rate.
constexpr juce::uint32 sameStreamMask = 0xffe00000u | (3u << 17) | (3u << 10) | (3u << 19);
// What FFmpeg's demuxer asks the first two frames to share before it starts there (the
// channel mode, copyright, original and emphasis bits too); otherwise it takes the first as junk.
constexpr juce::uint32 sameStartMask = 0xfffe0ccfu;

// An ID3v2 tag larger than this is left to FFmpeg, whose format probe treats a tag that
// fills its probe buffer in ways of its own.
constexpr juce::int64 largestTags = 512 * 1024;
// Fewer frames than this are left to FFmpeg too: its probe is less sure of short streams.
constexpr size_t fewestFrames = 16;
// The longest tail of ID3v1/APE tag bytes taken.
constexpr juce::int64 longestTail = 64 * 1024;

// The decoder's own delay, which the LAME tag's encoder delay leaves out.
constexpr juce::int64 decoderDelay = 528 + 1;

juce::uint32 bigEndian (const juce::uint8* p, int bytes)
{
    juce::uint32 v = 0;
    for (int i = 0; i < bytes; ++i)
        v = (v << 8) | p[i];
    return v;
}

// Reads `count` bytes at `pos` into `out`; false when the file does not hold them all.
bool readAt (juce::InputStream& in, juce::int64 pos, void* out, int count)
{
    return in.setPosition (pos) && in.read (out, count) == count;
}

bool isId3v2Header (const juce::uint8* b)
{
    return b[0] == 'I' && b[1] == 'D' && b[2] == '3' && b[3] != 0xff && b[4] != 0xff && (b[6] & 0x80) == 0
           && (b[7] & 0x80) == 0 && (b[8] & 0x80) == 0 && (b[9] & 0x80) == 0;
}
} // namespace

Header decodeHeader (juce::uint32 h)
{
    Header out;
    if ((h & 0xffe00000u) != 0xffe00000u)
        return out;
    const int version = (int) ((h >> 19) & 3); // 0: MPEG-2.5, 1: reserved, 2: MPEG-2, 3: MPEG-1
    const int layer = (int) ((h >> 17) & 3);   // 1: layer III
    const int bitrateIndex = (int) ((h >> 12) & 15);
    const int rateIndex = (int) ((h >> 10) & 3);
    if (version == 1 || layer != 1 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3)
        return out;

    static constexpr std::array<int, 15> mpeg1Kbps { 0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 };
    static constexpr std::array<int, 15> mpeg2Kbps { 0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160 };
    static constexpr std::array<int, 3> mpeg1Rates { 44100, 48000, 32000 };

    out.lowSamplingFrequency = version != 3;
    out.sampleRate = mpeg1Rates[(size_t) rateIndex] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    const int kbps = (out.lowSamplingFrequency ? mpeg2Kbps : mpeg1Kbps)[(size_t) bitrateIndex];
    const int padding = (int) ((h >> 9) & 1);
    out.frameSize = kbps * 144000 / (out.sampleRate << (out.lowSamplingFrequency ? 1 : 0)) + padding;
    out.numChannels = ((h >> 6) & 3) == 3 ? 1 : 2;
    out.samplesPerFrame = out.lowSamplingFrequency ? 576 : 1152;
    out.valid = true;
    return out;
}

std::optional<Frames> findFrames (juce::InputStream& in)
{
    const juce::int64 total = in.getTotalLength();
    if (total <= 0 || in.getPosition() != 0)
        return {};

    // An ID3v2 tag. A second one is left to FFmpeg, whose probe looks past the first alone,
    // and so is a version 4 tag that says it has a footer: FFmpeg steps over the footer
    // whether it is there or not.
    juce::int64 pos = 0;
    if (std::array<juce::uint8, 10> tag {}; readAt (in, pos, tag.data(), 10) && isId3v2Header (tag.data()))
    {
        if (tag[3] == 4 && (tag[5] & 0x10) != 0)
            return {};
        pos += 10 + (juce::int64) ((tag[6] << 21) | (tag[7] << 14) | (tag[8] << 7) | tag[9]);
        if (pos > largestTags || (readAt (in, pos, tag.data(), 10) && isId3v2Header (tag.data())))
            return {};
    }

    std::array<juce::uint8, 4> bytes {};
    if (! readAt (in, pos, bytes.data(), 4))
        return {};
    const juce::uint32 firstHeader = bigEndian (bytes.data(), 4);
    const Header first = decodeHeader (firstHeader);
    if (! first.valid)
        return {};

    Frames out;
    out.sampleRate = first.sampleRate;
    out.numChannels = first.numChannels;
    out.samplesPerFrame = first.samplesPerFrame;

    // A Xing/Info frame carries no audio: it counts the frames and bytes, and a LAME tag in it
    // gives the encoder delay and padding. A VBRI frame is left to FFmpeg.
    {
        std::array<juce::uint8, 4> vbri {};
        if (readAt (in, pos + 4 + 32, vbri.data(), 4) && std::memcmp (vbri.data(), "VBRI", 4) == 0)
            return {};
    }
    const int xingOffset = first.lowSamplingFrequency ? (first.numChannels == 1 ? 9 : 17) : (first.numChannels == 1 ? 17 : 32);
    juce::int64 at = pos + 4 + xingOffset;
    std::array<juce::uint8, 4> word {};
    auto next = [&] (int count)
    {
        word.fill (0);
        const bool whole = readAt (in, at, word.data(), count);
        at += count;
        return whole ? bigEndian (word.data(), count) : 0u;
    };
    const juce::uint32 tagName = next (4);
    if (tagName == bigEndian ((const juce::uint8*) "Xing", 4) || tagName == bigEndian ((const juce::uint8*) "Info", 4))
    {
        const juce::uint32 flags = next (4);
        juce::uint32 frames = (flags & 1) != 0 ? next (4) : 0;
        const juce::uint32 streamBytes = (flags & 2) != 0 ? next (4) : 0;
        if (frames == 0 && streamBytes == 0)
            return {}; // then its frame is taken as audio, with the LAME delay all the same

        // A file much longer than the tag says is two files joined: the count is not used.
        const juce::int64 bytesAfterHeader = std::max<juce::int64> (0, total - (pos + 4));
        if (bytesAfterHeader > 0 && streamBytes > 0)
        {
            const juce::int64 smaller = std::min<juce::int64> (bytesAfterHeader, streamBytes);
            const juce::int64 difference = std::max<juce::int64> (bytesAfterHeader, streamBytes) - smaller;
            if (bytesAfterHeader > (juce::int64) streamBytes && difference > (smaller >> 4))
                frames = 0;
        }
        at += ((flags & 4) != 0 ? 100 : 0) + ((flags & 8) != 0 ? 4 : 0);

        std::array<char, 9> encoder {};
        if (! readAt (in, at, encoder.data(), 9))
            encoder.fill (0);
        at += 9 + 12; // revision, lowpass, peak, two gains, flags, bit rate
        const juce::uint32 delays = next (3);
        if (std::memcmp (encoder.data(), "LAME", 4) == 0 || std::memcmp (encoder.data(), "Lavf", 4) == 0
            || std::memcmp (encoder.data(), "Lavc", 4) == 0)
        {
            const juce::int64 startPadding = delays >> 12;
            const juce::int64 endPadding = delays & 4095;
            out.startSkip = startPadding + decoderDelay;
            if (frames != 0)
            {
                out.firstDiscard = (juce::int64) frames * first.samplesPerFrame - endPadding + decoderDelay;
                out.lastDiscard = (juce::int64) frames * first.samplesPerFrame;
            }
        }
        if (frames != 0)
            out.promisedLength = (juce::int64) frames * first.samplesPerFrame;
        pos += first.frameSize;
    }

    // The frames, back to back.
    juce::uint32 streamHeader = 0;
    while (pos + 4 <= total)
    {
        if (! readAt (in, pos, bytes.data(), 4))
            return {};
        const juce::uint32 h = bigEndian (bytes.data(), 4);
        const Header frame = decodeHeader (h);
        if (! frame.valid || (streamHeader != 0 && (h & sameStreamMask) != (streamHeader & sameStreamMask))
            || frame.numChannels != out.numChannels || frame.sampleRate != out.sampleRate)
            break;
        if (pos + frame.frameSize > total)
            return {}; // a cut last frame
        if (out.frames.size() == 1 && (h & sameStartMask) != (streamHeader & sameStartMask))
            return {};
        streamHeader = h;
        out.frames.push_back ({ pos, frame.frameSize });
        pos += frame.frameSize;
    }
    if (out.frames.size() < fewestFrames)
        return {};

    // Then nothing, or tags in which no frame header could be found. (An ID3v1 tag ends on
    // 0xff, "no genre", but nothing follows that byte.)
    const juce::int64 tailSize = total - pos;
    if (tailSize > 0)
    {
        if (tailSize > longestTail)
            return {};
        std::vector<juce::uint8> tail ((size_t) tailSize);
        if (! readAt (in, pos, tail.data(), (int) tailSize))
            return {};
        const bool id3v1 = tailSize >= 128 && std::memcmp (tail.data(), "TAG", 3) == 0;
        const bool ape = tailSize >= 32 && std::memcmp (tail.data(), "APETAGEX", 8) == 0;
        if (! (id3v1 || ape))
            return {};
        for (size_t i = 0; i + 4 <= tail.size(); ++i)
            if (tail[i] == 0xff && (tail[i + 1] & 0xe0) == 0xe0)
                return {};
    }
    return out;
}
} // namespace mpegaudio
