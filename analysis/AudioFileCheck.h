#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

#include <atomic>
#include <memory>
#include <optional>

// How an audio file is opened for a track: only regular files, only rates the measures are
// made for, and never trusting a header's length beyond what the file holds. Used by the load
// worker (which drops a refused file in silence) and by the checker (which names the reason).
namespace audiofile
{
// The rates the loudness and band filters are designed for.
constexpr double lowestSampleRate = 8000.0;
constexpr double highestSampleRate = 768000.0;

// The read buffer a file's decoder reads through.
constexpr int readBufferBytes = 256 * 1024;

// Where a file's audio stops being what its header promises.
struct Fault
{
    enum class Kind
    {
        truncated, // the stream ends before the length its header promises
        damaged,   // the decoder met data it could not decode
    };
    Kind kind = Kind::truncated;
    juce::int64 frame = 0;     // the first frame that is missing or damaged
    juce::int64 promised = -1; // for a truncated stream, the length its header states, if any
};

// A reader that can tell what went wrong while it decoded. Readers of our own implement it.
class FaultReporting
{
public:
    virtual ~FaultReporting() = default;
    virtual std::optional<Fault> fault() const = 0;
};

// Why the path cannot be read as a stored file, or empty: it must exist and be a regular file
// (after following links) outside /proc and /sys. Opening a FIFO would block until a writer comes.
juce::String notARegularFile (const juce::File& file);

// Wraps a decoder's reader: its length is bounded by what the file holds, samples that are not
// finite numbers (NaN, infinities) read as 0 and are counted, and the faults found by a scan
// of the file before reading and by the decoder while reading are kept.
class CheckedReader final : public juce::AudioFormatReader, public FaultReporting
{
public:
    CheckedReader (std::unique_ptr<juce::AudioFormatReader> decoder, std::optional<Fault> scanned,
                   juce::int64 framesHeld);

    bool readSamples (int* const* destChannels, int numDestChannels, int startOffsetInDestBuffer,
                      juce::int64 startSampleInFile, int numSamples) override;

    // The earliest fault known so far.
    std::optional<Fault> fault() const override;
    // Non-finite samples met in the first read of each position.
    juce::int64 nonFiniteSamples() const { return nonFinite; }
    // The length the header states.
    juce::int64 claimedLength() const { return claimed; }

private:
    std::unique_ptr<juce::AudioFormatReader> inner;
    std::optional<Fault> scannedFault;
    juce::int64 claimed = 0;
    juce::int64 countedUpTo = 0;
    std::atomic<juce::int64> nonFinite { 0 };
};

struct Opened
{
    std::unique_ptr<CheckedReader> reader;
    juce::String problem; // why there is no reader: one phrase that follows the file's name
};

// Opens a file for reading as a track does. No reader and a reason for anything that is not
// a regular file, that no format decodes, that has no channels, or whose rate lies outside
// [lowestSampleRate, highestSampleRate].
Opened open (const juce::File& file, juce::AudioFormatManager& formats);

// "truncated at 6.02 s" / "damaged at 1:02.50", for a fault of a reader at that rate.
juce::String describe (const Fault& fault, double sampleRate);
} // namespace audiofile
