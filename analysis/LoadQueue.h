#pragma once

#include "analysis/Track.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

// The queue of load requests. One loop, on the model's load thread, takes the requests
// in batches and hands them to the handler one at a time, in the order they came.
class LoadQueue
{
public:
    static constexpr int defaultCapacity = 40;

    // Takes a copy of the request unless a running batch already holds capacity requests.
    void enqueue (Track request);
    // Runs until stop() is called; meant for the load thread.
    void run();
    void stop();
    // Drops the rest of the running batch. Nothing in the program calls it.
    void requestClear();
    void setPaused (bool shouldPause);
    // Blocks until no batch is running and the inbox is empty.
    void waitUntilIdle();

    bool paused = false;
    std::atomic<bool> stopRequested { false };
    std::atomic<bool> clearRequested { false };
    std::atomic<bool> busy { false };
    std::condition_variable wake;
    std::condition_variable cleared;
    bool idle = true;
    std::condition_variable idleSignal;
    std::mutex idleMutex;
    std::atomic<int> pushed { 0 };
    std::atomic<int> processed { 0 };
    std::mutex lock;
    std::function<void (Track)> handler;
    std::vector<Track> inbox;
    std::vector<Track> batch;
    int capacity = defaultCapacity;
};
