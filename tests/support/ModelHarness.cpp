#include "support/ModelHarness.h"

namespace testaudio
{
void ensureMessageThread()
{
    juce::MessageManager::getInstance()->setCurrentThreadAsMessageThread();
}

MessageLog::MessageLog (juce::ActionBroadcaster& source) : broadcaster (source)
{
    ensureMessageThread();
    broadcaster.addActionListener (this);
}

MessageLog::~MessageLog() { broadcaster.removeActionListener (this); }

void MessageLog::actionListenerCallback (const juce::String& message)
{
    messages.push_back (message);
    arrivalMs.push_back (juce::Time::currentTimeMillis());
}

bool MessageLog::pumpUntil (const std::function<bool()>& done, int timeoutMs)
{
    const auto end = juce::Time::currentTimeMillis() + timeoutMs;
    while (! done())
    {
        if (juce::Time::currentTimeMillis() > end)
            return false;
        juce::MessageManager::getInstance()->runDispatchLoopUntil (5);
    }
    return true;
}

bool MessageLog::waitFor (const juce::String& prefix, int wanted, int timeoutMs)
{
    return pumpUntil ([&] { return count (prefix) >= wanted; }, timeoutMs);
}

int MessageLog::count (const juce::String& prefix) const
{
    int n = 0;
    for (auto& m : messages)
        if (m.startsWith (prefix))
            ++n;
    return n;
}

int MessageLog::indexOf (const juce::String& prefix, int from) const
{
    for (int i = from; i < (int) messages.size(); ++i)
        if (messages[(size_t) i].startsWith (prefix))
            return i;
    return -1;
}

juce::int64 idOfLoadMessage (const juce::String& message, const juce::String& prefix)
{
    return message.substring (prefix.length() + 1).getLargeIntValue();
}
} // namespace testaudio
