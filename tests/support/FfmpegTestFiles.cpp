#include "support/FfmpegTestFiles.h"

#include "analysis/FFmpegAudioFormat.h"

#include <cmath>

namespace ffmpegtest
{
bool runTool (const juce::StringArray& arguments)
{
    juce::ChildProcess process;
    juce::StringArray command { "ffmpeg", "-nostdin", "-hide_banner", "-y", "-loglevel", "error" };
    command.addArray (arguments);
    if (! process.start (command, juce::ChildProcess::wantStdErr | juce::ChildProcess::wantStdOut))
        return false;
    process.readAllProcessOutput(); // also waits for the end
    return process.waitForProcessToFinish (60000) && process.getExitCode() == 0;
}

bool toolAvailable()
{
    static const bool available = [] { return runTool ({ "-version" }); }();
    return available;
}

bool encode (const testaudio::Signal& signal, const juce::File& output, const juce::StringArray& outputOptions)
{
    const auto wav = output.getSiblingFile (output.getFileName() + ".source.wav");
    juce::StringArray args { "-i", wav.getFullPathName() };
    args.addArray (outputOptions);
    args.add (output.getFullPathName());
    const bool ok = testaudio::writeWav (wav, signal, 32) && runTool (args);
    wav.deleteFile();
    return ok && output.existsAsFile();
}

testaudio::Signal decode (const juce::File& input)
{
    const auto wav = input.getSiblingFile (input.getFileName() + ".decoded.wav");
    testaudio::Signal result;
    if (runTool ({ "-i", input.getFullPathName(), "-map", "0:a:0", "-c:a", "pcm_f32le", wav.getFullPathName() }))
        if (std::unique_ptr<juce::AudioFormatReader> reader { juce::WavAudioFormat().createReaderFor (wav.createInputStream().release(), true) })
            result = readRange (*reader, 0, (int) reader->lengthInSamples);
    wav.deleteFile();
    return result;
}

testaudio::Signal readRange (juce::AudioFormatReader& reader, juce::int64 start, int numSamples)
{
    juce::AudioBuffer<float> buffer ((int) reader.numChannels, numSamples);
    reader.read (&buffer, 0, numSamples, start, true, true);
    testaudio::Signal s;
    s.sampleRate = reader.sampleRate;
    for (int c = 0; c < buffer.getNumChannels(); ++c)
        s.channels.emplace_back (buffer.getReadPointer (c), buffer.getReadPointer (c) + numSamples);
    return s;
}

testaudio::Signal readAll (juce::AudioFormatReader& reader, int blockSize)
{
    testaudio::Signal all;
    all.sampleRate = reader.sampleRate;
    all.channels.assign (reader.numChannels, {});
    for (juce::int64 pos = 0; pos < reader.lengthInSamples; pos += blockSize)
    {
        const int n = (int) std::min<juce::int64> (blockSize, reader.lengthInSamples - pos);
        testaudio::append (all, readRange (reader, pos, n));
    }
    return all;
}

std::unique_ptr<juce::AudioFormatReader> openReader (const juce::File& file, bool findMpegFramesItself)
{
    FFmpegAudioFormat format (findMpegFramesItself);
    return std::unique_ptr<juce::AudioFormatReader> (format.createReaderFor (file.createInputStream().release(), true));
}

testaudio::Signal programme (double sampleRate, int numChannels, int numFrames, juce::uint32 seed)
{
    juce::Random random ((juce::int64) seed);
    const double twoPi = juce::MathConstants<double>::twoPi;
    return testaudio::generate (sampleRate, numChannels, numFrames, [&] (int c, int i)
    {
        const double t = i / sampleRate;
        const double v = 0.30 * std::sin (twoPi * (220.0 + 110.0 * c) * t)
                       + 0.15 * std::sin (twoPi * 1250.0 * t + c)
                       + 0.08 * std::sin (twoPi * 0.37 * sampleRate / 4.0 * t) * std::sin (twoPi * 3.0 * t)
                       + 0.05 * (random.nextFloat() * 2.0 - 1.0);
        return (float) v;
    });
}

::testing::AssertionResult sameSamples (const testaudio::Signal& expected, const testaudio::Signal& actual)
{
    if (expected.numChannels() != actual.numChannels() || expected.numFrames() != actual.numFrames())
        return ::testing::AssertionFailure() << "shape " << expected.numChannels() << "x" << expected.numFrames()
                                             << " vs " << actual.numChannels() << "x" << actual.numFrames();
    for (size_t c = 0; c < expected.channels.size(); ++c)
        for (size_t i = 0; i < expected.channels[c].size(); ++i)
            if (expected.channels[c][i] != actual.channels[c][i])
                return ::testing::AssertionFailure() << "channel " << c << " frame " << i << ": "
                                                     << expected.channels[c][i] << " vs " << actual.channels[c][i];
    return ::testing::AssertionSuccess();
}
} // namespace ffmpegtest
