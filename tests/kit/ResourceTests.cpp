#include "KitTestEnvironment.h"
#include "kit/Resources.h"

#include <BinaryData.h>
#include <gtest/gtest.h>

namespace
{
    using namespace bws;

    void addFamily (juce::StringArray& names, const juce::StringArray& families,
                    const juce::StringArray& members, const juce::String& suffix)
    {
        for (auto& family : families)
            for (auto& member : members)
                names.add (family + member + suffix);
    }

    // Every resource the displays ask for by name.
    juce::StringArray expectedSVGs()
    {
        juce::StringArray n;
        const juce::StringArray fourStates { "Normal", "Hover", "Down", "Disabled" };
        addFamily (n, { "AddTracks", "Browse", "Reset", "SaveSession", "TextExport", "PresetsMenu", "Play", "Eye", "EyeOff" }, fourStates, "_svg");
        addFamily (n, { "Feedback" }, { "Normal", "Hover", "Down", "DownRed", "HoverRed" }, "_svg");
        addFamily (n, { "CloseTrack", "Mid", "Side", "Stereo" }, { "Normal", "Hover", "Active", "Unavailable" }, "_svg");
        addFamily (n, { "Loudness", "Peaks", "PhaseStereo", "DynamicRange" }, { "Normal", "Hover", "Problem", "ProblemHoverDown" }, "_svg");
        addFamily (n, { "lufs", "peak", "stereo", "dr" }, { "selectedOK", "selectedERROR", "unselectedOK", "unselectedERROR" }, "_svg");
        addFamily (n, { "PresetPreview", "SetUserPreset" }, { "Normal", "Hover", "Down" }, "_svg");
        n.addArray ({ "EQWindowCompareEQHitArea_svg", "HideEQHitArea_svg", "HideEQTrapezoidPath_svg",
                      "LoudnessMatchHitArea_svg", "TopBar_Background_svg" });

        for (auto* other : { "CancelHover", "CancelNormal", "OKHover", "OKNormal", "ClickBuyNormal", "DropTracks",
                             "OrvaneLogo", "OrvaneLogoHover", "X", "add", "analysebutton", "analysesetbutton",
                             "closeanalysis", "createtargets", "decrease", "decreasehover", "delete", "deleteallbutton",
                             "dropfilestext", "orvanetitle", "helphoverorvane", "helpnormal", "increase", "increasehover",
                             "keyhoverorvane", "keynormal", "loopdeleteoff", "loopdeleteon", "menuarrow", "outputsettings",
                             "settingshoverorvane", "settingsnormal", "settingspopupbutton", "textbutton",
                             "BrenwickSoundLogo", "BrenwickSoundLogoNew" })
            n.add (juce::String (other) + "_svg");

        return n;
    }

    // PNG stems that have a plain and an _x2 twin.
    juce::StringArray expectedDoubledPNGs()
    {
        juce::StringArray n { "EQWindowCompareEQ", "EQWindowCompareEQHover", "EQWindowSeparatorL", "EQWindowSeparatorR",
                              "TopBar_Background" };
        addFamily (n, { "HideEQ" }, { "Normal", "Hover", "Down", "Disabled" }, {});
        addFamily (n, { "LoudnessMatch" }, { "Normal", "Hover", "Down" }, {});
        return n;
    }

    const juce::StringArray cursorStems { "addloopcursor", "createloopcursor", "deleteloopcursor", "dragcursor", "playcursor" };
}

TEST (Resources, EverySVGTheDisplaysNameIsThereAndParses)
{
    for (auto& name : expectedSVGs())
    {
        SCOPED_TRACE (name.toStdString());
        int size = -1;
        auto* data = Resources::getNamedResource (name.toRawUTF8(), size);
        ASSERT_NE (data, nullptr);
        EXPECT_GT (size, 0);

        auto text = Resources::getText (name);
        EXPECT_TRUE (text.contains ("<svg"));

        auto drawable = Resources::getDrawable (name);
        ASSERT_NE (drawable, nullptr);
        EXPECT_FALSE (drawable->getDrawableBounds().isEmpty());
    }
}

TEST (Resources, EveryPNGDecodesAndItsTwinIsTwiceTheSize)
{
    for (auto& stem : expectedDoubledPNGs())
    {
        SCOPED_TRACE (stem.toStdString());
        auto plain = Resources::getImage (stem + "_png");
        auto doubled = Resources::getImage (stem + "_x2_png");
        ASSERT_TRUE (plain.isValid());
        ASSERT_TRUE (doubled.isValid());
        EXPECT_EQ (doubled.getWidth(), 2 * plain.getWidth());
        EXPECT_EQ (doubled.getHeight(), 2 * plain.getHeight());
        EXPECT_TRUE (plain.hasAlphaChannel());
    }

    for (auto& stem : cursorStems)
    {
        SCOPED_TRACE (stem.toStdString());
        auto plain = Resources::getImage (stem + "_png");
        auto doubled = Resources::getImage (stem + "2x_png");
        ASSERT_TRUE (plain.isValid());
        ASSERT_TRUE (doubled.isValid());
        EXPECT_EQ (doubled.getWidth(), 2 * plain.getWidth());
        EXPECT_EQ (doubled.getHeight(), 2 * plain.getHeight());
    }

    auto smallIcon = Resources::getImage ("icon_128x1282x_png");
    auto largeIcon = Resources::getImage ("icon_512x5122x_png");
    ASSERT_TRUE (smallIcon.isValid());
    ASSERT_TRUE (largeIcon.isValid());
    EXPECT_EQ (smallIcon.getBounds(), juce::Rectangle<int> (256, 256));
    EXPECT_EQ (largeIcon.getBounds(), juce::Rectangle<int> (1024, 1024));
}

TEST (Resources, ImagesHaveTheSizesTheLayoutGivesTheirButtons)
{
    EXPECT_EQ (Resources::getImage ("LoudnessMatchNormal_png").getBounds(), juce::Rectangle<int> (137, 38));
    EXPECT_EQ (Resources::getImage ("HideEQNormal_png").getBounds(), juce::Rectangle<int> (208, 24));
    EXPECT_EQ (Resources::getImage ("EQWindowCompareEQ_png").getBounds(), juce::Rectangle<int> (222, 35));
    EXPECT_EQ (Resources::getImage ("EQWindowSeparatorL_png").getBounds(), juce::Rectangle<int> (11, 31));
    EXPECT_EQ (Resources::getImage ("EQWindowSeparatorR_png").getBounds(), juce::Rectangle<int> (12, 31));
    EXPECT_EQ (Resources::getImage ("TopBar_Background_png").getBounds(), juce::Rectangle<int> (395, 43));
}

TEST (Resources, HitAreasCoverTheCanvasOfTheirImages)
{
    const std::pair<const char*, const char*> pairs[] = { { "LoudnessMatchHitArea_svg", "LoudnessMatchNormal_png" },
                                                          { "HideEQHitArea_svg", "HideEQNormal_png" },
                                                          { "EQWindowCompareEQHitArea_svg", "EQWindowCompareEQ_png" } };

    for (auto& [hitName, imageName] : pairs)
    {
        SCOPED_TRACE (hitName);
        juce::Rectangle<float> canvas;
        auto shape = Resources::getSVGPath (hitName, &canvas);
        auto image = Resources::getImage (imageName);
        ASSERT_FALSE (shape.isEmpty());
        EXPECT_EQ (canvas, image.getBounds().toFloat());
        EXPECT_TRUE (canvas.contains (shape.getBounds()));

        // The shape is where the image is opaque: its centre is inside and opaque, and the
        // bottom corners (cut away by the slant) are outside and clear.
        auto centre = canvas.getCentre();
        EXPECT_TRUE (shape.contains (centre));
        EXPECT_GT (image.getPixelAt ((int) centre.x, (int) centre.y).getAlpha(), 200);

        auto bottomLeft = juce::Point<float> (1.5f, canvas.getBottom() - 1.5f);
        auto bottomRight = juce::Point<float> (canvas.getRight() - 1.5f, canvas.getBottom() - 1.5f);
        EXPECT_FALSE (shape.contains (bottomLeft));
        EXPECT_FALSE (shape.contains (bottomRight));
        EXPECT_EQ (image.getPixelAt ((int) bottomLeft.x, (int) bottomLeft.y).getAlpha(), 0);
        EXPECT_EQ (image.getPixelAt ((int) bottomRight.x, (int) bottomRight.y).getAlpha(), 0);
    }
}

TEST (Resources, UnknownEmptyAndLookalikeNamesGiveNothing)
{
    int size = 123;
    EXPECT_EQ (Resources::getNamedResource (nullptr, size), nullptr);
    EXPECT_EQ (size, 0);
    size = 123;
    EXPECT_EQ (Resources::getNamedResource ("", size), nullptr);
    EXPECT_EQ (size, 0);
    EXPECT_EQ (Resources::getNamedResource ("NoSuchThing_svg", size), nullptr);
    EXPECT_EQ (Resources::getNamedResource ("PlayNormal.svg", size), nullptr); // the file name, not the resource name

    // "X_tWg" has the same 31-hash as "X_svg" ('s'*31+'v' == 't'*31+'W'): the generated table
    // would hand out X_svg for it, the lookup must not.
    int rawSize = 0;
    ASSERT_NE (BinaryData::getNamedResource ("X_tWg", rawSize), nullptr);
    EXPECT_EQ (Resources::getNamedResource ("X_tWg", size), nullptr);

    EXPECT_FALSE (Resources::exists (""));
    EXPECT_TRUE (Resources::getText ("").isEmpty());
    EXPECT_TRUE (Resources::getText ("nothing_svg").isEmpty());
    EXPECT_EQ (Resources::getData ("nothing_png").getSize(), 0u);
    EXPECT_EQ (Resources::getDrawable (""), nullptr);
    EXPECT_EQ (Resources::getDrawable ("nothing_svg"), nullptr);
    EXPECT_EQ (Resources::getDrawable ("LoudnessMatchNormal_png"), nullptr); // not SVG
    EXPECT_FALSE (Resources::getImage ("").isValid());
    EXPECT_FALSE (Resources::getImage ("nothing_png").isValid());
    EXPECT_EQ (Resources::getTypeface (""), nullptr);
    EXPECT_EQ (Resources::getTypeface ("PlayNormal_svg"), nullptr);
    EXPECT_TRUE (Resources::getSVGPath ("").isEmpty());
    EXPECT_TRUE (Resources::getOriginalFilename ("").isEmpty());
}

TEST (Resources, NamesAreFileNamesWithTheDotAsUnderscore)
{
    EXPECT_EQ (Resources::getOriginalFilename ("PlayNormal_svg"), "PlayNormal.svg");
    EXPECT_EQ (Resources::getOriginalFilename ("LoudnessMatchHover_x2_png"), "LoudnessMatchHover_x2.png");
    EXPECT_EQ (Resources::getOriginalFilename ("addloopcursor2x_png"), "addloopcursor@2x.png");

    auto all = Resources::getAllNames();
    EXPECT_EQ (all.size(), BinaryData::namedResourceListSize);

    for (auto& name : all)
    {
        SCOPED_TRACE (name.toStdString());
        EXPECT_TRUE (Resources::exists (name));
        auto file = Resources::getOriginalFilename (name);
        EXPECT_EQ (file.removeCharacters ("-@").replaceCharacter ('.', '_'), name);
    }

    // Nothing named is missing, and nothing is there that isn't listed above or is a font.
    auto expected = expectedSVGs();
    for (auto& stem : expectedDoubledPNGs())
        expected.addArray ({ stem + "_png", stem + "_x2_png" });
    for (auto& stem : cursorStems)
        expected.addArray ({ stem + "_png", stem + "2x_png" });
    expected.addArray ({ "icon_128x1282x_png", "icon_512x5122x_png" });

    for (auto& name : expected)
        EXPECT_TRUE (all.contains (name)) << name;

    for (auto& name : all)
        EXPECT_TRUE (expected.contains (name) || name.endsWith ("_otf")) << name;
}

TEST (Resources, ScaleChoosesTheDoubleDensityTwin)
{
    EXPECT_EQ (Resources::imageNameForScale ("LoudnessMatchHover", 1.0f), "LoudnessMatchHover_png");
    EXPECT_EQ (Resources::imageNameForScale ("LoudnessMatchHover", 2.0f), "LoudnessMatchHover_x2_png");
    EXPECT_EQ (Resources::imageNameForScale ("LoudnessMatchHover", 1.25f), "LoudnessMatchHover_x2_png");
    EXPECT_EQ (Resources::imageNameForScale ("icon_128x1282x", 2.0f), "icon_128x1282x_png"); // no twin
    EXPECT_TRUE (Resources::imageNameForScale ("", 2.0f).isEmpty());

    EXPECT_EQ (Resources::getImageForScale ("HideEQDown", 2.0f).getWidth(), 416);
    EXPECT_EQ (Resources::getImageForScale ("HideEQDown", 1.0f).getWidth(), 208);
}

TEST (Resources, TheFourFontsLoadAsDistinctFaces)
{
    using Role = Resources::FontRole;
    const Role roles[] = { Role::Thin, Role::Book, Role::Medium, Role::Bold };
    juce::StringArray styles;
    float widths[4] {};

    for (int i = 0; i < 4; ++i)
    {
        auto face = Resources::getTypeface (roles[i]);
        ASSERT_NE (face, nullptr) << Resources::fontResourceName (roles[i]);
        EXPECT_EQ (face->getName(), "Jura");
        styles.addIfNotAlreadyThere (face->getStyle());

        juce::Font font (face);
        font.setHeight (18.0f);
        widths[i] = font.getStringWidthFloat ("DROP AUDIO FILES HERE");
        EXPECT_GT (widths[i], 50.0f);
    }

    EXPECT_EQ (styles.size(), 4) << styles.joinIntoString (", ");
    EXPECT_LE (widths[0], widths[3]); // the light face is no wider than the bold one
}

TEST (Resources, CursorsComeFromTheirImagesOrFallBackToTheNormalOne)
{
    EXPECT_TRUE (Resources::getCursor ("", { 0, 0 }, 1.0f) == juce::MouseCursor::NormalCursor);
    EXPECT_TRUE (Resources::getCursor ("nocursor", { 0, 0 }, 2.0f) == juce::MouseCursor::NormalCursor);

    for (auto& stem : cursorStems)
        for (auto scale : { 1.0f, 2.0f })
            EXPECT_FALSE (Resources::getCursor (stem, { 12, 12 }, scale) == juce::MouseCursor::NormalCursor) << stem;
}
