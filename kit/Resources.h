#pragma once

#include <juce_gui_basics/juce_gui_basics.h>
#include <memory>

// Access to the art and fonts compiled into the program. Names are the compiled
// resource names: the file name with its dot as an underscore ("PlayNormal_svg",
// "LoudnessMatchHover_x2_png"). Every function answers an unknown or empty name with
// an empty result (null pointer, empty text, invalid image, null typeface).
namespace bws::Resources
{
    // The raw bytes and their size; null (and size 0) for a null, empty or unknown name.
    const char* getNamedResource (const char* resourceName, int& dataSizeInBytes);

    bool exists (const juce::String& resourceName);

    // Every compiled resource name, in the order of the generated table.
    juce::StringArray getAllNames();

    // The original file name of a resource ("LoudnessMatchHover_x2.png"); empty if unknown.
    juce::String getOriginalFilename (const juce::String& resourceName);

    juce::MemoryBlock getData (const juce::String& resourceName);

    // The resource read as UTF-8 text (SVG sources); empty if unknown.
    juce::String getText (const juce::String& resourceName);

    // SVG text to a drawable. An empty text gives null without an attempt to parse;
    // a text that doesn't parse gives null too.
    std::unique_ptr<juce::Drawable> parseSVG (const juce::String& svgText);

    // An SVG resource as a drawable; null if unknown or unparseable.
    std::unique_ptr<juce::Drawable> getDrawable (const juce::String& resourceName);

    // All the filled shapes of an SVG text (or resource) joined into one path, in the
    // coordinates of the SVG's own canvas, and the canvas (viewBox) itself.
    juce::Path getSVGPathFromText (const juce::String& svgText, juce::Rectangle<float>* canvas = nullptr);
    juce::Path getSVGPath (const juce::String& resourceName, juce::Rectangle<float>* canvas = nullptr);

    // A PNG resource decoded; an invalid image if unknown.
    juce::Image getImage (const juce::String& resourceName);

    // The plain or the double-density twin of a PNG family member, by the display's scale:
    // stem "LoudnessMatchHover" gives "LoudnessMatchHover_png" at scale 1 and
    // "LoudnessMatchHover_x2_png" otherwise (falling back to the plain one if no twin exists).
    juce::String imageNameForScale (const juce::String& stem, float displayScale);
    juce::Image getImageForScale (const juce::String& stem, float displayScale);

    // A font resource as a typeface; null if unknown.
    juce::Typeface::Ptr getTypeface (const juce::String& resourceName);

    // The four faces the displays use, from light to heavy.
    enum class FontRole { Thin, Book, Medium, Bold };
    const char* fontResourceName (FontRole role);
    juce::Typeface::Ptr getTypeface (FontRole role);

    // A cursor made from "<stem>_png", or "<stem>2x_png" at half size when the display's
    // scale isn't 1. hotSpot is in the plain image's pixels. The default cursor if unknown.
    juce::MouseCursor getCursor (const juce::String& stem, juce::Point<int> hotSpot, float displayScale);

    // The scale of the display a component is on (1 when it isn't on one).
    float displayScaleFor (const juce::Component* component);
}
