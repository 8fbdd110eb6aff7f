#pragma once

#include "analysis/AudioFileCheck.h"

#include <juce_audio_formats/juce_audio_formats.h>

namespace orvane::cli
{
// What can be told about a file before it is queued: the reason it cannot be used, or an
// empty string when it looks loadable. Checks, in order: it is a regular file (no pipe,
// device or /proc file, which could block or never end), can be opened, is not empty, a
// reader can be made for it at a rate the measures are made for, the file holds the audio
// its header promises, it fits the 32-bit frame count of a track, and it lasts at least
// one second.
juce::String findProblem (const juce::File& file, juce::AudioFormatManager& formats);

// The reason for a fault found while the file was decoded: "is truncated at 6.02 s (its
// header promises 60.00 s)" or "is damaged at 1:02.50 (the decoder refused the data there)".
juce::String faultProblem (const audiofile::Fault& fault, double sampleRate);
} // namespace orvane::cli
