#include "display/AnalysisFeedbackWindow.h"

#include "kit/Palette.h"

namespace
{
constexpr juce::uint32 fillInRange = 0xff1d1e25;
constexpr juce::uint32 fillOutOfRange = 0xff2a1918;
} // namespace

AnalysisFeedbackWindow::AnalysisFeedbackWindow()
{
    setName ("AnalysisFeedbackWindow");
    setOpaque (false);
}

bool AnalysisFeedbackWindow::hitTest (int, int y)
{
    return y >= fillTop;
}

void AnalysisFeedbackWindow::setContent (int index, juce::AttributedString text, bool out)
{
    trackIndex = index;
    shownText = std::move (text);
    outOfRange = out;
    repaint();
}

void AnalysisFeedbackWindow::paint (juce::Graphics& g)
{
    const int w = getWidth();
    const int h = getHeight();
    g.setColour (juce::Colour (outOfRange ? fillOutOfRange : fillInRange));
    g.fillRect (5, fillTop, w - 10, h - 140);

    g.setColour (juce::Colour (outOfRange ? bws::Palette::problem : bws::Palette::accent));
    g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (5.0f), 10.0f, 2.0f);

    juce::TextLayout layout;
    layout.createLayout (shownText, (float) (w - 32));
    layout.draw (g, { 16.0f, (float) textTop, (float) (w - 32), (float) (h - 32) });
}
