#include "targets/XmlBinaryWrapper.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

namespace xmlwrap
{
namespace
{
void putLittleEndian32 (char* destination, uint32_t value) noexcept
{
    for (int i = 0; i < 4; ++i)
        destination[i] = (char) (uint8_t) (value >> (8 * i));
}

uint32_t getLittleEndian32 (const uint8_t* source) noexcept
{
    return (uint32_t) source[0] | ((uint32_t) source[1] << 8) | ((uint32_t) source[2] << 16)
         | ((uint32_t) source[3] << 24);
}

// The XML parser reads a DTD and expands the entities it declares, which lets a short text
// grow without bound; and it recurses once per nesting level. Neither of our files ever
// carries a DTD. Without one, every level of nesting needs a '<' of its own in the text that
// isn't followed by '/' (entities give at most one '<', which the parser doesn't descend
// into), so counting those bounds the depth.
// The parser also never finishes on a processing instruction inside an element that is
// followed by text ("<a><?x?>t</a>"): it skips the instruction as white space, finds text,
// steps back over the instruction and starts again. Our files hold no instruction but the
// declaration in front, so any other "<?" refuses the text.
// The text is looked at as the parser sees it: decoded, up to its first zero.
bool isSafeToParse (const juce::String& text) noexcept
{
    static const juce::String doctype ("<!DOCTYPE");
    const auto start = text.getCharPointer().findEndOfWhitespace();
    const bool declarationInFront = start.compareUpTo (juce::CharPointer_ASCII ("<?xml"), 5) == 0;

    int openings = 0;
    juce::juce_wchar previous = 0;
    auto previousPosition = start;
    for (auto p = text.getCharPointer(); ! p.isEmpty();)
    {
        const auto position = p;
        const auto c = p.getAndAdvance();
        if (previous == '<')
        {
            if (c == '?' && ! (declarationInFront && previousPosition == start))
                return false;
            if (c != '/' && ++openings > maxNestingDepth)
                return false;
        }
        previous = c;
        previousPosition = position;
    }
    if (previous == '<' && ++openings > maxNestingDepth)
        return false;
    return ! text.contains (doctype);
}

std::unique_ptr<juce::XmlElement> parseWellFormed (const juce::String& text)
{
    if (! isSafeToParse (text))
        return {};
    return juce::parseXML (text);
}

// Whether some element holds both text and elements. The toolkit writes an element that
// directly follows text as if lines were being indented, and on one line that means writing
// a null line break: it crashes as soon as such an element has children of its own or a
// long list of attributes. None of our documents hold mixed content; only a damaged file
// can bring it in (inside DEVICESETUP), and there the text goes.
bool hasMixedContent (const juce::XmlElement& e)
{
    bool text = false, elements = false;
    for (auto* child : e.getChildIterator())
    {
        if (child->isTextElement())
        {
            text = true;
        }
        else
        {
            elements = true;
            if (hasMixedContent (*child))
                return true;
        }
    }
    return text && elements;
}

void dropTextBesideElements (juce::XmlElement& e)
{
    bool elements = false;
    for (auto* child : e.getChildIterator())
        if (! child->isTextElement())
        {
            elements = true;
            dropTextBesideElements (*child);
        }
    if (elements)
        e.deleteAllTextElements();
}
} // namespace

juce::MemoryBlock wrap (const juce::XmlElement& original)
{
    std::unique_ptr<juce::XmlElement> cleaned;
    if (hasMixedContent (original))
    {
        cleaned = std::make_unique<juce::XmlElement> (original);
        dropTextBesideElements (*cleaned);
    }
    const auto& xml = cleaned != nullptr ? *cleaned : original;

    juce::MemoryBlock block;
    {
        juce::MemoryOutputStream out (block, false);
        out.writeInt ((int) magic);
        out.writeInt (0);
        xml.writeTo (out, juce::XmlElement::TextFormat().singleLine());
        out.writeByte (0);
    }
    putLittleEndian32 (static_cast<char*> (block.getData()) + 4, (uint32_t) (block.getSize() - 9));
    return block;
}

std::unique_ptr<juce::XmlElement> unwrap (const void* data, size_t size)
{
    if (data == nullptr || size <= headerSize)
        return {};

    const auto* bytes = static_cast<const uint8_t*> (data);
    if (getLittleEndian32 (bytes) != magic)
        return {};

    const auto length = (int32_t) getLittleEndian32 (bytes + 4);
    if (length <= 0)
        return {};

    const size_t textBytes = std::min ((size_t) length, size - headerSize);

    // A malformed UTF-8 sequence at the very end could make the decoder look a few bytes on,
    // so the text is decoded from a copy with zeros after it.
    std::vector<char> text (textBytes + 8, 0);
    std::memcpy (text.data(), bytes + headerSize, textBytes);

    return parseWellFormed (validUtf8 (text.data(), textBytes));
}

std::unique_ptr<juce::XmlElement> unwrap (const juce::MemoryBlock& block)
{
    return unwrap (block.getData(), block.getSize());
}

juce::String validUtf8 (const char* data, size_t size)
{
    if (data == nullptr)
        return {};

    size = strnlen (data, size);
    if (size == 0)
        return {};

    const char* const end = data + size;
    if (size <= (size_t) INT_MAX && std::all_of (data, end, [] (char c) { return (unsigned char) c < 0x80; }))
        return juce::String::fromUTF8 (data, (int) size);

    // Decoded and written again, so every sequence is in its shortest form: the toolkit's own
    // check lets "\xc0\x80" (a zero) through, and a string holding it is copied past its end.
    juce::MemoryOutputStream out (size + 8);
    juce::CharPointer_UTF8 p (data);
    while (p.getAddress() < end)
    {
        const auto c = p.getAndAdvance();  // stops at any byte that isn't a continuation
        if (c == 0)
            break;
        out.appendUTF8Char (c);
    }
    return out.toUTF8();
}

juce::String validUtf8 (const juce::String& text)
{
    const char* raw = text.toRawUTF8();
    return validUtf8 (raw, std::strlen (raw));
}

std::unique_ptr<juce::XmlElement> parseBounded (const juce::String& text)
{
    return parseWellFormed (validUtf8 (text));
}

} // namespace xmlwrap
