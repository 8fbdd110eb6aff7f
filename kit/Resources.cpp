#include "Resources.h"

#include <BinaryData.h>
#include <cstring>

namespace bws::Resources
{
    const char* getNamedResource (const char* resourceName, int& dataSizeInBytes)
    {
        dataSizeInBytes = 0;

        if (resourceName == nullptr || *resourceName == 0)
            return nullptr;

        // The generated lookup goes by hash alone; make sure the name really is one of ours.
        if (BinaryData::getNamedResourceOriginalFilename (resourceName) == nullptr)
            return nullptr;

        return BinaryData::getNamedResource (resourceName, dataSizeInBytes);
    }

    static const char* lookUp (const juce::String& name, int& size)
    {
        return getNamedResource (name.toRawUTF8(), size);
    }

    bool exists (const juce::String& resourceName)
    {
        int size = 0;
        return lookUp (resourceName, size) != nullptr;
    }

    juce::StringArray getAllNames()
    {
        juce::StringArray names;

        for (int i = 0; i < BinaryData::namedResourceListSize; ++i)
            names.add (BinaryData::namedResourceList[i]);

        return names;
    }

    juce::String getOriginalFilename (const juce::String& resourceName)
    {
        if (resourceName.isEmpty())
            return {};

        if (auto* original = BinaryData::getNamedResourceOriginalFilename (resourceName.toRawUTF8()))
            return juce::String::fromUTF8 (original);

        return {};
    }

    juce::MemoryBlock getData (const juce::String& resourceName)
    {
        int size = 0;

        if (auto* data = lookUp (resourceName, size))
            return juce::MemoryBlock (data, (size_t) size);

        return {};
    }

    juce::String getText (const juce::String& resourceName)
    {
        int size = 0;

        if (auto* data = lookUp (resourceName, size))
            return juce::String::fromUTF8 (data, size);

        return {};
    }

    std::unique_ptr<juce::Drawable> parseSVG (const juce::String& svgText)
    {
        if (svgText.trim().isEmpty())
            return nullptr;

        auto xml = juce::parseXML (svgText);

        if (xml == nullptr || ! xml->hasTagName ("svg"))
            return nullptr;

        return juce::Drawable::createFromSVG (*xml);
    }

    std::unique_ptr<juce::Drawable> getDrawable (const juce::String& resourceName)
    {
        if (! resourceName.endsWith ("_svg"))
            return nullptr;

        return parseSVG (getText (resourceName));
    }

    static void collectPaths (const juce::Drawable& drawable, juce::Path& result,
                              const juce::AffineTransform& parentTransform)
    {
        auto transform = drawable.getTransform().followedBy (parentTransform);

        if (auto* shape = dynamic_cast<const juce::DrawablePath*> (&drawable))
            result.addPath (shape->getPath(), transform);
        else if (auto* rectangle = dynamic_cast<const juce::DrawableRectangle*> (&drawable))
            result.addPath (rectangle->getOutlineAsPath(), transform);
        else if (auto* otherShape = dynamic_cast<const juce::DrawableShape*> (&drawable))
            result.addPath (otherShape->getOutlineAsPath(), transform);

        for (auto* child : drawable.getChildren())
            if (auto* childDrawable = dynamic_cast<const juce::Drawable*> (child))
                collectPaths (*childDrawable, result, transform);
    }

    juce::Path getSVGPathFromText (const juce::String& svgText, juce::Rectangle<float>* canvas)
    {
        juce::Path result;
        auto drawable = parseSVG (svgText);

        if (drawable == nullptr)
        {
            if (canvas != nullptr)
                *canvas = {};

            return result;
        }

        collectPaths (*drawable, result, {});

        if (canvas != nullptr)
        {
            if (auto* composite = dynamic_cast<juce::DrawableComposite*> (drawable.get()))
                *canvas = composite->getContentArea();
            else
                *canvas = drawable->getDrawableBounds();

            if (canvas->isEmpty())
                *canvas = result.getBounds();
        }

        return result;
    }

    juce::Path getSVGPath (const juce::String& resourceName, juce::Rectangle<float>* canvas)
    {
        if (! resourceName.endsWith ("_svg"))
        {
            if (canvas != nullptr)
                *canvas = {};

            return {};
        }

        return getSVGPathFromText (getText (resourceName), canvas);
    }

    juce::Image getImage (const juce::String& resourceName)
    {
        int size = 0;

        if (auto* data = lookUp (resourceName, size))
            return juce::ImageCache::getFromMemory (data, size);

        return {};
    }

    juce::String imageNameForScale (const juce::String& stem, float displayScale)
    {
        if (stem.isEmpty())
            return {};

        if (! juce::approximatelyEqual (displayScale, 1.0f))
        {
            auto doubled = stem + "_x2_png";

            if (exists (doubled))
                return doubled;
        }

        return stem + "_png";
    }

    juce::Image getImageForScale (const juce::String& stem, float displayScale)
    {
        return getImage (imageNameForScale (stem, displayScale));
    }

    juce::Typeface::Ptr getTypeface (const juce::String& resourceName)
    {
        if (! (resourceName.endsWith ("_otf") || resourceName.endsWith ("_ttf")))
            return nullptr;

        int size = 0;

        if (auto* data = lookUp (resourceName, size))
            return juce::Typeface::createSystemTypefaceFor (data, (size_t) size);

        return nullptr;
    }

    const char* fontResourceName (FontRole role)
    {
        switch (role)
        {
            case FontRole::Thin:   return "JuraLight_otf";
            case FontRole::Book:   return "JuraRegular_otf";
            case FontRole::Medium: return "JuraMedium_otf";
            case FontRole::Bold:   return "JuraBold_otf";
        }

        return "JuraRegular_otf";
    }

    juce::Typeface::Ptr getTypeface (FontRole role)
    {
        return getTypeface (juce::String (fontResourceName (role)));
    }

    juce::MouseCursor getCursor (const juce::String& stem, juce::Point<int> hotSpot, float displayScale)
    {
        if (stem.isEmpty())
            return {};

        if (! juce::approximatelyEqual (displayScale, 1.0f))
        {
            auto doubled = getImage (stem + "2x_png");

            if (doubled.isValid())
                return juce::MouseCursor (juce::ScaledImage (doubled, 2.0), hotSpot);
        }

        auto plain = getImage (stem + "_png");

        if (plain.isValid())
            return juce::MouseCursor (plain, hotSpot.x, hotSpot.y);

        return {};
    }

    float displayScaleFor (const juce::Component* component)
    {
        if (component == nullptr || ! juce::MessageManager::getInstanceWithoutCreating())
            return 1.0f;

        if (auto* peer = component->getPeer())
            return (float) peer->getPlatformScaleFactor() * juce::Component::getApproximateScaleFactorForComponent (component);

        return 1.0f;
    }
}
