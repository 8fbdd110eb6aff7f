#pragma once

#include "kit/HelpWindow.h"

// The help overlay: links to the online help and support, the version and build, and either
// the link to the newest installer or word that this version is up to date.
class OrvaneHelpWindow : public bws::HelpWindow
{
public:
    explicit OrvaneHelpWindow (bool updateAvailable = false);

    static constexpr const char* heading = "Links to Online Help";
    static constexpr const char* updateText = "An update is available, click to download.";
    static constexpr const char* upToDateText = "This version is up to date.";

    // "This is ORVANE version 2.0.6 : build <date>".
    static juce::String versionLine();
};
