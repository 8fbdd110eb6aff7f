#pragma once

#include "SettingsLookandFeel.h"
#include "XButton.h"

namespace bws
{
    // Base of the settings overlay: a dark rounded panel with its own look and a close
    // button at the top right. A derived window adds its pages, listens to xButton and
    // reports through the broadcaster.
    class SettingsWindow : public juce::Component,
                           public juce::ActionBroadcaster
    {
    public:
        SettingsWindow();
        ~SettingsWindow() override;

        static constexpr int windowWidth = 600;
        static constexpr int windowHeight = 510;
        static constexpr int closeButtonRightInset = 30;
        static constexpr int closeButtonTop = 40;

        void paint (juce::Graphics&) override;
        void resized() override;

        SettingsLookandFeel& getSettingsLookAndFeel() noexcept { return settingsLookAndFeel; }

    protected:
        // Places xButton: its own size, 30 from the right edge.
        void placeCloseButton();

        SettingsLookandFeel settingsLookAndFeel;
        XButton xButton;

    private:
        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (SettingsWindow)
    };
}
