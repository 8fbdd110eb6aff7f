#pragma once

#include "analysis/AllReadings.h"
#include "measure/LUFSProcessor.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace juce { class Image; }
class Model;

// One loaded audio file with everything measured from it. The copy constructor makes a
// load request (path, reference flag and model only), which is how a Track travels
// through the load queue; a finished Track is never duplicated.
class Track
{
public:
    static constexpr int readBlock = 16384;
    static constexpr int pixelCount = 2000;
    static constexpr float bandGate = 1.5f;
    static constexpr float waveformHeadroom = 0.8f;

    explicit Track (Model* owner);
    Track (const Track& request);
    Track (Model* owner, juce::AudioFormatReader* reader, const juce::String& path,
           bool reference, const juce::String& nameToShow);
    ~Track();

    Track& operator= (const Track&) = delete;

    // The upper-case file stem: between the last separator and the last dot.
    static juce::String stemOf (const juce::String& path);
    // Milliseconds since 1970 from a clock of 100 ns ticks.
    static int64_t clockId();

    Loop* regionAt (int pixel);
    Loop* regionAtExcept (int pixel, int64_t idToSkip);
    void removeRegion (int64_t regionId);
    Loop& addRegion (const Loop& loop);

    // Decodes the file into memory, measures the loudest blocks by band, then walks every frame.
    void loadAndAnalyse (juce::AudioBuffer<float>* blockBuffer);
    // The per-frame loop over [startSample, endSample) into one record.
    void analyseRange (int startSample, int endSample, AllReadings* readings, float progressBase,
                       std::function<void()> finished);
    // Normalised RMS points the waveform is drawn from.
    void buildWaveformPoints();

    std::vector<Loop> loops;
    int64_t id = 0;
    std::vector<float> waveformPoints;
    std::unique_ptr<juce::Image> waveformImage;
    std::unique_ptr<juce::AudioFormatReaderSource> readerSource;
    int numSamples = 0;
    juce::String fileName;
    juce::String displayName;
    juce::String unusedText1, unusedText2;
    juce::String filePath;
    std::unique_ptr<float[]> leftChannel;
    std::unique_ptr<float[]> rightChannel;
    std::vector<float> multiFrequencyIntegratedLUFS;
    std::vector<float> midMultiFrequencyIntegratedLUFS;
    std::vector<float> sideMultiFrequencyIntegratedLUFS;
    double sampleRate = 0.0;
    int numChannels = 0;
    int samplesRead = 0;
    float progress = 0.0f;
    int stepLength = 0;
    AllReadings wholeFileReadings;
    AllReadings loopReadings;
    AllReadings* currentReadings = &wholeFileReadings;
    bool isReference = false;
    bool resumeFromOwnPosition = false;
    std::atomic<bool> abortRequested { false };
    LUFSProcessor<3000> playbackLoudness;
    bool constructed = true;
    Model* model = nullptr;
    bool hasProblems = false;
    float playPosition = 0.0f;
    bool selected = false;
    bool playTarget = false;
    bool analysing = false;
    bool loading = false;
    bool analysisComplete = false;
    bool waveformComplete = false;
    bool imageReady = false;
    bool showInEQ = true;
    int heatMapCategory = 0;
    int rangeInterval = 0;
    float pointsPerPixel = 0.0f;
    float stepsPerPixel = 0.0f;
    float rangePointsPerPixel = 0.0f;
    int stepCount = 0;
    std::vector<float> unusedSequence;

    // The balance and correlation steps of a record as far as an analysis has written them: a
    // strip draws them live while the analysis thread appends (and may move them in memory).
    void copyStereoSteps (const AllReadings& from, std::vector<float>& balance, std::vector<float>& correlation) const;
    // Held by the analysis while it clears or appends to those two sequences.
    mutable std::mutex stereoStepsLock;
};
