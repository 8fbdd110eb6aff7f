// Writes the benchmark audio: orvane-bench-audio FILE SECONDS (scripts/bench.sh).
#include "audio/BenchAudio.h"

#include <cstdio>
#include <cstdlib>

int main (int argc, char** argv)
{
    if (argc != 3 || std::atoi (argv[2]) < 1)
    {
        std::fprintf (stderr, "usage: orvane-bench-audio FILE SECONDS\n");
        return 3;
    }
    const auto file = juce::File::getCurrentWorkingDirectory().getChildFile (argv[1]);
    if (! writeBenchAudio (file, std::atoi (argv[2])))
    {
        std::fprintf (stderr, "orvane-bench-audio: could not write %s\n", argv[1]);
        return 2;
    }
    return 0;
}
