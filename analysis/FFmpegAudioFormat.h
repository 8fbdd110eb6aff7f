#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

// Reads MP3 and Windows Media audio (.mp3 .wmv .asf .wm .wma) through FFmpeg.
//
// The reader delivers 32-bit float samples at the stream's own rate and channel count.
// Its length is exact from the moment it is opened: an MP3's encoder delay and end padding,
// as its LAME/Xing tag states them, are trimmed, so a file encoded from N frames reads as N
// frames. Every packet of the audio stream is listed when the reader opens (a plain MP3's
// frames by walking their headers, anything else through FFmpeg's demuxer); MP3 frame
// headers give the length from that alone, while Windows Media is decoded
// once at open to count its samples (its container records no delay or padding, and the
// length is whatever the decoder makes). Any position can be reached again: a read away
// from the decoder's position restarts decoding a few packets earlier, so that the samples
// equal those of a decode from the start. Samples before 0 or past the end read as zeros,
// and a packet that can't be decoded reads as zeros for its length.
//
// One reader is used by one thread at a time; any number of readers may run at once.
// Register this format after JUCE's own: asked for a raw stream, FFmpeg would also take WAV,
// AIFF or FLAC data.
class FFmpegAudioFormat : public juce::AudioFormat
{
public:
    // A plain MP3 file's frames are found by reading their headers, which is far quicker than
    // loading FFmpeg's demuxing library for it; false sends every file through that library.
    // Either way a file reads the same.
    explicit FFmpegAudioFormat (bool findMpegFramesItself = true);
    ~FFmpegAudioFormat() override;

    juce::Array<int> getPossibleSampleRates() override;
    juce::Array<int> getPossibleBitDepths() override;
    bool canDoStereo() override { return true; }
    bool canDoMono() override { return true; }
    bool isCompressed() override { return true; }

    // Null for anything FFmpeg can't open or that has no decodable audio stream; the stream
    // is then deleted if deleteStreamIfOpeningFails is true. On success the reader owns it.
    juce::AudioFormatReader* createReaderFor (juce::InputStream* sourceStream,
                                              bool deleteStreamIfOpeningFails) override;

    // Reading only: always null.
    juce::AudioFormatWriter* createWriterFor (juce::OutputStream* streamToWriteTo, double sampleRateToUse,
                                              unsigned int numberOfChannels, int bitsPerSample,
                                              const juce::StringPairArray& metadataValues,
                                              int qualityOptionIndex) override;
    using juce::AudioFormat::createWriterFor;

    static constexpr const char* formatName = "FFmpeg audio";

private:
    const bool findsMpegFramesItself;
};
