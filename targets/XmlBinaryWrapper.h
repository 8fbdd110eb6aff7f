#pragma once

#include <juce_core/juce_core.h>

#include <cstddef>
#include <cstdint>
#include <memory>

// The binary wrapper both persisted files use around their XML: a little-endian magic, a
// little-endian length (the block's size less 9), the document as UTF-8 text on one line
// with the standard declaration, and a zero byte. It is the layout that
// juce::AudioProcessor::copyXmlToBinary and getXmlFromBinary read and write, kept here so
// that the readers need nothing beyond juce_core.
namespace xmlwrap
{
constexpr uint32_t magic = 0x21324356;
constexpr size_t headerSize = 8;

// The document wrapped as above. An element holding both text and elements (only a damaged
// file can bring one in) loses its text: the toolkit's one-line writer crashes on some of
// those.
juce::MemoryBlock wrap (const juce::XmlElement& xml);

// The document inside a block, or null: fewer than 9 bytes, a wrong magic or a length
// under 1 (read as a signed 32-bit number) give none. The text taken is the smaller of
// the length and the size less 8 bytes. Never reads outside [data, data + size).
std::unique_ptr<juce::XmlElement> unwrap (const void* data, size_t size);
std::unique_ptr<juce::XmlElement> unwrap (const juce::MemoryBlock& block);

// Parses XML text, refusing what the toolkit's parser can't be trusted with: more than
// maxNestingDepth element openings (a '<' not followed by '/'; the parser recurses once per
// level), a DTD, or a processing instruction other than the declaration in front. Any of
// those gives no document. The text is first made well formed (validUtf8).
constexpr int maxNestingDepth = 1000;
std::unique_ptr<juce::XmlElement> parseBounded (const juce::String& text);

// The code points of UTF-8 bytes as a String in which every sequence is well formed and in
// its shortest form. JUCE copies UTF-8 into a String unchecked, and some of its string
// walking skips bytes by the lead byte alone, or copies by bytes what it counted by code
// points, which runs off the end of a malformed text. Decoding stops at a zero code point
// or at data + size; the bytes must be followed by a zero byte.
juce::String validUtf8 (const char* data, size_t size);
juce::String validUtf8 (const juce::String& text);

} // namespace xmlwrap
