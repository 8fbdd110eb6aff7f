#include "cli/TrackPicture.h"

#include "analysis/Track.h"
#include "cli/Options.h"
#include "targets/EQPicture.h"
#include "targets/FileReplace.h"
#include "targets/WaveformImage.h"

#include <cmath>

namespace orvane::cli
{
namespace
{
constexpr int titleHeight = 22;
constexpr int axisHeight = 20;
constexpr int rowHeight = 22;
constexpr int laneHeight = 5;
constexpr int textInset = 4;

// The colours of the window: the strips' own ground, the waveform display's and the EQ pane's,
// text, and the heat map's.
const juce::Colour background (0xff2d2e39);
const juce::Colour waveformGround (0xff121212);
const juce::Colour eqGround (0xff111111);
const juce::Colour textColour (0xffe6e7fa);
const juce::Colour dim (waveformimage::dimColour);
const juce::Colour problem (waveformimage::flaggedColour);
const juce::Colour calm (waveformimage::plainColour);

juce::Font pictureFont (float height)
{
    // The window's typeface where it is installed (Debian's fonts-jura); the system's sans serif
    // otherwise, since a family that isn't there draws no glyphs at all.
    static const bool juraInstalled = juce::Font::findAllTypefaceNames().contains ("Jura");
    return juraInstalled ? juce::Font ("Jura", height, juce::Font::plain) : juce::Font (height);
}

const juce::String enDash = juce::String (juce::CharPointer_UTF8 ("\xe2\x80\x93"));
const juce::String ellipsis = juce::String (juce::CharPointer_UTF8 ("\xe2\x80\xa6"));

// The flagged stretches widened to whole seconds, those that then touch joined: "1:02–1:09".
std::vector<juce::String> rangeTexts (const std::vector<problemscan::TimeRange>& times)
{
    std::vector<std::pair<double, double>> whole;
    for (const auto& range : times)
    {
        const double from = std::floor (range.start), to = std::ceil (range.end);
        if (! whole.empty() && from <= whole.back().second)
            whole.back().second = juce::jmax (whole.back().second, to);
        else
            whole.push_back ({ from, to });
    }
    std::vector<juce::String> texts;
    for (const auto& [from, to] : whole)
        texts.push_back (minutesSeconds (from) + enDash + minutesSeconds (to));
    return texts;
}

// "Balance: 0:08–0:12, 1:02–1:09", cut short with "… N more" where it would not fit.
juce::String rowText (const problemscan::FlaggedKind& flagged, const juce::Font& font, float room)
{
    juce::String text = juce::String (flagged.kind.name) + ": ";
    const auto ranges = rangeTexts (flagged.times);
    for (size_t i = 0; i < ranges.size(); ++i)
    {
        const auto next = text + (i > 0 ? ", " : "") + ranges[i];
        const auto rest = (int) (ranges.size() - i - 1);
        const auto tail = rest > 0 ? ", " + ellipsis + " " + juce::String (rest) + " more" : juce::String();
        if (font.getStringWidthFloat (next + tail) > room && i > 0)
            return text + ", " + ellipsis + " " + juce::String ((int) (ranges.size() - i)) + " more";
        text = next;
    }
    return text;
}

void drawTitle (juce::Graphics& g, juce::Rectangle<int> area, const juce::String& left, const juce::String& right)
{
    g.setColour (textColour);
    g.setFont (pictureFont (14.0f));
    const auto inner = area.reduced (textInset, 0);
    g.drawText (right, inner, juce::Justification::centredRight, true);
    const int rightWidth = juce::roundToInt (g.getCurrentFont().getStringWidthFloat (right)) + 12;
    g.drawText (left, inner.withTrimmedRight (rightWidth), juce::Justification::centredLeft, true);
}

// As the strip's waveform display paints it: its ground, then the image with the heat map, made
// at this size for the preset by the very routine the strip uses.
void drawWaveform (juce::Graphics& g, juce::Rectangle<int> area, Track& track, const ThresholdPreset& preset)
{
    g.setColour (waveformGround);
    g.fillRect (area);
    waveformimage::renderWaveformImage (track, preset, area.getWidth(), area.getHeight());
    if (track.imageReady && track.waveformImage != nullptr)
        g.drawImageAt (*track.waveformImage, area.getX(), area.getY());
}

void drawTimeAxis (juce::Graphics& g, juce::Rectangle<int> area, double duration)
{
    g.setColour (textColour);
    g.fillRect (area.getX(), area.getY(), area.getWidth(), 1);
    if (duration <= 0.0)
        return;

    const auto font = pictureFont (12.0f);
    g.setFont (font);
    const double step = tickSeconds (duration, area.getWidth(), 64);
    for (double t = 0.0; t <= duration; t += step)
    {
        const int x = area.getX() + juce::jmin (area.getWidth() - 1, (int) (t / duration * area.getWidth()));
        g.fillRect (x, area.getY(), 1, 5);
        const auto label = minutesSeconds (t);
        const int labelWidth = juce::roundToInt (font.getStringWidthFloat (label)) + 6;
        const int left = juce::jlimit (area.getX(), area.getRight() - labelWidth, x - labelWidth / 2);
        g.drawText (label, left, area.getY() + 5, labelWidth, area.getHeight() - 5, juce::Justification::centred,
                    false);
    }
}

// A column of the axis for a time, as the waveform's columns are laid out.
int columnAt (double seconds, double duration, int width)
{
    return duration > 0.0 ? (int) (seconds / duration * width) : 0;
}

void drawRow (juce::Graphics& g, juce::Rectangle<int> area, const problemscan::FlaggedKind& flagged,
              double duration)
{
    // Under the text, the lane marks the flagged stretches of audio against the time axis.
    auto lane = area.withTop (area.getBottom() - laneHeight).withTrimmedBottom (1);
    g.setColour (dim);
    g.fillRect (lane);
    g.setColour (problem);
    const int width = area.getWidth();
    for (const auto& range : flagged.times)
    {
        const int from = juce::jlimit (0, width - 1, columnAt (range.start, duration, width));
        const int to = juce::jlimit (from + 1, width, columnAt (range.end, duration, width));
        g.fillRect (area.getX() + from, lane.getY(), to - from, lane.getHeight());
    }

    const auto font = pictureFont (13.0f);
    g.setFont (font);
    g.setColour (textColour);
    const auto textArea = area.withTrimmedBottom (laneHeight).reduced (textInset, 0);
    g.drawText (rowText (flagged, font, (float) textArea.getWidth()), textArea, juce::Justification::centredLeft,
                true);
}

void drawNothingFlagged (juce::Graphics& g, juce::Rectangle<int> area)
{
    g.setColour (calm);
    g.fillRect (area.withTop (area.getBottom() - laneHeight).withTrimmedBottom (1));
    g.setColour (textColour);
    g.setFont (pictureFont (13.0f));
    g.drawText ("No stretch is out of range", area.withTrimmedBottom (laneHeight).reduced (textInset, 0),
                juce::Justification::centredLeft, true);
}

// The track's stereo curve against the preset, as the EQ pane plots a lone track at start: its
// first colour, the scale fitted to the curve, on the pane's fill.
void drawEQ (juce::Graphics& g, juce::Rectangle<int> area, const Track& track, const PictureSubject& subject,
             int dbRange)
{
    g.setColour (eqGround);
    g.fillRect (area);
    std::vector<eqpicture::Curve> curves;
    if (subject.eqPreset != nullptr)
        if (auto differences = eqcurve::curveDifferences (track, *subject.eqPreset, eqcurve::stereoMode))
            curves.push_back ({ *differences, juce::Colour (eqcurve::curveColour (0, subject.maxContrast)) });
    eqpicture::drawPlot (g, area.reduced (0, 4), curves, dbRange, pictureFont (11.0f));
}

// "BALANCED MASTER · STEREO · ±5 dB", the scale's reach as the range buttons show it.
juce::String eqTitle (const PictureSubject& subject, int dbRange)
{
    if (subject.eqPreset == nullptr)
        return "[NO PRESET SELECTED]";
    const auto dot = juce::String (juce::CharPointer_UTF8 (" \xc2\xb7 "));
    return subject.eqPreset->name + dot + "STEREO" + dot + juce::String (juce::CharPointer_UTF8 ("\xc2\xb1"))
           + juce::String (dbRange) + " dB";
}
} // namespace

PictureLayout pictureLayout (int width, int rowCount)
{
    PictureLayout layout;
    layout.width = width;
    int y = 0;
    auto take = [&] (int height)
    {
        juce::Rectangle<int> r (0, y, width, height);
        y += height;
        return r;
    };
    layout.title = take (titleHeight);
    layout.waveform = take (2 * stripWaveformHeight);
    layout.timeAxis = take (axisHeight);
    for (int i = 0; i < juce::jmax (1, rowCount); ++i)
        layout.rows.push_back (take (rowHeight));
    layout.eqTitle = take (titleHeight);
    layout.eq = take (2 * stripWaveformHeight);
    layout.height = y;
    return layout;
}

juce::Image drawTrackPicture (Track& track, const PictureSubject& subject, int width)
{
    const double duration = track.sampleRate > 0.0 ? track.numSamples / track.sampleRate : 0.0;
    std::vector<const problemscan::FlaggedKind*> rows;
    for (const auto& flagged : subject.flagged)
        if (! flagged.columns.empty())
            rows.push_back (&flagged);

    const auto layout = pictureLayout (width, (int) rows.size());
    juce::Image image (juce::Image::ARGB, layout.width, layout.height, true);
    juce::Graphics g (image);
    g.fillAll (background);

    drawTitle (g, layout.title, subject.title, subject.presetLabel);
    drawWaveform (g, layout.waveform, track, subject.preset);
    drawTimeAxis (g, layout.timeAxis, duration);
    if (rows.empty())
        drawNothingFlagged (g, layout.rows.front());
    for (size_t i = 0; i < rows.size(); ++i)
        drawRow (g, layout.rows[i], *rows[i], duration);

    const int dbRange = eqcurve::fitRange (
        eqcurve::largestEQDifference ({ &track }, subject.eqPreset, eqcurve::stereoMode));
    drawTitle (g, layout.eqTitle, "EQ", eqTitle (subject, dbRange));
    drawEQ (g, layout.eq, track, subject, dbRange);
    return image;
}

juce::String minutesSeconds (double seconds)
{
    const auto whole = (int64_t) std::floor (juce::jmax (0.0, seconds));
    return juce::String (whole / 60) + ":" + juce::String (whole % 60).paddedLeft ('0', 2);
}

double tickSeconds (double duration, int width, int minimumGap)
{
    static constexpr double steps[] = { 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600 };
    for (double step : steps)
        if (duration <= 0.0 || step / duration * width >= minimumGap)
            return step;
    return steps[std::size (steps) - 1] * std::ceil (minimumGap * duration / width / 3600.0);
}

juce::String PictureNames::nameFor (const juce::File& audioFile)
{
    const auto stem = audioFile.getFileName();
    auto name = stem + ".png";
    for (int n = 2; ! taken.insert (name.toLowerCase()).second; ++n)
        name = stem + "-" + juce::String (n) + ".png";
    return name;
}

bool writePng (const juce::Image& image, const juce::File& target)
{
    juce::MemoryOutputStream encoded;
    juce::PNGImageFormat png;
    if (! png.writeImageToStream (image, encoded))
        return false;
    return filereplace::createAndReplace (target, encoded.getData(), encoded.getDataSize());
}
} // namespace orvane::cli
