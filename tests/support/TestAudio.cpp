#include "support/TestAudio.h"

#include <cmath>

namespace testaudio
{
TempFolder::TempFolder()
{
    // A random name: ctest runs test programs side by side, and a free name checked first
    // could be taken by another process before it is made.
    folder = juce::File::getSpecialLocation (juce::File::tempDirectory).getChildFile ("orvane-test-" + juce::Uuid().toString());
    folder.createDirectory();
}

TempFolder::~TempFolder() { folder.deleteRecursively(); }

Signal generate (double sampleRate, int numChannels, int numFrames,
                 const std::function<float (int, int)>& value)
{
    Signal s;
    s.sampleRate = sampleRate;
    s.channels.assign ((size_t) numChannels, std::vector<float> ((size_t) numFrames));
    for (int c = 0; c < numChannels; ++c)
        for (int i = 0; i < numFrames; ++i)
            s.channels[(size_t) c][(size_t) i] = value (c, i);
    return s;
}

Signal sine (double sampleRate, int numChannels, double seconds, double frequency, double amplitude,
             double phase)
{
    const int frames = (int) std::llround (seconds * sampleRate);
    const double w = 2.0 * juce::MathConstants<double>::pi * frequency / sampleRate;
    return generate (sampleRate, numChannels, frames, [&] (int, int i)
                     { return (float) (amplitude * std::sin (w * i + phase)); });
}

void append (Signal& a, const Signal& b)
{
    if (a.channels.empty())
    {
        a = b;
        return;
    }
    for (size_t c = 0; c < a.channels.size() && c < b.channels.size(); ++c)
        a.channels[c].insert (a.channels[c].end(), b.channels[c].begin(), b.channels[c].end());
}

bool writeWav (const juce::File& file, const Signal& signal, int bitsPerSample)
{
    file.deleteFile();
    std::unique_ptr<juce::OutputStream> out = std::make_unique<juce::FileOutputStream> (file);
    if (! static_cast<juce::FileOutputStream*> (out.get())->openedOk())
        return false;
    juce::WavAudioFormat wav;
    std::unique_ptr<juce::AudioFormatWriter> writer (
        wav.createWriterFor (out.get(), signal.sampleRate, (unsigned int) signal.numChannels(),
                             bitsPerSample, {}, 0));
    if (writer == nullptr)
        return false;
    out.release();
    std::vector<const float*> ptrs;
    for (auto& ch : signal.channels)
        ptrs.push_back (ch.data());
    return writer->writeFromFloatArrays (ptrs.data(), signal.numChannels(), signal.numFrames());
}
} // namespace testaudio
