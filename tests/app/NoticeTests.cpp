#include "app/ProductAvailabilityChecks.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

using bws::ProductAvailabilityChecks;

TEST (Notices, VersionsCompareByTheirDigits)
{
    struct Case
    {
        const char* remote;
        bool newer;
    };
    const Case cases[] = {
        { "2.0.6", false },    { "2.0.6\n", false },  { "2.0.5", false }, { "2.0.7", true },
        { "2.0.10", true },    { "2.1.0", true },     { "9.9.9", true },  { "1.9.9", false },
        { "true", false },     { "", false },         { "<html>", false }, { " 2.0.7\r\n", true },
    };
    for (const auto& c : cases)
        EXPECT_EQ (ProductAvailabilityChecks::isNewerVersion ("2.0.6", c.remote), c.newer) << '"' << c.remote << '"';
    // Digits, not parts: 2.0.10 reads 2010 and so passes 2.1.0 at 210.
    EXPECT_TRUE (ProductAvailabilityChecks::isNewerVersion ("2.1.0", "2.0.10"));
}

TEST (Notices, OnlyTheExactTrueAnnouncesAProduct)
{
    for (const auto* text : { "true", "TRUE", "True\n", " True", "", "False" })
        EXPECT_FALSE (ProductAvailabilityChecks::announcesNewProduct (text)) << '"' << text << '"';
    EXPECT_TRUE (ProductAvailabilityChecks::announcesNewProduct ("True"));
}

namespace
{
// Answers every request on 127.0.0.1 with one fixed body, and counts the requests by path.
class TinyHttpServer
{
public:
    explicit TinyHttpServer (juce::String answer) : body (std::move (answer))
    {
        listening = socket.createListener (0, "127.0.0.1");
        worker = std::thread ([this] { serve(); });
    }

    ~TinyHttpServer()
    {
        stop = true;
        socket.close();
        worker.join();
    }

    juce::String address (const juce::String& path) const
    {
        return "http://127.0.0.1:" + juce::String (socket.getBoundPort()) + path;
    }

    bool listening = false;
    std::atomic<int> requests { 0 };
    // When set, a reply after the first is held back until it returns true.
    std::function<bool()> beforeNextReply;

private:
    void serve()
    {
        while (! stop)
        {
            std::unique_ptr<juce::StreamingSocket> client (socket.waitForNextConnection());
            if (client == nullptr)
                continue;
            char buffer[2048] = {};
            client->read (buffer, sizeof (buffer) - 1, false);
            // A later reply waits until the test lets it go (for at most 10 s).
            for (int waited = 0; requests > 0 && beforeNextReply && ! beforeNextReply() && waited < 1000; ++waited)
                std::this_thread::sleep_for (std::chrono::milliseconds (10));
            ++requests;
            const auto reply = "HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\nContent-Length: "
                               + juce::String (body.getNumBytesAsUTF8()) + "\r\n\r\n" + body;
            client->write (reply.toRawUTF8(), (int) reply.getNumBytesAsUTF8());
        }
    }

    juce::String body;
    juce::StreamingSocket socket;
    std::atomic<bool> stop { false };
    std::thread worker;
};
} // namespace

TEST (Notices, ChecksStartAtTheTickAndCallBackOnlyWhileTheWindowIsAlive)
{
    for (const bool alive : { true, false })
    {
        TinyHttpServer server ("True");
        ASSERT_TRUE (server.listening);
        bws::NoticeCallbackGuard guard;
        guard.alive = alive;
        std::atomic<int> updateCalls { 0 }, productCalls { 0 };
        // Two notices at once would meet a busy guard and one would be dropped: the second
        // answer waits for the first notice.
        if (alive)
            server.beforeNextReply = [&] { return updateCalls + productCalls > 0; };
        {
            ProductAvailabilityChecks checks (3, "2.0.6", server.address ("/version"), server.address ("/product"));
            checks.setCallbacks (&guard, [&] (bool available) { productCalls += available ? 1 : 100; },
                                 [&] { ++updateCalls; });
            for (int tick = 0; tick < 3; ++tick)
                checks.tick();
            EXPECT_FALSE (checks.updateCheckStarted);
            for (int tick = 0; tick < 10; ++tick)
                checks.tick();
            EXPECT_TRUE (checks.updateCheckStarted && checks.newProductCheckStarted);
            // The destructor waits for both reads.
        }
        EXPECT_EQ (server.requests.load(), 2);
        EXPECT_EQ (updateCalls.load(), alive ? 1 : 0);
        EXPECT_EQ (productCalls.load(), alive ? 1 : 0);
    }
}

TEST (Notices, ABusyGuardDropsTheNoticeAndANewerVersionIsFlagged)
{
    TinyHttpServer server ("9.9.9\n");
    ASSERT_TRUE (server.listening);
    bws::NoticeCallbackGuard guard;
    guard.alive = true;
    std::atomic<int> calls { 0 };
    std::unique_lock<std::mutex> held (guard.lock);
    {
        ProductAvailabilityChecks checks (0, "2.0.6", server.address ("/version"), server.address ("/product"));
        checks.setCallbacks (&guard, [&] (bool) { ++calls; }, [&] { ++calls; });
        checks.tick();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds (10);
        while (! checks.updateAvailable.load() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for (std::chrono::milliseconds (5));
        EXPECT_TRUE (checks.updateAvailable.load());
        EXPECT_FALSE (checks.newProductAvailable.load());
    }
    EXPECT_EQ (calls.load(), 0);
}
