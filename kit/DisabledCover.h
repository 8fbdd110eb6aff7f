#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace bws
{
    // Lies over the main controls while use isn't allowed: fills its parent, dims what is
    // under it and swallows every mouse event so nothing below can be clicked.
    class DisabledCover : public juce::Component
    {
    public:
        DisabledCover();

        void paint (juce::Graphics&) override;
        void parentSizeChanged() override;
        void parentHierarchyChanged() override;

        // Every mouse event stops here.
        void mouseDown (const juce::MouseEvent&) override {}
        void mouseUp (const juce::MouseEvent&) override {}
        void mouseDrag (const juce::MouseEvent&) override {}
        void mouseDoubleClick (const juce::MouseEvent&) override {}
        void mouseWheelMove (const juce::MouseEvent&, const juce::MouseWheelDetails&) override {}

        static constexpr juce::uint32 shade = 0xb2111111;

    private:
        void fillParent();

        JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DisabledCover)
    };
}
