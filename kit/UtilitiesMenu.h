#pragma once

#include "SVGButton.h"

namespace bws
{
    // Three toggles in a row at the top right of the main window: settings, authorisation
    // and help. The owner listens to the buttons and opens the matching overlay.
    class UtilitiesMenu : public juce::Component
    {
    public:
        explicit UtilitiesMenu (bool updateAvailable = false);
        ~UtilitiesMenu() override;

        static constexpr const char* updateAvailableText = "An update is available, click to download.";
        static constexpr const char* upToDateText = "This version is up to date.";

        static constexpr int buttonSize = 17;
        // Narrow enough to sit right of the divider that the window paints 95 from its edge.
        static constexpr int gap = 10;
        static constexpr int menuWidth = 3 * buttonSize + 2 * gap;
        static constexpr int menuHeight = buttonSize;

        // Chooses the help toggle's images (with or without the update badge) and its tooltip.
        void setUpdateAvailable (bool updateAvailable);
        bool isUpdateAvailable() const noexcept { return updateShown; }

        SVGButton settingsButton { "Settings" };
        SVGButton authorisationButton { "Authorisation" };
        SVGButton helpButton { "Help" };

        // The help icon with the update badge drawn into it.
        static juce::String withUpdateBadge (const juce::String& svgText);

        void resized() override;

    private:
        bool updateShown = false;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (UtilitiesMenu)
    };
}
