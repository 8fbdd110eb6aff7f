// Helper of the end-to-end test of the window: writes test tones and a session file, and asks
// a window to close the way a window manager's close button does.
//
//   orvane_e2e_helper tone <file.wav> <seconds> <frequency> [peak amplitude, 0.3 by default]
//   orvane_e2e_helper noise <file.wav> <seconds> pink|bright|dark <seed>
//   orvane_e2e_helper session <file.bws> <presetId> <x> <y> <width> <height> <audio>...
//   orvane_e2e_helper atoms
//   orvane_e2e_helper close <window id>
//   orvane_e2e_helper count <file.png> <x> <y> <width> <height> <rrggbb> <tolerance>
//       prints how many pixels of the area lie within the tolerance of the colour on every channel
//   orvane_e2e_helper level <file.wav>
//       prints "rms <dB> median <dB> plain <LUFS> seconds <s>" of the sounding part of a
//       recording: from the first to the last sample above -80 dBFS, a quarter second trimmed
//       at each end; median is that of the levels of its 100 ms blocks.

#include "support/TestAudio.h"
#include "targets/SessionFile.h"

#include <juce_graphics/juce_graphics.h>

#include <X11/Xlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace
{
int usage()
{
    std::fprintf (stderr, "usage: orvane_e2e_helper tone|session|tracks|atoms|close|count|level ...\n");
    return 2;
}

juce::File absolute (const char* path)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (path));
}

int writeTone (int argc, char** argv)
{
    if (argc != 5 && argc != 6)
        return usage();
    const double amplitude = argc == 6 ? std::atof (argv[5]) : 0.3;
    const auto signal = testaudio::sine (44100.0, 2, std::atof (argv[3]), std::atof (argv[4]), amplitude);
    return testaudio::writeWav (absolute (argv[2]), signal) ? 0 : 1;
}

// Stereo noise of three tonal balances: pink (Paul Kellet's filter), brighter (white added)
// and darker (a one-pole low-pass at about 300 Hz added), each channel its own.
int writeNoise (int argc, char** argv)
{
    if (argc != 6)
        return usage();
    const std::string kind = argv[4];
    std::srand ((unsigned) std::atoi (argv[5]));
    const double rate = 44100.0;
    const int frames = (int) (rate * std::atof (argv[3]));
    testaudio::Signal signal;
    signal.sampleRate = rate;
    signal.channels.assign (2, std::vector<float> ((size_t) frames));
    const float lowPass = (float) std::exp (-2.0 * 3.141592653589793 * 300.0 / rate);
    for (auto& channel : signal.channels)
    {
        float b[7] = {}, low = 0.0f;
        for (auto& sample : channel)
        {
            const float w = 2.0f * (float) std::rand() / (float) RAND_MAX - 1.0f;
            b[0] = 0.99886f * b[0] + w * 0.0555179f;
            b[1] = 0.99332f * b[1] + w * 0.0750759f;
            b[2] = 0.96900f * b[2] + w * 0.1538520f;
            b[3] = 0.86650f * b[3] + w * 0.3104856f;
            b[4] = 0.55000f * b[4] + w * 0.5329522f;
            b[5] = -0.7616f * b[5] - w * 0.0168980f;
            const float pink = (b[0] + b[1] + b[2] + b[3] + b[4] + b[5] + b[6] + w * 0.5362f) * 0.11f;
            b[6] = w * 0.115926f;
            low = (1.0f - lowPass) * pink + lowPass * low;
            sample = 0.3f * (kind == "bright" ? pink + 0.3f * w : (kind == "dark" ? pink + 6.0f * low : pink));
        }
    }
    return testaudio::writeWav (absolute (argv[2]), signal) ? 0 : 1;
}

int writeSession (int argc, char** argv)
{
    if (argc < 8)
        return usage();
    SessionDocument session;
    session.defaults.currentPresetID = std::atoi (argv[3]);
    session.defaults.mainWindowX = std::atoi (argv[4]);
    session.defaults.mainWindowY = std::atoi (argv[5]);
    session.defaults.mainWindowWidth = std::atoi (argv[6]);
    session.defaults.mainWindowHeight = std::atoi (argv[7]);
    for (int i = 8; i < argc; ++i)
        session.tracks.push_back ({ (juce::int64) i, absolute (argv[i]).getFullPathName() });
    return sessionfile::write (absolute (argv[2]), session) ? 0 : 1;
}

// Prints the files a session lists, one a line, in order; fails on a file that isn't a session.
int printSessionTracks (int argc, char** argv)
{
    if (argc != 3)
        return usage();
    const auto contents = sessionfile::readFile (absolute (argv[2]));
    if (! contents.has_value())
        return 1;
    for (const auto& part : *contents)
        for (const auto& path : part.filePaths)
            std::printf ("%s\n", path.toRawUTF8());
    return 0;
}

// A bare X server without a window manager has no WM_PROTOCOLS atoms, and a program that
// looks them up without creating them then never takes part in the close protocol. Made
// before the program starts, they last as long as the server doesn't reset (Xvfb -noreset).
int makeWindowManagerAtoms()
{
    Display* display = XOpenDisplay (nullptr);
    if (display == nullptr)
        return 1;
    for (const char* name : { "WM_PROTOCOLS", "WM_DELETE_WINDOW", "WM_TAKE_FOCUS", "_NET_WM_PING", "WM_STATE" })
        XInternAtom (display, name, False);
    XSync (display, False);
    XCloseDisplay (display);
    return 0;
}

// Sends WM_DELETE_WINDOW, as a window manager does when its close button is pressed.
int closeWindow (int argc, char** argv)
{
    if (argc != 3)
        return usage();
    Display* display = XOpenDisplay (nullptr);
    if (display == nullptr)
        return 1;
    const auto window = (Window) std::strtoul (argv[2], nullptr, 0);
    XEvent event;
    std::memset (&event, 0, sizeof (event));
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom (display, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = (long) XInternAtom (display, "WM_DELETE_WINDOW", False);
    event.xclient.data.l[1] = CurrentTime;
    const Status sent = XSendEvent (display, window, False, NoEventMask, &event);
    XFlush (display);
    XCloseDisplay (display);
    return sent != 0 ? 0 : 1;
}
int countPixels (int argc, char** argv)
{
    if (argc != 9)
        return usage();
    const auto image = juce::ImageFileFormat::loadFrom (absolute (argv[2]));
    if (! image.isValid())
        return 1;
    const juce::Rectangle<int> area (std::atoi (argv[3]), std::atoi (argv[4]), std::atoi (argv[5]), std::atoi (argv[6]));
    const auto colour = juce::Colour ((juce::uint32) (0xff000000u | std::strtoul (argv[7], nullptr, 16)));
    const int tolerance = std::atoi (argv[8]);
    int count = 0;
    const auto clipped = area.getIntersection (image.getBounds());
    for (int y = clipped.getY(); y < clipped.getBottom(); ++y)
        for (int x = clipped.getX(); x < clipped.getRight(); ++x)
        {
            const auto p = image.getPixelAt (x, y);
            if (std::abs (p.getRed() - colour.getRed()) <= tolerance && std::abs (p.getGreen() - colour.getGreen()) <= tolerance
                && std::abs (p.getBlue() - colour.getBlue()) <= tolerance)
                ++count;
        }
    std::printf ("%d\n", count);
    return 0;
}

int measureLevel (int argc, char** argv)
{
    if (argc != 3)
        return usage();
    juce::AudioFormatManager formats;
    formats.registerBasicFormats();
    std::unique_ptr<juce::AudioFormatReader> reader (formats.createReaderFor (absolute (argv[2])));
    if (reader == nullptr || reader->numChannels < 1)
    {
        std::fprintf (stderr, "cannot read %s\n", argv[2]);
        return 1;
    }
    const int channels = (int) reader->numChannels;
    const int frames = (int) reader->lengthInSamples;
    juce::AudioBuffer<float> samples (channels, frames);
    reader->read (&samples, 0, frames, 0, true, true);

    int first = frames, last = -1;
    for (int c = 0; c < channels; ++c)
        for (int i = 0; i < frames; ++i)
            if (std::abs (samples.getSample (c, i)) > 1.0e-4f)
            {
                first = std::min (first, i);
                last = std::max (last, i);
            }
    const int trim = (int) (reader->sampleRate / 4);
    first += trim;
    last -= trim;
    if (last <= first)
    {
        std::printf ("rms -inf median -inf plain -inf seconds 0\n");
        return 0;
    }
    double sum = 0.0;
    for (int c = 0; c < channels; ++c)
        for (int i = first; i <= last; ++i)
            sum += (double) samples.getSample (c, i) * samples.getSample (c, i);
    const double n = last - first + 1;

    // The median of the levels of 100 ms blocks: a short dropout of a loaded machine doesn't
    // move it.
    const int blockLength = (int) (reader->sampleRate / 10);
    std::vector<double> blockLevels;
    for (int start = first; start + blockLength <= last; start += blockLength)
    {
        double blockSum = 0.0;
        for (int c = 0; c < channels; ++c)
            for (int i = start; i < start + blockLength; ++i)
                blockSum += (double) samples.getSample (c, i) * samples.getSample (c, i);
        blockLevels.push_back (10.0 * std::log10 (blockSum / ((double) blockLength * channels) + 1.0e-30));
    }
    std::sort (blockLevels.begin(), blockLevels.end());
    const double median = blockLevels.empty() ? -HUGE_VAL : blockLevels[blockLevels.size() / 2];

    // Unweighted loudness: the channels' powers summed, as the program's plain measure does.
    std::printf ("rms %.3f median %.3f plain %.3f seconds %.3f\n", 10.0 * std::log10 (sum / (n * channels)), median,
                 10.0 * std::log10 (sum / n) - 0.691, n / reader->sampleRate);
    return 0;
}
} // namespace

int main (int argc, char** argv)
{
    if (argc < 2)
        return usage();
    const std::string command = argv[1];
    if (command == "tone")
        return writeTone (argc, argv);
    if (command == "noise")
        return writeNoise (argc, argv);
    if (command == "session")
        return writeSession (argc, argv);
    if (command == "tracks")
        return printSessionTracks (argc, argv);
    if (command == "atoms")
        return makeWindowManagerAtoms();
    if (command == "close")
        return closeWindow (argc, argv);
    if (command == "count")
        return countPixels (argc, argv);
    if (command == "level")
        return measureLevel (argc, argv);
    return usage();
}
