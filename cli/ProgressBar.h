#pragma once

#include <juce_core/juce_core.h>

#include <ostream>

namespace orvane::cli
{
// A one-line bar on a terminal: "[2/5] NAME [#######.............]  35%". Redrawn only when
// what it shows changes; never moves backwards for the same file. Does nothing when disabled.
class ProgressBar
{
public:
    ProgressBar (std::ostream& out, bool enabled);
    ~ProgressBar();

    void show (int fileIndex, int fileCount, const juce::String& name, float fraction);
    // Erases the bar so that the next line starts clean.
    void clear();

    bool isEnabled() const { return enabled; }
    // The text of the bar for these figures, without any terminal control codes.
    static juce::String render (int fileIndex, int fileCount, const juce::String& name, float fraction);

private:
    std::ostream& out;
    bool enabled;
    bool drawn = false;
    int lastFile = -1;
    float highest = 0.0f;
    juce::String lastText;
};
} // namespace orvane::cli
