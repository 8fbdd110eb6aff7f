#include "KitTestEnvironment.h"

#include <gtest/gtest.h>

namespace
{
    // The GUI side of JUCE (message manager, fonts, images) for the whole kit test run.
    // Nothing is put on the desktop, so no display is needed.
    struct JuceGuiEnvironment : ::testing::Environment
    {
        void SetUp() override { initialiser = std::make_unique<juce::ScopedJuceInitialiser_GUI>(); }
        void TearDown() override { initialiser.reset(); }
        std::unique_ptr<juce::ScopedJuceInitialiser_GUI> initialiser;
    };

    [[maybe_unused]] auto* const environment = ::testing::AddGlobalTestEnvironment (new JuceGuiEnvironment());
}

namespace kittest
{
    bool pumpMessagesUntil (const std::function<bool()>& condition)
    {
        for (int i = 0; i < 200 && ! condition(); ++i)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (10);
        return condition();
    }

    bool near (juce::Colour a, juce::Colour b, int tolerance)
    {
        auto close = [tolerance] (juce::uint8 p, juce::uint8 q) { return std::abs ((int) p - (int) q) <= tolerance; };
        return close (a.getAlpha(), b.getAlpha()) && close (a.getRed(), b.getRed())
            && close (a.getGreen(), b.getGreen()) && close (a.getBlue(), b.getBlue());
    }

    juce::Image render (juce::Component& component)
    {
        juce::Image image (juce::Image::ARGB, juce::jmax (1, component.getWidth()), juce::jmax (1, component.getHeight()), true);
        juce::Graphics g (image);
        component.paintEntireComponent (g, true);
        return image;
    }
}
