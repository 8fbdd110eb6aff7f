#include "SVGButton.h"
#include "Resources.h"

namespace bws
{
    SVGButton::SVGButton (const juce::String& buttonName)
        : juce::DrawableButton (buttonName, juce::DrawableButton::ImageOnButtonBackgroundOriginalSize)
    {
        setEdgeIndent (defaultEdgeIndent);

        // The art carries its own backdrop, so the button's own background stays clear.
        setColour (juce::TextButton::buttonColourId, juce::Colours::transparentBlack);
        setColour (juce::TextButton::buttonOnColourId, juce::Colours::transparentBlack);
    }

    SVGButton::~SVGButton() = default;

    void SVGButton::setImages (const juce::String& normal,
                               const juce::String& over,
                               const juce::String& down,
                               const juce::String& disabled,
                               const juce::String& normalOn,
                               const juce::String& overOn,
                               const juce::String& downOn,
                               const juce::String& disabledOn)
    {
        const juce::String* texts[] = { &normal, &over, &down, &disabled, &normalOn, &overOn, &downOn, &disabledOn };

        for (size_t i = 0; i < images.size(); ++i)
            images[i] = Resources::parseSVG (*texts[i]);

        install();
    }

    void SVGButton::setImages (const juce::String& normal, const juce::String& over, const juce::String& down)
    {
        setImages (normal, over, down, {}, {}, {}, {}, {});
    }

    void SVGButton::setImagesFromResources (const juce::StringArray& resourceNames)
    {
        juce::String texts[8];

        for (int i = 0; i < juce::jmin (8, resourceNames.size()); ++i)
            texts[i] = Resources::getText (resourceNames[i]);

        setImages (texts[0], texts[1], texts[2], texts[3], texts[4], texts[5], texts[6], texts[7]);
    }

    const juce::Drawable* SVGButton::getStateImage (int stateIndex) const noexcept
    {
        if (stateIndex < 0 || stateIndex >= (int) images.size())
            return nullptr;

        return images[(size_t) stateIndex].get();
    }

    int SVGButton::getNumStateImages() const noexcept
    {
        int count = 0;

        for (auto& image : images)
            if (image != nullptr)
                ++count;

        return count;
    }

    void SVGButton::install()
    {
        // DrawableButton wants a normal image at least; a button without one shows nothing.
        if (images[0] == nullptr)
        {
            const juce::DrawableComposite nothing;
            DrawableButton::setImages (&nothing);
            return;
        }

        DrawableButton::setImages (images[0].get(), images[1].get(), images[2].get(), images[3].get(),
                                   images[4].get(), images[5].get(), images[6].get(), images[7].get());
    }

    void SVGButton::paintButton (juce::Graphics& g, bool highlighted, bool down)
    {
        auto background = findColour (getToggleState() ? juce::TextButton::buttonOnColourId
                                                        : juce::TextButton::buttonColourId);

        if (background.isTransparent())
            return; // the drawables are children and paint themselves

        DrawableButton::paintButton (g, highlighted, down);
    }

    //==============================================================================
    SVGHyperlinkButton::SVGHyperlinkButton (const juce::URL& address,
                                            const juce::String& buttonName,
                                            int indent,
                                            float resting,
                                            float hover)
        : SVGButton (buttonName), url (address), restingOpacity (resting), hoverOpacity (hover)
    {
        setEdgeIndent (indent);
        setMouseCursor (juce::MouseCursor::PointingHandCursor);
        setTooltip (address.toString (false));
    }

    void SVGHyperlinkButton::buttonStateChanged()
    {
        SVGButton::buttonStateChanged();

        if (auto* image = getCurrentImage())
            image->setAlpha (opacityFor (isOver() || isDown()));
    }

    void SVGHyperlinkButton::clicked()
    {
        if (launchesBrowser && ! url.isEmpty())
            url.launchInDefaultBrowser();

        SVGButton::clicked();
    }
}
