// Helper of the strips' end-to-end test: writes the music-like test files and reads colours
// out of screenshots.
//
//   orvane_strip_e2e_helper bursts <file.wav> <seconds> <loud>   decaying 150 Hz bursts, 4 a second;
//                                                                with loud 1 every eighth one peaks at -0.2 dB
//   orvane_strip_e2e_helper colours <png> <x> <y> <w> <h>        "aarrggbb count" per colour, most first
//   orvane_strip_e2e_helper pixel <png> <x> <y>                  "aarrggbb"

#include "support/TestAudio.h"

#include <juce_graphics/juce_graphics.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <vector>

namespace
{
int usage()
{
    std::fprintf (stderr, "usage: orvane_strip_e2e_helper bursts|colours|pixel ...\n");
    return 2;
}

juce::File absolute (const char* path)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (path));
}

int writeBursts (int argc, char** argv)
{
    if (argc != 5)
        return usage();
    const double rate = 44100.0;
    const double seconds = std::atof (argv[3]);
    const bool loud = std::atoi (argv[4]) != 0;
    const auto signal = testaudio::generate (rate, 2, (int) (seconds * rate), [loud, rate] (int, int frame)
    {
        const double t = frame / rate;
        const double period = 0.25;
        const double phase = std::fmod (t, period);
        const bool loudBurst = loud && ((int) (t / period)) % 8 == 0;
        const double amplitude = loudBurst ? 0.98 : 0.5;
        const double burst = amplitude * std::exp (-phase / 0.03) * std::sin (2.0 * juce::MathConstants<double>::pi * 150.0 * phase);
        return (float) (burst + 0.02 * std::sin (2.0 * juce::MathConstants<double>::pi * 440.0 * t));
    });
    return testaudio::writeWav (absolute (argv[2]), signal) ? 0 : 1;
}

juce::Image load (const char* path)
{
    return juce::ImageFileFormat::loadFrom (absolute (path));
}

int colours (int argc, char** argv)
{
    if (argc != 7)
        return usage();
    const auto image = load (argv[2]);
    if (! image.isValid())
        return 1;
    const int x0 = std::atoi (argv[3]), y0 = std::atoi (argv[4]), w = std::atoi (argv[5]), h = std::atoi (argv[6]);
    std::map<juce::uint32, int> counts;
    for (int y = y0; y < y0 + h; ++y)
        for (int x = x0; x < x0 + w; ++x)
            ++counts[image.getPixelAt (x, y).getARGB()];
    std::vector<std::pair<juce::uint32, int>> sorted (counts.begin(), counts.end());
    std::sort (sorted.begin(), sorted.end(), [] (auto& a, auto& b) { return a.second > b.second; });
    for (const auto& [colour, count] : sorted)
        std::printf ("%08x %d\n", (unsigned) colour, count);
    return 0;
}

int pixel (int argc, char** argv)
{
    if (argc != 5)
        return usage();
    const auto image = load (argv[2]);
    if (! image.isValid())
        return 1;
    std::printf ("%08x\n", (unsigned) image.getPixelAt (std::atoi (argv[3]), std::atoi (argv[4])).getARGB());
    return 0;
}
} // namespace

int main (int argc, char** argv)
{
    if (argc < 2)
        return usage();
    const juce::String command (argv[1]);
    if (command == "bursts")
        return writeBursts (argc, argv);
    if (command == "colours")
        return colours (argc, argv);
    if (command == "pixel")
        return pixel (argc, argv);
    return usage();
}
