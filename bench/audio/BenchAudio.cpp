#include "audio/BenchAudio.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>

// Something like a song: a bass note, a wandering tone and noise, both sides partly
// correlated, in sections of 16 s that alternate between about -20 and -11 dBFS RMS, with
// a fade in and out. Deterministic, so every run measures the same audio.
bool writeBenchAudio (const juce::File& file, int seconds)
{
    file.getParentDirectory().createDirectory();
    file.deleteFile();
    auto stream = std::make_unique<juce::FileOutputStream> (file);
    if (! stream->openedOk())
        return false;
    juce::WavAudioFormat wav;
    std::unique_ptr<juce::AudioFormatWriter> writer (wav.createWriterFor (stream.get(), benchRate, 2, 24, {}, 0));
    if (writer == nullptr)
        return false;
    stream.release();

    constexpr int block = 16384;
    juce::AudioBuffer<float> buffer (2, block);
    uint32_t seed = 12345u;
    auto noise = [&seed]
    {
        seed = seed * 1664525u + 1013904223u;
        return (float) ((double) (seed >> 8) / (double) (1u << 24) * 2.0 - 1.0);
    };
    const double twoPi = juce::MathConstants<double>::twoPi;
    float lowLeft = 0.0f, lowRight = 0.0f;

    const int64_t frames = (int64_t) benchRate * seconds;
    for (int64_t start = 0; start < frames; start += block)
    {
        const int n = (int) std::min<int64_t> (block, frames - start);
        auto* left = buffer.getWritePointer (0);
        auto* right = buffer.getWritePointer (1);
        for (int k = 0; k < n; ++k)
        {
            const int64_t i = start + k;
            const double t = (double) i / benchRate;
            const bool chorus = ((int) (t / 16.0)) % 2 == 1;
            const double fade = std::min ({ 1.0, t / 2.0, ((double) seconds - t) / 4.0 });
            const double gain = (chorus ? 0.35 : 0.12) * fade;
            const double beat = 0.6 + 0.4 * std::pow (std::sin (juce::MathConstants<double>::pi * t * 2.0), 8.0);
            const double bass = 0.5 * std::sin (twoPi * 55.0 * t);
            const double tone = 0.3 * std::sin (twoPi * (440.0 + 110.0 * std::sin (twoPi * 0.05 * t)) * t);
            const float common = noise();
            lowLeft += 0.2f * (0.7f * common + 0.3f * noise() - lowLeft);
            lowRight += 0.2f * (0.7f * common + 0.3f * noise() - lowRight);
            left[k] = (float) (gain * (bass + tone * 0.8 + beat * 0.6 * lowLeft));
            right[k] = (float) (gain * (bass + tone * 1.2 + beat * 0.6 * lowRight));
        }
        if (! writer->writeFromAudioSampleBuffer (buffer, 0, n))
            return false;
    }
    return true;
}

