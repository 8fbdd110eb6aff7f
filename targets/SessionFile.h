#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

// A session records which files were open, which presets were selected, how the window
// stood and the reference analysis, if any. No readings: every file is analysed afresh.
//
// On disk the XML document is put in the settings file's binary wrapper, and that block is
// written as text by juce::MemoryBlock::toBase64Encoding (its own alphabet, not RFC 4648).
// Everything here is plain data and needs juce_core only; SessionModel.h joins it to the
// Model and hands what needs a window to the window code as data.

constexpr int sessionBandCount = 14;

// The reference analysis that EQ preset 62 holds.
struct SessionReference
{
    juce::String trackName;
    float integratedLUFSOverall = 0.0f;
    std::array<float, sessionBandCount> multiFrequencyIntegratedLUFS {};
    std::array<float, sessionBandCount> midMultiFrequencyIntegratedLUFS {};
    std::array<float, sessionBandCount> sideMultiFrequencyIntegratedLUFS {};

    bool operator== (const SessionReference&) const = default;
};

// The element `default`. The initial values are those a loader takes for absent attributes.
struct SessionDefaults
{
    int currentPresetID = 0;
    juce::String lastAccessedTrackDirectory;
    juce::String lastAccessedReferenceTrackDirectory;
    juce::String lastAccessedSaveSessionDirectory;
    int mainWindowX = 0;
    int mainWindowY = 0;
    int mainWindowWidth = 1000;
    int mainWindowHeight = 800;
    bool fullScreen = false;
    bool eqWindowHidden = true;
    int eqWindowHeight = 0;
    int currentEQPresetID = 0;
    bool userPresetSet = false;
    // Written and read only with userPresetSet.
    SessionReference reference;

    bool operator== (const SessionDefaults&) const = default;
};

struct SessionTrack
{
    juce::int64 id = 0;  // written, never read
    juce::String filepath;
};

// What a writer puts in a session.
struct SessionDocument
{
    SessionDefaults defaults;
    std::vector<SessionTrack> tracks;
};

// One child of the root, as the loader meets them in order.
struct SessionPart
{
    enum class Kind
    {
        defaults,
        trackList
    };

    Kind kind = Kind::defaults;
    SessionDefaults defaults;     // for Kind::defaults
    juce::StringArray filePaths;  // for Kind::trackList: every child's filepath, "" if absent
};

using SessionContents = std::vector<SessionPart>;

namespace sessionfile
{
inline constexpr const char* rootTag = "ORVANE_SESSION";
inline constexpr const char* extension = ".bws";
inline constexpr const char* wildcard = "*.bws";
inline constexpr const char* saveDialogTitle = "Save your ORVANE session...";
inline constexpr const char* savedText = "Session saved";
constexpr int savedCountdown = 60;
// Audio lists longer than this are refused whole; a session in the list is not held to it.
constexpr int maxAudioFilesPerList = 50;

// At most six significant digits and no trailing zeros: -12 for -12.0, 0.5 for 0.5.
juce::String formatGeneral (float value);

std::unique_ptr<juce::XmlElement> createDocument (const SessionDocument& session);
// The file's whole text: the wrapped document in JUCE's base-64 form.
juce::String encode (const SessionDocument& session);
// Creates the file if needed and replaces it through a temporary file, line breaks as
// "\r\n". False on failure; the old file is then left whole.
bool write (const juce::File& file, const SessionDocument& session);

// JUCE's base-64 form back to a block, exactly as juce::MemoryBlock::fromBase64Encoding
// decodes it, but without trusting the size in front: bytes the text doesn't supply are
// zeros and are never allocated. False when there is no '.'.
bool decodeBase64 (const juce::String& text, juce::MemoryBlock& block);

// Text to document: decode, unwrap. Null when any layer fails.
std::unique_ptr<juce::XmlElement> decode (const juce::String& text);

// The children of the root in order; nothing when there is no root or its tag isn't
// ORVANE_SESSION. Children with other tags are skipped.
std::optional<SessionContents> readDocument (const juce::XmlElement* root);
std::optional<SessionContents> readText (const juce::String& text);
// The bytes of a file, read as a string the way a file is (byte-order marks honoured).
std::optional<SessionContents> readBytes (const void* data, size_t size);
std::optional<SessionContents> readFile (const juce::File& file);

// The extension is the text from the last point, if that point comes after the last
// separator ('/' or '\\'); the test against ".bws" is exact, with case.
bool hasSessionExtension (const juce::String& path);
// The index of the first path that passes, or -1.
int findSessionPath (const juce::StringArray& paths);
// The part of the path after its last separator.
juce::String sessionName (const juce::String& path);
} // namespace sessionfile
