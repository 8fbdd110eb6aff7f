#include "cli/Options.h"

namespace orvane::cli
{
namespace
{
// A whole non-negative decimal number that fits an int, or nothing.
std::optional<int> wholeNumber (const juce::String& text)
{
    if (text.isEmpty() || text.length() > 9 || ! text.containsOnly ("0123456789"))
        return std::nullopt;
    return text.getIntValue();
}

// The options that take a value, given as "--name VALUE" or "--name=VALUE".
const char* const valueOptions[] = { "--preset", "--eq-preset", "--report-type", "--width", "--settings",
                                     "--export", "--save-session", "--images" };

bool takesValue (const juce::String& name)
{
    for (auto* option : valueOptions)
        if (name == option)
            return true;
    return false;
}

juce::String applyValue (Options& options, const juce::String& name, const juce::String& value)
{
    if (name == "--preset")
    {
        const auto id = wholeNumber (value);
        if (! id)
            return "--preset needs a preset id (a whole number; see --list-presets), not '" + value + "'";
        options.presetId = *id;
    }
    else if (name == "--eq-preset")
    {
        const auto id = wholeNumber (value);
        if (! id)
            return "--eq-preset needs an EQ preset id (a whole number), not '" + value + "'";
        options.eqPresetId = *id;
    }
    else if (name == "--report-type")
    {
        const auto type = wholeNumber (value);
        if (! type || *type > lastReportType)
            return "--report-type is 0, 1 or 2, not '" + value + "'";
        options.reportType = *type;
    }
    else if (name == "--width")
    {
        const auto width = wholeNumber (value);
        if (! width || *width < 1 || *width > largestScanWidth)
            return "--width is a number of pixels from 1 to " + juce::String (largestScanWidth) + ", not '" + value
                   + "'";
        options.width = *width;
    }
    else if (name == "--settings")
    {
        if (value.isEmpty())
            return "--settings needs the path of a settings file";
        options.settings = SettingsSource::file;
        options.settingsFile = value;
    }
    else if (name == "--export")
    {
        if (value.isEmpty())
            return "--export needs a folder";
        options.exportFolder = value;
    }
    else if (name == "--images")
    {
        if (value.isEmpty())
            return "--images needs a folder";
        options.imagesFolder = value;
    }
    else if (name == "--save-session")
    {
        // The application takes a dropped or opened file for a session only by this ending.
        if (! value.endsWith (".bws"))
            return "--save-session needs a file name ending in .bws (the application opens only those as "
                   "sessions), not '"
                   + value + "'";
        options.sessionFile = value;
    }
    return {};
}
} // namespace

ParseResult parseOptions (const std::vector<juce::String>& arguments)
{
    ParseResult result;
    auto& options = result.options;
    bool onlyFilesFollow = false;

    for (size_t i = 0; i < arguments.size(); ++i)
    {
        const auto& argument = arguments[i];
        if (onlyFilesFollow || ! argument.startsWith ("-") || argument == "-")
        {
            if (argument.isEmpty())
            {
                result.error = "an empty file name was given";
                return result;
            }
            options.files.push_back (argument);
            continue;
        }

        const auto name = argument.upToFirstOccurrenceOf ("=", false, false);
        if (takesValue (name))
        {
            juce::String value;
            if (argument.containsChar ('='))
                value = argument.fromFirstOccurrenceOf ("=", false, false);
            else if (i + 1 < arguments.size())
                value = arguments[++i];
            else
            {
                result.error = name + " needs a value";
                return result;
            }
            result.error = applyValue (options, name, value);
            if (! result.ok())
                return result;
        }
        else if (argument == "--")
            onlyFilesFollow = true;
        else if (argument == "--json")
            options.json = true;
        else if (argument == "--points")
            options.json = options.points = true;
        else if (argument == "--details")
            options.details = true;
        else if (argument == "--list-presets")
            options.listPresets = true;
        else if (argument == "--no-settings")
            options.settings = SettingsSource::none;
        else if (argument == "--no-progress")
            options.progress = ProgressMode::never;
        else if (argument == "-h" || argument == "--help")
            options.help = true;
        else
        {
            result.error = "unknown option '" + argument + "'";
            return result;
        }
    }

    if (! options.help && ! options.listPresets && options.files.empty())
        result.error = "no files given";
    return result;
}

juce::String helpText()
{
    return R"(Usage: orvane-check [options] FILE...
       orvane-check --list-presets [--json] [--settings FILE | --no-settings]

Measures audio files the way the ORVANE window does, without opening a window,
judges the readings against a threshold preset, and prints for each file what
the window's text export writes for it: the file's name, the readouts

  Integrated LUFS   gated integrated loudness of the whole file
  Short Term LUFS   the highest short-term (3 s) loudness
  True Peak         the highest inter-sample peak, dBTP
  Peak              the highest sample peak, dB
  Dynamic Range     the lowest peak-to-loudness distance, DR
  Loudness Range    loudness range, LU

and the feedback in words, as the window builds them for the preset. The text
is exactly the report file's, line ends (CR LF, and CR CR LF after a track's
name and at its end) and all, in UTF-8, so that a redirected run can be
compared with or stand in for an exported report; pipe it through tr -d '\r'
for plain line ends. The report marks a problem only by the colour of a
heading, which text can't carry: the exit status tells whether any file is
out of range, and --details and --json tell which readings are.

Files are analysed one after another in the order given, through the same
loading queue as the window, and reported in that order. The formats are those
the window opens (WAV, AIFF, FLAC, Ogg Vorbis, MP3 and the others this build
decodes). A file must be at least one second long. As in the window, one set of
measures serves every file, and the true-peak filters start each file with the
last samples of the file before in their history: a file that starts loud
right after one that ended loud can read a higher true peak than on its own.

Judging:
  --preset ID     Judge against the preset with this id (see --list-presets).
                  Without it, the preset the window last had selected, as its
                  settings file remembers it, or 4 (MASTERING: ALL-ROUND) when
                  there is no settings file. A remembered id that no longer
                  exists falls back to 0, as in the window.
  --eq-preset ID  Also compare each file's tonal balance with this EQ preset
                  (ids 0 to 59 by genre, 61 BALANCED MASTER): for each of the
                  14 bands, stereo, mid and side, the track's level less the
                  preset's once both are brought to the same integrated
                  loudness, in dB (+ means the track is stronger there),
                  and draw the pictures of --images against it.
  --width PIXELS  The width of the heat map that is scanned for problems
                  (default 648: the waveform of a track in a window 1000
                  pixels wide, the window's starting and smallest size; a
                  window W pixels wide gives W - 352). Columns are judged one
                  by one, so the peak and loudness maxima, and the short-term
                  verdict, can differ a little with the width. Also the
                  width of the pictures of --images.
  --list-presets  Print every preset, one line each, and exit: its id (*
                  marks the default), group and name, then its limits: PEAK
                  and TP, the sample- and true-peak limits before TP RANGE is
                  added to both; PEAK AIM, what the peak advice aims at; ST
                  and INT, the short-term and integrated targets, with their
                  ranges (short-term counts only when too loud, integrated
                  both ways); DR and LRA, the lowest dynamic range and
                  loudness range; BAL, the highest balance magnitude; CORR,
                  the lowest correlation. With --json, a JSON array.
  --settings FILE Read the presets and the default preset from this settings
                  file instead of the window's own (orvane-settings.dat in
                  the folder BrenwickSound of ~/.config). The settings file is
                  only ever read; the checker never writes it.
  --no-settings   Read no settings file: the compiled-in MIXING, MASTERING and
                  BROADCAST presets (ids 0 to 26) without the USER group, and
                  default preset 4.

Output:
  --report-type N What the text holds for each file, as the window's setting
                  "textOutputType": 0 readouts and feedback, 1 readouts only,
                  2 feedback only. Without it, the setting the settings file
                  stores (0 when there is none).
  --details       After each file's report text, a block that starts with the
                  line "-- Details --": the file as given, the preset, which
                  readings are out of range, the format, the unweighted
                  integrated level, for stereo files the lowest and highest
                  smoothed balance (-1 all left, +1 all right) and correlation
                  (-1 opposed, +1 identical) with the number of steps beyond
                  the preset's limits, and the loudness of 14 frequency bands
                  for the stereo, mid and side signals. It ends with an empty
                  line. A reading of silence prints as -inf.
  --json          Print one JSON document instead of text: an array with one
                  object per file, keyed by reading ("integratedLUFS",
                  "maxTruePeakDb", ...) and by verdict: "presetId",
                  "presetName", "anyOutOfRange", "hasProblems" (a column of
                  the heat map is flagged), the sticky flags
                  "shortTermOutOfRange", "balanceOutOfRange",
                  "correlationOutOfRange", "loudnessRangeOutOfRange" and
                  "dynamicRangeOutOfRange", and "readoutsOutOfRange", the
                  verdicts of the four readout buttons: loudness (integrated,
                  shortTerm), peak (truePeak, samplePeak), stereo (enabled,
                  balance, correlation) and dynamics (dynamicRange,
                  loudnessRange). Also "readoutText" and "feedbackText", and
                  for stereo files the balance and correlation extremes and
                  step counts ("balanceStepsBeyondLimit",
                  "correlationStepsBelowLimit"; null when not stereo), and
                  "warnings", a list of what the file was measured despite
                  (samples that were NaN or infinite, read as 0; more than
                  two channels). A reading that is not a finite number, such
                  as the loudness of silence, is the string "-Infinity",
                  "Infinity" or "NaN". "flaggedRanges" tells where the heat
                  map of each single reading turns red: for "integrated",
                  "shortTerm", "truePeak", "samplePeak", "balance",
                  "correlation", "dynamicRange" and "loudnessRange", a list
                  of {"start", "end"} in seconds; "columnSeconds" is the
                  time one column of the heat map stands for, which is how
                  closely the ranges are known. A file that could not be
                  used gets an object with "file" and "error". Text that is
                  not valid UTF-8, as in some file names, has U+FFFD for each
                  bad byte.
  --points        Also write the per-point and per-step sequences behind the
                  readings (about 2000 values each). Implies --json.
  --export DIR    Also write the text report of all usable files into the
                  existing folder DIR, as the window's export button does on
                  the desktop: UTF-16 with a byte-order mark, named
                  "orvane-readings_" + preset name + "_" + H-M-S + ".txt".
  --save-session FILE.bws
                  Also write a session of the usable files (full paths, in
                  the order given) and the preset, which the window opens.
                  The window opens at most 50 files from a session, so more
                  than that are refused. Written files are named on stderr.
  --images DIR    Also draw a PNG picture of each usable file into DIR (made
                  if it isn't there), named after the file ("mix.wav.png";
                  a name met again in the same run gets "-2", "-3"...): the
                  waveform with its heat map as a track strip draws it for
                  the preset, --width wide and twice a strip's height, the
                  time axis in minutes:seconds, one row per reading that is
                  out of range with its stretches, and under it the track's
                  EQ curve against the EQ preset (--eq-preset, or the one
                  the window last had selected) as the EQ pane draws it.
                  Written files are named on stderr.
  --no-progress   Never draw the progress bar. The bar is drawn on stderr, and
                  only when stderr is a terminal.
  -h, --help      Show this text and exit.
  --              Treat every argument after this one as a file name.

Options that take a value also accept --name=VALUE.

Exit status:
  0   every file was analysed and is within the preset's limits
  1   every file was analysed, and at least one is out of range: the
      window's feedback button would turn red for it
  2   at least one file could not be used: missing, a folder, unreadable, not
      a decodable audio file, truncated, or shorter than one second (each such
      file gets one line on stderr; the other files are still analysed and
      judged); or the report, the session or a picture could not be
      written. This outweighs 1.
  3   the command line was wrong (unknown option, bad value, no files, a
      preset id that doesn't exist, a missing export folder)

Examples:
  orvane-check master.wav
  orvane-check --preset 15 --details mix1.flac mix2.wav
  orvane-check --json --preset 24 *.wav > verdicts.json
  orvane-check --report-type 2 --export ~/reports --save-session album.bws *.wav
  orvane-check --points --no-progress master.wav | less
)";
}
} // namespace orvane::cli
