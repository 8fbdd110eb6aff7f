#include "analysis/LoadQueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{
// A queue on its own thread whose handler, while `hold` is set, waits, and then records the
// request's path (read only once the queue is idle).
struct RunningQueue
{
    LoadQueue queue;
    std::atomic<bool> hold { false };
    std::vector<juce::String> seen;
    std::thread worker;

    RunningQueue()
    {
        queue.handler = [this] (Track request)
        {
            while (hold)
                std::this_thread::sleep_for (std::chrono::milliseconds (1));
            seen.push_back (request.filePath);
        };
        worker = std::thread ([this] { queue.run(); });
    }
    ~RunningQueue()
    {
        hold = false;
        queue.stop();
        worker.join();
    }
    void push (const juce::String& path)
    {
        Track request (nullptr);
        request.filePath = path;
        queue.enqueue (request);
    }
    void waitUntil (const std::function<bool()>& done)
    {
        while (! done())
            std::this_thread::sleep_for (std::chrono::milliseconds (1));
    }
};
} // namespace

// Requests that arrive while a batch runs wait for the next one; all are handled in the order
// they came. The counters tell how far a batch has come and go back to 0 after it.
TEST (LoadQueue, HandsRequestsOverInOrderAcrossBatchesAndResetsItsCounters)
{
    RunningQueue q;
    q.hold = true;
    q.push ("file0");
    q.waitUntil ([&] { return q.queue.busy.load(); });
    for (int i = 1; i < 10; ++i)
        q.push ("file" + juce::String (i));
    EXPECT_EQ (q.queue.pushed.load(), 10);
    EXPECT_EQ (q.queue.processed.load(), 1);
    q.hold = false;
    q.queue.waitUntilIdle();

    ASSERT_EQ (q.seen.size(), 10u);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ (q.seen[(size_t) i], "file" + juce::String (i));
    EXPECT_EQ (q.queue.pushed.load(), 0);
    EXPECT_EQ (q.queue.processed.load(), 0);
}

// It is the running batch that is measured against the capacity, not the inbox.
TEST (LoadQueue, DropsRequestsOnlyWhileARunningBatchIsAtCapacity)
{
    RunningQueue q;
    q.queue.capacity = 3;
    q.hold = true;
    q.push ("a"); // a batch of one; four more wait in the inbox and none is dropped
    q.waitUntil ([&] { return q.queue.busy.load(); });
    for (auto name : { "b", "c", "d", "e" })
        q.push (name);
    EXPECT_EQ (q.queue.pushed.load(), 5);
    q.hold = false;
    q.queue.waitUntilIdle();
    EXPECT_EQ (q.seen.size(), 5u);

    // Now a batch of three runs, at the capacity: a new request is dropped while it runs.
    q.hold = true;
    q.queue.setPaused (true);
    for (auto name : { "f", "g", "h" })
        q.push (name);
    q.queue.setPaused (false);
    q.waitUntil ([&] { return q.queue.processed.load() >= 1; });
    EXPECT_EQ (q.queue.batch.size(), 3u);
    q.push ("dropped");
    EXPECT_EQ (q.queue.pushed.load(), 3);
    q.hold = false;
    q.queue.waitUntilIdle();
    EXPECT_EQ (q.seen.size(), 8u);
    EXPECT_EQ (std::count (q.seen.begin(), q.seen.end(), juce::String ("dropped")), 0);
}

TEST (LoadQueue, StopEndsTheLoopAndSkipsTheRestOfTheBatch)
{
    std::atomic<int> handled { 0 };
    LoadQueue queue;
    queue.handler = [&] (Track)
    {
        ++handled;
        queue.stopRequested = true;
    };
    for (int i = 0; i < 5; ++i)
        queue.enqueue (Track (nullptr));
    std::thread worker ([&] { queue.run(); });
    worker.join();
    EXPECT_EQ (handled.load(), 1);
}
