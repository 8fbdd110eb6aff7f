#pragma once

#include "analysis/Model.h"
#include "targets/EQPicture.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <map>
#include <memory>

// The EQ plot: every analysed track as one curve of its band differences from the current EQ
// preset, over a cached dB scale. Message thread only.
class Trinity : public juce::Component
{
public:
    explicit Trinity (Model& model);

    // Takes a new dB range; the scale is rebuilt and the plot repainted if it changed.
    void setRange (int newRange);
    int getRange() const noexcept { return dbRange; }

    // Whether a track is drawn, and whether faintly, for the present selection and hover.
    bool isDrawn (const Track& track) const;
    bool isFaded (const Track& track) const;

    // How many curves the last paint computed afresh rather than took from the cache.
    int curvesComputedAtLastPaint() const noexcept { return lastComputed; }

    void paint (juce::Graphics&) override;
    void resized() override;
    void mouseMove (const juce::MouseEvent&) override;
    void mouseExit (const juce::MouseEvent&) override;

    // The panel places its floating labels: a mouse position in this plot, or none when the
    // mouse has left it.
    std::function<void (std::optional<juce::Point<int>>)> onMouseOver;
    // Whether the panel takes the mouse (it doesn't while disabled).
    std::function<bool()> mouseFollowed;

    Model* model;
    juce::Image gridImage;
    std::array<std::unique_ptr<juce::Label>, 10> frequencyLabels;
    int dbRange = eqcurve::startRange;
    std::vector<double> knotFrequencies = eqcurve::knotFrequencies();
    int64_t selectedTrackId = -1;
    int64_t hoveredTrackId = -1;
    juce::Label hint;

    static constexpr const char* upperHint = "Above 0dB = more energy than reference track/preset";
    static constexpr const char* lowerHint = "Below 0dB = less energy than reference track/preset";

private:
    void rebuildGrid();

    // One curve's path, kept until the differences, the size or the range change: a paint
    // only strokes what it finds here.
    struct CachedCurve
    {
        EQPreset::Bands differences {};
        int width = 0, height = 0, range = 0;
        juce::Path path;
    };
    const juce::Path& curveFor (int64_t trackId, int modeBit, const EQPreset::Bands& differences);

    std::map<std::pair<int64_t, int>, CachedCurve> curves;
    int lastComputed = 0;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (Trinity)
};
