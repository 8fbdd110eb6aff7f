#include "app/AppTestSupport.h"
#include "app/Messages.h"
#include "display/PresetsWindow.h"
#include "display/TopBar.h"
#include "support/ModelHarness.h"

using apptest::AppFixture;
using Rect = juce::Rectangle<int>;

namespace
{
// Pictures of the windows for a reader to hold against the screens; kept in the build folder.
juce::Image snapshot (juce::Component& c, const juce::String& name)
{
    auto image = c.createComponentSnapshot (c.getLocalBounds(), true, 1.0f);
    const auto folder = juce::File::getCurrentWorkingDirectory().getChildFile ("display-screens");
    folder.createDirectory();
    const auto file = folder.getChildFile (name + ".png");
    file.deleteFile();
    juce::FileOutputStream out (file);
    juce::PNGImageFormat().writeImageToStream (image, out);
    return image;
}

bool near (juce::Colour a, juce::uint32 b)
{
    const juce::Colour c (b);
    return std::abs (a.getRed() - c.getRed()) < 8 && std::abs (a.getGreen() - c.getGreen()) < 8
           && std::abs (a.getBlue() - c.getBlue()) < 8;
}
} // namespace

class PresetsBrowser : public AppFixture
{
protected:
    // Clicks a row of a list the way a mouse does: the list's own selection.
    static void click (PresetListBase& list, int row) { list.listBox.selectRow (row); }
};

TEST_F (PresetsBrowser, ListsStartAtTheCurrentPresetAndAGroupChangesNoPreset)
{
    model->selectPresetById (9);  // MASTERING: CLUB
    PresetsWindow window (*model, "PRESETS", 0);
    testaudio::MessageLog relayed (window);
    EXPECT_EQ (window.groupsList.selectedId, presets::masteringGroup);
    EXPECT_EQ (window.presetsList.groupIndex, presets::masteringGroup);
    EXPECT_EQ (window.presetsList.getNumRows(), 15);
    EXPECT_EQ (window.groupsList.getNumRows(), 4);
    EXPECT_EQ (window.groupsList.listBox.getName(), "Preset Groups List Box");
    EXPECT_EQ (window.presetsList.listBox.getName(), "Presets List Box");
    EXPECT_EQ (window.titleLabel.getName(), "Presets Window Title");

    click (window.groupsList, presets::broadcastGroup);
    ASSERT_TRUE (relayed.pumpUntil ([&] { return window.presetsList.groupIndex == presets::broadcastGroup; }, 2000));
    EXPECT_EQ (window.presetsList.getNumRows(), 8);
    EXPECT_EQ (model->currentPreset->presetId, 9);
    EXPECT_EQ (relayed.count (messages::normalPresetIdChanged), 0);

    // Row 5 of BROADCAST is EBU R 128: it becomes current and the window passes the word on.
    click (window.presetsList, 5);
    EXPECT_TRUE (relayed.waitFor (messages::normalPresetIdChanged, 1, 2000));
    EXPECT_EQ (model->currentPreset->presetId, 24);
    EXPECT_EQ (model->defaultPresetId, 24);
    EXPECT_EQ (window.presetsList.selectedId, 24);
    EXPECT_EQ (model->getCurrentPresetName (0), "BROADCAST: EBU R 128");

    // The same row number in another group still counts as a click.
    click (window.groupsList, presets::userGroup);
    relayed.pumpUntil ([&] { return window.presetsList.groupIndex == presets::userGroup; }, 2000);
    click (window.presetsList, 0);
    click (window.groupsList, presets::broadcastGroup);
    relayed.pumpUntil ([&] { return window.presetsList.groupIndex == presets::broadcastGroup; }, 2000);
    click (window.presetsList, 5);
    EXPECT_TRUE (relayed.waitFor (messages::normalPresetIdChanged, 3, 2000));
    EXPECT_EQ (model->currentPreset->presetId, 24);
}

TEST_F (PresetsBrowser, CompareModeHidesTheReferenceUntilOneIsAnalysed)
{
    PresetsWindow window (*model, "EQ PRESETS", 1);
    window.presetsList.groupIndex = 0;
    window.presetsList.refill();
    ASSERT_EQ (window.presetsList.getNumRows(), 1);
    EXPECT_EQ (window.presetsList.rowName (0), "BALANCED MASTER");

    model->userPresetSet = true;
    testaudio::MessageLog modelLog (*model);
    model->sendActionMessage (juce::String (messages::trackWaveformComplete) + "17");
    modelLog.waitFor (messages::trackWaveformComplete, 1, 2000);
    EXPECT_EQ (window.presetsList.getNumRows(), 2);
    EXPECT_EQ (window.presetsList.rowName (1), "REFERENCE TRACK");

    click (window.presetsList, 1);
    EXPECT_EQ (model->currentEQPreset->presetId, 62);
    EXPECT_EQ (model->getCurrentPresetName (1), "REFERENCE TRACK");

    // The reference drop area is the first child in this mode, above the lists; the other mode has none.
    window.setSize (PresetsWindow::width, PresetsWindow::compareHeight);
    auto* dropArea = window.getDropTarget();
    ASSERT_NE (dropArea, nullptr);
    EXPECT_EQ (window.getIndexOfChildComponent (dropArea), 0);
    EXPECT_TRUE (dropArea->isVisible());
    EXPECT_LT (dropArea->getBottom(), window.groupsList.getY());
    PresetsWindow normal (*model, "PRESETS", 0);
    EXPECT_EQ (normal.getDropTarget(), nullptr);
}

TEST_F (PresetsBrowser, LayoutAndRowColours)
{
    const auto normal = PresetsWindow::layoutFor (499, 364, 0);
    EXPECT_EQ (normal.title, Rect (12, 4, 84, 28));
    EXPECT_EQ (normal.groups, Rect (9, 37, 244, 319));
    EXPECT_EQ (normal.presets, Rect (255, 37, 236, 319));
    EXPECT_TRUE (normal.dropTarget.isEmpty());
    const auto compare = PresetsWindow::layoutFor (499, 600, 1);
    EXPECT_EQ (compare.dropTarget, Rect (4, 41, 487, 236));
    EXPECT_EQ (compare.groups.getY(), compare.dropTarget.getBottom() + 9);
    EXPECT_EQ (compare.groups.getBottom(), 592);
    // A window squeezed to nothing has no negative sizes.
    const auto tiny = PresetsWindow::layoutFor (5, 5, 1);
    for (const auto& r : { tiny.title, tiny.close, tiny.dropTarget, tiny.groups, tiny.presets })
        EXPECT_TRUE (r.getWidth() >= 0 && r.getHeight() >= 0);

    struct Case
    {
        bool chosen, hovered;
        std::optional<juce::uint32> fill;
    };
    for (const auto& c : { Case { true, true, 0xff4c58c8 }, Case { true, false, 0xff4c58c8 },
                           Case { false, true, 0xff2d2e39 }, Case { false, false, std::nullopt } })
    {
        const auto fill = PresetListBase::rowFill (c.chosen, c.hovered);
        ASSERT_EQ (fill.has_value(), c.fill.has_value());
        if (fill)
            EXPECT_EQ (fill->getARGB(), *c.fill);
    }
}

TEST_F (PresetsBrowser, PicturesOfTheTopBarAndBothModes)
{
    TopBar bar (*model);
    EXPECT_EQ (bar.getPresetName(), "MASTERING: ALL-ROUND");
    EXPECT_EQ (bar.presetNameLabel.getBounds(), Rect (50, 11, 160, 20));
    EXPECT_EQ (bar.presetsMenuButton.getBounds(), Rect (230, 13, 22, 16));
    EXPECT_EQ (bar.previousButton.getTooltip(), "Click to scroll back through presets\n ");
    EXPECT_EQ (bar.loudnessMatchButton.getBounds(), Rect (258, 5, 137, 36));
    snapshot (bar, "top-bar");
    model->currentPreset = nullptr;
    bar.refresh();
    EXPECT_EQ (bar.getPresetName(), "[NO PRESET SELECTED]");

    model->selectPresetById (24);
    PresetsWindow normal (*model, "PRESETS", 0);
    const auto normalImage = snapshot (normal, "presets-window-normal");
    // The body, and the chosen row (EBU R 128, the sixth of BROADCAST) in the accent.
    EXPECT_TRUE (near (normalImage.getPixelAt (200, 340), PresetsWindow::bodyColour));
    const int chosenRowY = normal.presetsList.getY() + 5 * PresetListBase::rowHeight + 30;
    EXPECT_TRUE (near (normalImage.getPixelAt (normal.presetsList.getX() + 220, chosenRowY), PresetListBase::chosenColour));

    PresetsWindow compare (*model, "EQ PRESETS", 1);
    const auto compareImage = snapshot (compare, "presets-window-compare");
    EXPECT_EQ (compareImage.getHeight(), 600);
    EXPECT_TRUE (near (compareImage.getPixelAt (250, 580), PresetsWindow::bodyColour));
}
