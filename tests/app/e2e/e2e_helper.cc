// Helper of the end-to-end test of the window: writes test tones and a session file, and asks
// a window to close the way a window manager's close button does.
//
//   orvane_e2e_helper tone <file.wav> <seconds> <frequency>
//   orvane_e2e_helper noise <file.wav> <seconds> pink|bright|dark <seed>
//   orvane_e2e_helper session <file.bws> <presetId> <x> <y> <width> <height> <audio>...
//   orvane_e2e_helper atoms
//   orvane_e2e_helper close <window id>

#include "support/TestAudio.h"
#include "targets/SessionFile.h"

#include <X11/Xlib.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>
#include <cstdlib>
#include <cstring>

namespace
{
int usage()
{
    std::fprintf (stderr, "usage: orvane_e2e_helper tone|session|close ...\n");
    return 2;
}

juce::File absolute (const char* path)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile (juce::String::fromUTF8 (path));
}

int writeTone (int argc, char** argv)
{
    if (argc != 5)
        return usage();
    const auto signal = testaudio::sine (44100.0, 2, std::atof (argv[3]), std::atof (argv[4]), 0.3);
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
    if (command == "atoms")
        return makeWindowManagerAtoms();
    if (command == "close")
        return closeWindow (argc, argv);
    return usage();
}
