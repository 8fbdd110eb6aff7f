#pragma once

#include "kit/BrenwickSoundLogo.h"

#include <juce_core/juce_core.h>

// Every address the program reads from or sends the user to. The two notice addresses can be
// pointed elsewhere by ORVANE_VERSION_URL and ORVANE_NEW_PRODUCT_URL (a local server in tests).
namespace addresses
{
// Answers with the newest version as text, such as "2.0.7".
inline constexpr const char* version = "https://www.brenwicksound.com/orvane/version.txt";
// Answers "True" while a new product is announced.
inline constexpr const char* newProduct = "https://www.brenwicksound.com/orvane/newproduct.txt";
inline constexpr const char* versionVariable = "ORVANE_VERSION_URL";
inline constexpr const char* newProductVariable = "ORVANE_NEW_PRODUCT_URL";

// The maker's site, which the logo links to.
inline constexpr const char* site = bws::BrenwickSoundLogo::makerAddress;
// Where the newest installer is.
inline constexpr const char* download = "https://www.brenwicksound.com/orvane/download";

// The help window's links.
inline constexpr const char* manual = "https://www.brenwicksound.com/orvane/manual";
inline constexpr const char* resetLicence = "https://www.brenwicksound.com/orvane/reset-license";
inline constexpr const char* helpCentre = "https://www.brenwicksound.com/help";
inline constexpr const char* support = "https://www.brenwicksound.com/support";

// The address, or the environment's replacement for it when that is set and not empty.
inline juce::String fromEnvironment (const char* variable, const char* fallback)
{
    const auto value = juce::SystemStats::getEnvironmentVariable (variable, {}).trim();
    return value.isNotEmpty() ? value : juce::String (fallback);
}

inline juce::String versionAddress() { return fromEnvironment (versionVariable, version); }
inline juce::String newProductAddress() { return fromEnvironment (newProductVariable, newProduct); }
} // namespace addresses
