// The binary wrapper of both persisted files, held against JUCE's own
// AudioProcessor::copyXmlToBinary / getXmlFromBinary.

#include "targets/XmlBinaryWrapper.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

namespace
{
std::unique_ptr<juce::XmlElement> sampleDocument()
{
    auto root = std::make_unique<juce::XmlElement> ("ROOT");
    auto* child = root->createNewChildElement ("child");
    child->setAttribute ("name", juce::String (juce::CharPointer_UTF8 ("Gr\xc3\xbc\xc3\x9f \xe2\x82\xac <&> \"q\"")));
    child->setAttribute ("value", 0.3);
    root->createNewChildElement ("empty");
    return root;
}

std::unique_ptr<juce::XmlElement> asciiDocument()
{
    auto root = std::make_unique<juce::XmlElement> ("THRESHOLD-PRESET");
    for (int i = 0; i < 3; ++i)
        root->createNewChildElement ("preset")->setAttribute ("presetId", i);
    return root;
}

juce::MemoryBlock juceWrap (const juce::XmlElement& xml)
{
    juce::MemoryBlock block;
    juce::AudioProcessor::copyXmlToBinary (xml, block);
    return block;
}

uint32_t le32 (const juce::MemoryBlock& b, size_t offset)
{
    const auto* p = static_cast<const uint8_t*> (b.getData()) + offset;
    return (uint32_t) p[0] | ((uint32_t) p[1] << 8) | ((uint32_t) p[2] << 16) | ((uint32_t) p[3] << 24);
}

void setLe32 (juce::MemoryBlock& b, size_t offset, uint32_t value)
{
    for (size_t i = 0; i < 4; ++i)
        b[(int) (offset + i)] = (char) (uint8_t) (value >> (8 * i));
}

// Both readers give a document or both give none, and equal documents.
void expectSameAsJuce (const juce::MemoryBlock& block, const char* what)
{
    auto ours = xmlwrap::unwrap (block);
    auto theirs = juce::AudioProcessor::getXmlFromBinary (block.getData(), (int) block.getSize());
    ASSERT_EQ (ours == nullptr, theirs == nullptr) << what;
    if (ours != nullptr)
        EXPECT_TRUE (ours->isEquivalentTo (theirs.get(), false)) << what;
}
} // namespace

TEST (XmlBinaryWrapper, LayoutIsMagicLengthOneLineTextAndZero)
{
    const auto doc = sampleDocument();
    const auto block = xmlwrap::wrap (*doc);
    const auto* bytes = static_cast<const uint8_t*> (block.getData());

    ASSERT_GT (block.getSize(), 9u);
    EXPECT_EQ (bytes[0], 0x56);
    EXPECT_EQ (bytes[1], 0x43);
    EXPECT_EQ (bytes[2], 0x32);
    EXPECT_EQ (bytes[3], 0x21);
    EXPECT_EQ (le32 (block, 4), block.getSize() - 9);
    EXPECT_EQ (bytes[block.getSize() - 1], 0);

    const juce::String text = juce::String::fromUTF8 ((const char*) bytes + 8, (int) block.getSize() - 9);
    EXPECT_TRUE (text.startsWith ("<?xml version=\"1.0\" encoding=\"UTF-8\"?> <ROOT>"));
    EXPECT_FALSE (text.containsAnyOf ("\r\n"));
    EXPECT_EQ ((size_t) text.getNumBytesAsUTF8(), block.getSize() - 9);
    EXPECT_EQ (std::memchr (bytes + 8, 0, block.getSize() - 9), nullptr);

    // Byte for byte what the toolkit writes.
    EXPECT_EQ (block, juceWrap (*doc));
}

TEST (XmlBinaryWrapper, EachSideReadsTheOther)
{
    for (const auto& doc : { sampleDocument(), asciiDocument() })
    {
        const auto ours = xmlwrap::wrap (*doc);
        auto readByJuce = juce::AudioProcessor::getXmlFromBinary (ours.getData(), (int) ours.getSize());
        ASSERT_NE (readByJuce, nullptr);
        EXPECT_TRUE (readByJuce->isEquivalentTo (doc.get(), false));

        const auto theirs = juceWrap (*doc);
        auto readByUs = xmlwrap::unwrap (theirs);
        ASSERT_NE (readByUs, nullptr);
        EXPECT_TRUE (readByUs->isEquivalentTo (doc.get(), false));
    }
}

TEST (XmlBinaryWrapper, MixedContentIsWrittenWithoutItsText)
{
    // An element right after text, with children of its own: the toolkit's one-line writer
    // would stream a null line break here.
    auto doc = juce::parseXML ("<DEVICESETUP>text<a><b/></a>tail<c x=\"1\"/></DEVICESETUP>");
    ASSERT_NE (doc, nullptr);
    const auto back = xmlwrap::unwrap (xmlwrap::wrap (*doc));
    ASSERT_NE (back, nullptr);
    EXPECT_EQ (back->toString (juce::XmlElement::TextFormat().singleLine().withoutHeader()),
               "<DEVICESETUP><a><b/></a><c x=\"1\"/></DEVICESETUP>");

    // Text alone is kept.
    auto text = juce::parseXML ("<r><a>only text</a></r>");
    EXPECT_EQ (xmlwrap::wrap (*text), juceWrap (*text));
}

TEST (XmlBinaryWrapper, DamagedBlocksAreJudgedAsTheToolkitJudgesThem)
{
    const auto good = xmlwrap::wrap (*asciiDocument());

    for (size_t n = 0; n <= good.getSize(); ++n)
    {
        juce::MemoryBlock cut (good.getData(), n);
        expectSameAsJuce (cut, ("truncated to " + juce::String ((int) n)).toRawUTF8());
    }

    const uint32_t lengths[] = { 0, 1, 20, (uint32_t) good.getSize() - 10, (uint32_t) good.getSize() - 9,
                                 (uint32_t) good.getSize() + 100, 0x7fffffff, 0x80000000u, 0xffffffffu };
    for (auto length : lengths)
    {
        auto changed = good;
        setLe32 (changed, 4, length);
        expectSameAsJuce (changed, ("length " + juce::String (length)).toRawUTF8());
    }
    auto zero = good;
    setLe32 (zero, 4, 0);
    EXPECT_EQ (xmlwrap::unwrap (zero), nullptr);
    auto negative = good;
    setLe32 (negative, 4, 0x80000000u);
    EXPECT_EQ (xmlwrap::unwrap (negative), nullptr);

    auto foreign = good;
    foreign[0] = 0x57;
    EXPECT_EQ (xmlwrap::unwrap (foreign), nullptr);
    EXPECT_EQ (xmlwrap::unwrap (nullptr, 100), nullptr);
}

TEST (XmlBinaryWrapper, MalformedUtf8IsReadWithoutRunningOffTheText)
{
    // Lead bytes that promise more bytes than follow, at the very end of the text.
    const char* texts[] = { "<a b=\"\xf0\"/>", "<a>\xf7", "<a b=\"x\xe2\x82\"/>\xff", "\xc0\x80<a/>" };
    for (const char* t : texts)
    {
        juce::MemoryBlock block;
        juce::MemoryOutputStream out (block, false);
        out.writeInt ((int) xmlwrap::magic);
        out.writeInt ((int) std::strlen (t));
        out.write (t, std::strlen (t));  // no zero byte: the text runs to the end of the block
        out.flush();
        auto doc = xmlwrap::unwrap (block.getData(), block.getSize());
        if (doc != nullptr)
            EXPECT_TRUE (juce::CharPointer_UTF8::isValidString (doc->toString().toRawUTF8(), INT_MAX));
    }

    const char valid[] = "Gr\xc3\xbc\xc3\x9f \xe2\x82\xac";
    EXPECT_EQ (xmlwrap::validUtf8 (valid, sizeof (valid) - 1), juce::String (juce::CharPointer_UTF8 (valid)));
    const char invalid[] = "a\xf0\x9fz";
    const auto cleaned = xmlwrap::validUtf8 (invalid, sizeof (invalid) - 1);
    EXPECT_TRUE (juce::CharPointer_UTF8::isValidString (cleaned.toRawUTF8(), INT_MAX));
    EXPECT_TRUE (cleaned.startsWithChar ('a'));
    EXPECT_TRUE (cleaned.endsWithChar ('z'));
    // Long forms: a zero ends the text, other code points come back in their short form.
    EXPECT_EQ (xmlwrap::validUtf8 ("a\xc0\x80z", 4), "a");
    EXPECT_EQ (xmlwrap::validUtf8 ("\xc1\x81\xe0\x81\x82", 5), "AB");
}

TEST (XmlBinaryWrapper, ParsingIsBounded)
{
    auto nested = [] (int depth) {
        juce::String s;
        for (int i = 0; i < depth; ++i)
            s << "<a>";
        for (int i = 0; i < depth; ++i)
            s << "</a>";
        return s;
    };
    EXPECT_NE (xmlwrap::parseBounded (nested (xmlwrap::maxNestingDepth)), nullptr);
    EXPECT_EQ (xmlwrap::parseBounded (nested (xmlwrap::maxNestingDepth + 1)), nullptr);

    // A DTD's entities could expand without bound; our files never carry one.
    EXPECT_NE (juce::parseXML ("<!DOCTYPE r [<!ENTITY e \"x\">]><r a=\"&e;\"/>"), nullptr);
    EXPECT_EQ (xmlwrap::parseBounded ("<!DOCTYPE r [<!ENTITY e \"x\">]><r a=\"&e;\"/>"), nullptr);
    // The parser never returns from an instruction followed by text inside an element; only
    // the declaration in front is let through.
    EXPECT_EQ (xmlwrap::parseBounded ("<a><?x?>t</a>"), nullptr);
    EXPECT_EQ (xmlwrap::parseBounded ("<?xml version=\"1.0\"?> <a><?xml?>t</a>"), nullptr);
    EXPECT_NE (xmlwrap::parseBounded (" <?xml version=\"1.0\" encoding=\"UTF-8\"?> <a>t</a>"), nullptr);

    // An escaped one inside a value is just text.
    auto escaped = xmlwrap::parseBounded ("<r a=\"&lt;!DOCTYPE\"/>");
    ASSERT_NE (escaped, nullptr);
    EXPECT_EQ (escaped->getStringAttribute ("a"), "<!DOCTYPE");
}
