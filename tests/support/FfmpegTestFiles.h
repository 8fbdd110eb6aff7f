#pragma once

#include "support/TestAudio.h"

#include <gtest/gtest.h>
#include <juce_audio_formats/juce_audio_formats.h>

#include <memory>

// Compressed test files made at test time with the ffmpeg command-line tool, and ffmpeg's
// own decode of them as the reference for our reader.
namespace ffmpegtest
{
// True when the ffmpeg tool can be run.
bool toolAvailable();

// Runs ffmpeg quietly with these arguments; true if it exits with 0.
bool runTool (const juce::StringArray& arguments);

// Encodes the signal (given to ffmpeg as a float WAV) with outputOptions (codec, bit rate...).
bool encode (const testaudio::Signal& signal, const juce::File& output, const juce::StringArray& outputOptions);

// The first audio stream of a file as ffmpeg's command-line path decodes it, as float with
// its own channel count and rate. No channels on failure.
testaudio::Signal decode (const juce::File& input);

// The whole file through the reader, front to back in blocks.
testaudio::Signal readAll (juce::AudioFormatReader& reader, int blockSize = 16384);

// Reads numSamples from start into a fresh signal of the reader's channel count.
testaudio::Signal readRange (juce::AudioFormatReader& reader, juce::int64 start, int numSamples);

// Exact comparison of two signals; reports the first difference.
::testing::AssertionResult sameSamples (const testaudio::Signal& expected, const testaudio::Signal& actual);
// Opens a file with our FFmpeg format alone; null if it refuses. findMpegFramesItself as
// FFmpegAudioFormat takes it.
std::unique_ptr<juce::AudioFormatReader> openReader (const juce::File& file, bool findMpegFramesItself = true);

// Test programme material: a few partials and a little seeded noise, so that a VBR encoder
// has something to vary on and samples are never trivially equal.
testaudio::Signal programme (double sampleRate, int numChannels, int numFrames, juce::uint32 seed = 1);
} // namespace ffmpegtest
