// libFuzzer target: the whole session reader on arbitrary file contents. Beyond not crashing,
// whatever reads as a session must write and read back to the same text on a second round.

#include "targets/SessionFile.h"
#include "targets/XmlBinaryWrapper.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace
{
void require (bool condition, const char* what)
{
    if (! condition)
    {
        std::fprintf (stderr, "fuzz_session_reader: %s\n", what);
        std::abort();
    }
}

// One document of what the loader met: the last defaults, every path in order.
SessionDocument flatten (const SessionContents& contents)
{
    SessionDocument document;
    for (const auto& part : contents)
    {
        if (part.kind == SessionPart::Kind::defaults)
            document.defaults = part.defaults;
        else
            for (const auto& path : part.filePaths)
                document.tracks.push_back ({ (juce::int64) document.tracks.size(), path });
    }
    return document;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput (const uint8_t* data, size_t size)
{
    // The inner layer on its own, as if the bytes were an already decoded block.
    (void) xmlwrap::unwrap (data, size);

    // Paths reach these from the system, so they are well formed. The bytes go through a
    // stream as a file's do: the toolkit's conversion reads one byte past a lone byte-order
    // mark, which a stream's spare room absorbs.
    juce::MemoryInputStream in (data, size, false);
    const auto text = xmlwrap::validUtf8 (in.readEntireStreamAsString());
    (void) sessionfile::hasSessionExtension (text);
    (void) sessionfile::sessionName (text);

    const auto contents = sessionfile::readBytes (data, size);
    if (! contents.has_value())
        return 0;

    const auto written = sessionfile::encode (flatten (*contents));
    const auto again = sessionfile::readText (written);
    require (again.has_value(), "a written session does not read back");
    require (sessionfile::encode (flatten (*again)) == written, "a session changes on a second round");
    return 0;
}
