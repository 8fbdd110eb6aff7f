#include "cli/TrackPicture.h"

#include "analysis/Track.h"
#include "cli/Options.h"
#include "targets/FileReplace.h"

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

// The colours of the window: the page behind the strips' parts, the waveform's own ground,
// text, and the heat map's dim, red and blue.
const juce::Colour background (0xff2d2e39);
const juce::Colour waveformGround (0xff121212);
const juce::Colour textColour (0xffe6e7fa);
const juce::Colour dim (0xff43476c);
const juce::Colour problem (0xfffa4d42);
const juce::Colour calm (0xff4c58c8);

juce::Font pictureFont (float height)
{
    // The window's typeface where it is installed; the system's sans serif otherwise.
    juce::Font font ("Jura", height, juce::Font::plain);
    if (font.getTypefacePtr() == nullptr || font.getTypefaceName() != "Jura")
        return juce::Font (height);
    return font;
}

const juce::String enDash = juce::String (juce::CharPointer_UTF8 ("\xe2\x80\x93"));
const juce::String ellipsis = juce::String (juce::CharPointer_UTF8 ("\xe2\x80\xa6"));

// A stretch in whole seconds that holds the flagged one: "1:02–1:09".
juce::String rangeText (const problemscan::TimeRange& range)
{
    return minutesSeconds (std::floor (range.start)) + enDash + minutesSeconds (std::ceil (range.end));
}

// "Balance: 0:08–0:12, 1:02–1:09", cut short with "… N more" where it would not fit.
juce::String rowText (const problemscan::FlaggedKind& flagged, const juce::Font& font, float room)
{
    juce::String text = juce::String (flagged.kind.name) + ": ";
    const auto& times = flagged.times;
    for (size_t i = 0; i < times.size(); ++i)
    {
        const auto next = text + (i > 0 ? ", " : "") + rangeText (times[i]);
        const auto rest = (int) (times.size() - i - 1);
        const auto tail = rest > 0 ? ", " + ellipsis + " " + juce::String (rest) + " more" : juce::String();
        if (font.getStringWidthFloat (next + tail) > room && i > 0)
            return text + ", " + ellipsis + " " + juce::String ((int) (times.size() - i)) + " more";
        text = next;
    }
    return text;
}

void drawMissing (juce::Graphics& g, juce::Rectangle<int> area, const juce::String& what)
{
    g.setColour (problem);
    g.drawRect (area, 2);
    g.setFont (pictureFont (14.0f));
    g.drawFittedText ("MISSING: " + what, area.reduced (8), juce::Justification::centred, 3);
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

void drawWaveform (juce::Graphics& g, juce::Rectangle<int> area, Track&)
{
    g.setColour (waveformGround);
    g.fillRect (area);
    drawMissing (g, area, "the strip's waveform and heat map (renderWaveformImage is not in this build)");
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
        const int labelWidth = juce::roundToInt (font.getStringWidthFloat (label)) + 2;
        const int left = juce::jlimit (area.getX(), area.getRight() - labelWidth, x - labelWidth / 2);
        g.drawText (label, left, area.getY() + 5, labelWidth, area.getHeight() - 5, juce::Justification::centred,
                    false);
    }
}

void drawRow (juce::Graphics& g, juce::Rectangle<int> area, const problemscan::FlaggedKind& flagged)
{
    // The lane lines up with the waveform's columns and is red where the heat map of this
    // reading alone would be.
    auto lane = area.withHeight (laneHeight).withTrimmedTop (1);
    g.setColour (dim);
    g.fillRect (lane);
    g.setColour (problem);
    for (const auto& run : flagged.columns)
        g.fillRect (area.getX() + run.first, lane.getY(), run.last - run.first + 1, lane.getHeight());

    const auto font = pictureFont (13.0f);
    g.setFont (font);
    g.setColour (textColour);
    const auto textArea = area.withTrimmedTop (laneHeight).reduced (textInset, 0);
    g.drawText (rowText (flagged, font, (float) textArea.getWidth()), textArea, juce::Justification::centredLeft,
                true);
}

void drawNothingFlagged (juce::Graphics& g, juce::Rectangle<int> area)
{
    g.setColour (calm);
    g.fillRect (area.withHeight (laneHeight).withTrimmedTop (1));
    g.setColour (textColour);
    g.setFont (pictureFont (13.0f));
    g.drawText ("No stretch is out of range", area.withTrimmedTop (laneHeight).reduced (textInset, 0),
                juce::Justification::centredLeft, true);
}

void drawEQ (juce::Graphics& g, juce::Rectangle<int> area, Track&, const EQPreset*)
{
    g.setColour (waveformGround);
    g.fillRect (area);
    drawMissing (g, area, "the EQ pane's curve and scale (the EQ drawing is not in this build)");
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
    std::vector<const problemscan::FlaggedKind*> rows;
    for (const auto& flagged : subject.flagged)
        if (! flagged.columns.empty())
            rows.push_back (&flagged);

    const auto layout = pictureLayout (width, (int) rows.size());
    juce::Image image (juce::Image::ARGB, layout.width, layout.height, true);
    juce::Graphics g (image);
    g.fillAll (background);

    drawTitle (g, layout.title, track.fileName, subject.presetLabel);
    drawWaveform (g, layout.waveform, track);
    drawTimeAxis (g, layout.timeAxis, track.sampleRate > 0.0 ? track.numSamples / track.sampleRate : 0.0);
    if (rows.empty())
        drawNothingFlagged (g, layout.rows.front());
    for (size_t i = 0; i < rows.size(); ++i)
        drawRow (g, layout.rows[i], *rows[i]);

    drawTitle (g, layout.eqTitle, "EQ",
               subject.eqPreset != nullptr ? subject.eqPreset->name : juce::String ("[NO PRESET SELECTED]"));
    drawEQ (g, layout.eq, track, subject.eqPreset);
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
