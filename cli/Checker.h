#pragma once

#include "cli/JsonWriter.h"
#include "cli/Options.h"
#include "cli/ProgressBar.h"
#include "cli/Report.h"
#include "cli/TrackPicture.h"
#include "targets/SessionFile.h"
#include "targets/TextExport.h"

#include <juce_events/juce_events.h>

#include <ostream>
#include <string>
#include <vector>

class Model;
class Track;

namespace orvane::cli
{
// Runs the files of one command line through a Model and its load queue, one after
// another in the given order, judges each against one preset as a track strip does, and
// writes a report for each: text or JSON on out, one line on err for each file that cannot
// be used, a progress bar on err when asked for. Then the text report file and the session,
// when asked for. Must run on the JUCE message thread.
class Checker : private juce::ActionListener
{
public:
    Checker (const Options& options, Model& model, const ReportSettings& settings, std::ostream& out,
             std::ostream& err, bool drawProgress);
    ~Checker() override;

    // Analyses and judges every file. Returns exitUnusableFile if a file could not be used or
    // an output file could not be written, else exitOutOfRange if any file is out of range,
    // else exitOk.
    int run();

private:
    struct Outcome
    {
        Track* track = nullptr;
        juce::String problem;
    };

    Outcome load (const juce::File& file, int index);
    void pump (int milliseconds);
    // Delivers every message posted so far.
    void drainMessages();
    bool queueIdle() const;
    // Judges and reports one track; true if it is out of range.
    bool report (const juce::String& argument, const juce::File& file, Track& track,
                 const juce::StringArray& warnings);
    void fail (const juce::String& argument, const juce::String& problem);
    // What the reader learnt while decoding: a fault refuses the file; the rest are warnings.
    juce::String decodeProblem (const Track& track, juce::StringArray& warnings) const;
    // The file an argument names: for a name that is not valid UTF-8, a link with a readable
    // name in the scratch folder that points at it.
    juce::File fileFor (const juce::String& argument, size_t index);
    // Notes the first failed write to out.
    void checkOutput();
    // False, with a line on err, if the file could not be written.
    bool writeExport();
    // The report's path, its name made from the preset's name as the window makes it.
    juce::File reportFile() const;
    bool writeSession();
    // With --images: makes the folder if it isn't there; false, with a line on err, if no
    // picture can be written into it.
    bool prepareImagesFolder();
    // False, with a line on err, if the picture could not be written.
    bool writePicture (const juce::File& file, Track& track, const TrackJudgement& judgement);
    void actionListenerCallback (const juce::String& message) override;

    const Options& options;
    Model& model;
    const ReportSettings& settings;
    std::ostream& out;
    std::ostream& err;
    std::vector<juce::String> messages;
    ProgressBar progress;
    JsonWriter json;
    // What the report file and the session are made of: the usable files in order.
    std::vector<textexport::Entry> exportEntries;
    std::vector<SessionTrack> sessionTracks;
    juce::File scratch;
    // Why writing to out failed, once it has.
    juce::String outputProblem;
    // Where the pictures go, and their names so far; no folder when none are to be written.
    juce::File imagesFolder;
    PictureNames pictureNames;
    bool outputFailed = false;
};

// The whole program behind main(): parses the arguments (those after the program name, as
// the bytes the shell gave), prints help or runs the checker, and returns the exit status.
int runCommandLine (const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
                    bool errIsTerminal);
} // namespace orvane::cli
