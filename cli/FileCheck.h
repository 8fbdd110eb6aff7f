#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

namespace orvane::cli
{
// What can be told about a file before it is queued: the reason it cannot be used, or an
// empty string when it looks loadable. Checks, in order: it exists, is not a folder, can
// be opened, is not empty, a reader can be made for it, its header does not promise more
// audio than the file holds, it fits the 32-bit frame count of a track, and it lasts at
// least one second.
juce::String findProblem (const juce::File& file, juce::AudioFormatManager& formats);
} // namespace orvane::cli
