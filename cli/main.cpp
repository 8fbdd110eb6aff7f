#include "cli/Checker.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <iostream>
#include <unistd.h>

int main (int argc, char* argv[])
{
    juce::ScopedJuceInitialiser_GUI juceRuntime;
    std::vector<juce::String> arguments;
    for (int i = 1; i < argc; ++i)
        arguments.push_back (juce::String (juce::CharPointer_UTF8 (argv[i])));
    return orvane::cli::runCommandLine (arguments, std::cout, std::cerr, isatty (STDERR_FILENO) != 0);
}
