#include "UtilitiesMenu.h"
#include "Palette.h"
#include "Resources.h"

namespace bws
{
    UtilitiesMenu::UtilitiesMenu (bool updateAvailable)
    {
        for (auto* button : { &settingsButton, &authorisationButton, &helpButton })
        {
            button->setClickingTogglesState (true);
            addAndMakeVisible (button);
        }

        auto settingsNormal = Resources::getText ("settingsnormal_svg");
        auto settingsHover = Resources::getText ("settingshoverorvane_svg");
        settingsButton.setImages (settingsNormal, settingsHover, settingsHover, {},
                                  settingsHover, settingsHover, settingsHover, {});
        settingsButton.setTooltip ("Settings");

        auto keyNormal = Resources::getText ("keynormal_svg");
        auto keyHover = Resources::getText ("keyhoverorvane_svg");
        authorisationButton.setImages (keyNormal, keyHover, keyHover, {},
                                       keyHover, keyHover, keyHover, {});
        authorisationButton.setTooltip ("Authorisation");

        setUpdateAvailable (updateAvailable);
        setSize (menuWidth, menuHeight);
    }

    UtilitiesMenu::~UtilitiesMenu() = default;

    juce::String UtilitiesMenu::withUpdateBadge (const juce::String& svgText)
    {
        auto xml = juce::parseXML (svgText);

        if (xml == nullptr || ! xml->hasTagName ("svg"))
            return svgText;

        auto width = xml->getDoubleAttribute ("width", (double) buttonSize);
        auto* badge = xml->createNewChildElement ("circle");
        badge->setAttribute ("cx", width - 3.0);
        badge->setAttribute ("cy", 3.0);
        badge->setAttribute ("r", 3.0);
        badge->setAttribute ("fill", "#fa4d42");

        return xml->toString (juce::XmlElement::TextFormat().withoutHeader().singleLine());
    }

    void UtilitiesMenu::setUpdateAvailable (bool updateAvailable)
    {
        updateShown = updateAvailable;

        auto normal = Resources::getText ("helpnormal_svg");
        auto hover = Resources::getText ("helphoverorvane_svg");

        if (updateAvailable)
        {
            normal = withUpdateBadge (normal);
            hover = withUpdateBadge (hover);
        }

        helpButton.setImages (normal, hover, hover, {}, hover, hover, hover, {});
        helpButton.setTooltip (updateAvailable ? updateAvailableText : upToDateText);
    }

    void UtilitiesMenu::resized()
    {
        int x = 0;

        for (auto* button : { &settingsButton, &authorisationButton, &helpButton })
        {
            button->setBounds (x, (getHeight() - buttonSize) / 2, buttonSize, buttonSize);
            x += buttonSize + gap;
        }
    }
}
