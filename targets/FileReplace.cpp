#include "targets/FileReplace.h"

namespace filereplace
{
bool createAndReplace (const juce::File& target, const void* data, size_t size)
{
    if (target.getFullPathName().isEmpty())
        return false;

    if (! target.exists())
        (void) target.create();
    if (! target.existsAsFile())
        return false;

    juce::TemporaryFile temporary (target, juce::TemporaryFile::useHiddenFile);
    const auto& temporaryFile = temporary.getFile();
    {
        juce::FileOutputStream out (temporaryFile);
        if (! out.openedOk() || out.getPosition() != 0)
            return false;
        if (size > 0 && ! out.write (data, size))
            return false;
        out.flush();
        if (out.getStatus().failed())
            return false;
    }
    // A short write inside the stream's buffer is not always reported, so the size decides.
    if (temporaryFile.getSize() != (juce::int64) size)
        return false;

    // One rename; the temporary file is removed by its owner if this fails.
    return temporaryFile.replaceFileIn (target);
}
} // namespace filereplace
