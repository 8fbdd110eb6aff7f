#include "cli/Checker.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <csignal>
#include <iostream>
#include <unistd.h>

int main (int argc, char* argv[])
{
    // A closed pipe on stdout is then a write error, told and given its exit status, not a
    // silent death by signal.
    std::signal (SIGPIPE, SIG_IGN);
    juce::ScopedJuceInitialiser_GUI juceRuntime;
    std::vector<std::string> arguments (argv + 1, argv + argc);
    return orvane::cli::runCommandLine (arguments, std::cout, std::cerr, isatty (STDERR_FILENO) != 0);
}
