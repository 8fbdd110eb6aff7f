// Cost of opening and decoding compressed files through FFmpegAudioFormat: 30 s of stereo
// programme at 44.1 kHz, encoded once per run by the ffmpeg tool.
#include "analysis/FFmpegAudioFormat.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

namespace
{
constexpr int benchRate = 44100;
constexpr int benchSeconds = 30;
constexpr int blockSize = 16384;

bool runFfmpeg (const juce::StringArray& arguments)
{
    juce::ChildProcess process;
    juce::StringArray command { "ffmpeg", "-nostdin", "-hide_banner", "-y", "-loglevel", "error" };
    command.addArray (arguments);
    if (! process.start (command))
        return false;
    process.readAllProcessOutput();
    return process.waitForProcessToFinish (120000) && process.getExitCode() == 0;
}

// The encoded files, made on first use and removed at exit. Empty when ffmpeg is missing.
struct BenchFiles
{
    juce::File folder;
    juce::MemoryBlock mp3, vbrMp3, wma;

    BenchFiles()
    {
        folder = juce::File::getSpecialLocation (juce::File::tempDirectory).getNonexistentChildFile ("orvane-bench", "", false);
        folder.createDirectory();

        const auto raw = folder.getChildFile ("source.f32");
        {
            juce::FileOutputStream out (raw);
            juce::Random random (3);
            const double twoPi = juce::MathConstants<double>::twoPi;
            for (int i = 0; i < benchRate * benchSeconds; ++i)
            {
                const double t = (double) i / benchRate;
                const double swell = 0.6 + 0.4 * std::sin (twoPi * 0.25 * t);
                for (int c = 0; c < 2; ++c)
                    out.writeFloat ((float) (swell * (0.3 * std::sin (twoPi * (110.0 + 55.0 * c) * t)
                                                      + 0.1 * std::sin (twoPi * 2200.0 * t))
                                             + 0.05 * (random.nextFloat() * 2.0f - 1.0f)));
            }
        }
        const juce::StringArray input { "-f", "f32le", "-ar", juce::String (benchRate), "-ac", "2", "-i", raw.getFullPathName() };
        const auto make = [&] (const char* name, const juce::StringArray& options, juce::MemoryBlock& bytes)
        {
            const auto file = folder.getChildFile (name);
            auto args = input;
            args.addArray (options);
            args.add (file.getFullPathName());
            if (runFfmpeg (args))
                file.loadFileAsData (bytes);
        };
        make ("cbr.mp3", { "-c:a", "libmp3lame", "-b:a", "192k" }, mp3);
        make ("vbr.mp3", { "-c:a", "libmp3lame", "-q:a", "2" }, vbrMp3);
        make ("a.wma", { "-c:a", "wmav2", "-b:a", "128k" }, wma);
    }

    ~BenchFiles() { folder.deleteRecursively(); }

    static BenchFiles& get()
    {
        static BenchFiles files;
        return files;
    }
};

std::unique_ptr<juce::AudioFormatReader> openFromMemory (const juce::MemoryBlock& bytes)
{
    FFmpegAudioFormat format;
    return std::unique_ptr<juce::AudioFormatReader> (
        format.createReaderFor (new juce::MemoryInputStream (bytes, false), true));
}

const juce::MemoryBlock* fileFor (benchmark::State& state, const juce::MemoryBlock& bytes)
{
    if (bytes.isEmpty())
    {
        state.SkipWithError ("the ffmpeg tool is missing or failed; nothing to decode");
        return nullptr;
    }
    return &bytes;
}

// Opening alone: for MP3 a demux of the whole file, for WMA a demux and a counting decode.
void openOnly (benchmark::State& state, const juce::MemoryBlock& source)
{
    const auto* bytes = fileFor (state, source);
    if (bytes == nullptr)
        return;
    for (auto _ : state)
    {
        auto reader = openFromMemory (*bytes);
        if (reader == nullptr)
        {
            state.SkipWithError ("the file didn't open");
            return;
        }
        benchmark::DoNotOptimize (reader->lengthInSamples);
    }
    state.SetItemsProcessed (state.iterations() * (int64_t) benchRate * benchSeconds);
    state.counters["fileSeconds"] = benchSeconds;
}

// Opening and reading every sample front to back in blocks of 16384, as a load does.
void openAndDecode (benchmark::State& state, const juce::MemoryBlock& source)
{
    const auto* bytes = fileFor (state, source);
    if (bytes == nullptr)
        return;
    juce::AudioBuffer<float> block (2, blockSize);
    for (auto _ : state)
    {
        auto reader = openFromMemory (*bytes);
        if (reader == nullptr)
        {
            state.SkipWithError ("the file didn't open");
            return;
        }
        for (juce::int64 pos = 0; pos < reader->lengthInSamples; pos += blockSize)
            reader->read (&block, 0, blockSize, pos, true, true);
        benchmark::DoNotOptimize (block.getReadPointer (0)[0]);
    }
    state.SetItemsProcessed (state.iterations() * (int64_t) benchRate * benchSeconds);
}

// Single blocks at scattered block starts, each one a seek with its pre-roll.
void scatteredBlocks (benchmark::State& state, const juce::MemoryBlock& source)
{
    const auto* bytes = fileFor (state, source);
    if (bytes == nullptr)
        return;
    auto reader = openFromMemory (*bytes);
    if (reader == nullptr || reader->lengthInSamples < 16 * blockSize)
    {
        state.SkipWithError ("the file didn't open");
        return;
    }
    const int blocks = (int) (reader->lengthInSamples / blockSize);
    juce::AudioBuffer<float> block (2, blockSize);
    int j = 0;
    for (auto _ : state)
    {
        j = (j + 7) % blocks; // never the next block, so never a plain continuation
        reader->read (&block, 0, blockSize, (juce::int64) j * blockSize, true, true);
        benchmark::DoNotOptimize (block.getReadPointer (0)[0]);
    }
    state.SetItemsProcessed (state.iterations() * blockSize);
}

void BM_Mp3Open (benchmark::State& state) { openOnly (state, BenchFiles::get().mp3); }
void BM_Mp3OpenAndDecode (benchmark::State& state) { openAndDecode (state, BenchFiles::get().mp3); }
void BM_Mp3VbrOpenAndDecode (benchmark::State& state) { openAndDecode (state, BenchFiles::get().vbrMp3); }
void BM_Mp3ScatteredBlocks (benchmark::State& state) { scatteredBlocks (state, BenchFiles::get().mp3); }
void BM_WmaOpen (benchmark::State& state) { openOnly (state, BenchFiles::get().wma); }
void BM_WmaOpenAndDecode (benchmark::State& state) { openAndDecode (state, BenchFiles::get().wma); }
void BM_WmaScatteredBlocks (benchmark::State& state) { scatteredBlocks (state, BenchFiles::get().wma); }
} // namespace

BENCHMARK (BM_Mp3Open)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_Mp3OpenAndDecode)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_Mp3VbrOpenAndDecode)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_Mp3ScatteredBlocks)->Unit (benchmark::kMicrosecond);
BENCHMARK (BM_WmaOpen)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_WmaOpenAndDecode)->Unit (benchmark::kMillisecond);
BENCHMARK (BM_WmaScatteredBlocks)->Unit (benchmark::kMicrosecond);
