#include "CliTestSupport.h"

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

    std::vector<BadInput> inputs;
    for (const auto& [name, word] : std::initializer_list<std::pair<const char*, const char*>> {
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
