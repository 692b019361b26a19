#include "ClientUnderTest.hpp"
#include "TestService.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {
namespace {

using Entries = Happenings::Entries;

/// How many threads of clients this process has. Those that a client's thread starts bear its name too.
std::ptrdiff_t clientThreads()
{
    std::ptrdiff_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator{"/proc/self/task"}) {
        std::string name;
        std::getline(std::ifstream{task.path() / "comm"}, name);
        count += name == "vexawebsocket" ? 1 : 0;
    }
    return count;
}

/// Whether the threads of clients are gone, for which the system may take a moment after they have been waited for.
bool clientThreadsAreGone()
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{240};
    while (clientThreads() > 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

TEST(WebSocketStopTest, aClientThatNeverStartedStopsAndStaysStopped)
{
    TestService service{keepOpen};
    ClientUnderTest under{service.url()};
    under.client->stop();
    under.client->start();
    EXPECT_EQ(clientThreads(), 0);
    EXPECT_EQ(under.client->figures().attempts, 0U);
}

TEST(WebSocketStopTest, startingTwiceIsStartingOnce)
{
    TestService service{keepOpen};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.client->start();
    under.happenings().awaitEntry("opened");
    EXPECT_EQ(under.client->figures().attempts, 1U);
    EXPECT_EQ(service.connections(), 1);
}

TEST(WebSocketStopTest, anAttemptIsBrokenOff)
{
    Happenings attempts;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        attempts.add("attempt");
        waitForTheEnd(socket);
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.handshake = 1000;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    attempts.await(1);
    under.client->stop();
    EXPECT_TRUE(clientThreadsAreGone());
    EXPECT_TRUE(under.happenings().entries().empty());
}

TEST(WebSocketStopTest, aWaitForTheNextAttemptIsBrokenOff)
{
    OruWebSocketClientOptions options = optionsFor("ws://127.0.0.1:1/");
    options.reconnect = {.firstCeiling = 1000, .lastCeiling = 1000, .stableAfter = 10};
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.console->awaitPart("trying again in");
    under.client->stop();
    EXPECT_TRUE(clientThreadsAreGone());
}

TEST(WebSocketStopTest, aStopAtAnyMomentOfAnAttemptEndsTheThread)
{
    TestService service{keepOpen};
    OruWebSocketClientOptions options = optionsFor(service.url());
    // Far beyond the time limit of the test: a stop that waits for one of them fails.
    options.timeLimits = {.connect = 1000, .handshake = 1000, .write = 1000, .idle = 1000, .close = 1000};
    for (int i = 0; i < 100; ++i) {
        ClientUnderTest under{options};
        under.client->start();
        std::this_thread::sleep_for(std::chrono::microseconds{i * 20});
        under.client->stop();
        ASSERT_TRUE(clientThreadsAreGone()) << i;
        const Entries entries = under.happenings().entries();
        ASSERT_TRUE(entries.empty() || entries == (Entries{"opened", "closed"})) << i;
    }
}

TEST(WebSocketStopTest, whatWaitsIsSentAndTheConnectionClosedInOrder)
{
    Happenings received;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        for (int i = 0; i < 200; ++i) {
            received.add(end.receive());
        }
        received.add("code " + std::to_string(end.receiveToTheEnd()));
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.close = 60;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.happenings().awaitEntry("opened");
    for (int i = 0; i < 200; ++i) {
        under.client->send(echoMessage(i));
    }
    under.client->stop();
    EXPECT_TRUE(clientThreadsAreGone());
    const Entries entries = received.await(201);
    EXPECT_EQ(dictionary(entries[199]), echoMessage(199));
    EXPECT_EQ(entries[200], "code 1000");
    EXPECT_EQ(under.client->lastError(), "");

    under.client->send(echoMessage(200));
    EXPECT_EQ(under.client->figures().drops.whileClosed, 1U);
}

TEST(WebSocketStopTest, aServiceThatReadsNothingCannotHoldItUp)
{
    TestService service{[](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        // Waits without reading what the client sends.
        socket.wait(boost::asio::socket_base::wait_error);
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.close = 0.1;
    options.outgoing.bytes = std::size_t{64} * 1024 * 1024;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.happenings().awaitEntry("opened");
    Dictionary large = echoMessage(1);
    large["text"] = textLargerThanSocketBuffers();
    under.client->send(large);
    under.client->stop();
    EXPECT_TRUE(clientThreadsAreGone());
    EXPECT_EQ(under.happenings().entries(), (Entries{"opened", "closed"}));
}

TEST(WebSocketStopTest, aStopInACallbackReturnsAtOnceAndNothingMoreIsDelivered)
{
    TestService service{[](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        for (int i = 0; i < 100; ++i) {
            end.send(numbered(i));
        }
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    under.follower->onMessage = [client = under.client.get()](const Dictionary&) { client->stop(); };
    under.client->start();
    EXPECT_EQ(under.happenings().awaitEntry("closed"), (Entries{"opened", numbered(0), "closed"}));
    under.client->stop();
    EXPECT_TRUE(clientThreadsAreGone());
}

TEST(WebSocketStopTest, aCallbackMayDropTheLastReference)
{
    TestService service{keepOpen};
    ClientUnderTest under{service.url()};
    std::atomic<bool> isSetUp = false;
    under.follower->onOpened = [&] {
        isSetUp.wait(false);
        under.client.reset();
    };
    under.client->start();
    isSetUp = true;
    isSetUp.notify_all();
    EXPECT_EQ(under.happenings().awaitEntry("closed"), (Entries{"opened", "closed"}));
    EXPECT_TRUE(clientThreadsAreGone());
}

TEST(WebSocketStopTest, manyThreadsMayStopAndSendAtTheSameTime)
{
    TestService service{keepOpen};
    for (int round = 0; round < 20; ++round) {
        ClientUnderTest under{service.url()};
        under.client->start();
        under.happenings().awaitEntry("opened");
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&] {
                under.client->send(echoMessage(1));
                under.client->stop();
                EXPECT_FALSE(under.client->isOpen());
            });
        }
        for (std::thread& each : threads) {
            each.join();
        }
        ASSERT_TRUE(clientThreadsAreGone());
        ASSERT_EQ(under.happenings().entries(), (Entries{"opened", "closed"}));
    }
}

} // namespace
} // namespace vexa::host
