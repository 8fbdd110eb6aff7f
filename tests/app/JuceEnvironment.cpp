#include <juce_gui_basics/juce_gui_basics.h>

#include <gtest/gtest.h>

namespace
{
// JUCE's GUI side is set up once for the whole program and shut down at its end, so that the
// singletons the components create are gone before the leak checks of a debug build run.
class JuceEnvironment : public ::testing::Environment
{
public:
    void SetUp() override { juce::initialiseJuce_GUI(); }
    void TearDown() override { juce::shutdownJuce_GUI(); }
};

const auto* const environment = ::testing::AddGlobalTestEnvironment (new JuceEnvironment());
} // namespace
