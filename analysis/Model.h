#pragma once

#include "analysis/LoadQueue.h"
#include "analysis/Track.h"
#include "targets/ThresholdPresets.h"
#include "targets/EQPresets.h"
#include "measure/LUFSProcessor.h"
#include "measure/MultiFrequencyAnalysis.h"
#include "measure/TruePeakProcessor.h"

#include <juce_audio_devices/juce_audio_devices.h>
#include <juce_audio_formats/juce_audio_formats.h>
#include <juce_events/juce_events.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct ThresholdPreset;

// Owns the tracks, the reference track, the load queue and its thread, and the one set of
// measurement processors. Loads report to the interface through action messages.
class Model : public juce::ActionBroadcaster
{
public:
    Model();
    ~Model() override;

    // Message texts sent by the load path.
    static constexpr const char* loadStatusMessage = "LOAD-STATUS:";
    static constexpr const char* referenceTrackMessage = "REFERENCE-TRACK:";
    static constexpr const char* initialLoadCompleteMessage = "TRACK_INITIAL_LOAD_COMPLETE:";
    static constexpr const char* waveformCompleteMessage = "TRACK_WAVEFORM_COMPLETE:";
    static constexpr const char* updateMessage = "UPDATE:";

    // How long a "File not found" text holds the load worker.
    static constexpr int64_t missingFileDelayNanoseconds = 2000000000;

    // Makes a load request for a path and queues it.
    void requestLoad (const juce::String& path, bool reference = false);
    // Load worker only: turns one request into a loaded, analysed Track.
    void processAudioFile (Track request);

    Track* getTrackById (int64_t trackId);
    void setActiveTrack (Track* track, void* strip);
    void setPlayTarget (Track* track);
    // Removes and frees the track with that id (not the reference) under tracksLock.
    bool removeTrack (int64_t trackId);

    // True if every code point is below 591 or from 8192 to 8399.
    static bool isDisplayableText (const juce::String& text);

    // Chooses leftTruePeak/rightTruePeak for a rate and loads their prototypes.
    void chooseTruePeakProcessors (double sampleRate);

    juce::AudioFormatManager audioFormatManager;
    std::thread loadThread;
    LoadQueue loadQueue;
    std::vector<std::unique_ptr<Track>> tracks;
    std::unique_ptr<Track> referenceTrack;
    bool bulkReading = false;
    std::atomic<bool> rangeAnalysing { false };
    bool transportRunning = false;
    std::mutex tracksLock;
    std::condition_variable shutdownSignal;
    std::mutex shutdownMutex;
    std::unique_ptr<juce::AudioBuffer<float>> blockBuffer;
    std::unique_ptr<LUFSProcessor<3000>> loudnessProcessor;
    std::unique_ptr<LUFSProcessor<3000>> plainLoudnessProcessor;
    TruePeakProcessor<16, 16> truePeak16a;
    TruePeakProcessor<8, 32> truePeak8a;
    TruePeakProcessor<4, 64> truePeak4a;
    TruePeakProcessor<16, 16> truePeak16b;
    TruePeakProcessor<8, 32> truePeak8b;
    TruePeakProcessor<4, 64> truePeak4b;
    TruePeakProcessorBase* truePeakTable[6];
    TruePeakProcessorBase* leftTruePeak = nullptr;
    TruePeakProcessorBase* rightTruePeak = nullptr;
    std::atomic<bool> stopAll { false };
    std::atomic<bool> deleteAfterLoad { false };
    float sharedPlayPosition = 0.0f;
    MultiFrequencyAnalysis multiFrequency;
    const ThresholdPreset* currentPreset = nullptr;
    std::function<void()> loadFailureCallback;
    std::function<void (Track*)> deleteCallback;

    Track* activeTrack = nullptr;
    void* activeStrip = nullptr;

    // --- presets, EQ presets, options and folders (targets/) ---
    // Threshold presets (targets/ModelPresets.cpp). The Model starts with the three factory
    // groups; loading the settings appends the user group, or falls back to all four.
    std::vector<PresetGroup> presetGroups = presets::makeFactoryPresetGroups (3);
    int defaultPresetId = presets::defaultPresetId;
    int defaultEQPresetId = presets::defaultEQPresetId;
    // Never null: an unknown id gives the first preset of the first group.
    const ThresholdPreset* getPresetForId (int presetId) const;
    // The browser and the session loader: remembers the id and makes it current.
    void selectPresetById (int presetId);
    // The arrow buttons: steps the current id by one (mod 32), leaving defaultPresetId alone.
    void stepPreset (bool forward);
    // Options and folders kept by the settings file (targets/SettingsStore.cpp).
    bool showToolTips = true;
    bool maxContrast = true;
    int textOutputType = 0;
    bool firstRun = false;
    bool firstRunV2 = false;
    // The audio device state read from the settings file, for the audio set-up; or null.
    std::unique_ptr<juce::XmlElement> storedDeviceState;
    juce::String lastAccessedTrackDirectory;
    juce::String lastAccessedReferenceTrackDirectory;
    juce::String lastAccessedSaveSessionDirectory;
    // Session state (targets/SessionFile.cpp): a reference analysis stands in EQ preset 62,
    // and the EQ panel's visibility and height (0 meaning unset).
    bool userPresetSet = false;
    bool eqWindowHidden = true;
    int eqWindowHeight = 0;
    // EQ presets (targets/ModelEQPresets.cpp): the nine factory groups, built once here.
    // currentEQPreset starts at the first preset of the first group; null means none chosen.
    std::vector<EQPresetGroup> eqPresetGroups = eqpresets::makeFactoryEQPresetGroups();
    const EQPreset* currentEQPreset = eqpresets::firstPreset (eqPresetGroups);
    // A pointer into eqPresetGroups, or null for an id that no group holds.
    EQPreset* getEQPresetForId (int presetId);
    const EQPreset* getEQPresetForId (int presetId) const;
    // The browser and the settings: remembers the id and makes it current (null if unknown).
    void selectEQPresetById (int presetId);
    // 0: "GROUP: NAME" of the threshold preset; otherwise the EQ preset's name;
    // "[NO PRESET SELECTED]" when none is chosen.
    juce::String getCurrentPresetName (int which) const;
    // The EQ plot: one frequency per curve point, rebuilt when the plot is resized, and the
    // band lists it draws (1 stereo, 2 mid, 4 side).
    std::vector<float> plotFrequencies;
    int eqCurveMode = 1;
    // The largest difference of any track's bands from the current EQ preset's, for the
    // plot's automatic range; 0 without tracks or preset.
    float largestEQDifference();
    // --- end of presets section ---

    // --- application shell (app/) ---
    // Ticks of 33 ms until the status text clears; below 0 it is cleared at the next tick.
    int statusCountdown = -1;
    bool settingsOpen = false;
    bool authorisationOpen = false;
    bool helpOpen = false;
    // The one player; the main component is the device's audio source.
    juce::AudioTransportSource transport;
    // The audio state the main component hands over: its device manager and the callback it
    // installed there. Cleared under audioStateLock, taken by try-lock only, when the main
    // component goes.
    std::mutex audioStateLock;
    juce::AudioDeviceManager* audioDeviceManager = nullptr;
    juce::AudioIODeviceCallback* audioCallback = nullptr;

    // --- loudness match (app/Playback.*) ---
    // Plain fields: the audio callback reads them at each block, a change lasts from the next.
    bool loudnessMatchOn = false;
    // 0 follows the short-term level sample by sample, 1 a fixed gain from the whole file.
    int loudnessMatchMode = 1;
    // LUFS: -24, -14 or -8.
    float loudnessMatchTarget = -14.0f;

private:
    void registerFormats();
    void sendLoad (const char* prefix, const Track& track);

    JUCE_DECLARE_NON_COPYABLE (Model)
};
