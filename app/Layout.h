#pragma once

#include <juce_graphics/juce_graphics.h>

#include <vector>

// The figures of the main window's layout, as plain functions of the window's size, so that
// the components only copy them into their children.
namespace layout
{
using Rect = juce::Rectangle<int>;

// The window's smallest and largest sizes.
constexpr int minimumWidth = 1000;
constexpr int minimumHeight = 800;
constexpr int maximumWidth = 8000;
constexpr int maximumHeight = 5000;

// An open overlay needs at least this much room.
constexpr int overlayMinimumWidth = 800;
constexpr int overlayMinimumHeight = 680;
constexpr int overlayWidth = 600;
constexpr int overlayHeight = 510;

constexpr int topBarWidth = 395;
constexpr int topBarHeight = 43;
constexpr int compareEQWidth = 220;
constexpr int compareEQHeight = 35;
constexpr int hideEQWidth = 208;
constexpr int hideEQHeight = 24;
// The EQ panel's height while it is hidden.
constexpr int hiddenEQHeight = 10;
// Below this height the EQ panel counts as hidden.
constexpr int smallestEQHeight = 16;
// The band under the EQ panel and the track area's top, as the split places them.
constexpr int dividerBottomMargin = 52;
constexpr int dividerTrackTop = 53;

struct MainInput
{
    int width = minimumWidth;
    int height = minimumHeight;
    bool eqWindowHidden = true;
    int eqPanelTop = 0;         // the panel's y before this layout
    int previousHeight = 800;   // the height at the last layout
    juce::Point<int> utilitiesMenuSize;
    juce::Point<int> logoSize;
    juce::Point<int> loudnessMatchSize;
};

struct Main
{
    int innerWidth = 0;   // W
    int innerHeight = 0;  // H
    int topBand = 0;
    int bottomBand = 0;
    int middle = 0;       // M
    int eqHeight = 0;     // E
    int bottomY = 0;      // B, the y of the bottom band

    Rect disabledCover, statusLabel, productLink, topBar;
    Rect textExportButton, saveSessionButton, addTracksButton, utilitiesMenu, buyLink;
    Rect eqPanel, compareEQButton, cornerSeparatorLeft, cornerSeparatorRight, mainDisplay;
    Rect overlay;  // settings, authorisation and help
    Rect resetButton, hideEQButton, logo, loudnessMatchWindow;
};

// The layout of MainContentComponent::resized.
Main mainLayout (const MainInput& input);

// What setEQDivider (y) places.
struct Divider
{
    Rect eqPanel, compareEQButton, cornerSeparatorLeft, cornerSeparatorRight, mainDisplay;
    bool eqWindowHidden = false;
};

Divider dividerLayout (int width, int height, int y);

// A drag of the split handle to y: taken as the new split, or collapsing the panel.
bool dividerDragTaken (int y, int height);
bool dividerDragCollapses (int y, int height, bool eqWindowHidden);

// Where a click on the handle reopens the panel.
int reopenedDividerY (int eqWindowHeight, int height);

// The component's size while an overlay is open.
juce::Point<int> overlayComponentSize (int width, int height);

// The presets window under the top bar's toggle (both in the main component's coordinates):
// 40 below the toggle's top, with the notch of its top right edge pointing at the toggle.
constexpr int presetsWindowWidth = 499;
constexpr int presetsWindowHeight = 364;
constexpr float presetsNotchFromRight = 36.5f;
Rect presetsWindowBounds (Rect topBar, Rect toggleInTopBar);

// The confirmation and hover pop-ups.
Rect resetConfirmBounds (int width, int height);
Rect newProductHoverBounds (int width, int height);
Rect updateHoverBounds (int width, int height);

// The list of strips and the drop block under it.
constexpr int stripHeight = 140;
constexpr int stripGap = 10;
constexpr int dropBlockHeight = 185;
constexpr int dropIconSize = 57;
constexpr int dropLabelWidth = 260;
constexpr int dropLabelHeight = 31;
constexpr int browseWidth = 176;
constexpr int browseHeight = 38;

struct TrackList
{
    std::vector<Rect> strips;
    Rect dropIcon, dropLabel, browseButton;
    int holderHeight = 0;
};

// The strips stacked from the top of trackHolder, the drop block centred under them, and
// trackHolder tall enough for both but never shorter than the visible height.
TrackList trackListLayout (int holderWidth, int visibleHeight, int numStrips);
} // namespace layout
