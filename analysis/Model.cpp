#include "analysis/Model.h"

#include "analysis/AudioFileCheck.h"
#include "analysis/FFmpegAudioFormat.h"

#include <chrono>

namespace
{
juce::File resolvePath (const juce::String& path)
{
    return juce::File::getCurrentWorkingDirectory().getChildFile (path);
}
} // namespace

Model::Model()
{
    registerFormats();

    truePeakTable[0] = &truePeak16a;
    truePeakTable[1] = &truePeak8a;
    truePeakTable[2] = &truePeak4a;
    truePeakTable[3] = &truePeak16b;
    truePeakTable[4] = &truePeak8b;
    truePeakTable[5] = &truePeak4b;

    loadQueue.handler = [this] (Track request) { processAudioFile (std::move (request)); };

    blockBuffer = std::make_unique<juce::AudioBuffer<float>> (2, Track::readBlock);
    loadThread = std::thread ([this] { loadQueue.run(); });
}

Model::~Model()
{
    loadQueue.stop();
    {
        std::lock_guard<std::mutex> guard (shutdownMutex);
        stopAll = true;
    }
    shutdownSignal.notify_all();
    if (loadThread.joinable())
        loadThread.join();
}

void Model::registerFormats()
{
    // WAV, AIFF, FLAC and Ogg Vorbis come from JUCE; MP3 and Windows Media from FFmpeg.
    audioFormatManager.registerBasicFormats();
    audioFormatManager.registerFormat (new FFmpegAudioFormat(), false);
}

void Model::requestLoad (const juce::String& path, bool reference)
{
    Track request (this);
    request.filePath = path;
    request.isReference = reference;
    loadQueue.enqueue (request);
}

void Model::sendLoad (const char* prefix, const Track& track)
{
    sendActionMessage (juce::String (prefix) + (track.isReference ? "1" : "0") + juce::String (track.id));
}

void Model::processAudioFile (Track request)
{
    try
    {
        if (stopAll)
            return;

        const juce::String path = request.filePath;
        const auto file = path.isEmpty() ? juce::File() : resolvePath (path);
        if (path.isEmpty() || ! file.existsAsFile())
        {
            sendActionMessage (juce::String (loadStatusMessage) + "File not found " + Track::stemOf (path));
            // The text stays up for two seconds and the worker does nothing else meanwhile;
            // only shutdown cuts the wait short.
            {
                std::unique_lock<std::mutex> guard (shutdownMutex);
                shutdownSignal.wait_for (guard, std::chrono::nanoseconds (missingFileDelayNanoseconds),
                                         [this] { return stopAll.load(); });
            }
            sendActionMessage (referenceTrackMessage);
            return;
        }

        // Only a regular file at a rate the measures are made for; anything else is skipped in
        // silence, as a file no format decodes.
        auto opened = audiofile::open (file, audioFormatManager);
        if (opened.reader == nullptr)
            return;
        auto* reader = opened.reader.release();

        sendActionMessage (juce::String (loadStatusMessage) + "Loading " + Track::stemOf (path));

        auto track = std::make_unique<Track> (this, reader, path, request.isReference, juce::String());
        if (track->sampleRate > (double) track->numSamples)
            return;

        Track* loaded = track.get();
        {
            std::lock_guard<std::mutex> guard (tracksLock);
            if (loaded->isReference)
                referenceTrack = std::move (track);
            else
                tracks.push_back (std::move (track));
        }
        sendLoad (initialLoadCompleteMessage, *loaded);

        loaded->loadAndAnalyse (blockBuffer.get());

        if (deleteAfterLoad.exchange (false))
        {
            if (deleteCallback)
                deleteCallback (loaded);
            return;
        }

        if (! loaded->isReference)
            loaded->buildWaveformPoints();

        sendLoad (waveformCompleteMessage, *loaded);
    }
    catch (...)
    {
        if (loadFailureCallback)
            juce::MessageManager::callAsync (loadFailureCallback);
    }
}

Track* Model::getTrackById (int64_t trackId)
{
    for (auto& track : tracks)
        if (track->id == trackId)
            return track.get();
    return referenceTrack.get();
}

void Model::setActiveTrack (Track* track, void* strip)
{
    if (activeTrack != nullptr)
        sharedPlayPosition = activeTrack->playPosition;

    activeTrack = track;
    activeStrip = strip;
    if (track == nullptr)
        return;

    track->selected = true;
    for (auto& t : tracks)
        t->selected = t->id == track->id;
    sendActionMessage (updateMessage);
}

void Model::setPlayTarget (Track* track)
{
    if (track != nullptr)
    {
        track->playTarget = true;
        for (auto& t : tracks)
            t->playTarget = t->id == track->id;
    }
    else
    {
        for (auto& t : tracks)
            t->playTarget = false;
    }
    sendActionMessage (updateMessage);
}

bool Model::removeTrack (int64_t trackId)
{
    std::unique_ptr<Track> removed;
    {
        std::lock_guard<std::mutex> guard (tracksLock);
        for (auto it = tracks.begin(); it != tracks.end(); ++it)
        {
            if ((*it)->id == trackId)
            {
                removed = std::move (*it);
                tracks.erase (it);
                break;
            }
        }
        if (removed != nullptr && activeTrack == removed.get())
        {
            activeTrack = nullptr;
            activeStrip = nullptr;
        }
        if (removed != nullptr)
            removed.reset();
        else
            return false;
    }
    return true;
}

bool Model::isDisplayableText (const juce::String& text)
{
    for (auto p = text.getCharPointer(); ! p.isEmpty();)
    {
        const auto c = (uint32_t) p.getAndAdvance();
        if (! (c < 591 || (c >= 8192 && c <= 8399)))
            return false;
    }
    return true;
}

void Model::chooseTruePeakProcessors (double fs)
{
    if (fs <= 44100.0)
    {
        leftTruePeak = &truePeak16a;
        rightTruePeak = &truePeak16b;
        leftTruePeak->loadPrototype (truepeak::prototypeA);
        rightTruePeak->loadPrototype (truepeak::prototypeA);
    }
    else if (fs <= 48000.0)
    {
        leftTruePeak = &truePeak16a;
        rightTruePeak = &truePeak16b;
        leftTruePeak->loadPrototype (truepeak::prototypeB);
        rightTruePeak->loadPrototype (truepeak::prototypeB);
    }
    else if (fs <= 96000.0)
    {
        leftTruePeak = &truePeak8a;
        rightTruePeak = &truePeak8b;
        leftTruePeak->loadPrototype (truepeak::prototypeC);
        rightTruePeak->loadPrototype (truepeak::prototypeC);
    }
    else
    {
        // Above 96 kHz one processor takes both channels, fed left, right, left, right.
        leftTruePeak = &truePeak4a;
        rightTruePeak = &truePeak4a;
        leftTruePeak->loadPrototype (truepeak::prototypeD);
        rightTruePeak->loadPrototype (truepeak::prototypeD);
    }
}
