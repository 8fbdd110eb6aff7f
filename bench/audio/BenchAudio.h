#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

constexpr double benchRate = 44100.0;

// Writes `seconds` of deterministic music-like audio, 44.1 kHz stereo 24-bit WAV; true on success.
bool writeBenchAudio (const juce::File& file, int seconds);
