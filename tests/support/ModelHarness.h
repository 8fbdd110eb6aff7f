#pragma once

#include "analysis/Model.h"

#include <juce_events/juce_events.h>

#include <functional>
#include <vector>

namespace testaudio
{
// Makes the calling thread the message thread, so action messages are delivered to it.
void ensureMessageThread();

// Collects the action messages a broadcaster sends, pumping the message loop while waiting.
class MessageLog : public juce::ActionListener
{
public:
    explicit MessageLog (juce::ActionBroadcaster& source);
    ~MessageLog() override;

    void actionListenerCallback (const juce::String& message) override;

    // Pumps messages until the predicate holds or the time runs out; true if it held.
    bool pumpUntil (const std::function<bool()>& done, int timeoutMs = 30000);
    // Pumps until a message starting with the prefix has arrived count times.
    bool waitFor (const juce::String& prefix, int count = 1, int timeoutMs = 30000);
    int count (const juce::String& prefix) const;
    // Index of the first message starting with the prefix, or -1.
    int indexOf (const juce::String& prefix, int from = 0) const;

    std::vector<juce::String> messages;
    std::vector<juce::int64> arrivalMs;

private:
    juce::ActionBroadcaster& broadcaster;
};

// Id carried by a load message (the character after the prefix is the reference flag).
juce::int64 idOfLoadMessage (const juce::String& message, const juce::String& prefix);
} // namespace testaudio
