#pragma once

#include "targets/EQPresets.h"
#include "targets/FlaggedRanges.h"
#include "targets/ThresholdPresets.h"

#include <juce_graphics/juce_graphics.h>

#include <set>
#include <vector>

class Track;

namespace orvane::cli
{
// Where the parts of a track's picture lie, top to bottom: a title line, the waveform with its
// heat map, the time axis, one row per reading kind that is out of range somewhere, then the
// EQ curve under its own title line. Everything is as wide as the waveform.
struct PictureLayout
{
    juce::Rectangle<int> title, waveform, timeAxis;
    std::vector<juce::Rectangle<int>> rows;
    juce::Rectangle<int> eqTitle, eq;
    int width = 0;
    int height = 0;
};

// With one row saying that nothing is flagged when rowCount is 0.
PictureLayout pictureLayout (int width, int rowCount);

// What a picture shows besides the track itself.
struct PictureSubject
{
    juce::String title;                   // the file's name
    ThresholdPreset preset;               // the heat map's limits
    juce::String presetLabel;             // "GROUP: NAME" of the threshold preset
    const EQPreset* eqPreset = nullptr;   // null: no EQ preset chosen
    bool maxContrast = true;              // the setting that picks the curve colours
    std::vector<problemscan::FlaggedKind> flagged;
};

// The picture of a track judged at this width (scanForProblems has run): the waveform twice as
// high as a strip's with the heat map of the track's category, and the flagged ranges. Makes the
// track's waveformImage anew. Headless: needs neither a display nor the message thread.
juce::Image drawTrackPicture (Track& track, const PictureSubject& subject, int width);

// Minutes and whole seconds, as "1:02"; the minutes grow past 59 as they need to.
juce::String minutesSeconds (double seconds);

// The time between two labelled ticks of an axis this many pixels wide for this duration:
// the shortest of 1, 2, 5, 10, 15, 30 s, 1, 2, 5, 10, 15, 30 min or 1 h that leaves at least
// minimumGap pixels between ticks.
double tickSeconds (double duration, int width, int minimumGap);

// The names of the pictures of one batch: the audio file's name with ".png" added, and for a
// name already given in this batch "-2", "-3"... before the ".png". Case is ignored when
// names are compared, so the pictures stay apart on any file system.
class PictureNames
{
public:
    juce::String nameFor (const juce::File& audioFile);

private:
    std::set<juce::String> taken;
};

// Encodes the image as PNG and replaces the target with it whole; false if that failed.
bool writePng (const juce::Image& image, const juce::File& target);
} // namespace orvane::cli
