#include "analysis/LoadQueue.h"

#include <gtest/gtest.h>

#include <thread>

namespace
{
struct RunningQueue
{
    LoadQueue queue;
    std::thread worker;
    std::mutex seenLock;
    std::vector<juce::String> seen;

    explicit RunningQueue (std::function<void (const Track&)> extra = {})
    {
        queue.handler = [this, extra] (Track request)
        {
            if (extra)
                extra (request);
            std::lock_guard<std::mutex> g (seenLock);
            seen.push_back (request.filePath);
        };
        worker = std::thread ([this] { queue.run(); });
    }
    ~RunningQueue()
    {
        queue.stop();
        worker.join();
    }
    void push (const juce::String& path)
    {
        Track request (nullptr);
        request.filePath = path;
        queue.enqueue (request);
    }
};
} // namespace

TEST (LoadQueue, HandsRequestsOverInOrderAndResetsItsCountersAfterTheBatch)
{
    RunningQueue q;
    for (int i = 0; i < 10; ++i)
        q.push ("file" + juce::String (i));
    q.queue.waitUntilIdle();

    ASSERT_EQ (q.seen.size(), 10u);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ (q.seen[(size_t) i], "file" + juce::String (i));
    EXPECT_EQ (q.queue.pushed.load(), 0);
    EXPECT_EQ (q.queue.processed.load(), 0);
}

TEST (LoadQueue, RequestsArrivingDuringABatchWaitForTheNextOne)
{
    std::atomic<bool> release { false };
    RunningQueue q ([&] (const Track& r)
                    {
                        if (r.filePath == "first")
                            while (! release)
                                std::this_thread::sleep_for (std::chrono::milliseconds (1));
                    });
    q.push ("first");
    while (! q.queue.busy)
        std::this_thread::sleep_for (std::chrono::milliseconds (1));
    q.push ("second");
    q.push ("third");
    // While the first batch runs, the counters tell how far the work has come.
    EXPECT_EQ (q.queue.pushed.load(), 3);
    EXPECT_EQ (q.queue.processed.load(), 1);
    release = true;
    q.queue.waitUntilIdle();
    EXPECT_EQ (q.seen, (std::vector<juce::String> { "first", "second", "third" }));
}

TEST (LoadQueue, DropsRequestsOnlyWhileARunningBatchIsAtCapacity)
{
    std::atomic<bool> release { false };
    RunningQueue q ([&] (const Track&)
                    {
                        while (! release)
                            std::this_thread::sleep_for (std::chrono::milliseconds (1));
                    });
    q.queue.capacity = 3;
    // The first request starts a batch of one; three more wait in the inbox.
    q.push ("a");
    while (! q.queue.busy)
        std::this_thread::sleep_for (std::chrono::milliseconds (1));
    q.push ("b");
    q.push ("c");
    q.push ("d");
    q.push ("e");
    // The running batch holds one, so nothing is dropped yet: the inbox is not measured.
    EXPECT_EQ (q.queue.pushed.load(), 5);
    release = true;
    q.queue.waitUntilIdle();
    EXPECT_EQ (q.seen.size(), 5u);

    // Now a batch of four runs (above capacity 3): new requests are dropped while it runs.
    release = false;
    q.queue.setPaused (true);
    for (auto name : { "f", "g", "h", "i" })
        q.push (name);
    q.queue.setPaused (false);
    while (q.queue.processed.load() < 1)
        std::this_thread::sleep_for (std::chrono::milliseconds (1));
    EXPECT_EQ (q.queue.batch.size(), 4u);
    q.push ("dropped");
    EXPECT_EQ (q.queue.pushed.load(), 4);
    release = true;
    q.queue.waitUntilIdle();
    EXPECT_EQ (q.seen.size(), 9u);
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
    {
        Track r (nullptr);
        r.filePath = "x";
        queue.enqueue (r);
    }
    std::thread worker ([&] { queue.run(); });
    worker.join();
    EXPECT_EQ (handled.load(), 1);
}
