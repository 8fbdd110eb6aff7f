#include "analysis/FFmpegLibrary.h"

#include <juce_core/juce_core.h>

#include <array>
#include <mutex>

namespace ffmpeg
{
namespace
{
// The file name of a library whose interface has the given major version, as the platform
// spells it.
juce::String fileName (const char* base, int major)
{
#if JUCE_WINDOWS
    return juce::String (base) + "-" + juce::String (major) + ".dll";
#elif JUCE_MAC
    return "lib" + juce::String (base) + "." + juce::String (major) + ".dylib";
#else
    return "lib" + juce::String (base) + ".so." + juce::String (major);
#endif
}

struct Loaded
{
    // Dependencies first; each stays open for the life of the process.
    std::array<juce::DynamicLibrary, 3> handles;
    Library functions;
    bool complete = false;

    Loaded()
    {
        const std::array<juce::String, 3> names { fileName ("avutil", LIBAVUTIL_VERSION_MAJOR),
                                                  fileName ("swresample", LIBSWRESAMPLE_VERSION_MAJOR),
                                                  fileName ("avcodec", LIBAVCODEC_VERSION_MAJOR) };
        for (size_t i = 0; i < names.size(); ++i)
            if (! handles[i].open (names[i]))
                return;

        auto find = [this] (const char* name) -> void*
        {
            for (auto& handle : handles)
                if (void* f = handle.getFunction (name))
                    return f;
            return nullptr;
        };
        complete = true;
#define ORVANE_FFMPEG_FIND(name)                                                                       \
    functions.name = reinterpret_cast<decltype (functions.name)> (find (#name));                       \
    complete = complete && functions.name != nullptr;
        ORVANE_FFMPEG_FUNCTIONS (ORVANE_FFMPEG_FIND)
#undef ORVANE_FFMPEG_FIND
    }
};

// libavformat while it is held; closed with the last holder.
struct LoadedFormats : FormatLibrary
{
    juce::DynamicLibrary handle;
    bool complete = false;

    LoadedFormats()
    {
        if (! handle.open (fileName ("avformat", LIBAVFORMAT_VERSION_MAJOR)))
            return;
        complete = true;
#define ORVANE_FFMPEG_FIND(name)                                                                       \
    name = reinterpret_cast<decltype (name)> (handle.getFunction (#name));                             \
    complete = complete && name != nullptr;
        ORVANE_FFMPEG_FORMAT_FUNCTIONS (ORVANE_FFMPEG_FIND)
#undef ORVANE_FFMPEG_FIND
    }
};
} // namespace

const Library* library()
{
    static const Loaded loaded;
    return loaded.complete ? &loaded.functions : nullptr;
}

std::jthread loadInBackground()
{
    return std::jthread ([] { library(); });
}

std::shared_ptr<const FormatLibrary> formatLibrary()
{
    if (library() == nullptr)
        return {};
    static std::mutex lock;
    static std::weak_ptr<const FormatLibrary> held;
    const std::lock_guard<std::mutex> guard (lock);
    if (auto existing = held.lock())
        return existing;
    auto loaded = std::make_shared<const LoadedFormats>();
    if (! loaded->complete)
        return {};
    held = loaded;
    return loaded;
}
} // namespace ffmpeg
