#pragma once

#include "support/TestAudio.h"
#include "targets/ThresholdPresets.h"

#include <string>
#include <vector>

// What the checker's tests share: running the built program, files to feed it, reading what it says.
namespace clitest
{
struct RunResult
{
    int exitCode = -1;
    std::string out, err;
    std::vector<std::string> errLines() const; // without empty ones
};

// Runs the built orvane-check with stdin empty and stdout and stderr captured apart, in the given
// working folder (the current one when none). HOME is the given folder, or an empty one, so that
// the settings file of whoever runs the tests plays no part.
RunResult runChecker (const std::vector<std::string>& arguments, const juce::File& workingFolder = {},
                      const juce::File& home = {});

std::string path (const juce::File& file);
std::vector<std::string> linesOf (const std::string& text);
juce::var parseJson (const std::string& text); // failing the test if it doesn't parse
// The first element of a JSON array, or void, failing the test, when there is none.
juce::var firstOf (const std::string& text);
float number (const juce::var& v);
const ThresholdPreset& factoryPreset (int presetId);

// A 24-bit stereo 997 Hz sine at sineDb dBFS peak, which reads at about that many LUFS. Its first
// frame is a spike at spikeDb (none at the default), which sets the record peak, so the dynamic
// range reads about spikeDb - sineDb + 0.7 DR where a plain sine reads 0.7. The right channel
// drops by dropDb for the second half.
juce::File writeSine (const testaudio::TempFolder& folder, const juce::String& name, double sineDb,
                      double seconds = 3.0, double spikeDb = -200.0, double dropDb = 0.0);
// A stereo full-scale square wave of 997 Hz, two seconds: its true peak lies above 0 dBTP.
juce::File writeSquare (const testaudio::TempFolder& folder, const juce::String& name);

struct BadInput
{
    const char* kind;
    juce::File file;
    const char* reasonWord; // a word the one-line reason must contain
};

// One of each kind: missing, a folder named .wav, text named .mp3, an empty file, a WAV cut inside
// its header, WAVs of 16, 24 and 32 bits without their last frame, one whose data size claims about
// 4 GB, one a frame short of a second, and (unless run as root) one that cannot be read. Beside them
// lie their usable counterparts: whole16.wav, whole24.wav, whole32.wav and 44100.wav.
std::vector<BadInput> makeBadInputs (const testaudio::TempFolder& folder);
} // namespace clitest
