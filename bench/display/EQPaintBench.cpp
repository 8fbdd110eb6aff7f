// Paint time of the EQ pane's plot with 20 tracks, the most a user is likely to compare: the
// steady paint (curves taken from the cache), a paint after the preset changed (every curve
// computed anew) and a resize (the scale rebuilt once).

#include "display/EQWindow.h"

#include <benchmark/benchmark.h>
#include <juce_gui_basics/juce_gui_basics.h>

#include <memory>

namespace
{
struct Pane
{
    Pane()
    {
        model.selectEQPresetById (61);
        const auto& preset = *model.currentEQPreset;
        for (int t = 0; t < 20; ++t)
        {
            auto track = std::make_unique<Track> (&model);
            track->id = 1 + t;
            track->waveformComplete = true;
            track->wholeFileReadings.integratedLUFS = track->wholeFileReadings.plainIntegrated = preset.integratedLUFS;
            for (auto* list : { &track->multiFrequencyIntegratedLUFS, &track->midMultiFrequencyIntegratedLUFS,
                                &track->sideMultiFrequencyIntegratedLUFS })
                for (size_t b = 0; b < 14; ++b)
                    list->push_back (preset.multiFrequencyIntegratedLUFS[b] + (float) ((t * 7 + (int) b * 3) % 11) - 5.0f);
            model.tracks.push_back (std::move (track));
        }
        window.setBounds (0, 0, 1600, 500);
        window.updateTrackList();
    }

    void paint()
    {
        auto& plot = window.trinityPanel.trinity;
        juce::Graphics g (image);
        plot.paintEntireComponent (g, false);
    }

    Model model;
    EQWindow window { model };
    juce::Image image { juce::Image::ARGB, 1600 - 254 - 54, 500 - 20 - 40, true };
};

void BM_EQPlotPaint20Tracks (benchmark::State& state)
{
    Pane pane;
    pane.paint();
    for (auto _ : state)
        pane.paint();
    state.counters["computed"] = pane.window.trinityPanel.trinity.curvesComputedAtLastPaint();
}
BENCHMARK (BM_EQPlotPaint20Tracks)->Unit (benchmark::kMicrosecond);

void BM_EQPlotPaint20TracksAfterPresetChange (benchmark::State& state)
{
    Pane pane;
    bool edm = false;
    for (auto _ : state)
    {
        pane.model.selectEQPresetById ((edm = ! edm) ? 10 : 61);
        pane.paint();
    }
    state.counters["computed"] = pane.window.trinityPanel.trinity.curvesComputedAtLastPaint();
}
BENCHMARK (BM_EQPlotPaint20TracksAfterPresetChange)->Unit (benchmark::kMicrosecond);

void BM_EQPaneResize (benchmark::State& state)
{
    Pane pane;
    int width = 1600;
    for (auto _ : state)
    {
        width = width == 1600 ? 1599 : 1600;
        pane.window.setSize (width, 500);
    }
}
BENCHMARK (BM_EQPaneResize)->Unit (benchmark::kMicrosecond);
} // namespace

int main (int argc, char** argv)
{
    juce::ScopedJuceInitialiser_GUI gui;
    benchmark::Initialize (&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
