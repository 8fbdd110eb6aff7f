// Writes the seed files of the fuzz corpus: fuzz_seeds <session folder> <settings folder>.

#include "targets/SessionFile.h"
#include "targets/SettingsFile.h"
#include "targets/XmlBinaryWrapper.h"

#include <cstdio>

namespace
{
void writeBlock (const juce::File& file, const juce::MemoryBlock& block)
{
    file.replaceWithData (block.getData(), block.getSize());
}
} // namespace

int main (int argc, char** argv)
{
    if (argc != 3)
    {
        std::fprintf (stderr, "usage: fuzz_seeds <session folder> <settings folder>\n");
        return 2;
    }
    const juce::File sessions (juce::File::getCurrentWorkingDirectory().getChildFile (argv[1]));
    const juce::File settings (juce::File::getCurrentWorkingDirectory().getChildFile (argv[2]));
    sessions.createDirectory();
    settings.createDirectory();

    SessionDocument session;
    session.tracks = { { 16000000000001LL, "/music/a.wav" }, { 16000000000002LL, "/music/b & c.flac" } };
    sessionfile::write (sessions.getChildFile ("plain.bws"), session);

    session.defaults.userPresetSet = true;
    session.defaults.fullScreen = true;
    session.defaults.reference.trackName = "REF";
    session.defaults.reference.integratedLUFSOverall = -9.19f;
    for (size_t i = 0; i < 14; ++i)
        session.defaults.reference.multiFrequencyIntegratedLUFS[i] = -20.0f - 0.5f * (float) i;
    sessionfile::write (sessions.getChildFile ("reference.bws"), session);

    SessionDocument empty;
    sessionfile::write (sessions.getChildFile ("empty.bws"), empty);

    juce::XmlElement odd ("ORVANE_SESSION");
    odd.createNewChildElement ("trackList")->createNewChildElement ("other")->setAttribute ("filepath", "x");
    odd.createNewChildElement ("default")->setAttribute ("userPresetSet", "1");
    sessions.getChildFile ("odd.bws").replaceWithText (xmlwrap::wrap (odd).toBase64Encoding());

    SettingsValues values;
    values.presetGroups = presets::makeFactoryPresetGroups (4);
    values.deviceSetup = std::make_unique<juce::XmlElement> ("DEVICESETUP");
    values.deviceSetup->setAttribute ("deviceType", "ALSA");
    values.deviceSetup->createNewChildElement ("MIDIINPUT")->setAttribute ("name", "keys");
    values.lastAccessedTrackDirectory = "/tmp";
    writeBlock (settings.getChildFile ("full.dat"), xmlwrap::wrap (*settingsfile::createDocument (values, values.deviceSetup.get())));

    juce::XmlElement earlier ("THRESHOLD-PRESET");
    earlier.createNewChildElement ("default")->setAttribute ("defaultPresetId", 28);
    auto* group = earlier.createNewChildElement ("group");
    group->setAttribute ("groupId", 3);
    group->createNewChildElement ("preset")->setAttribute ("presetId", 40);
    earlier.createNewChildElement ("projectSettings")->setAttribute ("lastAccessedsaveSessionDirectory", "/");
    writeBlock (settings.getChildFile ("earlier.dat"), xmlwrap::wrap (earlier));

    writeBlock (settings.getChildFile ("bare.dat"), xmlwrap::wrap (juce::XmlElement ("THRESHOLD-PRESET")));
    return 0;
}
