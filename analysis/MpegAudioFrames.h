#pragma once

#include <juce_core/juce_core.h>

#include <optional>
#include <vector>

// The frames of a plain MPEG-1/2/2.5 layer III file, found by reading their headers only,
// with the encoder delay and padding that its LAME tag records.
//
// Only a file whose every byte is accounted for is taken: an ID3v2 tag at the start, an
// optional Xing/Info frame, then frames back to back to the end, each whole, all of one
// version, layer, rate and channel count (the first two alike in every bit FFmpeg compares),
// then nothing or an ID3v1/APE tag. Anything else (junk to resync over, a cut last frame,
// free-format or layer I/II frames, a VBRI header, a second ID3v2 tag) gives nothing, and the caller reads the file through FFmpeg's demuxer instead. What it
// gives is what that demuxer makes of such a file: one packet per frame, the same skip of
// delay plus the decoder's 529 samples on the first, the same padding discarded at the end,
// and the same length promised by the frame count of the Xing/Info frame.
//
// Any thread; reads the stream from its current position, which it leaves anywhere.
namespace mpegaudio
{
struct Frame
{
    juce::int64 filePos = 0;
    int size = 0;
};

struct Frames
{
    std::vector<Frame> frames;
    int sampleRate = 0;
    int numChannels = 0;
    int samplesPerFrame = 0;
    // Samples of the decoded stream dropped at the start, from its first frame on.
    juce::int64 startSkip = 0;
    // Samples from firstDiscard on, of any frame that starts before lastDiscard, are padding;
    // 0 when the file does not say.
    juce::int64 firstDiscard = 0;
    juce::int64 lastDiscard = 0;
    // The length the Xing/Info frame promises, before trimming; -1 when it states none.
    juce::int64 promisedLength = -1;
};

// Fields of a 4-byte frame header; valid is false for anything that is no layer III header
// with a known bit rate.
struct Header
{
    bool valid = false;
    bool lowSamplingFrequency = false; // MPEG-2 or 2.5
    int sampleRate = 0;
    int numChannels = 0;
    int frameSize = 0; // bytes, header included
    int samplesPerFrame = 0;
};
Header decodeHeader (juce::uint32 header);

std::optional<Frames> findFrames (juce::InputStream& in);
} // namespace mpegaudio
