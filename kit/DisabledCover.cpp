#include "DisabledCover.h"

namespace bws
{
    DisabledCover::DisabledCover()
    {
        setInterceptsMouseClicks (true, true);
        setWantsKeyboardFocus (false);
    }

    void DisabledCover::paint (juce::Graphics& g)
    {
        g.fillAll (juce::Colour (shade));
    }

    void DisabledCover::parentSizeChanged()      { fillParent(); }
    void DisabledCover::parentHierarchyChanged() { fillParent(); }

    void DisabledCover::fillParent()
    {
        if (auto* parent = getParentComponent())
            setBounds (parent->getLocalBounds());
    }
}
