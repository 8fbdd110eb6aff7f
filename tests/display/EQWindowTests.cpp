#include "app/EQPresetsPlaceholder.h"
#include "display/EQWindow.h"
#include "display/ReferenceTrackDragAndDropTarget.h"
#include "support/ModelHarness.h"
#include "support/TestAudio.h"
#include "targets/ModelEQPresets.h"
#include "targets/SessionModel.h"

#include <gtest/gtest.h>

#include <random>

namespace
{
// Three analysed tracks whose bands lie 0, +3 and -3 dB from BALANCED MASTER's at its loudness.
class EQPane : public ::testing::Test
{
protected:
    void SetUp() override
    {
        testaudio::ensureMessageThread();
        model = std::make_unique<Model>();
        model->showToolTips = false;
        model->selectEQPresetById (61);
        const auto& preset = *model->currentEQPreset;
        for (int i = 0; i < 3; ++i)
        {
            auto track = std::make_unique<Track> (model.get());
            track->id = 100 + i;
            track->displayName = "TRACK " + juce::String (i);
            track->waveformComplete = true;
            track->wholeFileReadings.integratedLUFS = track->wholeFileReadings.plainIntegrated = preset.integratedLUFS;
            const float shift = i == 0 ? 0.0f : (i == 1 ? 3.0f : -3.0f);
            // A ripple of 0.4 dB keeps the curves off the flat-stretch rule, which reads 0.
            for (auto* list : { &track->multiFrequencyIntegratedLUFS, &track->midMultiFrequencyIntegratedLUFS,
                                &track->sideMultiFrequencyIntegratedLUFS })
                for (size_t b = 0; b < 14; ++b)
                    list->push_back (preset.multiFrequencyIntegratedLUFS[b] + shift + (b % 2 == 0 ? 0.2f : -0.2f));
            model->tracks.push_back (std::move (track));
        }
        window = std::make_unique<EQWindow> (*model);
        window->setBounds (0, 0, 1000, 360);
        window->updateTrackList();
    }

    void TearDown() override
    {
        window.reset();
        model.reset();
    }

    juce::Image paintPlot()
    {
        auto& trinity = window->trinityPanel.trinity;
        juce::Image image (juce::Image::RGB, trinity.getWidth(), trinity.getHeight(), true);
        juce::Graphics g (image);
        trinity.paintEntireComponent (g, false);
        return image;
    }

    // How many pixels of the plot have exactly this colour.
    static int count (const juce::Image& image, juce::uint32 argb)
    {
        int n = 0;
        for (int y = 0; y < image.getHeight(); ++y)
            for (int x = 0; x < image.getWidth(); ++x)
                n += image.getPixelAt (x, y).getARGB() == argb ? 1 : 0;
        return n;
    }

    std::vector<bool> shown() const
    {
        std::vector<bool> s;
        for (const auto& t : model->tracks)
            s.push_back (t->showInEQ);
        return s;
    }

    std::unique_ptr<Model> model;
    std::unique_ptr<EQWindow> window;
};
} // namespace

TEST_F (EQPane, TrackListMessagesFollowTheSelectionRules)
{
    auto& panel = window->trinityPanel;
    auto& trinity = panel.trinity;
    struct Step
    {
        const char* message;
        std::vector<bool> shown;
        int64_t selected, hovered;
    };
    const Step steps[] = {
        { "HOVER1", { true, true, true }, -1, 101 },
        { "SELECTED1", { false, true, false }, 101, 101 },
        { "HOVER9", { false, true, false }, 101, 101 },        // beyond the list: no effect
        { "HIDE1", { false, false, false }, -1, 101 },         // hiding the selected clears the selection
        { "UNSELECTED", { true, true, true }, -1, 101 },
        { "HIDE0", { false, true, true }, -1, 101 },
        { "SELECTED2", { false, false, true }, 102, 101 },
        { "HOVER-1", { false, false, true }, 102, -1 },
        { "SELECTED3", { false, false, true }, 102, -1 },
    };
    for (const auto& step : steps)
    {
        panel.actionListenerCallback (step.message);
        EXPECT_EQ (shown(), step.shown) << step.message;
        EXPECT_EQ (trinity.selectedTrackId, step.selected) << step.message;
        EXPECT_EQ (trinity.hoveredTrackId, step.hovered) << step.message;
    }

    // What a click on a row sends: the eye hides, a name selects, the selected name unselects.
    const int w = 237;
    EXPECT_EQ (window->trackNames.clickMessage (0, w - 5, w), "HIDE0");
    EXPECT_EQ (window->trackNames.clickMessage (0, 40, w), "SELECTED0");
    EXPECT_EQ (window->trackNames.clickMessage (2, 40, w), "UNSELECTED");
}

TEST_F (EQPane, CurvesAreDrawnInTrackColoursAndComputedOnlyWhenTheirInputsChange)
{
    auto& trinity = window->trinityPanel.trinity;
    ASSERT_EQ (trinity.getBounds(), juce::Rectangle<int> (38, 35, 1000 - 254 - 54, 360 - 20 - 40));
    const int h = trinity.getHeight();

    auto image = paintPlot();
    EXPECT_EQ (trinity.curvesComputedAtLastPaint(), 3);
    // Track 0 runs along the centre line, 1 about 3 dB over it and 2 about 3 dB under, on a
    // +-5 dB scale: each in its colour where its curve's point is.
    const int k = (int) model->plotFrequencies.size() / 2;
    const int x = 4 * (k + 1);
    const juce::uint32 colours[] = { 0xff4c58c8, 0xff4cc7c8, 0xff4cc84d };
    for (int t = 0; t < 3; ++t)
    {
        const auto d = eqcurve::curveDifferences (*model->tracks[(size_t) t], *model->currentEQPreset, 1);
        const float value = eqcurve::curveValues (*d, model->plotFrequencies)[(size_t) k];
        EXPECT_NEAR (value, t == 0 ? 0.0f : (t == 1 ? 3.0f : -3.0f), 0.3f);
        const int expected = (int) eqcurve::valueToY (value, (float) h, 5);
        int found = -1;
        for (int y = std::max (0, expected - 3); y <= std::min (h - 1, expected + 3) && found < 0; ++y)
            if (image.getPixelAt (x, y).getARGB() == colours[t])
                found = y;
        EXPECT_NE (found, -1) << "track " << t << " expected near y " << expected;
    }
    // The plot's two edges.
    EXPECT_EQ (image.getPixelAt (0, 10).getARGB(), 0xffe6e7fau);
    EXPECT_EQ (image.getPixelAt (trinity.getWidth() - 1, 10).getARGB(), 0xffe6e7fau);

    paintPlot();
    EXPECT_EQ (trinity.curvesComputedAtLastPaint(), 0);

    // A row under the mouse fades every other curve.
    window->trinityPanel.actionListenerCallback ("HOVER1");
    image = paintPlot();
    EXPECT_EQ (trinity.curvesComputedAtLastPaint(), 0);
    EXPECT_GT (count (image, 0xff4cc7c8), 0);
    EXPECT_EQ (count (image, 0xff4c58c8), 0);

    // Another preset, another mode or another size makes them anew.
    model->selectEQPresetById (10);
    window->trinityPanel.takeCurrentPreset();
    paintPlot();
    EXPECT_EQ (trinity.curvesComputedAtLastPaint(), 3);
    window->trinityPanel.setCurveMode (eqcurve::sideMode);
    paintPlot();
    EXPECT_EQ (trinity.curvesComputedAtLastPaint(), 3);
    window->setSize (900, 360);
    paintPlot();
    EXPECT_EQ (trinity.curvesComputedAtLastPaint(), 3);
    EXPECT_EQ ((int) model->plotFrequencies.size(), (trinity.getWidth() + 3) / 4);
}

TEST_F (EQPane, RangeFollowsTheCurvesAndStepsByItsButtons)
{
    auto& panel = window->trinityPanel;
    EXPECT_EQ (panel.trinity.getRange(), 5);
    EXPECT_EQ (panel.presetNameLabel.getText(), "BALANCED MASTER");

    // EDM differs from these tracks by up to some 9 dB in the side list.
    model->selectEQPresetById (10);
    panel.takeCurrentPreset();
    panel.setCurveMode (eqcurve::sideMode);
    panel.fitRangeToCurves();
    const int fitted = eqcurve::fitRange (model->largestEQDifference());
    EXPECT_GT (fitted, 5);
    EXPECT_EQ (panel.trinity.getRange(), fitted);
    EXPECT_EQ (panel.upperRange.getButtonText(), "+" + juce::String (fitted));

    std::vector<int> seen;
    for (int i = 0; i < 4; ++i)
    {
        panel.upperRange.triggerClick();
        juce::MessageManager::getInstance()->runDispatchLoopUntil (20);
        seen.push_back (panel.trinity.getRange());
    }
    EXPECT_EQ (seen.back(), fitted);
    EXPECT_EQ (panel.lowerRange.getButtonText(), "-" + juce::String (fitted));

    // Compared with the second track, that track's own curve is flat on the centre line and
    // the others stand 3 dB off it.
    panel.compareWithTrack (1);
    EXPECT_EQ (panel.presetNameLabel.getText(), "REFERENCE TRACK");
    EXPECT_TRUE (model->userPresetSet);
    panel.setCurveMode (eqcurve::stereoMode);
    struct Expect { int row; float level; };
    for (const auto e : { Expect { 0, -3.0f }, Expect { 1, 0.0f }, Expect { 2, -6.0f } })
    {
        const auto d = eqcurve::curveDifferences (*model->tracks[(size_t) e.row], *model->currentEQPreset, 1);
        EXPECT_NEAR ((*d)[5], e.level, 1.0e-4) << e.row;
    }

    model->currentEQPreset = nullptr;
    panel.takeCurrentPreset();
    EXPECT_EQ (panel.presetNameLabel.getText(), "[NO PRESET SELECTED]");
    EXPECT_FALSE (panel.stereoButton.isEnabled());
    EXPECT_TRUE (panel.menuButton.isEnabled());
}

namespace
{
// Pink noise by Paul Kellet's filter, within a fraction of a dB of 3 dB per octave across the
// audio band; a quieter opening that the band gate leaves out.
testaudio::Signal pinkNoise (unsigned seed, double seconds)
{
    std::mt19937 random (seed);
    std::uniform_real_distribution<float> white (-1.0f, 1.0f);
    const int frames = (int) (44100.0 * seconds);
    testaudio::Signal s;
    s.sampleRate = 44100.0;
    s.channels.assign (2, std::vector<float> ((size_t) frames));
    for (auto& channel : s.channels)
    {
        float b0 = 0, b1 = 0, b2 = 0, b3 = 0, b4 = 0, b5 = 0, b6 = 0;
        for (auto& sample : channel)
        {
            const float w = white (random);
            b0 = 0.99886f * b0 + w * 0.0555179f;
            b1 = 0.99332f * b1 + w * 0.0750759f;
            b2 = 0.96900f * b2 + w * 0.1538520f;
            b3 = 0.86650f * b3 + w * 0.3104856f;
            b4 = 0.55000f * b4 + w * 0.5329522f;
            b5 = -0.7616f * b5 - w * 0.0168980f;
            sample = (b0 + b1 + b2 + b3 + b4 + b5 + b6 + w * 0.5362f) * 0.05f;
            b6 = w * 0.115926f;
        }
    }
    return s;
}
} // namespace

TEST (ReferenceAnalysis, ADroppedFileBecomesPreset62AndSurvivesASession)
{
    testaudio::ensureMessageThread();
    testaudio::TempFolder temp;
    Model model;
    testaudio::MessageLog log (model);
    ReferenceTrackDragAndDropTarget target (model);
    EXPECT_EQ (target.statusLabel.getText(), "");

    const auto reference = temp.file ("a reference file with a long name.wav");
    const auto other = temp.file ("other folder/mix.wav");
    const auto mix = temp.file ("pink mix.wav");
    other.getParentDirectory().createDirectory();
    ASSERT_TRUE (testaudio::writeWav (reference, pinkNoise (1, 8.0)));
    ASSERT_TRUE (testaudio::writeWav (other, pinkNoise (2, 2.0)));
    ASSERT_TRUE (testaudio::writeWav (mix, pinkNoise (3, 8.0)));
    ASSERT_TRUE (testaudio::writeWav (temp.file ("short.wav"), pinkNoise (4, 0.5)));

    EXPECT_FALSE (target.isInterestedInFileDrag ({ reference.getFullPathName(), temp.file ("notes.txt").getFullPathName() }));
    EXPECT_TRUE (target.isInterestedInFileDrag ({ reference.getFullPathName(), mix.getFullPathName() }));

    // Two files dropped: the first is analysed, the folder of the last is remembered.
    target.filesDropped ({ reference.getFullPathName(), other.getFullPathName() }, 0, 0);
    EXPECT_EQ (target.statusLabel.getText(), "Analysing...");
    EXPECT_EQ (model.lastAccessedReferenceTrackDirectory, other.getParentDirectory().getFullPathName());
    ASSERT_TRUE (log.waitFor ("TRACK_WAVEFORM_COMPLETE:1"));
    ASSERT_TRUE (log.pumpUntil ([&] { return model.userPresetSet; }));

    const auto* preset62 = model.getEQPresetForId (62);
    ASSERT_NE (model.referenceTrack, nullptr);
    EXPECT_EQ (preset62->name, "REFERENCE TRACK");
    EXPECT_EQ (preset62->integratedLUFS, model.referenceTrack->wholeFileReadings.integratedLUFS);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_EQ (preset62->multiFrequencyIntegratedLUFS[b], model.referenceTrack->multiFrequencyIntegratedLUFS[b]);
        EXPECT_EQ (preset62->sideMultiFrequencyIntegratedLUFS[b], model.referenceTrack->sideMultiFrequencyIntegratedLUFS[b]);
    }
    EXPECT_EQ (target.statusLabel.getText(),
               "Analysis complete with track: A REFERENCE FILE WITH A L\nClick DEFAULT > REFERENCE TRACK to use "
               "this analysis.\nLoad another file to replace this analysis");
    EXPECT_EQ (ReferenceTrackDragAndDropTarget (model).statusLabel.getText(), target.statusLabel.getText());

    // An ordinary track of pink noise reads within 1 dB of the centre line against it, and
    // against the factory PINK NOISE, in every band and all along the curve.
    const auto saved = *preset62;
    model.requestLoad (mix.getFullPathName());
    ASSERT_TRUE (log.waitFor ("TRACK_WAVEFORM_COMPLETE:0"));
    log.pumpUntil ([] { return false; }, 200);
    EXPECT_EQ (model.getEQPresetForId (62)->multiFrequencyIntegratedLUFS, saved.multiFrequencyIntegratedLUFS);
    ASSERT_EQ (model.tracks.size(), 1u);
    const auto grid = eqcurve::makePlotFrequencies (900);
    // PINK NOISE's own mid list stands 3 dB over its stereo one, as no pair of independent
    // channels gives: it is compared in stereo.
    struct Against { int presetId, mode; };
    for (const auto [presetId, mode] : { Against { 62, 1 }, Against { 62, 2 }, Against { 62, 4 }, Against { 29, 1 } })
        {
            const auto d = eqcurve::curveDifferences (*model.tracks[0], *model.getEQPresetForId (presetId), mode);
            ASSERT_TRUE (d.has_value());
            for (size_t b = 0; b < 14; ++b)
                EXPECT_LT (std::abs ((*d)[b]), 1.0f) << "preset " << presetId << " mode " << mode << " band " << b;
            for (const float v : eqcurve::curveValues (*d, grid))
                EXPECT_LT (std::abs (v), 1.0f) << "preset " << presetId << " mode " << mode;
        }

    // A file too short to analyse leaves the label and the former analysis as they were.
    target.loadReference (temp.file ("short.wav").getFullPathName());
    log.pumpUntil ([&] { return model.loadQueue.processed.load() == model.loadQueue.pushed.load() && ! model.loadQueue.busy; });
    log.pumpUntil ([] { return false; }, 200);
    EXPECT_EQ (target.statusLabel.getText(), "Analysing...");
    EXPECT_EQ (model.getEQPresetForId (62)->multiFrequencyIntegratedLUFS, saved.multiFrequencyIntegratedLUFS);

    // Saved in a session and opened into another Model, preset 62 is the same.
    eqpresets::ModelSessionEqPresets savedPresets (model);
    const auto session = temp.file ("reference.bws");
    ASSERT_TRUE (sessionmodel::save (model, session, SessionWindowState(), &savedPresets));
    Model reopened;
    eqpresets::ModelSessionEqPresets reopenedPresets (reopened);
    SessionOpenHandlers handlers;
    ASSERT_TRUE (sessionmodel::open (reopened, session, &reopenedPresets, handlers).has_value());
    EXPECT_TRUE (reopened.userPresetSet);
    const auto* restored = reopened.getEQPresetForId (62);
    EXPECT_NEAR (restored->integratedLUFS, saved.integratedLUFS, 1.0e-4);
    for (size_t b = 0; b < 14; ++b)
    {
        EXPECT_NEAR (restored->multiFrequencyIntegratedLUFS[b], saved.multiFrequencyIntegratedLUFS[b], 1.0e-4);
        EXPECT_NEAR (restored->midMultiFrequencyIntegratedLUFS[b], saved.midMultiFrequencyIntegratedLUFS[b], 1.0e-4);
        EXPECT_NEAR (restored->sideMultiFrequencyIntegratedLUFS[b], saved.sideMultiFrequencyIntegratedLUFS[b], 1.0e-4);
    }

    // The stand-in preset list shows REFERENCE TRACK only once an analysis stands in it.
    EXPECT_EQ (PlaceholderEQPresetsWindow (reopened).rows().front(), 61);
    EXPECT_EQ (PlaceholderEQPresetsWindow (reopened).rows()[1], 62);
    Model fresh;
    EXPECT_EQ (PlaceholderEQPresetsWindow (fresh).rows()[1], 0);
}
