#include "display/OrvaneHelpWindow.h"

#include "app/Addresses.h"
#include "app/AppInfo.h"
#include "app/Messages.h"

namespace
{
bws::HelpWindow::Contents helpContents()
{
    bws::HelpWindow::Contents contents;
    contents.heading = OrvaneHelpWindow::heading;
    contents.links = { { "Walkthrough Video & User Manual", juce::URL (addresses::manual) },
                       { "Reset License instructions", juce::URL (addresses::resetLicence) },
                       { "Help Centre", juce::URL (addresses::helpCentre) } };
    contents.support = { "Support", juce::URL (addresses::support) };
    contents.versionLine = OrvaneHelpWindow::versionLine();
    contents.update = { OrvaneHelpWindow::updateText, juce::URL (addresses::download) };
    contents.upToDateText = OrvaneHelpWindow::upToDateText;
    contents.closeMessage = messages::closeHelpWindow;
    return contents;
}
} // namespace

OrvaneHelpWindow::OrvaneHelpWindow (bool updateAvailable)
    : HelpWindow (helpContents(), updateAvailable)
{
}

juce::String OrvaneHelpWindow::versionLine()
{
    return juce::String ("This is ") + appinfo::name + " version " + appinfo::version + " : build " + __DATE__;
}
