#include "cli/FileCheck.h"

#include <climits>

namespace orvane::cli
{
juce::String faultProblem (const audiofile::Fault& fault, double sampleRate)
{
    auto text = "is " + audiofile::describe (fault, sampleRate);
    if (fault.kind == audiofile::Fault::Kind::damaged)
        return text + " (the decoder refused the data there)";
    if (fault.promised <= fault.frame)
        return text + " (its stream stops without its end mark)";
    const audiofile::Fault whole { fault.kind, fault.promised };
    return text + " (its header promises " + audiofile::describe (whole, sampleRate).fromFirstOccurrenceOf ("at ", false, false)
           + ")";
}

juce::String findProblem (const juce::File& file, juce::AudioFormatManager& formats)
{
    if (auto notRegular = audiofile::notARegularFile (file); notRegular.isNotEmpty())
        return notRegular;
    {
        juce::FileInputStream probe (file);
        if (! probe.openedOk())
            return "cannot be read (" + probe.getStatus().getErrorMessage().trim() + ")";
    }
    if (file.getSize() == 0)
        return "is empty (0 bytes)";

    const auto opened = audiofile::open (file, formats);
    if (opened.reader == nullptr)
        return opened.problem;
    const auto& reader = *opened.reader;
    if (const auto fault = reader.fault())
        return faultProblem (*fault, reader.sampleRate);

    const juce::int64 frames = reader.lengthInSamples;
    if (frames > INT_MAX)
        return "is too long to analyse (" + juce::String (frames) + " sample frames)";
    if ((double) frames < reader.sampleRate)
        return "is shorter than one second (" + juce::String ((double) frames / reader.sampleRate, 2) + " s)";
    return {};
}
} // namespace orvane::cli
