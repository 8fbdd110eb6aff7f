#include "analysis/LoadQueue.h"

void LoadQueue::enqueue (Track request)
{
    std::lock_guard<std::mutex> guard (lock);
    // It is the running batch that is measured, so the limit bites only while a large
    // batch is being worked through.
    if ((int) batch.size() < capacity)
    {
        inbox.emplace_back (request);
        ++pushed;
    }
    wake.notify_all();
}

void LoadQueue::run()
{
    while (! stopRequested)
    {
        {
            std::unique_lock<std::mutex> guard (lock);
            busy = false;
            wake.wait (guard, [this]
                       { return stopRequested.load() || (! paused && (! inbox.empty() || ! batch.empty())); });
            if (stopRequested)
                break;
            {
                std::lock_guard<std::mutex> idleGuard (idleMutex);
                idle = false;
            }
            busy = true;
            batch.reserve (batch.size() + inbox.size());
            for (const auto& request : inbox)
                batch.emplace_back (request);
            inbox.clear();
        }

        for (const auto& request : batch)
        {
            if (clearRequested)
            {
                clearRequested = false;
                cleared.notify_all();
                break;
            }
            if (! stopRequested)
            {
                ++processed;
                if (handler)
                    handler (Track (request));
            }
        }

        {
            std::lock_guard<std::mutex> guard (lock);
            batch.clear();
        }
        {
            std::lock_guard<std::mutex> idleGuard (idleMutex);
            idle = true;
        }
        idleSignal.notify_all();

        if (clearRequested)
        {
            clearRequested = false;
            cleared.notify_all();
        }

        int expected = processed.load();
        if (expected == pushed.load())
        {
            // Both go back to 0 together; a request pushed in between keeps them apart.
            std::lock_guard<std::mutex> guard (lock);
            if (processed.load() == pushed.load())
            {
                processed = 0;
                pushed = 0;
            }
        }
    }
    busy = false;
}

void LoadQueue::stop()
{
    std::lock_guard<std::mutex> guard (lock);
    stopRequested = true;
    wake.notify_all();
}

void LoadQueue::requestClear()
{
    clearRequested = true;
}

void LoadQueue::setPaused (bool shouldPause)
{
    std::lock_guard<std::mutex> guard (lock);
    paused = shouldPause;
    wake.notify_all();
}

void LoadQueue::waitUntilIdle()
{
    for (;;)
    {
        {
            std::lock_guard<std::mutex> guard (lock);
            if (inbox.empty() && batch.empty() && ! busy)
                return;
        }
        std::unique_lock<std::mutex> idleGuard (idleMutex);
        idleSignal.wait_for (idleGuard, std::chrono::milliseconds (20));
    }
}
