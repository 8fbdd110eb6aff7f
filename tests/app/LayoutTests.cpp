#include "app/Layout.h"

#include <gtest/gtest.h>

using layout::Rect;

namespace
{
layout::MainInput window (int w, int h, bool hidden = true, int eqTop = 0, int previousHeight = 800)
{
    layout::MainInput in;
    in.width = w;
    in.height = h;
    in.eqWindowHidden = hidden;
    in.eqPanelTop = eqTop;
    in.previousHeight = previousHeight;
    in.utilitiesMenuSize = { 71, 17 };
    in.logoSize = { 150, 24 };
    in.loudnessMatchSize = { 115, 90 };
    return in;
}
} // namespace

TEST (MainLayout, SmallestWindowWithHiddenEQ)
{
    const auto l = layout::mainLayout (window (1000, 800));
    // W 992, H 792, bands of 49 and 48, middle 695, bottom band at 748.
    EXPECT_EQ (l.innerWidth, 992);
    EXPECT_EQ (l.middle, 695);
    EXPECT_EQ (l.bottomY, 748);
    EXPECT_EQ (l.eqHeight, 10);

    EXPECT_EQ (l.disabledCover, Rect (0, 0, 1000, 800));
    EXPECT_EQ (l.statusLabel, Rect (137, 24, 200, 14));
    EXPECT_EQ (l.productLink, Rect (177, 19, 97, 20));
    EXPECT_EQ (l.topBar, Rect (302, 0, 395, 43));
    EXPECT_EQ (l.textExportButton, Rect (809, 16, 17, 17));
    EXPECT_EQ (l.saveSessionButton, Rect (841, 16, 17, 17));
    EXPECT_EQ (l.addTracksButton, Rect (873, 16, 17, 17));
    EXPECT_EQ (l.utilitiesMenu, Rect (909, 16, 71, 17));
    EXPECT_EQ (l.buyLink, Rect (137, 761, 290, 20));
    EXPECT_EQ (l.eqPanel, Rect (4, 738, 992, 10));
    EXPECT_EQ (l.compareEQButton, Rect (458, 738, 220, 35));
    EXPECT_EQ (l.cornerSeparatorLeft, Rect (4, 729, 11, 31));
    EXPECT_EQ (l.cornerSeparatorRight, Rect (984, 729, 12, 31));
    EXPECT_EQ (l.mainDisplay, Rect (4, 55, 992, 681));
    EXPECT_EQ (l.overlay, Rect (200, 145, 600, 510));
    EXPECT_EQ (l.resetButton, Rect (24, 759, 60, 26));
    EXPECT_EQ (l.hideEQButton, Rect (464, 748, 208, 24));
    EXPECT_EQ (l.logo, Rect (830, 760, 150, 24));
    EXPECT_EQ (l.loudnessMatchWindow, Rect (566, 43, 115, 90));
}

TEST (MainLayout, RightAlignedPartsFollowTheWidth)
{
    const auto l = layout::mainLayout (window (1600, 1000));
    EXPECT_EQ (l.utilitiesMenu.getRight(), 1600 - 20);
    EXPECT_EQ (l.logo.getRight(), 1600 - 20);
    EXPECT_EQ (l.logo.getY(), 1000 - 40);
    EXPECT_EQ (l.addTracksButton.getX(), 1592 - 119);
    EXPECT_EQ (l.topBar.getX(), 601);
    EXPECT_EQ (l.compareEQButton.getX(), 798);
    EXPECT_EQ (l.hideEQButton.getX(), 804);
    EXPECT_EQ (l.bottomY, 1000 - 52);
    EXPECT_EQ (l.resetButton.getY(), l.bottomY + 11);
}

TEST (MainLayout, OpenEQPanelKeepsItsShareOfTheWindow)
{
    // The split stood at half of an 800 high window; the window grows to 1200.
    const auto l = layout::mainLayout (window (1000, 1200, false, 400, 800));
    const int middle = 1200 - 8 - 49 - 48;
    EXPECT_EQ (l.eqHeight, middle / 2);
    EXPECT_EQ (l.eqPanel.getY(), 53 + middle - middle / 2);
    EXPECT_EQ (l.eqPanel.getBottom(), 53 + middle);
    EXPECT_EQ (l.compareEQButton.getY(), l.eqPanel.getY());
    EXPECT_EQ (l.cornerSeparatorLeft.getY(), l.eqPanel.getY() - 9);
    // The track area ends 4 above the panel's share of the middle.
    EXPECT_EQ (l.mainDisplay.getHeight(), middle - l.eqHeight - 4);

    // Laid out again at the same size, the panel stays where it is.
    const auto again = layout::mainLayout (window (1000, 1200, false, l.eqPanel.getY(), 1200));
    EXPECT_NEAR (again.eqPanel.getY(), l.eqPanel.getY(), 1);
}

TEST (MainLayout, OpenEQPanelNeverTallerThanTheMiddle)
{
    const auto l = layout::mainLayout (window (1000, 800, false, 0, 800));
    EXPECT_EQ (l.eqHeight, l.middle);
    EXPECT_EQ (l.mainDisplay.getHeight(), 0);
}

TEST (MainLayout, TinySizesDoNotGoNegative)
{
    const auto l = layout::mainLayout (window (0, 0));
    EXPECT_EQ (l.innerWidth, 0);
    EXPECT_EQ (l.middle, 0);
    EXPECT_GE (l.mainDisplay.getHeight(), 0);
}

TEST (Divider, PlacesPanelHandleAndTrackArea)
{
    const auto d = layout::dividerLayout (1000, 800, 400);
    EXPECT_EQ (d.eqPanel, Rect (4, 400, 992, 348));
    EXPECT_EQ (d.compareEQButton, Rect (458, 400, 220, 35));
    EXPECT_EQ (d.cornerSeparatorLeft, Rect (4, 391, 11, 31));
    EXPECT_EQ (d.cornerSeparatorRight, Rect (984, 391, 12, 31));
    EXPECT_EQ (d.mainDisplay, Rect (4, 53, 992, 345));
    EXPECT_FALSE (d.eqWindowHidden);
}

TEST (Divider, APanelUnder16HighCountsAsHidden)
{
    EXPECT_TRUE (layout::dividerLayout (1000, 800, 800 - 52 - 15).eqWindowHidden);
    EXPECT_FALSE (layout::dividerLayout (1000, 800, 800 - 52 - 16).eqWindowHidden);
}

TEST (Divider, DragLimits)
{
    const int h = 800;
    // The edges themselves are not taken.
    EXPECT_FALSE (layout::dividerDragTaken (53, h));
    EXPECT_TRUE (layout::dividerDragTaken (54, h));
    EXPECT_FALSE (layout::dividerDragTaken (h - 62, h));
    EXPECT_TRUE (layout::dividerDragTaken (h - 201, h));
    EXPECT_FALSE (layout::dividerDragTaken (h - 200, h));

    // Below h - 200 the panel collapses, once.
    EXPECT_TRUE (layout::dividerDragCollapses (h - 199, h, false));
    EXPECT_FALSE (layout::dividerDragCollapses (h - 199, h, true));
    EXPECT_FALSE (layout::dividerDragCollapses (h - 200, h, false));

    EXPECT_EQ (layout::reopenedDividerY (0, h), 400);
    EXPECT_EQ (layout::reopenedDividerY (321, h), 321);
}

TEST (Overlays, SizeGrowsOnlyBelowTheOverlaysNeeds)
{
    EXPECT_EQ (layout::overlayComponentSize (1000, 800), juce::Point<int> (1000, 800));
    EXPECT_EQ (layout::overlayComponentSize (700, 600), juce::Point<int> (800, 680));
    EXPECT_EQ (layout::overlayComponentSize (790, 900), juce::Point<int> (800, 900));
}

TEST (PopUps, ConfirmationAndHoverBoxes)
{
    EXPECT_EQ (layout::resetConfirmBounds (1000, 800), Rect (350, 275, 300, 175));
    EXPECT_EQ (layout::newProductHoverBounds (1000, 800), Rect (762, 675, 230, 50));
    EXPECT_EQ (layout::updateHoverBounds (1000, 800), Rect (500, 50, 320, 50));
}

TEST (TrackList, StripsStackAndTheDropBlockFollows)
{
    const auto empty = layout::trackListLayout (980, 681, 0);
    EXPECT_TRUE (empty.strips.empty());
    EXPECT_EQ (empty.holderHeight, 681);
    // Alone, the drop block is centred in what is visible.
    EXPECT_EQ (empty.dropIcon.getCentreX(), 490);
    EXPECT_NEAR (empty.dropIcon.getY() + (empty.browseButton.getBottom() - empty.dropIcon.getY()) / 2, 681 / 2, 20);

    const auto three = layout::trackListLayout (980, 681, 3);
    ASSERT_EQ (three.strips.size(), 3u);
    for (size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ (three.strips[i].getWidth(), 980);
        EXPECT_EQ (three.strips[i].getHeight(), layout::stripHeight);
        if (i > 0)
            EXPECT_GT (three.strips[i].getY(), three.strips[i - 1].getBottom());
    }
    EXPECT_GT (three.dropIcon.getY(), three.strips.back().getBottom());
    EXPECT_LE (three.browseButton.getBottom(), three.strips.back().getBottom() + layout::stripGap + layout::dropBlockHeight);
    EXPECT_EQ (three.browseButton.getWidth(), 176);
    EXPECT_EQ (three.dropLabel.getWidth(), 260);

    const auto many = layout::trackListLayout (980, 681, 20);
    EXPECT_GE (many.holderHeight, many.browseButton.getBottom());
    EXPECT_GT (many.holderHeight, 681);
}
