#include "display/EQLayout.h"

#include "app/Layout.h"

namespace eqlayout
{
Window eqWindow (int w, int h)
{
    Window l;
    l.trackNames = { 13, 13, 237, std::max (0, h - 13) };
    l.trinityPanel = { 254, 13, std::max (0, w - 254), std::max (0, h - 20) };
    return l;
}

Panel trinityPanel (int w, int h)
{
    Panel l;
    l.trinity = { 38, 35, std::max (0, w - 54), std::max (0, h - 40) };
    l.zeroDbLabel = { 7, h / 2 + 5, 20, 20 };
    l.upperRange = { 0, 35, 28, 28 };
    l.lowerRange = { 0, h - 30, 28, 28 };
    l.stereoButton = { w - 96, 6, 79, 21 };
    l.midButton = { w - 179, 6, 79, 21 };
    l.sideButton = { w - 262, 6, 79, 21 };
    l.menuButton = { 0, 9, 22, 16 };
    l.presetName = { 38, 9, 162, 16 };
    return l;
}

std::optional<Rect> horizontalLabel (int mouseY, int plotHeight)
{
    if (mouseY >= plotHeight - 15)
        return std::nullopt;
    return Rect { 0, mouseY + 23, 39, 20 };
}

std::optional<Rect> verticalLabel (int mouseX, int plotWidth, int panelHeight)
{
    const int x = mouseX + verticalLabelShift;
    if (! (x > 12 && x < plotWidth - 15))
        return std::nullopt;
    return Rect { x, panelHeight - 24, 53, 16 };
}

Rect hint (bool lowerHalf, int plotWidth, int plotHeight)
{
    return lowerHalf ? Rect { plotWidth - 245, plotHeight - 40, 240, 20 } : Rect { plotWidth - 245, 5, 240, 20 };
}

Rect presetsWindow (Rect panel, Rect area)
{
    const Rect wanted { panel.getX(), panel.getY() + 40, presetsWindowWidth, presetsWindowHeight };
    return wanted.constrainedWithin (area);
}

DropArea referenceDropArea (int w)
{
    DropArea l;
    using layout::dropIconSize, layout::browseWidth, layout::browseHeight;
    l.dropIcon = { w / 2 - dropIconSize / 2, 20, dropIconSize, dropIconSize };
    l.dropLabel = { w / 2 - dropLabelWidth / 2, dropIconSize + 30, dropLabelWidth, dropLabelHeight };
    l.browseButton = { w / 2 - browseWidth / 2, l.dropLabel.getBottom() + 10, browseWidth, browseHeight };
    l.statusLabel = { 0, l.browseButton.getBottom() + 10, w, statusHeight };
    return l;
}
} // namespace eqlayout
