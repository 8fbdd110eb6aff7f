#include "cli/ProgressBar.h"

#include <algorithm>
#include <cmath>

namespace orvane::cli
{
namespace
{
constexpr int barWidth = 30;
constexpr int longestName = 40;
} // namespace

ProgressBar::ProgressBar (std::ostream& o, bool shouldBeEnabled) : out (o), enabled (shouldBeEnabled) {}

ProgressBar::~ProgressBar() { clear(); }

juce::String ProgressBar::render (int fileIndex, int fileCount, const juce::String& name, float fraction)
{
    if (! std::isfinite (fraction))
        fraction = 0.0f;
    fraction = std::clamp (fraction, 0.0f, 1.0f);
    const int filled = (int) std::floor (fraction * barWidth);
    auto shownName = name.length() > longestName ? name.substring (0, longestName - 3) + "..." : name;
    return "[" + juce::String (fileIndex + 1) + "/" + juce::String (fileCount) + "] " + shownName + " ["
           + juce::String::repeatedString ("#", filled) + juce::String::repeatedString (".", barWidth - filled)
           + "] " + juce::String ((int) std::floor (fraction * 100.0f)).paddedLeft (' ', 3) + "%";
}

void ProgressBar::show (int fileIndex, int fileCount, const juce::String& name, float fraction)
{
    if (! enabled)
        return;
    if (fileIndex != lastFile)
    {
        lastFile = fileIndex;
        highest = 0.0f;
    }
    if (std::isfinite (fraction))
        highest = std::max (highest, fraction);

    auto text = render (fileIndex, fileCount, name, highest);
    if (drawn && text == lastText)
        return;
    lastText = text;
    out << "\r\x1b[2K" << text.toStdString() << std::flush;
    drawn = true;
}

void ProgressBar::clear()
{
    if (! enabled || ! drawn)
        return;
    out << "\r\x1b[2K" << std::flush;
    drawn = false;
    lastText = {};
}
} // namespace orvane::cli
