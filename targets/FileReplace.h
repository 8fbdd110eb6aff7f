#pragma once

#include <juce_core/juce_core.h>

#include <cstddef>

namespace filereplace
{
// Writes a file the way both persisted files are written. If the file isn't there it is
// created first, with its parent folders; a failure there is ignored. If it then exists, the
// data goes into a temporary file beside it, is checked to have landed whole, and the
// temporary file is renamed over the target. Returns false on any failure, and then the old
// file is left exactly as it was.
bool createAndReplace (const juce::File& target, const void* data, size_t size);
} // namespace filereplace
