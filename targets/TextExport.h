#pragma once

#include <juce_core/juce_core.h>

#include <vector>

// The text report of all loaded tracks: readouts and feedback as plain text, written as
// UTF-16LE with a byte-order mark.
namespace textexport
{
// Values of the textOutputType setting.
enum OutputType
{
    readoutsAndFeedback = 0,
    readoutsOnly = 1,
    feedbackOnly = 2
};

inline constexpr const char* savedMessage = "File saved to Desktop";
constexpr int savedMessageCountdown = 90;
constexpr int outputBufferSize = 16384;

// One track's part of the report, in display order.
struct Entry
{
    juce::String name;
    juce::String readoutText;   // plain text of the readout list
    juce::String feedbackText;  // plain text of the feedback
};

// The text of one track: name, line end, the chosen texts, line end. An unknown type writes
// the name and the line ends alone.
juce::String entryText (const Entry& entry, int textOutputType);

// The whole report with every "\n" turned into "\r\n" (so the CR LF written per track comes
// out as CR CR LF).
juce::String buildReportText (const std::vector<Entry>& entries, int textOutputType);

// 0xFF 0xFE, then one little-endian 16-bit unit per character: code points beyond the basic
// plane are cut to their low 16 bits, no surrogate pairs.
juce::MemoryBlock encodeUtf16 (const juce::String& text);

// "H-M-S" from local time, no zero padding; seconds are the whole seconds since 1970 mod 60.
juce::String timeStamp (juce::Time time);

// "orvane-readings_<preset name>_<stamp>.txt". The name isn't cleaned: a "/" in it makes a
// further folder.
juce::String reportFileName (const juce::String& presetName, juce::Time time);

juce::File defaultFolder();

// Writes the report and gives the file it aimed at; `written` tells whether the stream
// opened. The caller shows savedMessage whatever happened.
struct Result
{
    juce::File file;
    bool written = false;
};
Result writeReport (const std::vector<Entry>& entries, int textOutputType, const juce::String& presetName,
                    const juce::File& folder = defaultFolder(), juce::Time time = juce::Time::getCurrentTime());
} // namespace textexport
