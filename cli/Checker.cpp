#include "cli/Checker.h"

#include "analysis/Model.h"
#include "cli/FileCheck.h"
#include "cli/PresetList.h"
#include "cli/Settings.h"
#include "targets/ModelEQPresets.h"
#include "targets/SessionModel.h"
#include "targets/TrackJudgement.h"

#include <atomic>
#include <cstring>
#include <memory>

namespace orvane::cli
{
namespace
{
constexpr int pumpSliceMs = 10;
constexpr const char* programName = "orvane-check";
// The window opens no more files than this from one session or drop.
constexpr int mostFilesPerSession = 50;

// The id at the end of "TRACK_..._COMPLETE:" + flag + id.
int64_t idFromMessage (const juce::String& message, const char* prefix)
{
    return message.substring ((int) std::strlen (prefix) + 1).getLargeIntValue();
}
} // namespace

Checker::Checker (const Options& o, Model& m, const ReportSettings& s, std::ostream& outStream,
                  std::ostream& errStream, bool shouldDrawProgress)
    : options (o), model (m), settings (s), out (outStream), err (errStream), progress (errStream, shouldDrawProgress),
      json (outStream)
{
    model.addActionListener (this);
}

Checker::~Checker() { model.removeActionListener (this); }

void Checker::actionListenerCallback (const juce::String& message) { messages.push_back (message); }

void Checker::pump (int milliseconds) { juce::MessageManager::getInstance()->runDispatchLoopUntil (milliseconds); }

void Checker::drainMessages()
{
    // Messages are delivered in the order they were posted, so once a marker posted now has
    // run, every message the load thread sent before it has been delivered too.
    auto delivered = std::make_shared<std::atomic<bool>> (false);
    if (! juce::MessageManager::callAsync ([delivered] { delivered->store (true); }))
        return;
    while (! delivered->load())
        pump (1);
}

bool Checker::queueIdle() const
{
    // The queue sets both counters back to 0 when a batch ends with everything handled.
    return model.loadQueue.pushed.load() == 0 && model.loadQueue.processed.load() == 0;
}

Checker::Outcome Checker::load (const juce::File& file, int index)
{
    messages.clear();
    model.requestLoad (file.getFullPathName());

    Outcome outcome;
    int64_t id = 0;
    bool waveformDone = false;
    bool notFound = false;

    auto readMessages = [&]
    {
        for (const auto& m : messages)
        {
            if (m.startsWith (Model::initialLoadCompleteMessage))
            {
                id = idFromMessage (m, Model::initialLoadCompleteMessage);
                auto* track = model.getTrackById (id);
                outcome.track = (track != nullptr && track->id == id) ? track : nullptr;
            }
            else if (m.startsWith (Model::waveformCompleteMessage))
            {
                waveformDone = waveformDone || (id != 0 && idFromMessage (m, Model::waveformCompleteMessage) == id);
            }
            else if (m.startsWith (juce::String (Model::loadStatusMessage) + "File not found"))
            {
                notFound = true;
            }
        }
        messages.clear();
    };

    for (;;)
    {
        pump (pumpSliceMs);
        readMessages();
        if (waveformDone)
            break;
        if (outcome.track != nullptr)
            progress.show (index, (int) options.files.size(), file.getFileName(), outcome.track->progress);
        if (queueIdle())
        {
            drainMessages();
            readMessages();
            break;
        }
    }

    if (waveformDone && outcome.track != nullptr)
        return outcome;

    if (outcome.track != nullptr)
    {
        model.removeTrack (id);
        outcome.track = nullptr;
        outcome.problem = "could not be analysed to the end";
    }
    else if (notFound)
        outcome.problem = "no such file (it went away before it could be loaded)";
    else
        outcome.problem = "could not be decoded";
    return outcome;
}

bool Checker::report (const juce::String& argument, const juce::File& file, Track& track)
{
    // As a strip does once the heat map is drawn and the feedback built: the scans also
    // settle the overall maxima and minimum that the readouts show.
    auto judgement = judgeTrack (track, settings.preset, options.width);
    judgement.flagged = problemscan::flaggedByKind (track, settings.preset, options.width);
    judgement.columnSeconds = problemscan::columnSeconds (track, options.width);

    if (options.json)
        writeJsonReport (json, argument, track, judgement, settings);
    else
        writeTextReport (out, argument, track, judgement, settings);
    out.flush();
    if (imagesFolder != juce::File() && ! writePicture (file, track, judgement))
        outputFailed = true;

    exportEntries.push_back (judgement.exportEntry);
    sessionTracks.push_back ({ track.id, file.getFullPathName() });
    return judgement.feedback.anyOutOfRange;
}

void Checker::fail (const juce::String& argument, const juce::String& problem)
{
    err << programName << ": " << argument.toStdString() << ": " << problem.toStdString() << std::endl;
    if (options.json)
    {
        writeJsonFailure (json, argument, problem);
        out.flush();
    }
}

bool Checker::writeExport()
{
    const auto folder = juce::File::getCurrentWorkingDirectory().getChildFile (options.exportFolder);
    const auto result = textexport::writeReport (exportEntries, settings.reportType, settings.preset.name, folder,
                                                 juce::Time::getCurrentTime());
    const auto path = result.file.getFullPathName().toStdString();
    if (! result.written)
    {
        err << programName << ": " << path << ": the report could not be written" << std::endl;
        return false;
    }
    err << programName << ": wrote " << path << std::endl;
    return true;
}

bool Checker::writeSession()
{
    const auto file = juce::File::getCurrentWorkingDirectory().getChildFile (options.sessionFile);
    const auto path = file.getFullPathName().toStdString();
    if ((int) sessionTracks.size() > mostFilesPerSession)
    {
        err << programName << ": " << path << ": not written: the window opens at most " << mostFilesPerSession
            << " files from a session, and " << sessionTracks.size() << " were usable" << std::endl;
        return false;
    }

    eqpresets::ModelSessionEqPresets eqPresets (model);
    auto session = sessionmodel::capture (model, SessionWindowState(), &eqPresets);
    session.tracks = sessionTracks;
    if (! sessionfile::write (file, session))
    {
        err << programName << ": " << path << ": the session could not be written" << std::endl;
        return false;
    }
    err << programName << ": wrote " << path << std::endl;
    return true;
}

bool Checker::prepareImagesFolder()
{
    const auto folder = juce::File::getCurrentWorkingDirectory().getChildFile (options.imagesFolder);
    juce::String reason;
    if (folder.exists() && ! folder.isDirectory())
        reason = "it is not a folder";
    else if (! folder.isDirectory() && folder.createDirectory().failed())
        reason = "the folder could not be made";
    else if (! folder.hasWriteAccess())
        reason = "the folder is not writable";

    if (reason.isNotEmpty())
    {
        err << programName << ": " << folder.getFullPathName().toStdString() << ": no pictures written: "
            << reason.toStdString() << std::endl;
        return false;
    }
    imagesFolder = folder;
    return true;
}

bool Checker::writePicture (const juce::File& file, Track& track, const TrackJudgement& judgement)
{
    PictureSubject subject;
    subject.title = file.getFileName();
    subject.preset = settings.preset;
    subject.presetLabel = settings.presetLabel;
    subject.eqPreset = settings.eqPreset ? &*settings.eqPreset : model.getEQPresetForId (model.defaultEQPresetId);
    subject.maxContrast = model.maxContrast;
    subject.flagged = judgement.flagged;

    const auto target = imagesFolder.getChildFile (pictureNames.nameFor (file));
    const auto path = target.getFullPathName().toStdString();
    if (! writePng (drawTrackPicture (track, subject, options.width), target))
    {
        err << programName << ": " << path << ": the picture could not be written" << std::endl;
        return false;
    }
    err << programName << ": wrote " << path << std::endl;
    return true;
}

int Checker::run()
{
    if (options.json)
        json.beginArray();

    bool anyUnusable = options.imagesFolder.isNotEmpty() && ! prepareImagesFolder();
    bool anyOutOfRange = false;
    const auto here = juce::File::getCurrentWorkingDirectory();
    for (size_t i = 0; i < options.files.size(); ++i)
    {
        const auto& argument = options.files[i];
        const auto file = here.getChildFile (argument);

        Outcome outcome;
        outcome.problem = findProblem (file, model.audioFormatManager);
        if (outcome.problem.isEmpty())
            outcome = load (file, (int) i);
        progress.clear();

        if (outcome.track != nullptr)
        {
            anyOutOfRange = report (argument, file, *outcome.track) || anyOutOfRange;
            model.removeTrack (outcome.track->id);
        }
        else
        {
            anyUnusable = true;
            fail (argument, outcome.problem);
        }
    }

    if (options.json)
    {
        json.endArray();
        out << '\n';
    }
    out.flush();

    if (options.exportFolder.isNotEmpty() && ! writeExport())
        anyUnusable = true;
    if (options.sessionFile.isNotEmpty() && ! writeSession())
        anyUnusable = true;

    if (anyUnusable || outputFailed)
        return exitUnusableFile;
    return anyOutOfRange ? exitOutOfRange : exitOk;
}

namespace
{
int usageError (std::ostream& err, const juce::String& message)
{
    err << programName << ": " << message.toStdString() << '\n'
        << "Try '" << programName << " --help' for how to use it.\n";
    return exitUsage;
}

// The folders that outputs go to must be there before any file is analysed.
juce::String findOutputProblem (const Options& options)
{
    const auto here = juce::File::getCurrentWorkingDirectory();
    if (options.exportFolder.isNotEmpty() && ! here.getChildFile (options.exportFolder).isDirectory())
        return "--export: no such folder: " + options.exportFolder;
    if (options.sessionFile.isNotEmpty())
    {
        const auto session = here.getChildFile (options.sessionFile);
        if (session.isDirectory())
            return "--save-session: " + options.sessionFile + " is a folder";
        if (! session.getParentDirectory().isDirectory())
            return "--save-session: no such folder: " + session.getParentDirectory().getFullPathName();
    }
    return {};
}
} // namespace

int runCommandLine (const std::vector<juce::String>& arguments, std::ostream& out, std::ostream& err,
                    bool errIsTerminal)
{
    const auto parsed = parseOptions (arguments);
    if (! parsed.ok())
        return usageError (err, parsed.error);
    const auto& options = parsed.options;
    if (options.help)
    {
        out << helpText().toStdString();
        return exitOk;
    }

    juce::MessageManager::getInstance();
    Model model;

    const auto read = readSettings (model, options);
    if (read.error.isNotEmpty())
        return usageError (err, read.error);
    if (read.warning.isNotEmpty())
        err << programName << ": " << read.warning.toStdString() << std::endl;

    if (options.listPresets)
    {
        if (options.json)
        {
            JsonWriter json (out);
            writePresetListJson (json, model.presetGroups, model.defaultPresetId);
            out << '\n';
        }
        else
            writePresetList (out, model.presetGroups, model.defaultPresetId);
        return exitOk;
    }

    // A preset named on the command line must exist; a remembered one falls back as in the window.
    if (options.presetId)
    {
        if (findExactPreset (model.presetGroups, *options.presetId) == nullptr)
            return usageError (err, "no preset has the id " + juce::String (*options.presetId)
                                        + " (see --list-presets)");
        model.selectPresetById (*options.presetId);
    }
    else
        model.currentPreset = model.getPresetForId (model.defaultPresetId);

    const auto outputProblem = findOutputProblem (options);
    if (outputProblem.isNotEmpty())
        return usageError (err, outputProblem);

    ReportSettings settings;
    settings.preset = *model.currentPreset;
    settings.presetLabel = model.getCurrentPresetName (0);
    if (options.eqPresetId)
    {
        const auto* eqPreset = eqpresets::findEQPresetForId (model.eqPresetGroups, *options.eqPresetId);
        if (eqPreset == nullptr)
            return usageError (err, "no EQ preset has the id " + juce::String (*options.eqPresetId));
        settings.eqPreset = *eqPreset;
    }
    settings.reportType = options.reportType;
    settings.details = options.details;
    settings.points = options.points;

    const bool drawProgress = errIsTerminal && options.progress == ProgressMode::automatic;
    Checker checker (options, model, settings, out, err, drawProgress);
    return checker.run();
}
} // namespace orvane::cli
