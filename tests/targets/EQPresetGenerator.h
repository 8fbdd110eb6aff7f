#pragma once

// Makes the band lists of the factory EQ presets that have no measured lists of their own.
//
// For each preset a genre recipe describes the tonal balance of a finished master: a bass
// bump, low-mid and presence bumps, a tilt above 1 kHz, an air shelf, a high-pass and an
// optional low-pass, and how wide the stereo image is below and above a crossover. From the
// recipe a stereo noise signal is synthesised (fixed seed per preset), scaled so that our own
// pipeline reads the preset's integrated loudness, written as a 32-bit float WAV and loaded
// through the Model like any dropped file. The three band lists the pipeline gives, rounded
// to two decimals, become the preset's lists in targets/EQPresetTable.cpp.

#include "targets/EQPresets.h"
#include "support/TestAudio.h"

#include <juce_core/juce_core.h>

#include <vector>

class Model;

namespace eqpresetgen
{
constexpr double sampleRate = 44100.0;
constexpr int lengthLog2 = 19;                  // 2^19 frames, about 11.9 s
constexpr int numFrames = 1 << lengthLog2;
constexpr double introSeconds = 3.0;            // a quieter opening, left out by the band gate
constexpr double introGainDb = -6.0;

// One preset's tonal balance, in dB relative to pink noise (equal power per octave).
struct Recipe
{
    int presetId;
    float bassDb;        // Gaussian bump on a log-frequency axis, 0.9 octave wide (sigma)
    float bassHz;
    float subCutHz;      // 4th-order high-pass
    float lowMidDb;      // bump at 300 Hz, 1 octave sigma
    float presenceDb;    // bump at 3 kHz, 1 octave sigma
    float tiltDb;        // per octave above 1 kHz
    float airDb;         // shelf centred on 12 kHz
    float topCutHz;      // 4th-order low-pass; 0 for none
    float lowSideDb;     // side power under mid power below the crossover
    float highSideDb;    // side power under mid power above the crossover
    float crossHz;       // where the image widens (logistic over about an octave)
};

// Every generated preset, in id order (all factory ids but those with measured lists).
const std::vector<Recipe>& recipes();
const Recipe* recipeFor (int presetId);

// Level in dB relative to pink noise of the mid+side sum at frequency f.
double spectrumDb (const Recipe& recipe, double f);
// Side power over mid power at frequency f, in dB.
double sideToMidDb (const Recipe& recipe, double f);

// The recipe's stereo material, before loudness scaling: left = mid + side,
// right = mid - side, with the quiet opening. Deterministic for a preset id.
testaudio::Signal synthesise (const Recipe& recipe);

struct Measurement
{
    float integratedLUFS = 0.0f;
    EQPreset::Bands stereo {}, mid {}, side {};
};

// Writes the signal as a float WAV into the folder and loads it through the Model.
// False if the load didn't complete.
bool measureThroughModel (Model& model, const testaudio::Signal& signal, const juce::File& file,
                          Measurement& result);

// The whole recipe: synthesise, measure, scale to the target loudness, measure again.
// The result holds the second measurement, unrounded.
bool makePreset (Model& model, const Recipe& recipe, float targetLUFS, const juce::File& folder,
                 Measurement& result);

// Two decimals, halves away from zero, as a float.
float roundToHundredths (float value);

struct TableEntry
{
    int presetId;
    juce::String groupName, presetName;
    float targetLUFS;
    Measurement measured;   // unrounded
};

// The source text of targets/EQPresetTable.cpp for these entries.
juce::String tableSource (const std::vector<TableEntry>& entries);
} // namespace eqpresetgen
