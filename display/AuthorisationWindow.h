#pragma once

#include "kit/SettingsWindow.h"

// The licence layer's overlay. This build allows every use, so it only says so; its close
// button hides it and sends "CLOSE_AUTHORISATION_WINDOW".
class AuthorisationWindow : public bws::SettingsWindow,
                            private juce::Button::Listener
{
public:
    AuthorisationWindow();
    ~AuthorisationWindow() override;

    static constexpr const char* heading = "AUTHORISATION";
    static constexpr const char* statusText = "This copy of ORVANE needs no authorisation.";

    bws::XButton& getCloseButton() noexcept { return xButton; }
    const juce::Label& getHeading() const noexcept { return headingLabel; }
    void resized() override;

private:
    void buttonClicked (juce::Button*) override;

    juce::Label headingLabel, statusLabel;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (AuthorisationWindow)
};
