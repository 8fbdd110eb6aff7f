#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // The maker's mark at the bottom right of the main window: a small logo and a link to
    // the maker's site. When a new product is announced, the link takes the first colour and
    // the logo its highlighted image; otherwise the second colour and the plain image.
    class BrenwickSoundLogo : public juce::Component
    {
    public:
        BrenwickSoundLogo (juce::Colour newProductColour, juce::Colour normalColour, bool newProductAvailable = false);
        ~BrenwickSoundLogo() override;

        static constexpr int logoWidth = 150;
        static constexpr int logoHeight = 24;
        static constexpr const char* makerAddress = "https://www.brenwicksound.com";
        static constexpr const char* linkText = "BRENWICK SOUND";

        // May be called from any thread: the change is posted to the message thread.
        void newProductAvailableCallback (bool newProductAvailable);

        // Applies the state at once; call on the message thread.
        void setNewProductAvailable (bool newProductAvailable);
        bool isNewProductShown() const noexcept { return newProductShown; }

        juce::Colour getLinkColour() const;
        juce::HyperlinkButton& getLink() noexcept { return link; }
        const juce::Drawable* getCurrentLogo() const noexcept;

        void paint (juce::Graphics&) override;
        void resized() override;

    private:
        juce::Colour highlightColour, plainColour;
        bool newProductShown = false;
        std::unique_ptr<juce::Drawable> plainLogo, highlightLogo;
        juce::HyperlinkButton link;

        JUCE_DECLARE_WEAK_REFERENCEABLE (BrenwickSoundLogo)
        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (BrenwickSoundLogo)
    };
}
