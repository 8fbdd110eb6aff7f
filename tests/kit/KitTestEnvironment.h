#pragma once

#include <juce_gui_basics/juce_gui_basics.h>
#include <functional>

namespace kittest
{
    // Runs the message loop until the condition holds or the loop has run for a while.
    bool pumpMessagesUntil (const std::function<bool()>& condition);

    // Whether two colours are equal within a tolerance per channel (for anti-aliasing).
    bool near (juce::Colour a, juce::Colour b, int tolerance = 8);

    // Draws a component into a fresh transparent image of its size.
    juce::Image render (juce::Component& component);
}
