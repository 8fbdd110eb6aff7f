#pragma once

#include "targets/FeedbackBuilder.h"
#include "targets/FlaggedRanges.h"
#include "targets/TextExport.h"

class Track;

// Everything said about one analysed track under one preset, as the application ends up
// showing it once the heat map has been drawn and the strip brought up to date.
struct TrackJudgement
{
    bool hasProblems = false;      // some judged column of the heat map is flagged
    feedback::Feedback feedback;   // texts, button verdicts, anyOutOfRange, figures

    // The sticky flags of the judged readings after all tests.
    bool shortTermOutOfRange = false;
    bool balanceOutOfRange = false;
    bool correlationOutOfRange = false;
    bool dynamicRangeOutOfRange = false;
    bool loudnessRangeOutOfRange = false;

    textexport::Entry exportEntry;

    // Where each single reading is out of range, for those who ask (flaggedByKind at the
    // judged width); empty otherwise.
    std::vector<problemscan::FlaggedKind> flagged;
    double columnSeconds = 0.0;

    // This track's part of a report of the given textOutputType, line ends as in the file.
    juce::String reportText (int textOutputType) const;
};

// Scans the heat map at the given width (all readings, the first marked region or the whole
// width), runs the whole-track tests, and builds the feedback, all on currentReadings.
TrackJudgement judgeTrack (Track& track, const ThresholdPreset& preset, int width,
                           const juce::Font& typeface = juce::Font());

// The report entry of a track: its file name and the plain texts of its feedback.
textexport::Entry makeExportEntry (const Track& track, const feedback::Feedback& feedback);
