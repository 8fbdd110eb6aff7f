#include "BrenwickSoundLogo.h"
#include "Resources.h"

namespace bws
{
    BrenwickSoundLogo::BrenwickSoundLogo (juce::Colour newProductColour, juce::Colour normalColour, bool newProductAvailable)
        : highlightColour (newProductColour),
          plainColour (normalColour),
          plainLogo (Resources::getDrawable ("BrenwickSoundLogo_svg")),
          highlightLogo (Resources::getDrawable ("BrenwickSoundLogoNew_svg")),
          link (linkText, juce::URL (makerAddress))
    {
        link.setJustificationType (juce::Justification::centredLeft);
        link.setTooltip ({});
        addAndMakeVisible (link);

        setNewProductAvailable (newProductAvailable);
        setSize (logoWidth, logoHeight);
    }

    BrenwickSoundLogo::~BrenwickSoundLogo() = default;

    void BrenwickSoundLogo::newProductAvailableCallback (bool newProductAvailable)
    {
        juce::WeakReference<BrenwickSoundLogo> self (this);

        juce::MessageManager::callAsync ([self, newProductAvailable]
        {
            if (auto* logo = self.get())
                logo->setNewProductAvailable (newProductAvailable);
        });
    }

    void BrenwickSoundLogo::setNewProductAvailable (bool newProductAvailable)
    {
        newProductShown = newProductAvailable;
        link.setColour (juce::HyperlinkButton::textColourId, newProductAvailable ? highlightColour : plainColour);
        link.setFont (juce::Font (13.0f), false, juce::Justification::centredLeft);
        repaint();
    }

    juce::Colour BrenwickSoundLogo::getLinkColour() const
    {
        return link.findColour (juce::HyperlinkButton::textColourId);
    }

    const juce::Drawable* BrenwickSoundLogo::getCurrentLogo() const noexcept
    {
        return newProductShown ? highlightLogo.get() : plainLogo.get();
    }

    void BrenwickSoundLogo::paint (juce::Graphics& g)
    {
        if (auto* logo = getCurrentLogo())
            logo->drawWithin (g, getLocalBounds().removeFromLeft (getHeight()).toFloat(),
                              juce::RectanglePlacement::centred, 1.0f);
    }

    void BrenwickSoundLogo::resized()
    {
        link.setBounds (getLocalBounds().withTrimmedLeft (getHeight() + 6));
    }
}
