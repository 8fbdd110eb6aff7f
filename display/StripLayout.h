#pragma once

#include <juce_graphics/juce_graphics.h>

// Every figure of a track strip, its readout buttons and its waveform display, in one place.
namespace striplayout
{
using Rect = juce::Rectangle<int>;

// TrackDisplay::resized, for a strip of the given size.
constexpr int waveformX = 336;
inline Rect waveform (int w, int h) { return { waveformX, 0, w - waveformX, h }; }
inline Rect nameLabel() { return { 2, 0, 284, 28 }; }
inline Rect feedbackButton() { return { 306, 8, 13, 13 }; }
inline Rect playButton() { return { 323, 8, 13, 13 }; }
inline Rect readout (int index) { return { index * 84, 30, 82, 110 }; }  // loudness, peak, stereo, dynamics
inline Rect deleteButton (int w) { return { w - 20, 9, 10, 10 }; }

// The background is painted only through the name band and the gaps between the readouts.
inline Rect nameBand() { return { 0, 0, 334, 28 }; }
inline Rect readoutGap (int index) { return { 82 + index * 84, 30, 2, 110 }; }
constexpr float stripCorner = 10.0f;

// A name wider than its label by more than this gets a tooltip.
constexpr int nameSlack = 5;

// The readout buttons.
constexpr int iconX = 8;
constexpr int iconY = 10;
constexpr int iconSize = 34;
constexpr int stereoIconSize = 35;
constexpr int firstValueY = 53;
constexpr int firstUnitY = 55;
constexpr int secondValueY = 74;
constexpr int secondUnitY = 76;
constexpr int valueX = 8;
constexpr int valueHeight = 15;
constexpr int unitGap = 9;
constexpr int unitHeight = 11;
constexpr float valueFont = 18.0f;
constexpr float unitFont = 11.0f;
constexpr float valueHoverFont = 19.0f;
constexpr float unitHoverFont = 12.0f;
constexpr int innerInset = 2;
constexpr int innerBottom = 9;
constexpr float bottomCorner = 9.0f;
// The stereo bars, their ticks (every tenth value) and labels.
inline Rect stereoBar (int line) { return { 8, line == 0 ? 65 : 86, 66, 4 }; }
constexpr float tickScale = 33.0f;
constexpr float tickCentre = 41.0f;
constexpr int tickEvery = 10;
constexpr juce::uint8 tickAlpha = 0x0d;

// The waveform display.
constexpr int markerY = 2;
constexpr int markerHeight = 136;
constexpr int loopButtonSize = 16;
constexpr int loopButtonOffset = 15;
constexpr int dragThreshold = 2;
constexpr int edgeReach = 4;
inline Rect durationLabel (int w, int h) { return { w - 100, h - 14, 100, 10 }; }
inline Rect timeLabel (int x, int h) { return { x - 15, h - 16, 30, 16 }; }
constexpr float waveformCorner = 10.0f;

// The feedback window, placed on its strip in the track holder: 4 out from the strip at the
// sides and the top, so that its frame (inset 5) runs along the strip's own edge. The strips
// fill the holder from side to side, so the frame shows whole at both of them.
constexpr int feedbackHeight = 660;
inline Rect feedbackWindow (Rect strip)
{
    return { strip.getX() - 4, strip.getY() - 4, strip.getWidth() + 8, feedbackHeight };
}
} // namespace striplayout
