#include "targets/SessionFile.h"

#include "targets/FileReplace.h"
#include "targets/XmlBinaryWrapper.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace sessionfile
{
namespace
{
constexpr const char* referencePrefix = "userPreset-";

bool hasTag (const juce::XmlElement& element, const char* tag)
{
    return element.getTagName() == tag;  // exact, with case
}

juce::String flag (bool value)
{
    return value ? "1" : "0";
}

juce::String bandKey (const char* list, int band)
{
    return juce::String (referencePrefix) + list + juce::String (band);
}

void writeReference (juce::XmlElement& e, const SessionReference& r)
{
    e.setAttribute ("userPreset-trackName", r.trackName);
    e.setAttribute ("userPreset-integratedLUFSOverall", formatGeneral (r.integratedLUFSOverall));
    for (int band = 0; band < sessionBandCount; ++band)
    {
        const auto i = (size_t) band;
        e.setAttribute (bandKey ("multiFrequencyIntegratedLUFS", band), formatGeneral (r.multiFrequencyIntegratedLUFS[i]));
        e.setAttribute (bandKey ("midMultiFrequencyIntegratedLUFS", band), formatGeneral (r.midMultiFrequencyIntegratedLUFS[i]));
        e.setAttribute (bandKey ("sideMultiFrequencyIntegratedLUFS", band), formatGeneral (r.sideMultiFrequencyIntegratedLUFS[i]));
    }
}

float floatAttribute (const juce::XmlElement& e, const juce::String& name)
{
    return (float) e.getDoubleAttribute (name, 0.0);
}

SessionReference readReference (const juce::XmlElement& e)
{
    SessionReference r;
    r.trackName = e.getStringAttribute ("userPreset-trackName");
    r.integratedLUFSOverall = floatAttribute (e, "userPreset-integratedLUFSOverall");
    for (int band = 0; band < sessionBandCount; ++band)
    {
        const auto i = (size_t) band;
        r.multiFrequencyIntegratedLUFS[i] = floatAttribute (e, bandKey ("multiFrequencyIntegratedLUFS", band));
        r.midMultiFrequencyIntegratedLUFS[i] = floatAttribute (e, bandKey ("midMultiFrequencyIntegratedLUFS", band));
        r.sideMultiFrequencyIntegratedLUFS[i] = floatAttribute (e, bandKey ("sideMultiFrequencyIntegratedLUFS", band));
    }
    return r;
}

SessionDefaults readDefaults (const juce::XmlElement& e)
{
    SessionDefaults d;
    d.currentPresetID = e.getIntAttribute ("currentPresetID", 0);
    d.lastAccessedTrackDirectory = e.getStringAttribute ("lastAccessedTrackDirectory");
    d.lastAccessedReferenceTrackDirectory = e.getStringAttribute ("lastAccessedReferenceTrackDirectory");
    d.lastAccessedSaveSessionDirectory = e.getStringAttribute ("lastAccessedSaveSessionDirectory");
    d.mainWindowX = e.getIntAttribute ("mainWindowX", 0);
    d.mainWindowY = e.getIntAttribute ("mainWindowY", 0);
    d.mainWindowWidth = e.getIntAttribute ("mainWindowWidth", 1000);
    d.mainWindowHeight = e.getIntAttribute ("mainWindowHeight", 800);
    d.fullScreen = e.getBoolAttribute ("fullScreen", false);
    d.eqWindowHidden = e.getBoolAttribute ("eqWindowHidden", true);
    d.eqWindowHeight = e.getIntAttribute ("eqWindowHeight", 0);
    d.currentEQPresetID = e.getIntAttribute ("currentEQPresetID", 0);
    d.userPresetSet = e.getBoolAttribute ("userPresetSet", false);
    if (d.userPresetSet)
        d.reference = readReference (e);
    return d;
}

int lastSeparator (const juce::String& path)
{
    return juce::jmax (path.lastIndexOfChar ('\\'), path.lastIndexOfChar ('/'));
}
} // namespace

juce::String formatGeneral (float value)
{
    char buffer[64];
    std::snprintf (buffer, sizeof (buffer), "%g", (double) value);
    return juce::String (buffer);
}

std::unique_ptr<juce::XmlElement> createDocument (const SessionDocument& session)
{
    auto root = std::make_unique<juce::XmlElement> (rootTag);
    const auto& d = session.defaults;

    auto* e = root->createNewChildElement ("default");
    e->setAttribute ("currentPresetID", d.currentPresetID);
    e->setAttribute ("lastAccessedTrackDirectory", d.lastAccessedTrackDirectory);
    e->setAttribute ("lastAccessedReferenceTrackDirectory", d.lastAccessedReferenceTrackDirectory);
    e->setAttribute ("lastAccessedSaveSessionDirectory", d.lastAccessedSaveSessionDirectory);
    e->setAttribute ("mainWindowX", d.mainWindowX);
    e->setAttribute ("mainWindowY", d.mainWindowY);
    e->setAttribute ("mainWindowWidth", d.mainWindowWidth);
    e->setAttribute ("mainWindowHeight", d.mainWindowHeight);
    e->setAttribute ("fullScreen", flag (d.fullScreen));
    e->setAttribute ("eqWindowHidden", flag (d.eqWindowHidden));
    e->setAttribute ("eqWindowHeight", d.eqWindowHeight);
    e->setAttribute ("currentEQPresetID", d.currentEQPresetID);
    e->setAttribute ("userPresetSet", flag (d.userPresetSet));
    if (d.userPresetSet)
        writeReference (*e, d.reference);

    auto* list = root->createNewChildElement ("trackList");
    for (const auto& track : session.tracks)
    {
        auto* t = list->createNewChildElement ("track");
        t->setAttribute ("id", juce::String (track.id));
        t->setAttribute ("filepath", track.filepath);
    }
    return root;
}

juce::String encode (const SessionDocument& session)
{
    return xmlwrap::wrap (*createDocument (session)).toBase64Encoding();
}

bool write (const juce::File& file, const SessionDocument& session)
{
    const auto text = encode (session).replace ("\r\n", "\n").replace ("\n", "\r\n");
    const char* bytes = text.toRawUTF8();
    return filereplace::createAndReplace (file, bytes, std::strlen (bytes));
}

bool decodeBase64 (const juce::String& encoded, juce::MemoryBlock& block)
{
    // The decoding table of the form, indexed by character - 43 ('+' to 'z'). Characters
    // inside that span but outside the alphabet still take a six-bit slot, as zeros.
    static constexpr signed char table[] = {
        63, 0,  0,  0,  0,  53, 54, 55, 56, 57, 58, 59, 60, 61, 62, 0,  0,  0,  0,  0,
        0,  0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18,
        19, 20, 21, 22, 23, 24, 25, 26, 0,  0,  0,  0,  0,  0,  27, 28, 29, 30, 31, 32,
        33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52
    };
    static_assert (sizeof (table) == 80);

    const auto text = xmlwrap::validUtf8 (encoded);
    const int dot = text.indexOfChar ('.');
    if (dot < 0)
        return false;

    // A negative size in front becomes a huge unsigned one, which the text can never fill.
    const auto declared = (size_t) text.substring (0, dot).getIntValue();

    std::vector<uint8_t> sextets;
    for (auto p = text.getCharPointer() + dot + 1; ! p.isEmpty();)
    {
        const auto c = (int) p.getAndAdvance() - 43;
        if (c >= 0 && c < (int) sizeof (table))
            sextets.push_back ((uint8_t) table[c]);
    }

    const size_t supplied = (sextets.size() * 6 + 7) / 8;
    const size_t size = std::min (declared, supplied);
    block.reset();
    block.setSize (size, true);  // zeros

    auto* bytes = static_cast<uint8_t*> (block.getData());
    size_t bit = 0;
    for (auto value : sextets)
    {
        // Six bits, least significant first, from bit position `bit` on.
        for (int b = 0; b < 6; ++b, ++bit)
            if ((bit >> 3) < size && ((value >> b) & 1) != 0)
                bytes[bit >> 3] = (uint8_t) (bytes[bit >> 3] | (1u << (bit & 7)));
    }
    return true;
}

std::unique_ptr<juce::XmlElement> decode (const juce::String& text)
{
    juce::MemoryBlock block;
    if (! decodeBase64 (text, block))
        return {};
    return xmlwrap::unwrap (block);
}

std::optional<SessionContents> readDocument (const juce::XmlElement* root)
{
    if (root == nullptr || ! hasTag (*root, rootTag))
        return std::nullopt;

    SessionContents contents;
    for (auto* child : root->getChildIterator())
    {
        if (hasTag (*child, "trackList"))
        {
            SessionPart part;
            part.kind = SessionPart::Kind::trackList;
            // Every child counts, whatever its tag; text nodes have no attributes and give "".
            for (auto* track : child->getChildIterator())
                part.filePaths.add (track->getStringAttribute ("filepath"));
            contents.push_back (std::move (part));
        }
        else if (hasTag (*child, "default"))
        {
            SessionPart part;
            part.kind = SessionPart::Kind::defaults;
            part.defaults = readDefaults (*child);
            contents.push_back (std::move (part));
        }
    }
    return contents;
}

std::optional<SessionContents> readText (const juce::String& text)
{
    const auto document = decode (text);
    return readDocument (document.get());
}

std::optional<SessionContents> readBytes (const void* data, size_t size)
{
    juce::MemoryInputStream in (data, size, false);
    return readText (in.readEntireStreamAsString());
}

std::optional<SessionContents> readFile (const juce::File& file)
{
    if (! file.existsAsFile())
        return std::nullopt;
    return readText (file.loadFileAsString());
}

bool hasSessionExtension (const juce::String& path)
{
    const int point = path.lastIndexOfChar ('.');
    if (point < 0 || point < lastSeparator (path))
        return false;
    return path.substring (point) == extension;
}

int findSessionPath (const juce::StringArray& paths)
{
    for (int i = 0; i < paths.size(); ++i)
        if (hasSessionExtension (paths[i]))
            return i;
    return -1;
}

juce::String sessionName (const juce::String& path)
{
    return path.substring (lastSeparator (path) + 1);
}
} // namespace sessionfile
