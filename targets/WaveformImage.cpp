#include "targets/WaveformImage.h"

#include "analysis/Track.h"
#include "targets/ProblemScan.h"

#include <cmath>

namespace waveformimage
{
JudgedRange judgedRange (const Track& track, int width)
{
    if (track.loops.empty())
        return { 0, width };
    return { track.loops.front().startPixel, track.loops.front().endPixel };
}

juce::uint32 columnColour (Track& track, const ThresholdPreset& preset, int x, JudgedRange range)
{
    if (track.isReference)
        return dimColour;
    if (! track.hasProblems || x < range.start || x > range.end)
        return plainColour;
    return problemscan::isOutOfRange (track, preset, x - range.start, *track.currentReadings) ? flaggedColour
                                                                                               : dimColour;
}

void renderWaveformImage (Track& track, const ThresholdPreset& preset, int width, int height)
{
    const auto& points = track.waveformPoints;
    if (points.empty() || width <= 0 || height <= 0)
        return;

    const auto range = judgedRange (track, width);
    auto image = std::make_unique<juce::Image> (juce::Image::ARGB, width, height, true);
    juce::Graphics g (*image);

    const float ratio = (float) points.size() / (float) width;
    const int count = (int) points.size();

    for (int x = 0; x < width; ++x)
    {
        // Neighbouring columns share their end points, which smooths the picture a little.
        const int first = (int) std::floor (ratio * (float) x);
        const int last = (int) std::ceil (ratio * (float) (x + 1));
        float sum = 0.0f;
        int n = 0;
        for (int i = juce::jmax (first, 0); i <= last && i < count; ++i)
        {
            sum += points[(size_t) i];
            ++n;
        }

        const auto colour = columnColour (track, preset, x, range);
        if (n > 0)
        {
            const float h = (sum / (float) n) * (float) height;
            g.setColour (juce::Colour (colour));
            g.fillRect (x, (int) ((float) height * 0.5f - h * 0.5f), 1, (int) h);
        }
    }

    track.waveformImage = std::move (image);
    track.imageReady = true;
}

void rebuildHeatMap (Track& track, const ThresholdPreset& preset, int width, int height)
{
    problemscan::scanForProblems (track, preset, width);
    renderWaveformImage (track, preset, width, height);
}
} // namespace waveformimage
