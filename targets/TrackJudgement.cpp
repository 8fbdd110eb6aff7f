#include "targets/TrackJudgement.h"

#include "analysis/Track.h"
#include "targets/ProblemScan.h"

juce::String TrackJudgement::reportText (int textOutputType) const
{
    return textexport::buildReportText ({ exportEntry }, textOutputType);
}

TrackJudgement judgeTrack (Track& track, const ThresholdPreset& preset, int width, const juce::Font& typeface)
{
    TrackJudgement judgement;

    problemscan::scanForProblems (track, preset, width);
    judgement.hasProblems = track.hasProblems;
    judgement.feedback = feedback::refreshFeedback (track, preset, typeface);

    const auto& readings = *track.currentReadings;
    judgement.shortTermOutOfRange = readings.shortTermOutOfRange;
    judgement.balanceOutOfRange = readings.balanceOutOfRange;
    judgement.correlationOutOfRange = readings.correlationOutOfRange;
    judgement.dynamicRangeOutOfRange = readings.dynamicRangeOutOfRange;
    judgement.loudnessRangeOutOfRange = readings.loudnessRangeOutOfRange;
    judgement.exportEntry = makeExportEntry (track, judgement.feedback);
    return judgement;
}

textexport::Entry makeExportEntry (const Track& track, const feedback::Feedback& feedback)
{
    return { track.fileName, feedback.readoutText.getText(), feedback.feedbackText.getText() };
}
