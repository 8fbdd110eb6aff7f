#pragma once

#include <juce_gui_basics/juce_gui_basics.h>
#include <array>
#include <memory>

namespace bws
{
    // A DrawableButton fed with SVG text. The texts are parsed once, in setImages; state
    // changes only swap the parsed drawables. An empty text means "no image" for that state,
    // and so does a text that doesn't parse.
    class SVGButton : public juce::DrawableButton
    {
    public:
        explicit SVGButton (const juce::String& buttonName = {});
        ~SVGButton() override;

        static constexpr int defaultEdgeIndent = 3;

        // Eight states: normal, over, down, disabled, normal on, over on, down on, disabled on.
        void setImages (const juce::String& normal,
                        const juce::String& over,
                        const juce::String& down,
                        const juce::String& disabled,
                        const juce::String& normalOn,
                        const juce::String& overOn,
                        const juce::String& downOn,
                        const juce::String& disabledOn);

        // Three states: normal, over and down; the others have no image.
        void setImages (const juce::String& normal, const juce::String& over, const juce::String& down);

        // The same from compiled SVG resources by name ("PlayNormal_svg"); empty names allowed.
        void setImagesFromResources (const juce::StringArray& resourceNames);

        // The drawable parsed for one of the eight states (0 normal ... 7 disabled on), or null.
        const juce::Drawable* getStateImage (int stateIndex) const noexcept;

        // How many of the eight states have an image.
        int getNumStateImages() const noexcept;

        void paintButton (juce::Graphics&, bool highlighted, bool down) override;

    private:
        void install();

        std::array<std::unique_ptr<juce::Drawable>, 8> images;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (SVGButton)
    };

    // The panels' plain SVG button: the same class under the name the panels use for it.
    using SVGButton_1 = SVGButton;

    // An SVG button that opens an address in the browser when clicked. The three numbers
    // are the edge indent, the opacity of the image at rest and its opacity under the mouse.
    class SVGHyperlinkButton : public SVGButton
    {
    public:
        SVGHyperlinkButton (const juce::URL& address,
                            const juce::String& buttonName,
                            int indent = 5,
                            float restingOpacity = 0.95f,
                            float hoverOpacity = 1.0f);

        void setURL (const juce::URL& newAddress) { url = newAddress; }
        const juce::URL& getURL() const noexcept { return url; }

        float getRestingOpacity() const noexcept { return restingOpacity; }
        float getHoverOpacity() const noexcept { return hoverOpacity; }

        // The opacity the image is drawn with for a given hover state.
        float opacityFor (bool mouseOver) const noexcept { return mouseOver ? hoverOpacity : restingOpacity; }

        // Set to false in tests to keep clicks away from the browser.
        bool launchesBrowser = true;

        void buttonStateChanged() override;

    protected:
        using juce::Button::clicked;
        void clicked() override;

    private:
        juce::URL url;
        float restingOpacity, hoverOpacity;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (SVGHyperlinkButton)
    };
}
