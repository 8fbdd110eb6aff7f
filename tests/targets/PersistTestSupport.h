#pragma once

#include <juce_core/juce_core.h>

#include <csignal>
#include <sys/resource.h>

namespace persisttest
{
// Caps the size any file of this process may grow to, so that writes fail even for root.
// SIGXFSZ is ignored meanwhile, so the failing write just returns an error.
class FileSizeLimit
{
public:
    explicit FileSizeLimit (rlim_t bytes)
    {
        getrlimit (RLIMIT_FSIZE, &saved);
        previousHandler = std::signal (SIGXFSZ, SIG_IGN);
        rlimit capped = saved;
        capped.rlim_cur = bytes;
        active = setrlimit (RLIMIT_FSIZE, &capped) == 0;
    }
    ~FileSizeLimit()
    {
        setrlimit (RLIMIT_FSIZE, &saved);
        std::signal (SIGXFSZ, previousHandler);
    }
    bool isActive() const { return active; }

private:
    rlimit saved {};
    void (*previousHandler) (int) = nullptr;
    bool active = false;
};

inline juce::MemoryBlock bytesOf (const juce::File& file)
{
    juce::MemoryBlock block;
    file.loadFileAsData (block);
    return block;
}

// Names of an element's attributes in the order they are held (and written).
inline juce::StringArray attributeNames (const juce::XmlElement& e)
{
    juce::StringArray names;
    for (int i = 0; i < e.getNumAttributes(); ++i)
        names.add (e.getAttributeName (i));
    return names;
}
} // namespace persisttest
