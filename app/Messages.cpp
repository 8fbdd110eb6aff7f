#include "app/Messages.h"

namespace messages
{
namespace
{
juce::String payloadOf (const juce::String& message, const char* prefix)
{
    return message.substring (juce::String (prefix).length());
}

// The character at a position of the payload, or 0 past its end.
juce::juce_wchar charAt (const juce::String& payload, int position)
{
    return position < payload.length() ? payload[position] : 0;
}

bool isNonZero (juce::juce_wchar c)
{
    return c != 0 && c != '0';
}
} // namespace

bool hasPrefix (const juce::String& message, const char* prefix)
{
    return message.startsWith (prefix);
}

bool isKeyword (const juce::String& message, const char* keyword)
{
    return message == keyword;
}

std::optional<LoadMessage> parseLoadMessage (const juce::String& message, const char* prefix)
{
    if (! hasPrefix (message, prefix))
        return std::nullopt;

    const auto payload = payloadOf (message, prefix);
    LoadMessage load;
    load.reference = charAt (payload, 0) == '1';
    // The id is read from where the flag stands: "0" + id is the id itself.
    load.trackId = payload.getLargeIntValue();
    return load;
}

std::optional<int64_t> displayTrackId (const juce::String& message, const char* prefix)
{
    const auto load = parseLoadMessage (message, prefix);
    if (! load.has_value() || load->reference || load->trackId < 1)
        return std::nullopt;
    return load->trackId;
}

int64_t trackIdAfter (const juce::String& message, const char* prefix)
{
    if (! hasPrefix (message, prefix))
        return 0;
    const auto id = payloadOf (message, prefix).getLargeIntValue();
    return id > 0 ? id : 0;
}

std::optional<MainButtonClick> parseMainButton (const juce::String& message)
{
    if (! hasPrefix (message, mainButton))
        return std::nullopt;

    const auto payload = payloadOf (message, mainButton);
    MainButtonClick click;
    click.modifier = isNonZero (charAt (payload, 0));
    click.position2Set = isNonZero (charAt (payload, 2));
    click.kindText = payload.substring (4);
    click.kind = click.kindText.getIntValue();
    return click;
}

juce::String mainButtonBodyMessage (bool modifier, int mainKind)
{
    return juce::String (mainButton) + (modifier ? "1~" : "0~") + juce::String (mainKind);
}

juce::String mainButtonLineMessage (bool modifier, bool lineSelected, int kind)
{
    return juce::String (mainButton) + (modifier ? "1~" : "0~") + (lineSelected ? "1" : "0") + "~"
           + juce::String (kind);
}

juce::String selectAllMessage (const juce::String& kindText, int64_t trackId)
{
    return juce::String (selectAll) + kindText + "~" + juce::String (trackId);
}

std::optional<int> parseSelectAllKind (const juce::String& message)
{
    if (! hasPrefix (message, selectAll))
        return std::nullopt;
    return payloadOf (message, selectAll).upToFirstOccurrenceOf ("~", false, false).getIntValue();
}

std::optional<int> rowAfter (const juce::String& message, const char* keyword)
{
    if (! hasPrefix (message, keyword))
        return std::nullopt;
    const auto rest = payloadOf (message, keyword);
    if (rest.isEmpty() || ! (rest.containsOnly ("-0123456789")))
        return std::nullopt;
    return rest.getIntValue();
}

juce::String windowTitle (const juce::String& applicationName, const juce::String& sessionName)
{
    return applicationName + " - " + sessionName;
}
} // namespace messages
