#include "app/Layout.h"

#include <algorithm>

namespace layout
{
namespace
{
// The handle of the split and the bottom band's buttons are centred on this share of the width.
int compareEQX (int width)
{
    return (int) (width * 0.568 - 110);
}
} // namespace

Main mainLayout (const MainInput& in)
{
    Main m;
    const int w = in.width;
    const int h = in.height;

    m.innerWidth = std::max (0, w - 8);
    m.innerHeight = std::max (0, h - 8);
    m.topBand = std::min (m.innerHeight, 49);
    m.bottomBand = std::min (m.innerHeight - m.topBand, 48);
    m.middle = m.innerHeight - m.topBand - m.bottomBand;
    const int top = m.topBand + 4;
    m.bottomY = top + m.middle;

    const int W = m.innerWidth;
    const int M = m.middle;

    if (in.eqWindowHidden)
    {
        m.eqHeight = hiddenEQHeight;
    }
    else
    {
        // The panel keeps its share of the window as the window changes.
        const int previous = in.previousHeight != 0 ? in.previousHeight : h;
        const double share = 1.0 - (double) in.eqPanelTop / (double) previous;
        m.eqHeight = std::min (M, (int) (share * M));
    }
    const int E = m.eqHeight;
    const int eqTop = top + M - E;

    m.disabledCover = { 0, 0, w, h };
    m.statusLabel = { 137, 24, 200, 14 };
    m.productLink = { 177, 19, 97, 20 };
    m.topBar = { (int) (w * 0.499 - 197), 0, topBarWidth, topBarHeight };
    m.textExportButton = { W - 183, 16, 17, 17 };
    m.saveSessionButton = { W - 151, 16, 17, 17 };
    m.addTracksButton = { W - 119, 16, 17, 17 };
    m.utilitiesMenu = { w - in.utilitiesMenuSize.x - 20, 16, in.utilitiesMenuSize.x, in.utilitiesMenuSize.y };
    m.buyLink = { 137, h - 39, 290, 20 };
    m.eqPanel = { 4, eqTop, W, E };
    m.compareEQButton = { compareEQX (w), eqTop, compareEQWidth, compareEQHeight };
    m.cornerSeparatorLeft = { 4, eqTop - 9, 11, 31 };
    m.cornerSeparatorRight = { W - 8, eqTop - 9, 12, 31 };
    m.mainDisplay = { 4, m.topBand + 6, W, std::max (0, std::min (M - E, eqTop) - 4) };
    m.overlay = { w / 2 - 300, h / 2 - 255, overlayWidth, overlayHeight };
    m.resetButton = { 24, m.bottomY + 11, 60, 26 };
    m.hideEQButton = { (int) (w * 0.568 - 104), m.bottomY, hideEQWidth, hideEQHeight };
    m.logo = { w - in.logoSize.x - 20, h - 40, in.logoSize.x, in.logoSize.y };
    m.loudnessMatchWindow = { w / 2 + 66, 43, in.loudnessMatchSize.x, in.loudnessMatchSize.y };
    return m;
}

Divider dividerLayout (int w, int h, int y)
{
    Divider d;
    const int panelHeight = h - y - dividerBottomMargin;
    d.eqPanel = { 4, y, w - 8, panelHeight };
    d.compareEQButton = { compareEQX (w), y, compareEQWidth, compareEQHeight };
    d.cornerSeparatorLeft = { d.eqPanel.getX(), y - 9, 11, 31 };
    d.cornerSeparatorRight = { d.eqPanel.getRight() - 12, y - 9, 12, 31 };
    d.eqWindowHidden = panelHeight < smallestEQHeight;
    d.mainDisplay = { 4, dividerTrackTop, std::max (0, w - 8), std::max (0, h - panelHeight - 107) };
    return d;
}

bool dividerDragTaken (int y, int h)
{
    return y < h - 200 && y > dividerTrackTop && y < h - 62;
}

bool dividerDragCollapses (int y, int h, bool eqWindowHidden)
{
    return y > h - 200 && ! eqWindowHidden;
}

int reopenedDividerY (int eqWindowHeight, int h)
{
    return eqWindowHeight != 0 ? eqWindowHeight : h / 2;
}

juce::Point<int> overlayComponentSize (int w, int h)
{
    return { std::max (overlayMinimumWidth, w), std::max (overlayMinimumHeight, h) };
}

Rect resetConfirmBounds (int w, int h)
{
    return { w / 2 - 150, h / 2 - 125, 300, 175 };
}

Rect newProductHoverBounds (int w, int h)
{
    return { w - 238, h - 125, 230, 50 };
}

Rect updateHoverBounds (int w, int /*h*/)
{
    return { w / 2, 50, 320, 50 };
}

TrackList trackListLayout (int holderWidth, int visibleHeight, int numStrips)
{
    TrackList list;
    const int pitch = stripHeight + stripGap;
    for (int i = 0; i < numStrips; ++i)
        list.strips.push_back ({ 0, i * pitch, holderWidth, stripHeight });

    // With no strips the drop block stands in the middle of what is visible.
    const int blockTop = numStrips > 0 ? numStrips * pitch : std::max (0, (visibleHeight - dropBlockHeight) / 2);
    const int centre = holderWidth / 2;
    list.dropIcon = { centre - dropIconSize / 2, blockTop + 24, dropIconSize, dropIconSize };
    list.dropLabel = { centre - dropLabelWidth / 2, list.dropIcon.getBottom() + 12, dropLabelWidth, dropLabelHeight };
    list.browseButton = { centre - browseWidth / 2, list.dropLabel.getBottom() + 14, browseWidth, browseHeight };
    list.holderHeight = std::max (visibleHeight, blockTop + dropBlockHeight);
    return list;
}

Rect presetsWindowBounds (Rect topBar, Rect toggleInTopBar)
{
    const auto toggle = toggleInTopBar + topBar.getPosition();
    const int x = juce::roundToInt (toggle.getCentreX() + presetsNotchFromRight - presetsWindowWidth);
    return { x, toggle.getY() + 40, presetsWindowWidth, presetsWindowHeight };
}
} // namespace layout
