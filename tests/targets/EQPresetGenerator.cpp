#include "EQPresetGenerator.h"

#include "analysis/Model.h"
#include "support/ModelHarness.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <random>

namespace eqpresetgen
{
namespace
{
// clang-format off
//   id    bass  bassHz  subCut  lowMid    pres    tilt     air     topCut  lowSide highSide  cross
const std::vector<Recipe> allRecipes = {
    // STAR ENGINEERS
    {  0,   6.5f,   70.0f,  30.0f,   2.0f,   2.0f,  -1.0f,   0.0f,      0.0f,  -29.0f,  -5.0f,  180.0f },  // ALTERNATIVE ROCK HERO
    {  1,   7.0f,   55.0f,  25.0f,   0.0f,   1.0f,  -0.5f,   1.5f,      0.0f,  -31.0f,  -4.0f,  150.0f },  // DANCE-POP GURU
    {  2,   6.0f,   55.0f,  24.0f,  -1.0f,   1.5f,  -0.6f,   2.5f,      0.0f,  -30.0f,  -4.5f,  160.0f },  // EXPENSIVE POP GENIUS
    {  3,   9.0f,   50.0f,  22.0f,   0.0f,   0.0f,  -1.5f,   0.0f,      0.0f,  -32.0f,  -6.0f,  140.0f },  // HIP-HOP KING
    {  4,   6.5f,   75.0f,  32.0f,   2.5f,   2.5f,  -0.8f,   0.5f,      0.0f,  -29.0f,  -4.0f,  200.0f },  // MODERN-ROCK MASTER
    {  5,   6.0f,   60.0f,  26.0f,   1.5f,   0.5f,  -1.2f,   0.5f,      0.0f,  -30.0f,  -6.0f,  170.0f },  // POP-SOUL CHIEF
    {  6,   8.0f,   50.0f,  24.0f,   0.5f,  -0.5f,  -1.4f,   1.0f,      0.0f,  -31.0f,  -5.5f,  150.0f },  // R&B BOSS
    // ELECTRONIC (EDM has measured lists)
    {  7,   8.0f,   50.0f,  25.0f,  -0.5f,   1.0f,  -0.6f,   1.0f,      0.0f,  -31.0f,  -3.0f,  140.0f },  // DANCE
    {  8,   8.0f,   45.0f,  26.0f,  -1.0f,   1.5f,  -0.4f,   1.5f,      0.0f,  -32.0f,  -4.0f,  150.0f },  // DRUM & BASS
    {  9,  10.0f,   45.0f,  24.0f,   0.0f,   2.0f,  -0.8f,   0.5f,      0.0f,  -33.0f,  -4.5f,  130.0f },  // DUBSTEP
    { 11,   8.0f,   55.0f,  30.0f,   1.0f,   2.5f,  -0.5f,   1.0f,      0.0f,  -30.0f,  -3.5f,  160.0f },  // HARD STYLE
    { 12,   8.0f,   55.0f,  28.0f,   0.0f,   1.0f,  -0.9f,   0.5f,      0.0f,  -31.0f,  -4.5f,  150.0f },  // MOOMBAHTON
    { 13,   6.0f,   55.0f,  28.0f,  -1.0f,   1.0f,  -0.3f,   2.0f,      0.0f,  -30.0f,  -2.5f,  170.0f },  // TRANCE
    { 14,  11.0f,   42.0f,  22.0f,  -1.0f,   0.5f,  -0.8f,   1.5f,      0.0f,  -33.0f,  -5.0f,  130.0f },  // TRAP
    // HIP HOP
    { 15,  10.0f,   48.0f,  22.0f,  -0.5f,   0.0f,  -1.0f,   1.0f,      0.0f,  -32.0f,  -5.5f,  140.0f },  // CONTEMPORARY
    { 16,   8.0f,   60.0f,  28.0f,   1.5f,   0.5f,  -1.5f,  -0.5f,      0.0f,  -30.0f,  -7.0f,  160.0f },  // EAST COAST
    { 17,   9.0f,   52.0f,  25.0f,   1.0f,   0.0f,  -1.6f,   0.0f,      0.0f,  -31.0f,  -6.5f,  150.0f },  // GANGSTA RAP
    { 18,   9.0f,   50.0f,  26.0f,  -0.5f,   2.0f,  -0.9f,   0.5f,      0.0f,  -31.0f,  -5.0f,  150.0f },  // GRIME
    { 19,   7.0f,   65.0f,  35.0f,   2.5f,   1.0f,  -2.2f,  -2.0f,  16000.0f,  -28.0f,  -8.0f,  200.0f },  // OLD-SKOOL
    { 20,   8.0f,   52.0f,  24.0f,   0.0f,   1.0f,  -0.9f,   1.5f,      0.0f,  -31.0f,  -5.0f,  150.0f },  // POP-RAP
    // HOUSE
    { 21,   6.0f,   60.0f,  32.0f,   1.5f,   1.0f,  -1.6f,  -1.5f,  17000.0f,  -28.0f,  -6.0f,  180.0f },  // CLASSIC
    { 22,   7.0f,   55.0f,  26.0f,   0.0f,   1.0f,  -0.6f,   1.5f,      0.0f,  -31.0f,  -4.0f,  150.0f },  // COMMERCIAL
    { 23,   7.0f,   55.0f,  28.0f,   2.0f,  -1.5f,  -1.8f,  -1.0f,      0.0f,  -30.0f,  -5.0f,  160.0f },  // DEEP
    { 24,   7.0f,   55.0f,  28.0f,  -0.5f,   2.5f,  -0.5f,   1.0f,      0.0f,  -30.0f,  -4.0f,  160.0f },  // ELECTRO
    { 25,   8.0f,   50.0f,  25.0f,  -1.0f,   1.5f,  -0.4f,   2.0f,      0.0f,  -31.0f,  -2.5f,  150.0f },  // FUTURE
    { 26,   7.0f,   52.0f,  26.0f,   0.0f,   0.5f,  -0.7f,   1.5f,      0.0f,  -31.0f,  -3.5f,  150.0f },  // PROGRESSIVE
    { 27,   8.0f,   55.0f,  28.0f,   0.5f,   0.5f,  -1.2f,   0.5f,      0.0f,  -30.0f,  -4.5f,  150.0f },  // TECH
    { 28,   6.0f,   60.0f,  28.0f,   0.5f,   1.5f,  -0.6f,   1.5f,      0.0f,  -30.0f,  -4.5f,  170.0f },  // TROPICAL
    // OTHER GENRES (PINK NOISE has measured lists)
    { 30,   5.0f,   80.0f,  35.0f,   2.0f,   2.0f,  -1.0f,   1.0f,      0.0f,  -28.0f,  -6.0f,  220.0f },  // COUNTRY
    { 31,   6.5f,   70.0f,  32.0f,   1.5f,   1.0f,  -1.1f,   0.5f,      0.0f,  -29.0f,  -5.0f,  200.0f },  // DISCO
    { 32,   6.5f,   75.0f,  35.0f,   2.0f,   1.5f,  -1.4f,  -1.0f,      0.0f,  -28.0f,  -6.5f,  220.0f },  // FUNK
    { 33,   4.5f,   90.0f,  38.0f,   3.0f,  -1.0f,  -1.8f,  -1.5f,      0.0f,  -27.5f,  -5.0f,  250.0f },  // JAZZ
    { 34,   6.0f,   55.0f,  26.0f,  -0.5f,   2.0f,  -0.4f,   2.5f,      0.0f,  -31.0f,  -4.0f,  160.0f },  // K POP
    { 35,   5.5f,   80.0f,  38.0f,   2.5f,   3.0f,  -0.8f,   0.0f,      0.0f,  -28.0f,  -3.5f,  250.0f },  // METAL
    { 36,   3.5f,  100.0f,  40.0f,   3.5f,   2.0f,  -2.5f,  -3.0f,  15000.0f,  -28.0f,  -9.0f,  300.0f },  // MOTOWN
    { 37,   3.5f,   70.0f,  30.0f,   2.5f,  -1.5f,  -2.2f,  -2.0f,      0.0f,  -27.5f,  -4.0f,  200.0f },  // ORCHESTRA
    { 38,   8.0f,   55.0f,  27.0f,   0.0f,   1.5f,  -0.8f,   1.0f,      0.0f,  -31.0f,  -5.0f,  150.0f },  // REAGGAETON
    { 39,   8.0f,   65.0f,  30.0f,   1.0f,  -0.5f,  -1.7f,  -1.5f,      0.0f,  -30.0f,  -6.5f,  170.0f },  // REGGAE
    { 40,   6.5f,   70.0f,  32.0f,   2.5f,   0.5f,  -1.6f,  -1.0f,      0.0f,  -29.0f,  -6.5f,  200.0f },  // SOUL
    // POP
    { 41,   6.0f,   55.0f,  25.0f,  -0.5f,   1.5f,  -0.6f,   2.0f,      0.0f,  -31.0f,  -4.5f,  160.0f },  // CONTEMPORARY
    { 42,   7.0f,   52.0f,  25.0f,  -0.5f,   1.5f,  -0.5f,   1.5f,      0.0f,  -31.0f,  -4.0f,  150.0f },  // DANCE
    { 43,   7.0f,   50.0f,  25.0f,  -1.0f,   1.0f,  -0.5f,   2.0f,      0.0f,  -31.0f,  -3.0f,  150.0f },  // ELECTRONIC
    { 44,   8.0f,   50.0f,  24.0f,   0.0f,   0.5f,  -1.0f,   1.0f,      0.0f,  -31.0f,  -5.0f,  150.0f },  // HIP-HOP
    { 45,   7.5f,   65.0f,  30.0f,   1.0f,   1.5f,  -1.0f,   0.5f,      0.0f,  -29.0f,  -5.5f,  180.0f },  // LATIN
    { 46,   6.0f,   75.0f,  33.0f,   2.0f,   2.0f,  -0.9f,   0.5f,      0.0f,  -29.0f,  -4.5f,  200.0f },  // ROCK
    { 47,   6.0f,   55.0f,  26.0f,   0.0f,   1.0f,  -0.5f,   1.5f,      0.0f,  -30.0f,  -3.5f,  160.0f },  // SYNTH
    { 48,   6.0f,   60.0f,  28.0f,   2.0f,  -1.0f,  -1.8f,  -1.0f,      0.0f,  -30.0f,  -5.5f,  170.0f },  // WARM
    // R & B
    { 49,   7.0f,   55.0f,  28.0f,   1.5f,   0.0f,  -1.7f,  -1.5f,  17000.0f,  -29.0f,  -6.5f,  170.0f },  // 90'S
    { 50,   8.0f,   50.0f,  24.0f,   0.0f,   0.5f,  -0.9f,   1.5f,      0.0f,  -31.0f,  -5.0f,  150.0f },  // CONTEMPORARY
    { 51,   6.5f,   70.0f,  34.0f,   2.5f,   0.5f,  -2.0f,  -2.0f,  16000.0f,  -28.0f,  -7.0f,  220.0f },  // OLD SKOOL
    { 52,   5.5f,   80.0f,  38.0f,   3.0f,   1.0f,  -2.2f,  -2.5f,  15500.0f,  -28.0f,  -7.5f,  250.0f },  // RHYTHM & BLUES
    // ROCK
    { 53,   6.0f,   75.0f,  33.0f,   2.0f,   2.0f,  -1.0f,   0.0f,      0.0f,  -29.0f,  -4.5f,  200.0f },  // ALTERNATIVE
    { 54,   5.0f,   85.0f,  38.0f,   2.5f,   1.5f,  -1.8f,  -2.0f,  17000.0f,  -28.0f,  -6.0f,  240.0f },  // CLASSIC
    { 55,   6.5f,   70.0f,  30.0f,   1.5f,   2.0f,  -0.8f,   0.5f,      0.0f,  -29.0f,  -4.5f,  200.0f },  // CONTEMPORARY
    { 56,   6.0f,   60.0f,  28.0f,   0.5f,   2.0f,  -0.6f,   1.0f,      0.0f,  -30.0f,  -4.0f,  170.0f },  // ELECTRONIC
    { 57,   6.0f,   80.0f,  36.0f,   2.5f,   2.5f,  -0.9f,   0.0f,      0.0f,  -28.5f,  -3.5f,  230.0f },  // HARD
    { 58,   5.5f,   75.0f,  33.0f,   2.0f,   1.0f,  -1.2f,   0.0f,      0.0f,  -29.0f,  -5.0f,  200.0f },  // INDIE
    { 59,   6.0f,   70.0f,  32.0f,   1.5f,   1.5f,  -0.9f,   0.5f,      0.0f,  -29.0f,  -4.5f,  200.0f },  // PROGRESSIVE
};
// clang-format on

double gaussianBump (double f, double centre, double sigmaOctaves)
{
    const double x = std::log2 (f / centre) / sigmaOctaves;
    return std::exp (-0.5 * x * x);
}

// In-place iterative radix-2 transform with the positive exponent (an unnormalised inverse).
void inverseFFT (std::vector<std::complex<double>>& a)
{
    const size_t n = a.size();
    for (size_t i = 1, j = 0; i < n; ++i)
    {
        size_t bit = n >> 1;
        for (; (j & bit) != 0; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap (a[i], a[j]);
    }

    std::vector<std::complex<double>> twiddles (n / 2);
    const double twoPi = 6.283185307179586;
    for (size_t k = 0; k < n / 2; ++k)
        twiddles[k] = std::polar (1.0, twoPi * (double) k / (double) n);

    for (size_t len = 2; len <= n; len <<= 1)
    {
        const size_t stride = n / len;
        for (size_t start = 0; start < n; start += len)
            for (size_t k = 0; k < len / 2; ++k)
            {
                const auto u = a[start + k];
                const auto v = a[start + k + len / 2] * twiddles[k * stride];
                a[start + k] = u + v;
                a[start + k + len / 2] = u - v;
            }
    }
}

// Standard normal pairs from the engine's raw output only, so that the numbers don't depend
// on a library's distribution classes.
class Normals
{
public:
    explicit Normals (uint64_t seed) : engine (seed) {}

    std::complex<double> pair()
    {
        const double u1 = uniform();
        const double u2 = uniform();
        const double r = std::sqrt (-2.0 * std::log (u1));
        const double a = 6.283185307179586 * u2;
        return { r * std::cos (a), r * std::sin (a) };
    }

private:
    double uniform() { return ((double) (engine() >> 11) + 1.0) * 0x1.0p-53; }  // (0, 1]

    std::mt19937_64 engine;
};
} // namespace

const std::vector<Recipe>& recipes() { return allRecipes; }

const Recipe* recipeFor (int presetId)
{
    for (const auto& r : allRecipes)
        if (r.presetId == presetId)
            return &r;
    return nullptr;
}

double spectrumDb (const Recipe& r, double f)
{
    double db = r.bassDb * gaussianBump (f, r.bassHz, 0.9)
              + r.lowMidDb * gaussianBump (f, 300.0, 1.0)
              + r.presenceDb * gaussianBump (f, 3000.0, 1.0)
              + (f > 1000.0 ? r.tiltDb * std::log2 (f / 1000.0) : 0.0)
              + r.airDb / (1.0 + std::pow (12000.0 / f, 2.0))
              - 10.0 * std::log10 (1.0 + std::pow (r.subCutHz / f, 8.0));
    if (r.topCutHz > 0.0f)
        db -= 10.0 * std::log10 (1.0 + std::pow (f / r.topCutHz, 8.0));
    return db;
}

double sideToMidDb (const Recipe& r, double f)
{
    return r.lowSideDb + (r.highSideDb - r.lowSideDb) / (1.0 + std::pow (r.crossHz / f, 3.0));
}

testaudio::Signal synthesise (const Recipe& recipe)
{
    const size_t n = (size_t) numFrames;
    // mid in the real part and side in the imaginary part: both spectra are Hermitian, so one
    // transform gives the two real signals.
    std::vector<std::complex<double>> z (n);
    Normals normals (0x0E0A5EEDull + (uint64_t) recipe.presetId);
    const std::complex<double> i (0.0, 1.0);

    for (size_t k = 1; k < n / 2; ++k)
    {
        const double f = (double) k * sampleRate / (double) n;
        const double power = std::pow (10.0, spectrumDb (recipe, f) / 10.0) / f;  // pink: 1/f per bin
        const double ratio = std::pow (10.0, sideToMidDb (recipe, f) / 10.0);
        const double midScale = std::sqrt (power / (1.0 + ratio) / 2.0);
        const double sideScale = std::sqrt (power * ratio / (1.0 + ratio) / 2.0);
        const auto m = normals.pair() * midScale;
        const auto s = normals.pair() * sideScale;
        z[k] = m + i * s;
        z[n - k] = std::conj (m) + i * std::conj (s);
    }
    inverseFFT (z);

    testaudio::Signal signal;
    signal.sampleRate = sampleRate;
    signal.channels.assign (2, std::vector<float> (n));

    double sum = 0.0;
    for (size_t t = 0; t < n; ++t)
    {
        const double l = z[t].real() + z[t].imag();
        const double r = z[t].real() - z[t].imag();
        sum += l * l + r * r;
    }
    // -20 dBFS RMS per channel, before the loudness is set.
    const double scale = 0.1 / std::sqrt (sum / (2.0 * (double) n));
    const size_t intro = (size_t) (introSeconds * sampleRate);
    const double introGain = std::pow (10.0, introGainDb / 20.0);
    for (size_t t = 0; t < n; ++t)
    {
        const double g = scale * (t < intro ? introGain : 1.0);
        signal.channels[0][t] = (float) ((z[t].real() + z[t].imag()) * g);
        signal.channels[1][t] = (float) ((z[t].real() - z[t].imag()) * g);
    }
    return signal;
}

bool measureThroughModel (Model& model, const testaudio::Signal& signal, const juce::File& file,
                          Measurement& result)
{
    if (! testaudio::writeWav (file, signal, 32))
        return false;

    const juce::String done = Model::waveformCompleteMessage;
    testaudio::MessageLog log (model);
    model.requestLoad (file.getFullPathName());
    if (! log.waitFor (done, 1, 120000))
        return false;

    const auto id = testaudio::idOfLoadMessage (log.messages[(size_t) log.indexOf (done)], done);
    Track* track = model.getTrackById (id);
    if (track == nullptr || track->multiFrequencyIntegratedLUFS.size() != (size_t) EQPreset::numBands)
        return false;

    result.integratedLUFS = track->wholeFileReadings.integratedLUFS;
    for (int b = 0; b < EQPreset::numBands; ++b)
    {
        result.stereo[(size_t) b] = track->multiFrequencyIntegratedLUFS[(size_t) b];
        result.mid[(size_t) b] = track->midMultiFrequencyIntegratedLUFS[(size_t) b];
        result.side[(size_t) b] = track->sideMultiFrequencyIntegratedLUFS[(size_t) b];
    }
    model.removeTrack (id);
    file.deleteFile();
    return true;
}

bool makePreset (Model& model, const Recipe& recipe, float targetLUFS, const juce::File& folder,
                 Measurement& result)
{
    auto signal = synthesise (recipe);
    const auto file = folder.getChildFile ("eqpreset-" + juce::String (recipe.presetId) + ".wav");

    Measurement first;
    if (! measureThroughModel (model, signal, file, first))
        return false;

    // The gates are relative, so a gain moves every reading by the same amount.
    const float gain = (float) std::pow (10.0, ((double) targetLUFS - (double) first.integratedLUFS) / 20.0);
    for (auto& channel : signal.channels)
        for (auto& x : channel)
            x *= gain;

    return measureThroughModel (model, signal, file, result);
}

float roundToHundredths (float value)
{
    return (float) (std::round ((double) value * 100.0) / 100.0);
}

juce::String tableSource (const std::vector<TableEntry>& entries)
{
    auto list = [] (const EQPreset::Bands& bands)
    {
        juce::StringArray parts;
        for (float v : bands)
            parts.add (juce::String::formatted ("%.2ff", (double) roundToHundredths (v)));
        return "{ " + parts.joinIntoString (", ") + " }";
    };

    juce::String s;
    s << "// Generated file: the band lists of the EQ presets whose material is synthesised.\n"
         "//\n"
         "// Each preset's genre recipe (tests/targets/EQPresetGenerator.cpp) shapes seeded stereo\n"
         "// noise; the noise is scaled to the preset's integrated loudness, loaded through the Model\n"
         "// like a dropped file, and the three band lists the pipeline reads are rounded to two\n"
         "// decimals. Regenerate after changing a recipe or the band measure:\n"
         "//\n"
         "//   <build>/tests/orvane_targets_tests --gtest_also_run_disabled_tests\n"
         "//       --gtest_filter=EQPresetTableGenerator.DISABLED_WriteTable\n"
         "//\n"
         "// Do not edit by hand.\n"
         "\n"
         "#include \"targets/EQPresets.h\"\n"
         "\n"
         "namespace eqpresets\n"
         "{\n"
         "// clang-format off\n"
         "const FactoryBands generatedBands[] = {\n";
    for (const auto& e : entries)
    {
        s << "    // " << e.presetId << " " << e.groupName << ": " << e.presetName << ", read at "
          << juce::String::formatted ("%.3f", (double) e.measured.integratedLUFS) << " LUFS\n";
        s << "    { " << e.presetId << ",\n";
        s << "      " << list (e.measured.stereo) << ",\n";
        s << "      " << list (e.measured.mid) << ",\n";
        s << "      " << list (e.measured.side) << " },\n";
    }
    s << "};\n"
         "// clang-format on\n"
         "const int numGeneratedBands = (int) (sizeof (generatedBands) / sizeof (generatedBands[0]));\n"
         "} // namespace eqpresets\n";
    return s;
}
} // namespace eqpresetgen
