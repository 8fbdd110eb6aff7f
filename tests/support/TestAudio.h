#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

#include <functional>
#include <vector>

namespace testaudio
{
// A folder under the system temp dir that is deleted with the object.
class TempFolder
{
public:
    TempFolder();
    ~TempFolder();
    juce::File file (const juce::String& name) const { return folder.getChildFile (name); }
    const juce::File& path() const { return folder; }

private:
    juce::File folder;
};

// Deinterleaved float audio, one vector per channel.
struct Signal
{
    double sampleRate = 48000.0;
    std::vector<std::vector<float>> channels;

    int numFrames() const { return channels.empty() ? 0 : (int) channels[0].size(); }
    int numChannels() const { return (int) channels.size(); }
};

// A sine of the given peak amplitude (linear) on every channel.
Signal sine (double sampleRate, int numChannels, double seconds, double frequency, double amplitude,
             double phase = 0.0);
// Frames filled by a function of (channel, frame).
Signal generate (double sampleRate, int numChannels, int numFrames,
                 const std::function<float (int channel, int frame)>& value);
// Appends b to a in time.
void append (Signal& a, const Signal& b);

// Writes a WAV file (24-bit PCM by default, 32 for float); true on success.
bool writeWav (const juce::File& file, const Signal& signal, int bitsPerSample = 24);
} // namespace testaudio
