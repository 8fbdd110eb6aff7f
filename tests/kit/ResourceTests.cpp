#include "KitTestEnvironment.h"
#include "kit/Resources.h"

#include <BinaryData.h>
#include <gtest/gtest.h>

namespace
{
    using namespace bws;

    // Every stem followed by every member (space-separated lists) and the suffix.
    juce::StringArray family (const char* stems, const char* members, const char* suffix = "_svg")
    {
        juce::StringArray names, ms = juce::StringArray::fromTokens (members, false);
        for (auto& stem : juce::StringArray::fromTokens (stems, false))
            for (auto& member : ms.isEmpty() ? juce::StringArray ("") : ms)
                names.add (stem + member + suffix);
        return names;
    }

    // Every SVG the displays ask for by name.
    juce::StringArray expectedSVGs()
    {
        auto n = family ("AddTracks Browse Reset SaveSession TextExport PresetsMenu Play Eye EyeOff", "Normal Hover Down Disabled");
        n.addArray (family ("Feedback", "Normal Hover Down DownRed HoverRed"));
        n.addArray (family ("CloseTrack Mid Side Stereo", "Normal Hover Active Unavailable"));
        n.addArray (family ("Loudness Peaks PhaseStereo DynamicRange", "Normal Hover Problem ProblemHoverDown"));
        n.addArray (family ("lufs peak stereo dr", "selectedOK selectedERROR unselectedOK unselectedERROR"));
        n.addArray (family ("PresetPreview SetUserPreset", "Normal Hover Down"));
        n.addArray (family ("EQWindowCompareEQHitArea HideEQHitArea HideEQTrapezoidPath LoudnessMatchHitArea TopBar_Background "
                            "CancelHover CancelNormal OKHover OKNormal ClickBuyNormal DropTracks OrvaneLogo OrvaneLogoHover X add "
                            "analysebutton analysesetbutton closeanalysis createtargets decrease decreasehover delete "
                            "deleteallbutton dropfilestext orvanetitle helphoverorvane helpnormal increase increasehover "
                            "keyhoverorvane keynormal loopdeleteoff loopdeleteon menuarrow outputsettings settingshoverorvane "
                            "settingsnormal settingspopupbutton textbutton BrenwickSoundLogo BrenwickSoundLogoNew", ""));
        return n;
    }

    // PNG stems with a plain image and a double-density twin, and the twin's suffix.
    const std::pair<const char*, const char*> doubledPNGs[] = {
        { "EQWindowCompareEQ EQWindowCompareEQHover EQWindowSeparatorL EQWindowSeparatorR TopBar_Background HideEQNormal "
          "HideEQHover HideEQDown HideEQDisabled LoudnessMatchNormal LoudnessMatchHover LoudnessMatchDown", "_x2" },
        { "addloopcursor createloopcursor deleteloopcursor dragcursor playcursor", "2x" },
    };
}

TEST (Resources, EveryNamedResourceIsThereAndDecodesAndNothingElseIs)
{
    auto expected = expectedSVGs();
    for (auto& name : expectedSVGs())
    {
        int size = -1;
        EXPECT_TRUE (Resources::getNamedResource (name.toRawUTF8(), size) != nullptr && size > 0) << name;
        auto drawable = Resources::getDrawable (name);
        EXPECT_TRUE (drawable != nullptr && ! drawable->getDrawableBounds().isEmpty()) << name;
    }
    for (auto& [stems, twin] : doubledPNGs)
        for (auto& name : family (stems, "", ""))
        {
            auto plain = Resources::getImage (name + "_png"), doubled = Resources::getImage (name + twin + "_png");
            EXPECT_TRUE (plain.isValid() && plain.hasAlphaChannel()) << name;
            EXPECT_EQ (doubled.getBounds(), plain.getBounds() * 2) << name;
            expected.addArray ({ name + "_png", name + twin + "_png" });
        }
    EXPECT_EQ (Resources::getImage ("icon_128x1282x_png").getBounds(), juce::Rectangle<int> (256, 256));
    EXPECT_EQ (Resources::getImage ("icon_512x5122x_png").getBounds(), juce::Rectangle<int> (1024, 1024));
    expected.addArray ({ "icon_128x1282x_png", "icon_512x5122x_png" });

    // Names are file names with the dot as an underscore and "@" and "-" dropped; nothing named
    // above is missing, and nothing is there that isn't named above or a font.
    EXPECT_EQ (Resources::getOriginalFilename ("addloopcursor2x_png"), "addloopcursor@2x.png");
    const auto all = Resources::getAllNames();
    EXPECT_EQ (all.size(), BinaryData::namedResourceListSize);
    for (auto& name : all)
    {
        EXPECT_TRUE (Resources::exists (name)) << name;
        EXPECT_EQ (Resources::getOriginalFilename (name).removeCharacters ("-@").replaceCharacter ('.', '_'), name);
        EXPECT_TRUE (expected.contains (name) || name.endsWith ("_otf")) << name;
    }
    for (auto& name : expected)
        EXPECT_TRUE (all.contains (name)) << name;
}

TEST (Resources, UnknownEmptyAndLookalikeNamesGiveNothing)
{
    for (const char* name : { (const char*) nullptr, "", "NoSuchThing_svg", "PlayNormal.svg" }) // a file name isn't a resource name
    {
        int size = 123;
        EXPECT_EQ (Resources::getNamedResource (name, size), nullptr);
        EXPECT_EQ (size, 0);
    }
    // "X_tWg" has the same 31-hash as "X_svg" ('s'*31+'v' == 't'*31+'W'): the generated table
    // would hand out X_svg for it, the lookup must not.
    int size = 0;
    ASSERT_NE (BinaryData::getNamedResource ("X_tWg", size), nullptr);
    EXPECT_EQ (Resources::getNamedResource ("X_tWg", size), nullptr);

    for (auto* name : { "", "nothing_svg" })
    {
        EXPECT_FALSE (Resources::exists (name));
        EXPECT_TRUE (Resources::getText (name).isEmpty() && Resources::getOriginalFilename (name).isEmpty());
        EXPECT_EQ (Resources::getData (name).getSize(), 0u);
        EXPECT_EQ (Resources::getDrawable (name), nullptr);
        EXPECT_FALSE (Resources::getImage (name).isValid());
        EXPECT_EQ (Resources::getTypeface (name), nullptr);
        EXPECT_TRUE (Resources::getSVGPath (name).isEmpty());
        EXPECT_TRUE (Resources::getCursor (name, { 0, 0 }, 2.0f) == juce::MouseCursor::NormalCursor);
    }
    EXPECT_EQ (Resources::getDrawable ("LoudnessMatchNormal_png"), nullptr); // not SVG
    EXPECT_EQ (Resources::getTypeface ("PlayNormal_svg"), nullptr);          // not a font
}

TEST (Resources, ScaleChoosesTheDoubleDensityTwinAndCursorsTheirImages)
{
    EXPECT_EQ (Resources::imageNameForScale ("LoudnessMatchHover", 1.0f), "LoudnessMatchHover_png");
    EXPECT_EQ (Resources::imageNameForScale ("LoudnessMatchHover", 1.25f), "LoudnessMatchHover_x2_png");
    EXPECT_EQ (Resources::imageNameForScale ("icon_128x1282x", 2.0f), "icon_128x1282x_png"); // no twin
    EXPECT_TRUE (Resources::imageNameForScale ("", 2.0f).isEmpty());
    EXPECT_EQ (Resources::getImageForScale ("HideEQDown", 2.0f).getWidth(), 416);
    for (auto& stem : family (doubledPNGs[1].first, "", ""))
        for (auto scale : { 1.0f, 2.0f })
            EXPECT_FALSE (Resources::getCursor (stem, { 12, 12 }, scale) == juce::MouseCursor::NormalCursor) << stem;
}

TEST (Resources, HitAreasCoverTheOpaquePartOfTheirImages)
{
    for (auto* stem : { "LoudnessMatch", "HideEQ", "EQWindowCompareEQ" })
    {
        juce::Rectangle<float> canvas;
        auto shape = Resources::getSVGPath (juce::String (stem) + "HitArea_svg", &canvas);
        auto image = Resources::getImage (juce::String (stem) + (juce::String (stem) == "EQWindowCompareEQ" ? "_png" : "Normal_png"));
        EXPECT_EQ (canvas, image.getBounds().toFloat()) << stem;
        EXPECT_TRUE (canvas.contains (shape.getBounds())) << stem;
        // The centre is inside and opaque; the bottom corners, cut away by the slant, are outside and clear.
        for (auto [p, inside] : { std::pair (canvas.getCentre(), true), std::pair (juce::Point<float> (1.5f, canvas.getBottom() - 1.5f), false),
                                  std::pair (canvas.getBottomRight() - juce::Point<float> (1.5f, 1.5f), false) })
        {
            EXPECT_EQ (shape.contains (p), inside) << stem;
            const auto alpha = image.getPixelAt ((int) p.x, (int) p.y).getAlpha();
            EXPECT_TRUE (inside ? alpha > 200 : alpha == 0) << stem;
        }
    }
}

TEST (Resources, TheFourFontsLoadAsDistinctFaces)
{
    using Role = Resources::FontRole;
    juce::StringArray styles;
    float widths[4] {};
    for (auto role : { Role::Thin, Role::Book, Role::Medium, Role::Bold })
    {
        auto face = Resources::getTypeface (role);
        ASSERT_NE (face, nullptr) << Resources::fontResourceName (role);
        EXPECT_EQ (face->getName(), "Jura");
        styles.addIfNotAlreadyThere (face->getStyle());
        widths[(int) role] = juce::Font (face).withHeight (18.0f).getStringWidthFloat ("DROP AUDIO FILES HERE");
    }
    EXPECT_EQ (styles.size(), 4) << styles.joinIntoString (", ");
    EXPECT_GT (widths[0], 50.0f);
    EXPECT_LE (widths[0], widths[3]); // the light face is no wider than the bold one
}
