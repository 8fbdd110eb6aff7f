#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

// The advice in words for one strip, laid over the track list under that strip. Not opaque: the
// strip shows through the top, and the frame goes round both.
class AnalysisFeedbackWindow : public juce::Component
{
public:
    AnalysisFeedbackWindow();

    void setContent (int trackIndex, juce::AttributedString text, bool outOfRange);

    void paint (juce::Graphics&) override;
    // The open top lets clicks through to the strip under it.
    bool hitTest (int x, int y) override;
    void resized() override {}

    int trackIndex = -1;
    juce::AttributedString shownText;
    bool outOfRange = false;

    static constexpr int textTop = 150;
    static constexpr int fillTop = 145;
};
