#pragma once

#include <juce_graphics/juce_graphics.h>

#include <optional>

// Every figure of the EQ pane and the reference drop area, as plain functions of their sizes,
// so that the components only copy them and tests can check them without painting.
namespace eqlayout
{
using Rect = juce::Rectangle<int>;

// EQWindow: the track-name list on the left, the plot's panel on the right.
struct Window
{
    Rect trackNames, trinityPanel;
};
Window eqWindow (int width, int height);

// TrinityPanel of width w and height h.
struct Panel
{
    Rect trinity, zeroDbLabel, upperRange, lowerRange, stereoButton, midButton, sideButton, menuButton, presetName;
};
Panel trinityPanel (int width, int height);

// The floating labels over the panel for a mouse at (x, y) in a plot of width W and height H:
// the dB label only while the mouse is above the frequency labels, the frequency label only
// while it stays inside the plot.
std::optional<Rect> horizontalLabel (int mouseY, int plotHeight);
std::optional<Rect> verticalLabel (int mouseX, int plotWidth, int panelHeight);
// The frequency label reads the axis 18 pixels right of the mouse.
constexpr int verticalLabelShift = 18;

// The hint on the plot: near the bottom for a mouse in the lower half, near the top otherwise.
Rect hint (bool lowerHalf, int plotWidth, int plotHeight);

// The EQ preset list's window: at the panel's x and 40 under its y, kept inside the area it
// opens in.
constexpr int presetsWindowWidth = 499;
constexpr int presetsWindowHeight = 600;
Rect presetsWindow (Rect panelInParent, Rect parentArea);

// ReferenceTrackDragAndDropTarget of width w: everything centred on the width.
// The icon and the browse button have the sizes of the main drop block's.
constexpr int dropLabelWidth = 330;
constexpr int dropLabelHeight = 24;
constexpr int statusHeight = 50;
struct DropArea
{
    Rect dropIcon, dropLabel, browseButton, statusLabel;
};
DropArea referenceDropArea (int width);
} // namespace eqlayout
