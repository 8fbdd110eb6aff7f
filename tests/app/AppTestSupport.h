#pragma once

#include "analysis/Model.h"
#include "app/MainContentComponent.h"
#include "support/ModelHarness.h"
#include "support/TestAudio.h"
#include "targets/SettingsStore.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace apptest
{
// A Model with the four compiled-in preset groups, a settings store in a temporary folder,
// and (on request) the main component, none of them on the desktop.
class AppFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        testaudio::ensureMessageThread();
        // The notices of a main component that lives past 100 ticks ask a closed local port.
        ::setenv ("ORVANE_VERSION_URL", "http://127.0.0.1:9/version", 0);
        ::setenv ("ORVANE_NEW_PRODUCT_URL", "http://127.0.0.1:9/newproduct", 0);
        model = std::make_unique<Model>();
        model->presetGroups = presets::makeFactoryPresetGroups (4);
        model->currentPreset = model->getPresetForId (model->defaultPresetId);
        // No tooltip window: it would follow the mouse on a display.
        model->showToolTips = false;
        settings = std::make_unique<SettingsStore> (*model, temp.path());
    }

    void TearDown() override
    {
        content.reset();
        settings.reset();
        model.reset();
    }

    MainContentComponent& makeContent()
    {
        content = std::make_unique<MainContentComponent> (*model, *settings);
        return *content;
    }

    // Runs the message loop until the condition holds; false on time-out.
    bool pumpUntil (const std::function<bool()>& done, int timeoutMs = 20000)
    {
        const auto end = juce::Time::currentTimeMillis() + timeoutMs;
        while (! done())
        {
            if (juce::Time::currentTimeMillis() > end)
                return false;
            juce::MessageManager::getInstance()->runDispatchLoopUntil (5);
        }
        return true;
    }

    void pumpFor (int ms)
    {
        juce::MessageManager::getInstance()->runDispatchLoopUntil (ms);
    }

    // Short stereo sine files that load quickly.
    juce::File writeTone (const juce::String& name, double seconds = 1.2, double frequency = 440.0)
    {
        auto file = temp.file (name);
        EXPECT_TRUE (testaudio::writeWav (file, testaudio::sine (44100.0, 2, seconds, frequency, 0.25)));
        return file;
    }

    int trackCount()
    {
        std::lock_guard<std::mutex> guard (model->tracksLock);
        return (int) model->tracks.size();
    }

    // Adds empty tracks straight to the list, for the limits that only count them.
    void addPlaceholderTracks (int count)
    {
        std::lock_guard<std::mutex> guard (model->tracksLock);
        for (int i = 0; i < count; ++i)
        {
            auto track = std::make_unique<Track> (model.get());
            track->id = 1000 + (int64_t) model->tracks.size();
            model->tracks.push_back (std::move (track));
        }
    }

    testaudio::TempFolder temp;
    std::unique_ptr<Model> model;
    std::unique_ptr<SettingsStore> settings;
    std::unique_ptr<MainContentComponent> content;
};
} // namespace apptest
