#include "CliTestSupport.h"

#include "support/FfmpegTestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace clitest
{
namespace
{
std::string quoted (const std::string& text)
{
    std::string q = "'";
    for (char c : text)
        q += c == '\'' ? std::string ("'\\''") : std::string (1, c);
    return q + "'";
}

float tone (int frame) { return (float) std::sin (2.0 * juce::MathConstants<double>::pi * 997.0 * frame / 48000.0); }
float fromDb (double db) { return (float) std::pow (10.0, db / 20.0); }
} // namespace

std::vector<std::string> RunResult::errLines() const
{
    auto lines = linesOf (err);
    lines.erase (std::remove (lines.begin(), lines.end(), std::string()), lines.end());
    return lines;
}

RunResult runChecker (const std::vector<std::string>& arguments, const juce::File& workingFolder,
                      const juce::File& home)
{
    static const testaudio::TempFolder emptyHome;
    const testaudio::TempFolder scratch;
    const auto here = workingFolder != juce::File() ? workingFolder : juce::File::getCurrentWorkingDirectory();
    const auto homeFolder = home != juce::File() ? home : emptyHome.path();
    auto command = "cd " + quoted (path (here)) + " && HOME=" + quoted (path (homeFolder)) + " exec "
                   + quoted (ORVANE_CHECK_BINARY);
    for (const auto& argument : arguments)
        command += " " + quoted (argument);
    command += " </dev/null >" + quoted (path (scratch.file ("out"))) + " 2>" + quoted (path (scratch.file ("err")));
    const int status = std::system (command.c_str());
    return { WIFEXITED (status) ? WEXITSTATUS (status) : 128 + WTERMSIG (status),
             scratch.file ("out").loadFileAsString().toStdString(), scratch.file ("err").loadFileAsString().toStdString() };
}

std::string path (const juce::File& file) { return file.getFullPathName().toStdString(); }

std::vector<std::string> linesOf (const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in (text);
    for (std::string line; std::getline (in, line);)
        lines.push_back (line);
    return lines;
}

juce::var parseJson (const std::string& text)
{
    juce::var parsed;
    const auto result = juce::JSON::parse (juce::String (text), parsed);
    EXPECT_TRUE (result.wasOk()) << result.getErrorMessage() << "\n" << text.substr (0, 2000);
    return parsed;
}

juce::var firstOf (const std::string& text)
{
    const auto parsed = parseJson (text);
    EXPECT_TRUE (parsed.isArray() && parsed.size() > 0) << text.substr (0, 2000);
    return parsed.isArray() && parsed.size() > 0 ? parsed[0] : juce::var();
}

float number (const juce::var& v) { return (float) (double) v; }

const ThresholdPreset& factoryPreset (int presetId)
{
    static const auto groups = presets::makeFactoryPresetGroups();
    return *presets::findPresetForId (groups, presetId);
}

juce::File writeSine (const testaudio::TempFolder& folder, const juce::String& name, double sineDb, double seconds,
                      double spikeDb, double dropDb)
{
    const int frames = (int) (seconds * 48000.0);
    const float amplitude = fromDb (sineDb), spike = fromDb (spikeDb), drop = fromDb (-dropDb);
    auto file = folder.file (name);
    testaudio::writeWav (file, testaudio::generate (48000.0, 2, frames, [=] (int channel, int frame)
    {
        const float v = frame == 0 ? spike : amplitude * tone (frame);
        return channel == 1 && frame >= frames / 2 ? v * drop : v;
    }));
    return file;
}

juce::File writeSquare (const testaudio::TempFolder& folder, const juce::String& name)
{
    auto file = folder.file (name);
    testaudio::writeWav (file, testaudio::generate (48000.0, 2, 96000, [] (int, int i)
                                                    { return tone (i) >= 0 ? 1.0f : -1.0f; }));
    return file;
}

namespace
{
// Keeps the first bytes of the file.
void cutTo (const juce::File& file, int64_t bytes)
{
    juce::MemoryBlock data;
    file.loadFileAsData (data);
    file.replaceWithData (data.getData(), (size_t) std::min<int64_t> (bytes, (int64_t) data.getSize()));
}
} // namespace

std::vector<BadInput> makeBadInputs (const testaudio::TempFolder& folder)
{
    folder.file ("folder.wav").createDirectory();
    folder.file ("notes.mp3").replaceWithText ("These are my notes for the mix, not audio at all.\n");
    folder.file ("empty.wav").create();
    cutTo (writeSine (folder, "cut-header.wav", -20.0, 2.0), 20);
    const auto sine = testaudio::sine (48000.0, 2, 1.5, 997.0, 0.1);
    for (int bits : { 16, 24, 32 })
    {
        const auto whole = folder.file ("whole" + juce::String (bits) + ".wav");
        const auto cut = folder.file ("cut" + juce::String (bits) + ".wav");
        testaudio::writeWav (whole, sine, bits);
        whole.copyFileTo (cut);
        cutTo (cut, cut.getSize() - 2 * bits / 8); // all but the last frame
    }
    for (int frames : { 44100, 44099 })
        testaudio::writeWav (folder.file (juce::String (frames) + ".wav"),
                             testaudio::generate (44100.0, 2, frames, [] (int, int) { return 0.1f; }));

    // The size field of the "data" chunk claims 0xfffffff0 bytes.
    juce::MemoryBlock data;
    writeSine (folder, "huge-claim.wav", -20.0, 2.0).loadFileAsData (data);
    auto* bytes = static_cast<char*> (data.getData());
    std::memcpy (std::search (bytes, bytes + data.getSize(), "data", "data" + 4) + 4, "\xf0\xff\xff\xff", 4);
    folder.file ("huge-claim.wav").replaceWithData (data.getData(), data.getSize());

    // Files that are not stored files: a pipe would block its reader forever.
    mkfifo (folder.file ("fifo.wav").getFullPathName().toRawUTF8(), 0644);
    symlink ("loop-b.wav", folder.file ("loop-a.wav").getFullPathName().toRawUTF8());
    symlink ("loop-a.wav", folder.file ("loop-b.wav").getFullPathName().toRawUTF8());

    // A rate under what the measures are made for.
    testaudio::writeWav (folder.file ("4000hz.wav"), testaudio::sine (4000.0, 1, 2.0, 440.0, 0.1));

    // FLAC: a header alone that promises 200,000,000 frames, and a whole file cut to a tenth.
    const auto flac = folder.file ("whole.flac");
    {
        juce::FlacAudioFormat format;
        std::unique_ptr<juce::AudioFormatWriter> writer (format.createWriterFor (
            new juce::FileOutputStream (flac), 48000.0, 2, 16, {}, 0));
        const float* channels[] = { sine.channels[0].data(), sine.channels[1].data() };
        writer->writeFromFloatArrays (channels, 2, sine.numFrames());
    }
    juce::MemoryBlock flacData;
    flac.loadFileAsData (flacData);
    auto* head = static_cast<uint8_t*> (flacData.getData());
    head[4] |= 0x80;
    const uint8_t promise[] = { 0x0B, 0xEB, 0xC2, 0x00 };
    head[21] &= 0xF0;
    std::memcpy (head + 22, promise, 4);
    folder.file ("claim.flac").replaceWithData (head, 42);
    folder.file ("cut.flac").replaceWithData (flacData.getData(), flacData.getSize() / 10);

    std::vector<BadInput> inputs;
    // MP3 and Ogg Vorbis cut in half: the MP3's Xing tag and the Ogg's missing last page tell.
    if (ffmpegtest::toolAvailable())
    {
        const auto longer = testaudio::sine (44100.0, 2, 4.0, 997.0, 0.1);
        for (const auto& [name, codec] : { std::pair { "half.mp3", "libmp3lame" }, std::pair { "half.ogg", "libvorbis" } })
        {
            const auto file = folder.file (name);
            ffmpegtest::encode (longer, file, { "-c:a", codec });
            cutTo (file, file.getSize() / 2);
            inputs.push_back ({ name, file, "truncated" });
        }
    }
    inputs.push_back ({ "/proc file", juce::File ("/proc/self/status"), "/proc" });
    inputs.push_back ({ "device", juce::File ("/dev/null"), "device" });
    for (const auto& [name, word] : std::initializer_list<std::pair<const char*, const char*>> {
             { "fifo.wav", "named pipe" }, { "loop-a.wav", "symbolic link loop" }, { "4000hz.wav", "sample rate" },
             { "claim.flac", "truncated" }, { "cut.flac", "truncated" },
             { "missing.wav", "no such file" }, { "folder.wav", "directory" }, { "notes.mp3", "decoded" },
             { "empty.wav", "empty" }, { "cut-header.wav", "decoded" }, { "cut16.wav", "truncated" },
             { "cut24.wav", "truncated" }, { "cut32.wav", "truncated" }, { "huge-claim.wav", "truncated" },
             { "44099.wav", "shorter than one second" } })
        inputs.push_back ({ name, folder.file (name), word });
    // Permissions do not bind root.
    if (geteuid() != 0 && chmod (writeSine (folder, "locked.wav", -20.0, 1.5).getFullPathName().toRawUTF8(), 0) == 0)
        inputs.push_back ({ "locked.wav", folder.file ("locked.wav"), "cannot be read" });
    return inputs;
}
} // namespace clitest
