// The session file: its two layers over JUCE's own functions, the document's order and
// number form, the path test, the loader's rules, damaged files and failed writes.

#include "analysis/Model.h"
#include "support/TestAudio.h"
#include "targets/SessionModel.h"
#include "targets/XmlBinaryWrapper.h"
#include "PersistTestSupport.h"

#include <juce_audio_processors/juce_audio_processors.h>

#include <gtest/gtest.h>

#include <random>

using persisttest::attributeNames;
using persisttest::bytesOf;

namespace
{
const char* const alphabet = ".ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+";

SessionDocument sampleSession (bool withReference)
{
    SessionDocument s;
    auto& d = s.defaults;
    d.currentPresetID = 24;
    d.lastAccessedTrackDirectory = "/music/in";
    d.lastAccessedReferenceTrackDirectory = "/music/ref";
    d.lastAccessedSaveSessionDirectory = "/music/sessions";
    d.mainWindowX = -8;
    d.mainWindowY = 31;
    d.mainWindowWidth = 1280;
    d.mainWindowHeight = 720;
    d.fullScreen = false;
    d.eqWindowHidden = false;
    d.eqWindowHeight = 300;
    d.currentEQPresetID = 62;
    d.userPresetSet = withReference;
    if (withReference)
    {
        d.reference.trackName = "REF MIX";
        d.reference.integratedLUFSOverall = -9.25f;
        for (size_t i = 0; i < (size_t) sessionBandCount; ++i)
        {
            d.reference.multiFrequencyIntegratedLUFS[i] = -20.5f - (float) i;
            d.reference.midMultiFrequencyIntegratedLUFS[i] = -21.25f - (float) i;
            d.reference.sideMultiFrequencyIntegratedLUFS[i] = -30.0f - (float) i;
        }
    }
    s.tracks = { { 16000000000001LL, "/music/in/a.wav" }, { 16000000000002LL, juce::String (juce::CharPointer_UTF8 ("/music/in/b\xc3\xa9 & c.flac")) } };
    return s;
}

// What the toolkit itself makes of a session text.
std::unique_ptr<juce::XmlElement> decodeWithJuce (const juce::String& text)
{
    juce::MemoryBlock block;
    if (! block.fromBase64Encoding (text))
        return {};
    return juce::AudioProcessor::getXmlFromBinary (block.getData(), (int) block.getSize());
}

// A fake of the EQ presets: preset ids 0 to 62 exist.
struct FakeEqPresets : SessionEqPresets
{
    std::optional<int> current = 61;
    SessionReference stored;
    int stores = 0;

    std::optional<int> currentEQPresetId() const override { return current; }
    std::optional<juce::String> selectEQPreset (int id) override
    {
        current.reset();
        if (id < 0 || id > 62)
            return std::nullopt;
        current = id;
        return "EQ " + juce::String (id);
    }
    SessionReference referenceAnalysis() const override { return stored; }
    void storeReferenceAnalysis (const SessionReference& r) override
    {
        stored = r;
        ++stores;
    }
};
} // namespace

TEST (SessionFile, TwoLayersMatchTheToolkitsOwnForms)
{
    const auto session = sampleSession (true);
    const auto text = sessionfile::encode (session);

    // "<size>.<chars>", six bits a character from the form's own alphabet.
    const int dot = text.indexOfChar ('.');
    ASSERT_GT (dot, 0);
    const auto size = text.substring (0, dot).getIntValue();
    EXPECT_EQ (text.substring (0, dot), juce::String (size));
    const auto body = text.substring (dot + 1);
    EXPECT_EQ (body.length(), (size * 8 + 5) / 6);
    EXPECT_TRUE (body.containsOnly (alphabet));

    juce::MemoryBlock block;
    ASSERT_TRUE (block.fromBase64Encoding (text));
    EXPECT_EQ ((int) block.getSize(), size);
    ASSERT_GT (block.getSize(), 8u);
    EXPECT_EQ (juce::ByteOrder::littleEndianInt (block.getData()), xmlwrap::magic);
    EXPECT_EQ (juce::ByteOrder::littleEndianInt (block.begin() + 4), block.getSize() - 9);
    EXPECT_EQ (block[(int) block.getSize() - 1], 0);

    auto document = decodeWithJuce (text);
    ASSERT_NE (document, nullptr);
    EXPECT_TRUE (document->isEquivalentTo (sessionfile::createDocument (session).get(), false));

    // And the reverse: what the toolkit encodes, we read.
    juce::MemoryBlock wrapped;
    juce::AudioProcessor::copyXmlToBinary (*sessionfile::createDocument (session), wrapped);
    const auto contents = sessionfile::readText (wrapped.toBase64Encoding());
    ASSERT_TRUE (contents.has_value());
    ASSERT_EQ (contents->size(), 2u);
    EXPECT_EQ ((*contents)[0].defaults, session.defaults);
    EXPECT_EQ ((*contents)[1].filePaths, juce::StringArray (session.tracks[0].filepath, session.tracks[1].filepath));
}

TEST (SessionFile, DocumentOrderAndNumberForm)
{
    auto session = sampleSession (true);
    session.defaults.reference.integratedLUFSOverall = -9.1234567f;
    session.defaults.reference.multiFrequencyIntegratedLUFS[0] = -12.0f;
    session.defaults.reference.multiFrequencyIntegratedLUFS[1] = 0.5f;
    session.defaults.reference.multiFrequencyIntegratedLUFS[2] = 1.0e-7f;
    const auto root = sessionfile::createDocument (session);

    EXPECT_EQ (root->getTagName(), "ORVANE_SESSION");
    EXPECT_EQ (attributeNames (*root), juce::StringArray());  // no version
    ASSERT_EQ (root->getNumChildElements(), 2);
    const auto* d = root->getChildElement (0);
    EXPECT_EQ (d->getTagName(), "default");

    juce::StringArray expected { "currentPresetID", "lastAccessedTrackDirectory", "lastAccessedReferenceTrackDirectory",
                                 "lastAccessedSaveSessionDirectory", "mainWindowX", "mainWindowY", "mainWindowWidth",
                                 "mainWindowHeight", "fullScreen", "eqWindowHidden", "eqWindowHeight",
                                 "currentEQPresetID", "userPresetSet" };
    EXPECT_EQ (attributeNames (*sessionfile::createDocument (sampleSession (false))->getChildElement (0)), expected);

    expected.add ("userPreset-trackName");
    expected.add ("userPreset-integratedLUFSOverall");
    for (int i = 0; i < 14; ++i)
        for (auto list : { "multiFrequencyIntegratedLUFS", "midMultiFrequencyIntegratedLUFS",
                           "sideMultiFrequencyIntegratedLUFS" })
            expected.add ("userPreset-" + juce::String (list) + juce::String (i));
    EXPECT_EQ (attributeNames (*d), expected);

    EXPECT_EQ (d->getStringAttribute ("fullScreen"), "0");
    EXPECT_EQ (d->getStringAttribute ("eqWindowHidden"), "0");
    EXPECT_EQ (d->getStringAttribute ("userPresetSet"), "1");
    EXPECT_EQ (d->getStringAttribute ("userPreset-integratedLUFSOverall"), "-9.12346");
    EXPECT_EQ (d->getStringAttribute ("userPreset-multiFrequencyIntegratedLUFS0"), "-12");
    EXPECT_EQ (d->getStringAttribute ("userPreset-multiFrequencyIntegratedLUFS1"), "0.5");
    EXPECT_EQ (d->getStringAttribute ("userPreset-multiFrequencyIntegratedLUFS2"), "1e-07");

    const auto* list = root->getChildElement (1);
    EXPECT_EQ (list->getTagName(), "trackList");
    ASSERT_EQ (list->getNumChildElements(), 2);
    EXPECT_EQ (list->getChildElement (0)->getTagName(), "track");
    EXPECT_EQ (attributeNames (*list->getChildElement (0)), juce::StringArray ({ "id", "filepath" }));
    EXPECT_EQ (list->getChildElement (0)->getStringAttribute ("id"), "16000000000001");

    // The reading loses what the six digits dropped.
    const auto back = sessionfile::readDocument (root.get());
    ASSERT_TRUE (back.has_value());
    EXPECT_EQ ((*back)[0].defaults.reference.integratedLUFSOverall, -9.12346f);
}

TEST (SessionFile, FileTextAndLineEnds)
{
    testaudio::TempFolder temp;
    const auto file = temp.file ("mix.bws");
    const auto session = sampleSession (true);
    ASSERT_TRUE (sessionfile::write (file, session));

    const auto bytes = bytesOf (file);
    const auto text = sessionfile::encode (session);
    EXPECT_EQ (bytes.toString(), text);  // no byte-order mark, nothing else
    for (size_t i = 0; i < bytes.getSize(); ++i)
        if (bytes[(int) i] == '\n')
            EXPECT_TRUE (i > 0 && bytes[(int) i - 1] == '\r');

    const auto contents = sessionfile::readFile (file);
    ASSERT_TRUE (contents.has_value());
    EXPECT_EQ ((*contents)[0].defaults, session.defaults);
}

TEST (SessionFile, DecoderAgreesWithTheToolkit)
{
    std::mt19937 random (7);
    const juce::String extra = "+,-./:;<=>?@[\\]^_`{|}~ \r\n\xc3";
    for (int trial = 0; trial < 300; ++trial)
    {
        juce::MemoryBlock source ((size_t) (random() % 64), false);
        for (size_t i = 0; i < source.getSize(); ++i)
            source[(int) i] = (char) random();
        juce::String text = source.toBase64Encoding();

        // Damage: other size prefixes, stray characters, cut tails.
        const int dot = text.indexOfChar ('.');
        switch (trial % 4)
        {
            case 1: text = juce::String ((int) (random() % 80)) + text.substring (dot); break;
            case 2: text = text.substring (0, dot + 1 + (int) (random() % (size_t) (text.length() - dot))); break;
            case 3:
                for (int k = 0; k < 5; ++k)
                {
                    const int at = dot + 1 + (int) (random() % (size_t) (text.length() - dot));
                    text = text.substring (0, at) + juce::String::charToString (extra[(int) (random() % (size_t) extra.length())]) + text.substring (at);
                }
                break;
            default: break;
        }

        juce::MemoryBlock theirs, ours;
        ASSERT_TRUE (theirs.fromBase64Encoding (text));
        ASSERT_TRUE (sessionfile::decodeBase64 (text, ours));
        // Ours stops where the text's bytes end; the toolkit's rest is zeros.
        ASSERT_LE (ours.getSize(), theirs.getSize()) << text;
        EXPECT_EQ (juce::MemoryBlock (theirs.getData(), ours.getSize()), ours) << text;
        for (size_t i = ours.getSize(); i < theirs.getSize(); ++i)
            EXPECT_EQ (theirs[(int) i], 0);
    }

    juce::MemoryBlock block;
    EXPECT_FALSE (sessionfile::decodeBase64 ("no point here", block));
    // A size the text can't fill is not allocated.
    EXPECT_TRUE (sessionfile::decodeBase64 ("2000000000.ABCD", block));
    EXPECT_EQ (block.getSize(), 3u);
    EXPECT_TRUE (sessionfile::decodeBase64 ("-1.ABCD", block));
    EXPECT_EQ (block.getSize(), 3u);
}

TEST (SessionFile, LoaderDefaultsAndTagsWithCase)
{
    juce::XmlElement root ("ORVANE_SESSION");
    auto* d = root.createNewChildElement ("default");
    d->setAttribute ("userPresetSet", "0");
    d->setAttribute ("userPreset-trackName", "IGNORED");  // only read with the flag set
    root.createNewChildElement ("Default")->setAttribute ("currentPresetID", 9);
    auto* list = root.createNewChildElement ("trackList");
    list->createNewChildElement ("track")->setAttribute ("filepath", "/a.wav");
    list->createNewChildElement ("other")->setAttribute ("filepath", "/b.wav");
    list->createNewChildElement ("track");
    root.createNewChildElement ("TRACKLIST")->createNewChildElement ("track")->setAttribute ("filepath", "/c.wav");

    const auto contents = sessionfile::readDocument (&root);
    ASSERT_TRUE (contents.has_value());
    ASSERT_EQ (contents->size(), 2u);
    EXPECT_EQ ((*contents)[0].kind, SessionPart::Kind::defaults);
    EXPECT_EQ ((*contents)[0].defaults, SessionDefaults());  // every absent attribute at its default
    EXPECT_EQ (SessionDefaults().mainWindowWidth, 1000);
    EXPECT_EQ (SessionDefaults().mainWindowHeight, 800);
    EXPECT_TRUE (SessionDefaults().eqWindowHidden);
    EXPECT_EQ ((*contents)[1].kind, SessionPart::Kind::trackList);
    EXPECT_EQ ((*contents)[1].filePaths, juce::StringArray ({ "/a.wav", "/b.wav", "" }));

    juce::XmlElement lower ("orvane_session");
    EXPECT_FALSE (sessionfile::readDocument (&lower).has_value());
    EXPECT_FALSE (sessionfile::readDocument (nullptr).has_value());
}

TEST (SessionFile, PathTestHasCase)
{
    EXPECT_TRUE (sessionfile::hasSessionExtension ("/home/u/mix.bws"));
    EXPECT_TRUE (sessionfile::hasSessionExtension ("C:\\Users\\u\\mix.v2.bws"));
    EXPECT_FALSE (sessionfile::hasSessionExtension ("/home/u/MIX.BWS"));
    EXPECT_FALSE (sessionfile::hasSessionExtension ("/home/u/mix.Bws"));
    EXPECT_FALSE (sessionfile::hasSessionExtension ("/home/u/mix.bws.wav"));
    EXPECT_FALSE (sessionfile::hasSessionExtension ("/home/u.bws/mix"));
    EXPECT_FALSE (sessionfile::hasSessionExtension ("C:\\dir.bws\\mix"));
    EXPECT_FALSE (sessionfile::hasSessionExtension ("bws"));

    juce::StringArray drop;
    for (int i = 0; i < 60; ++i)
        drop.add ("/in/track" + juce::String (i) + (i == 37 ? ".bws" : i == 12 ? ".BWS" : ".wav"));
    EXPECT_EQ (sessionfile::findSessionPath (drop), 37);
    drop.set (37, "/in/x.wav");
    EXPECT_EQ (sessionfile::findSessionPath (drop), -1);
    EXPECT_EQ (sessionfile::sessionName ("/a/b/mix.bws"), "mix.bws");
    EXPECT_EQ (sessionfile::sessionName ("C:\\a\\mix.bws"), "mix.bws");
}

TEST (SessionFile, DamagedTextsNeverCrashAndGiveAllOrNothing)
{
    const auto session = sampleSession (true);
    const auto text = sessionfile::encode (session);
    const auto full = sessionfile::readText (text);
    ASSERT_TRUE (full.has_value());

    for (int n = 0; n < text.length(); n += 3)
    {
        const auto cut = sessionfile::readText (text.substring (0, n));
        if (cut.has_value())  // only a cut in the root's closing tag leaves a document
        {
            ASSERT_EQ (cut->size(), full->size()) << n;
            EXPECT_EQ ((*cut)[0].defaults, (*full)[0].defaults) << n;
        }
    }

    std::mt19937 random (11);
    for (int trial = 0; trial < 200; ++trial)
    {
        auto damaged = text;
        const int at = (int) (random() % (size_t) text.length());
        damaged = damaged.substring (0, at) + juce::String::charToString ((juce::juce_wchar) (32 + random() % 95))
                  + damaged.substring (at + 1);
        (void) sessionfile::readText (damaged);
    }
    EXPECT_FALSE (sessionfile::readText ("").has_value());
    EXPECT_FALSE (sessionfile::readText ("12.").has_value());
    const char bytes[] = { '\xff', '\xfe', 'A', '\0', '.', '\0' };
    EXPECT_FALSE (sessionfile::readBytes (bytes, sizeof (bytes)).has_value());
}

TEST (SessionFile, AFailedWriteLeavesTheOldFileWhole)
{
    testaudio::TempFolder temp;
    const auto file = temp.file ("keep.bws");
    ASSERT_TRUE (sessionfile::write (file, sampleSession (false)));
    const auto old = bytesOf (file);

    auto bigger = sampleSession (true);
    {
        persisttest::FileSizeLimit limit ((rlim_t) old.getSize());
        ASSERT_TRUE (limit.isActive());
        EXPECT_FALSE (sessionfile::write (file, bigger));
    }
    EXPECT_EQ (bytesOf (file), old);
    EXPECT_EQ (temp.path().getNumberOfChildFiles (juce::File::findFiles, "*"), 1);

    const auto folder = temp.file ("folder.bws");
    folder.getChildFile ("x").create();
    EXPECT_FALSE (sessionfile::write (folder, bigger));
    EXPECT_TRUE (folder.getChildFile ("x").existsAsFile());
}

TEST (SessionModel, CaptureAndApplyAgainstTheModel)
{
    testaudio::TempFolder temp;
    const auto kept = temp.file ("kept");
    kept.createDirectory();

    Model model;
    model.presetGroups = presets::makeFactoryPresetGroups (4);
    model.selectPresetById (28);
    model.lastAccessedTrackDirectory = kept.getFullPathName();
    model.lastAccessedSaveSessionDirectory = temp.file ("gone").getFullPathName();
    model.eqWindowHidden = false;
    model.userPresetSet = true;
    model.referenceTrack = std::make_unique<Track> (&model);
    model.referenceTrack->fileName = "MY REF";
    for (int i = 0; i < 3; ++i)
    {
        model.tracks.push_back (std::make_unique<Track> (&model));
        model.tracks.back()->id = 100 + i;
        model.tracks.back()->filePath = "/in/" + juce::String (i) + ".wav";
    }
    FakeEqPresets eq;
    eq.current = 12;
    eq.stored.integratedLUFSOverall = -8.5f;

    SessionWindowState window;
    window.x = 10;
    window.eqWindowHeight = 222;
    const auto doc = sessionmodel::capture (model, window, &eq);
    EXPECT_EQ (doc.defaults.currentPresetID, 28);
    EXPECT_EQ (doc.defaults.currentEQPresetID, 12);
    EXPECT_EQ (doc.defaults.mainWindowX, 10);
    EXPECT_EQ (doc.defaults.eqWindowHeight, 222);
    EXPECT_FALSE (doc.defaults.eqWindowHidden);
    EXPECT_EQ (doc.defaults.reference.trackName, "MY REF");
    EXPECT_EQ (doc.defaults.reference.integratedLUFSOverall, -8.5f);
    ASSERT_EQ (doc.tracks.size(), 3u);
    EXPECT_EQ (doc.tracks[2].id, 102);
    EXPECT_EQ (doc.tracks[2].filepath, "/in/2.wav");

    // Applying: the preset (an unknown id falls back), the reference, the EQ preset, folders.
    auto d = doc.defaults;
    d.currentPresetID = 999;
    d.currentEQPresetID = 70;
    d.fullScreen = true;
    d.reference.trackName = "OTHER REF";
    Track* oldReference = model.referenceTrack.get();
    const auto outcome = sessionmodel::applyDefaults (model, d, &eq);
    EXPECT_EQ (outcome.presetName, "MIXING: BALANCED");
    EXPECT_EQ (model.defaultPresetId, 999);
    EXPECT_EQ (outcome.eqPresetName, "[NO PRESET SELECTED]");
    EXPECT_TRUE (outcome.fullScreen);
    EXPECT_EQ (outcome.eqWindowHeight, 222);
    EXPECT_NE (model.referenceTrack.get(), oldReference);
    EXPECT_EQ (model.referenceTrack->fileName, "OTHER REF");
    EXPECT_EQ (eq.stores, 1);
    EXPECT_EQ (model.lastAccessedTrackDirectory, kept.getFullPathName());
    EXPECT_EQ (model.lastAccessedSaveSessionDirectory, "");

    // Without a reference analysis only the flag is cleared.
    d.userPresetSet = false;
    d.currentEQPresetID = 5;
    oldReference = model.referenceTrack.get();
    const auto second = sessionmodel::applyDefaults (model, d, &eq);
    EXPECT_FALSE (model.userPresetSet);
    EXPECT_EQ (model.referenceTrack.get(), oldReference);
    EXPECT_EQ (eq.stores, 1);
    EXPECT_EQ (second.eqPresetName, "EQ 5");
}

TEST (SessionModel, OpeningWalksThePartsInOrder)
{
    testaudio::TempFolder temp;
    const auto sessionFolder = temp.file ("sessions");
    sessionFolder.createDirectory();

    SessionDocument doc = sampleSession (false);
    doc.defaults.lastAccessedSaveSessionDirectory = temp.file ("missing").getFullPathName();
    doc.defaults.currentPresetID = 5;
    const auto file = sessionFolder.getChildFile ("night.bws");
    ASSERT_TRUE (sessionfile::write (file, doc));

    Model model;
    model.tracks.push_back (std::make_unique<Track> (&model));
    juce::StringArray calls;
    SessionOpenHandlers handlers;
    handlers.removeAllTracks = [&] { calls.add ("remove"); };
    handlers.dropFiles = [&] (const juce::StringArray& paths) { calls.add ("drop " + paths.joinIntoString (",")); };
    handlers.applyToWindow = [&] (const SessionDefaultsOutcome& o) { calls.add ("window " + juce::String (o.width)); };

    const auto name = sessionmodel::open (model, file, nullptr, handlers);
    ASSERT_TRUE (name.has_value());
    EXPECT_EQ (*name, "night.bws");
    EXPECT_EQ (calls, juce::StringArray ("window 1280", "remove", "drop " + doc.tracks[0].filepath + "," + doc.tracks[1].filepath));
    EXPECT_EQ (model.currentPreset->presetId, 5);
    // The session's own folder entry runs after the file's folder was taken, and it is gone.
    EXPECT_EQ (model.lastAccessedSaveSessionDirectory, "");

    // A damaged session changes nothing but the session folder.
    const auto bad = sessionFolder.getChildFile ("bad.bws");
    bad.replaceWithText ("123.ABCDEF");
    calls.clear();
    model.lastAccessedTrackDirectory = "/kept";
    EXPECT_FALSE (sessionmodel::open (model, bad, nullptr, handlers).has_value());
    EXPECT_TRUE (calls.isEmpty());
    EXPECT_EQ (model.lastAccessedSaveSessionDirectory, sessionFolder.getFullPathName());
    EXPECT_EQ (model.lastAccessedTrackDirectory, "/kept");
}
