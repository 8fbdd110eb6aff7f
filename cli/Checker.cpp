#include "cli/Checker.h"

#include "analysis/FFmpegAudioFormat.h"
#include "analysis/FFmpegLibrary.h"
#include "analysis/Model.h"
#include "cli/FileCheck.h"
#include "cli/PresetList.h"
#include "cli/Settings.h"
#include "targets/ModelEQPresets.h"
#include "targets/SessionModel.h"
#include "targets/TrackJudgement.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

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

Checker::~Checker()
{
    model.removeActionListener (this);
    if (scratch != juce::File())
        scratch.deleteRecursively();
}

void Checker::checkOutput()
{
    if (outputProblem.isEmpty() && ! out.flush().good())
        outputProblem = juce::String (std::strerror (errno != 0 ? errno : EIO));
}

juce::File Checker::fileFor (const juce::String& argument, size_t index)
{
    const auto here = juce::File::getCurrentWorkingDirectory();
    for (const auto& [shown, raw] : options.undecodableNames)
    {
        if (shown != argument)
            continue;
        if (scratch == juce::File())
        {
            scratch = juce::File::getSpecialLocation (juce::File::tempDirectory)
                          .getNonexistentChildFile ("orvane-check-names", {}, false);
            scratch.createDirectory();
        }
        const auto folder = scratch.getChildFile (juce::String ((int) index));
        folder.createDirectory();
        const auto link = folder.getChildFile (argument.fromLastOccurrenceOf ("/", false, false));
        const auto target = raw.front() == '/' ? raw : here.getFullPathName().toStdString() + "/" + raw;
        if (::symlink (target.c_str(), link.getFullPathName().toRawUTF8()) != 0)
            break;
        return link;
    }
    return here.getChildFile (argument);
}

juce::String Checker::decodeProblem (const Track& track, juce::StringArray& warnings) const
{
    const auto* source = track.readerSource.get();
    const auto* reader = source != nullptr ? dynamic_cast<const audiofile::CheckedReader*> (source->getAudioFormatReader())
                                           : nullptr;
    if (reader == nullptr)
        return {};
    if (const auto fault = reader->fault())
        return faultProblem (*fault, reader->sampleRate);
    if (const auto n = reader->nonFiniteSamples(); n > 0)
        warnings.add (juce::String (n) + " sample" + (n == 1 ? " was" : "s were")
                      + " not a finite number (NaN or infinite) and read as 0");
    if (track.numChannels > 2)
        warnings.add ("has " + juce::String (track.numChannels)
                      + " channels: only mono and stereo are measured, so its loudness reads -inf");
    return {};
}

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

bool Checker::report (const juce::String& argument, const juce::File& file, Track& track,
                      const juce::StringArray& warnings)
{
    // As a strip does once the heat map is drawn and the feedback built: the scans also
    // settle the overall maxima and minimum that the readouts show.
    auto judgement = judgeTrack (track, settings.preset, options.width);
    judgement.flagged = problemscan::flaggedByKind (track, settings.preset, options.width);
    judgement.columnSeconds = problemscan::columnSeconds (track, options.width);

    for (const auto& warning : warnings)
        err << programName << ": " << argument.toStdString() << ": warning: " << warning.toStdString() << std::endl;
    if (options.json)
        writeJsonReport (json, argument, track, judgement, settings, warnings);
    else
        writeTextReport (out, argument, track, judgement, settings);
    checkOutput();
    if (imagesFolder != juce::File() && ! writePicture (file, track, judgement))
        outputFailed = true;

    exportEntries.push_back (judgement.exportEntry);
    // A session is UTF-8 text: a name that is not cannot be kept in it.
    if (file.getFullPathName().startsWith (scratch.getFullPathName()) && scratch != juce::File())
        err << programName << ": " << argument.toStdString()
            << ": warning: left out of the session, as its name is not valid UTF-8" << std::endl;
    else
        sessionTracks.push_back ({ track.id, file.getFullPathName() });
    return judgement.feedback.anyOutOfRange;
}

void Checker::fail (const juce::String& argument, const juce::String& problem)
{
    err << programName << ": " << argument.toStdString() << ": " << problem.toStdString() << std::endl;
    if (options.json)
    {
        writeJsonFailure (json, argument, problem);
        checkOutput();
    }
}

namespace
{
juce::String systemReason (int error) { return juce::String (std::strerror (error != 0 ? error : EIO)); }

// Writes the data into a file of that name that did not exist before: the name is claimed by
// creating it exclusively (so two runs never share one), then the data is written beside it
// and renamed over the claim. A taken name gives way to "name (2)", "name (3)" and so on.
// Returns the reason for a failure, or an empty string; file becomes the name written.
juce::String writeAsNewFile (juce::File& file, const juce::MemoryBlock& data)
{
    const auto stem = file.getFileNameWithoutExtension();
    const auto extension = file.getFileExtension();
    for (int n = 1; n < 1000; ++n)
    {
        const auto candidate = n == 1 ? file : file.getSiblingFile (stem + " (" + juce::String (n) + ")" + extension);
        const int fd = ::open (candidate.getFullPathName().toRawUTF8(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd < 0)
            return systemReason (errno);
        ::close (fd);
        file = candidate;

        juce::TemporaryFile temporary (file, juce::TemporaryFile::useHiddenFile);
        juce::String reason;
        {
            juce::FileOutputStream stream (temporary.getFile());
            if (! stream.openedOk())
                reason = stream.getStatus().getErrorMessage();
            else if (! stream.write (data.getData(), data.getSize()) || (stream.flush(), stream.getStatus().failed()))
                reason = stream.getStatus().failed() ? stream.getStatus().getErrorMessage() : systemReason (errno);
        }
        if (reason.isEmpty() && temporary.getFile().getSize() != (juce::int64) data.getSize())
            reason = "the disk took only part of it";
        if (reason.isEmpty() && ! temporary.overwriteTargetFileWithTemporary())
            reason = "it could not be moved into place";
        if (reason.isNotEmpty())
            file.deleteFile();
        return reason;
    }
    return "every name up to " + stem + " (999)" + extension + " is taken";
}
} // namespace

juce::File Checker::reportFile() const
{
    // A "/" in a preset's name ("AGCOM 219/09/CSP") would make a folder of part of the name.
    const auto name = textexport::reportFileName (settings.preset.name.replaceCharacters ("/\\", "--"),
                                                  juce::Time::getCurrentTime());
    return juce::File::getCurrentWorkingDirectory().getChildFile (options.exportFolder).getChildFile (name);
}

bool Checker::writeExport()
{
    auto file = reportFile();
    const auto bytes = textexport::encodeUtf16 (textexport::buildReportText (exportEntries, settings.reportType));
    const auto reason = writeAsNewFile (file, bytes);
    const auto path = file.getFullPathName().toStdString();
    if (reason.isNotEmpty())
    {
        err << programName << ": " << path << ": the report could not be written: " << reason.toStdString() << std::endl;
        return false;
    }
    err << programName << ": wrote " << path << std::endl;
    return true;
}

bool Checker::writeSession()
{
    const auto file = juce::File::getCurrentWorkingDirectory().getChildFile (options.sessionFile);
    const auto path = file.getFullPathName().toStdString();
    if (sessionTracks.empty())
    {
        err << programName << ": " << path << ": not written: no file was usable" << std::endl;
        return false;
    }

    eqpresets::ModelSessionEqPresets eqPresets (model);
    auto session = sessionmodel::capture (model, SessionWindowState(), &eqPresets);
    session.tracks = sessionTracks;
    errno = 0;
    if (! sessionfile::write (file, session))
    {
        const auto folder = file.getParentDirectory().getFullPathName();
        const auto reason = ::access (folder.toRawUTF8(), W_OK) != 0 ? "its folder cannot be written to ("
                                                                            + systemReason (errno) + ")"
                                                                      : systemReason (errno);
        err << programName << ": " << path << ": the session could not be written: " << reason.toStdString()
            << std::endl;
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
    for (size_t i = 0; i < options.files.size(); ++i)
    {
        const auto& argument = options.files[i];
        const auto file = fileFor (argument, i);

        Outcome outcome;
        outcome.problem = findProblem (file, model.audioFormatManager);
        if (outcome.problem.isEmpty())
            outcome = load (file, (int) i);
        progress.clear();

        juce::StringArray warnings;
        if (outcome.track != nullptr)
        {
            outcome.problem = decodeProblem (*outcome.track, warnings);
            if (outcome.problem.isNotEmpty())
            {
                model.removeTrack (outcome.track->id);
                outcome.track = nullptr;
            }
        }

        if (outcome.track != nullptr)
        {
            anyOutOfRange = report (argument, file, *outcome.track, warnings) || anyOutOfRange;
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
    checkOutput();

    if (options.exportFolder.isNotEmpty() && ! writeExport())
        anyUnusable = true;
    if (options.sessionFile.isNotEmpty() && ! writeSession())
        anyUnusable = true;
    if (outputProblem.isNotEmpty())
    {
        err << programName << ": standard output: write error (" << outputProblem.toStdString() << ")" << std::endl;
        anyUnusable = true;
    }

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

juce::String notWritable (const juce::File& folder)
{
    if (::access (folder.getFullPathName().toRawUTF8(), W_OK | X_OK) == 0)
        return {};
    return folder.getFullPathName() + " cannot be written to (" + systemReason (errno) + ")";
}

// Everything about the outputs that can be known before any file is analysed, so that a
// long run does not end in a refusal.
juce::String findOutputProblem (const Options& options)
{
    const auto here = juce::File::getCurrentWorkingDirectory();
    if (options.exportFolder.isNotEmpty())
    {
        const auto folder = here.getChildFile (options.exportFolder);
        if (folder.existsAsFile())
            return "--export: " + options.exportFolder
                   + " is a file; give the folder to write the report into (the report is named from the preset and "
                     "the time)";
        if (! folder.isDirectory())
            return "--export: no such folder: " + options.exportFolder;
        if (auto problem = notWritable (folder); problem.isNotEmpty())
            return "--export: " + problem;
    }
    if (options.sessionFile.isNotEmpty())
    {
        const auto session = here.getChildFile (options.sessionFile);
        if (session.isDirectory())
            return "--save-session: " + options.sessionFile + " is a folder";
        if (! session.getParentDirectory().isDirectory())
            return "--save-session: no such folder: " + session.getParentDirectory().getFullPathName();
        if (auto problem = notWritable (session.getParentDirectory()); problem.isNotEmpty())
            return "--save-session: " + problem;
        if ((int) options.files.size() > mostFilesPerSession)
            return "--save-session: the window opens at most " + juce::String (mostFilesPerSession)
                   + " files from a session, and " + juce::String ((int) options.files.size()) + " were given";
    }
    return {};
}

// Reports the exit status, unless writing to out failed on the way: then that is said, and 2.
int finish (std::ostream& out, std::ostream& err, int status)
{
    errno = 0;
    if (out.flush().good())
        return status;
    err << programName << ": standard output: write error (" << systemReason (errno).toStdString() << ")"
        << std::endl;
    return exitUnusableFile;
}
} // namespace

int runCommandLine (const std::vector<std::string>& rawArguments, std::ostream& out, std::ostream& err,
                    bool errIsTerminal)
{
    // A name the shell gives as bytes that are not UTF-8 is shown with U+FFFD in their place,
    // and the file is still found by its own bytes.
    std::vector<juce::String> arguments;
    for (const auto& raw : rawArguments)
        arguments.push_back (juce::String::fromUTF8 (JsonWriter::validUtf8 (raw).c_str()));
    auto parsed = parseOptions (arguments);
    if (! parsed.ok())
        return usageError (err, parsed.error);
    for (size_t i = 0; i < rawArguments.size(); ++i)
        if (arguments[i].toStdString() != rawArguments[i])
            parsed.options.undecodableNames.emplace_back (arguments[i], rawArguments[i]);
    const auto& options = parsed.options;
    if (options.help)
    {
        out << helpText().toStdString();
        return finish (out, err, exitOk);
    }

    // MP3 and Windows Media files need FFmpeg's libraries, whose loading takes longer than
    // all the set-up below: it runs beside it.
    std::jthread ffmpegLoad;
    FFmpegAudioFormat ffmpegFormat;
    const auto here = juce::File::getCurrentWorkingDirectory();
    if (std::any_of (options.files.begin(), options.files.end(), [&] (const juce::String& name)
                     { return ffmpegFormat.canHandleFile (here.getChildFile (name)); }))
        ffmpegLoad = ffmpeg::loadInBackground();

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
        return finish (out, err, exitOk);
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
    {
        if (findExactPreset (model.presetGroups, model.defaultPresetId) == nullptr)
            err << programName << ": warning: the remembered preset id " << model.defaultPresetId
                << " no longer exists; the preset with id " << model.getPresetForId (model.defaultPresetId)->presetId
                << " is used, as in the window" << std::endl;
        model.currentPreset = model.getPresetForId (model.defaultPresetId);
    }

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
    // The session keeps the EQ preset the window would show: the one named, or the remembered one.
    model.selectEQPresetById (options.eqPresetId.value_or (model.defaultEQPresetId));
    settings.reportType = options.reportType.value_or (model.textOutputType);
    settings.details = options.details;
    settings.points = options.points;

    const bool drawProgress = errIsTerminal && options.progress == ProgressMode::automatic;
    Checker checker (options, model, settings, out, err, drawProgress);
    return checker.run();
}
} // namespace orvane::cli
