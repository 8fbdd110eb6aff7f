#pragma once

#include <juce_core/juce_core.h>

#include <atomic>
#include <functional>
#include <future>
#include <mutex>

namespace bws
{
// The lock and the alive flag that a finished check must pass to reach the window. The flag
// goes false under the lock when the window goes, and a check only ever try-locks, so it
// never blocks the shutdown.
struct NoticeCallbackGuard
{
    std::mutex lock;
    bool alive = false;
};

// Asks two addresses, once each and a few seconds after the start, whether a newer version or
// a new product exists. Each read runs on a std::async task of its own; a failed read means no
// notice. The heartbeat (33 ms) drives the start. Results are plain flags, read without a lock
// on the message thread; the notices themselves come through the callbacks.
class ProductAvailabilityChecks
{
public:
    ProductAvailabilityChecks (int delayTicks, juce::String currentVersion,
                               juce::String versionAddress, juce::String newProductAddress);
    // Waits for both reads, so the exit can wait as long as a read's time-out.
    ~ProductAvailabilityChecks();

    // A read gives up when the server takes longer than this to connect or to send.
    static constexpr int connectionTimeoutMs = 2000;

    void setCallbacks (NoticeCallbackGuard* guard,
                       std::function<void (bool)> newProductCallback,
                       std::function<void()> updateCallback);

    // One heartbeat: the two checks start at tick delayTicks, once in the run.
    void tick();

    // Version texts are compared by their digits: "2.0.6" reads 206 and "2.0.10" 2010.
    static bool isNewerVersion (const juce::String& currentVersion, const juce::String& remoteText);
    // Only the exact text "True" announces a new product.
    static bool announcesNewProduct (const juce::String& remoteText);
    // The whole answer of an address, or empty when there is none (no server, an error status).
    static juce::String readText (const juce::String& address);

    bool newProductCheckStarted = false;
    bool updateCheckStarted = false;
    int tickCount = 0;
    std::atomic<bool> newProductAvailable { false };
    std::atomic<bool> updateAvailable { false };
    const int delayTicks;

private:
    void checkForUpdate();
    void checkForNewProduct();
    // Calls back under the guard's try-lock, only while the window is alive.
    void notify (const std::function<void()>& call);

    NoticeCallbackGuard* callbackGuard = nullptr;
    std::function<void (bool)> newProductCallback;
    std::function<void()> updateCallback;
    std::future<void> updateFuture, newProductFuture;
    const juce::String currentVersion, versionAddress, newProductAddress;

    JUCE_DECLARE_NON_COPYABLE (ProductAvailabilityChecks)
};
} // namespace bws
