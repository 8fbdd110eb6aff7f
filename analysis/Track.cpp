#include "analysis/Track.h"

#include "analysis/Model.h"

#include <juce_graphics/juce_graphics.h>

#include <chrono>

Track::Track (Model* owner) : model (owner) {}

Track::Track (const Track& request)
    : filePath (request.filePath), isReference (request.isReference), model (request.model)
{
}

Track::Track (Model* owner, juce::AudioFormatReader* reader, const juce::String& path, bool reference,
              const juce::String& nameToShow)
    : model (owner)
{
    isReference = reference;
    wholeFileReadings.reserve();
    loopReadings.reserve();

    id = clockId();
    fileName = stemOf (path);
    filePath = path;
    displayName = nameToShow.isNotEmpty() ? nameToShow : fileName;

    readerSource = std::make_unique<juce::AudioFormatReaderSource> (reader, true);
    readerSource->setLooping (false);

    sampleRate = reader->sampleRate;
    numChannels = (int) reader->numChannels;
    numSamples = (int) readerSource->getTotalLength();

    rangeInterval = (int) (sampleRate * (double) 0.1f);

    const double roundedRate = (double) (float) sampleRate;
    playbackLoudness.sampleRate = roundedRate;
    playbackLoudness.peakLength = (int) (roundedRate * 3.0);
    playbackLoudness.startCount = 0;
    // Playback reads only its short-term value.
    playbackLoudness.prepare (LUFSProcessor<3000>::shortTermMeasure);
}

Track::~Track() = default;

void Track::copyStereoSteps (const AllReadings& from, std::vector<float>& balance, std::vector<float>& correlation) const
{
    const std::lock_guard<std::mutex> guard (stereoStepsLock);
    balance.assign (from.balanceSteps.begin(), from.balanceSteps.end());
    correlation.assign (from.correlationSteps.begin(), from.correlationSteps.end());
}

juce::String Track::stemOf (const juce::String& path)
{
    const int separator = juce::jmax (path.lastIndexOfChar ('\\'), path.lastIndexOfChar ('/'));
    const int dot = path.lastIndexOfChar ('.');
    juce::String stem;
    if (dot > separator + 1)
        stem = path.substring (separator + 1, dot);
    else if (separator < 0)
        stem = path;
    else
        stem = path.substring (separator + 1);
    return stem.toUpperCase();
}

int64_t Track::clockId()
{
    using Ticks = std::chrono::duration<int64_t, std::ratio<1, 10000000>>;
    const auto ticks = std::chrono::duration_cast<Ticks> (std::chrono::system_clock::now().time_since_epoch());
    return ticks.count() / 10000;
}

Loop* Track::regionAt (int pixel)
{
    for (auto& loop : loops)
        if (loop.startPixel <= pixel + 1 && loop.endPixel >= pixel - 1)
            return &loop;
    return nullptr;
}

Loop* Track::regionAtExcept (int pixel, int64_t idToSkip)
{
    for (auto& loop : loops)
        if (loop.startPixel <= pixel && pixel <= loop.endPixel && loop.id != idToSkip)
            return &loop;
    return nullptr;
}

void Track::removeRegion (int64_t regionId)
{
    for (auto it = loops.begin(); it != loops.end(); ++it)
    {
        if (it->id == regionId)
        {
            loops.erase (it);
            return;
        }
    }
}

Loop& Track::addRegion (const Loop& loop)
{
    loops.push_back (loop);
    return loops.back();
}
