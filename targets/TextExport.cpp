#include "targets/TextExport.h"

namespace textexport
{
juce::String entryText (const Entry& entry, int textOutputType)
{
    juce::String text = entry.name + "\r\n";

    switch (textOutputType)
    {
        case readoutsAndFeedback: text += entry.readoutText + entry.feedbackText; break;
        case readoutsOnly:        text += entry.readoutText; break;
        case feedbackOnly:        text += entry.feedbackText; break;
        default:                  break;
    }

    return text + "\r\n";
}

juce::String buildReportText (const std::vector<Entry>& entries, int textOutputType)
{
    juce::String text;
    for (const auto& entry : entries)
        text += entryText (entry, textOutputType);

    // Runs over line ends that are already CR LF as well.
    return text.replace ("\n", "\r\n");
}

juce::MemoryBlock encodeUtf16 (const juce::String& text)
{
    juce::MemoryOutputStream out;
    out.writeByte ((char) 0xff);
    out.writeByte ((char) 0xfe);

    for (auto p = text.getCharPointer(); ! p.isEmpty();)
        out.writeShort ((short) (juce::uint16) (p.getAndAdvance() & 0xffff));

    return out.getMemoryBlock();
}

juce::String timeStamp (juce::Time time)
{
    const auto seconds = (int) ((time.toMilliseconds() / 1000) % 60);
    return juce::String (time.getHours()) + "-" + juce::String (time.getMinutes()) + "-" + juce::String (seconds);
}

juce::String reportFileName (const juce::String& presetName, juce::Time time)
{
    return "orvane-readings_" + presetName + "_" + timeStamp (time) + ".txt";
}

juce::File defaultFolder()
{
    return juce::File::getSpecialLocation (juce::File::userDesktopDirectory);
}

Result writeReport (const std::vector<Entry>& entries, int textOutputType, const juce::String& presetName,
                    const juce::File& folder, juce::Time time)
{
    // With no folder the name stands on its own, relative to where the program runs.
    const auto base = folder == juce::File() ? juce::File::getCurrentWorkingDirectory() : folder;

    Result result;
    result.file = base.getChildFile (reportFileName (presetName, time));

    const auto bytes = encodeUtf16 (buildReportText (entries, textOutputType));

    juce::FileOutputStream stream (result.file, outputBufferSize);
    if (stream.openedOk())
    {
        stream.write (bytes.getData(), bytes.getSize());
        stream.flush();
        result.written = stream.getStatus().wasOk();
    }

    return result;
}
} // namespace textexport
