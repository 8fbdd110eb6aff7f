// Helper of the end-to-end test of the window: writes test tones and a session file, and asks
// a window to close the way a window manager's close button does.
//
//   orvane_e2e_helper tone <file.wav> <seconds> <frequency>
//   orvane_e2e_helper session <file.bws> <presetId> <x> <y> <width> <height> <audio>...
//   orvane_e2e_helper atoms
//   orvane_e2e_helper close <window id>
//   orvane_e2e_helper count <file.png> <x> <y> <width> <height> <rrggbb> <tolerance>
//       prints how many pixels of the area lie within the tolerance of the colour on every channel

#include "support/TestAudio.h"
#include "targets/SessionFile.h"

#include <juce_graphics/juce_graphics.h>

#include <X11/Xlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{
int usage()
{
    std::fprintf (stderr, "usage: orvane_e2e_helper tone|session|atoms|close|count ...\n");
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
} // namespace

int main (int argc, char** argv)
{
    if (argc < 2)
        return usage();
    const std::string command = argv[1];
    if (command == "tone")
        return writeTone (argc, argv);
    if (command == "session")
        return writeSession (argc, argv);
    if (command == "atoms")
        return makeWindowManagerAtoms();
    if (command == "close")
        return closeWindow (argc, argv);
    if (command == "count")
        return countPixels (argc, argv);
    return usage();
}
