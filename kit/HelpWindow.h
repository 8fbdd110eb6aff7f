#pragma once

#include "XButton.h"
#include <vector>

namespace bws
{
    // Base of the help overlay: a heading with links under it, a separate support link, a
    // version line, and a line that either tells the version is up to date or links to the
    // update. The close button hides the window and sends the close message.
    class HelpWindow : public juce::Component,
                       public juce::ActionBroadcaster,
                       private juce::Button::Listener
    {
    public:
        struct Link
        {
            juce::String text;
            juce::URL address;
        };

        struct Contents
        {
            juce::String heading;
            std::vector<Link> links;
            Link support;
            juce::String versionLine;
            Link update;              // shown when an update is available
            juce::String upToDateText;
            juce::String closeMessage; // sent by the close button
        };

        explicit HelpWindow (Contents contents, bool updateAvailable = false);
        ~HelpWindow() override;

        static constexpr int windowWidth = 600;
        static constexpr int windowHeight = 510;

        void setUpdateAvailable (bool updateAvailable);
        bool isUpdateShown() const noexcept { return updateShown; }

        const Contents& getContents() const noexcept { return contents; }
        int getNumLinks() const noexcept { return linkButtons.size(); }
        juce::HyperlinkButton* getLinkButton (int index) const noexcept { return linkButtons[index]; }
        juce::HyperlinkButton& getSupportLink() noexcept { return supportLink; }
        juce::HyperlinkButton& getUpdateLink() noexcept { return updateLink; }
        juce::Label& getUpToDateLabel() noexcept { return upToDateLabel; }
        juce::Label& getVersionLabel() noexcept { return versionLabel; }
        XButton& getCloseButton() noexcept { return xButton; }

        void paint (juce::Graphics&) override;
        void resized() override;

    protected:
        Contents contents;
        bool updateShown = false;

        juce::Label headingLabel, versionLabel, upToDateLabel;
        juce::OwnedArray<juce::HyperlinkButton> linkButtons;
        juce::HyperlinkButton supportLink, updateLink;
        XButton xButton;

    private:
        void buttonClicked (juce::Button*) override;

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (HelpWindow)
    };
}
