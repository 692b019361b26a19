#include "HttpConnection.hpp"
#include "ServerUnderTest.hpp"
#include "TestClient.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

TEST(Stop, TellsEveryClient)
{
    VexaServerOptions options = loopback();
    options.threads = 2;
    ServerUnderTest under{options};
    std::list<TestClient> clients;
    for (int number = 0; number < 50; ++number) {
        static_cast<void>(clients.emplace_back(under).subscribe("scores"));
    }
    std::thread stopper{[&under] { under.server.stop(); }};
    for (TestClient& client : clients) {
        EXPECT_EQ(client.closeCode(), 1001U);
    }
    stopper.join();
    EXPECT_EQ(under.closed(CloseReason::stop), 50U);
    EXPECT_EQ(under.server.figures().connections, 0U);
    EXPECT_EQ(under.service->figures().sessions, 0U);
}

TEST(Stop, FreesThePort)
{
    VexaServerOptions options = loopback();
    options.timeLimits.closing = 0.1;
    ServerUnderTest first{options};
    const ListenAddress address = first.server.address();
    TestClient client{first};
    first.server.stop();
    options.listen = address;
    ServerUnderTest second{options};
    EXPECT_EQ(second.server.address(), address);
    TestClient again{second};
    again.exchange();
}

TEST(Stop, DoesNotWaitForEverForClientsThatDoNotAnswer)
{
    VexaServerOptions options = loopback();
    options.timeLimits.closing = 0.05;
    ServerUnderTest under{options};
    TestClient mute{under};
    HttpConnection silent{under.port()};
    HttpConnection half{under.port()};
    half.write("GET /heal");
    await([&under] { return under.server.figures().connections == 3; });
    under.server.stop();
    EXPECT_EQ(under.server.figures().connections, 0U);
    EXPECT_EQ(under.closed(CloseReason::stop), 1U);
}

TEST(Stop, CutsWhatIsLeftWhenItsTimeIsOver)
{
    VexaServerOptions options = loopback();
    options.timeLimits.closing = 3600;
    options.timeLimits.stop = 0.05;
    ServerUnderTest under{options};
    TestClient mute{under};
    under.server.stop();
    EXPECT_EQ(under.server.figures().connections, 0U);
}

TEST(Stop, MayBeCalledByManyThreads)
{
    for (int round = 0; round < 20; ++round) {
        ServerUnderTest under;
        TestClient client{under};
        std::thread reader{[&client] { EXPECT_EQ(client.closeCode(), 1001U); }};
        std::vector<std::thread> threads;
        std::atomic<int> stopped = 0;
        for (int number = 0; number < 4; ++number) {
            threads.emplace_back([&under, &stopped] {
                under.server.stop();
                EXPECT_EQ(under.server.figures().connections, 0U) << "it returns when all is done";
                ++stopped;
            });
        }
        for (std::thread& each : threads) {
            each.join();
        }
        reader.join();
        EXPECT_EQ(stopped, 4);
    }
}

TEST(Stop, MayBeCalledFromANotice)
{
    std::atomic<VexaServer*> server = nullptr;
    std::atomic<bool> hasReturned = false;
    VexaServerOptions options = loopback();
    options.notice = [&](std::string_view) {
        server.load()->stop();
        hasReturned = true;
    };
    ServerUnderTest under{options};
    server = &under.server;
    TestClient client{under};
    client.send("no JSON");
    EXPECT_EQ(client.closeCode(), 1001U);
    under.server.stop();
    EXPECT_TRUE(hasReturned);
}

TEST(Stop, HappensAtTheEndOfTheServer)
{
    std::optional<ServerUnderTest> under{std::in_place};
    TestClient client{*under};
    std::thread reader{[&client] { EXPECT_EQ(client.closeCode(), 1001U); }};
    const auto service = under->service;
    under.reset();
    reader.join();
    EXPECT_EQ(service->figures().sessions, 0U);
    service->publish("scores", std::nullopt, {numbered(1)});
    EXPECT_EQ(service->figures().subscriptions, 0U);
}

TEST(Stop, EndsAServerWhileClientsComeAndMessagesFlow)
{
    for (int round = 0; round < 10; ++round) {
        VexaServerOptions options = loopback();
        options.threads = 2;
        auto under = std::make_unique<ServerUnderTest>(options);
        std::atomic<bool> isOver = false;
        std::vector<std::thread> threads;
        for (int number = 0; number < 3; ++number) {
            threads.emplace_back([&isOver, port = under->port()] {
                while (!isOver) {
                    try {
                        BasicTestClient<> client{port};
                        client.connect();
                        if (client.shakeHands() != 101) {
                            continue;
                        }
                        client.send(testing::subscribeRequest("O-001", {testing::topic("scores")}));
                        for (int message = 0; message < 100 && client.receiveText(); ++message) {
                            client.send(publishRequest("P-1", {numbered(message)}));
                        }
                    } catch (const boost::system::system_error&) {
                        std::this_thread::yield();
                    }
                }
            });
        }
        await([&under] { return under->service->figures().published > 100; });
        under->server.stop();
        EXPECT_EQ(under->server.figures().connections, 0U);
        isOver = true;
        for (std::thread& each : threads) {
            each.join();
        }
    }
}

TEST(Stop, EndsAnIdleHttpConnection)
{
    VexaServerOptions options = loopback();
    options.timeLimits.closing = 0.1;
    ServerUnderTest under{options};
    HttpConnection http{under.port()};
    EXPECT_EQ(http.get("/healthz").result_int(), 200U);
    std::thread stopper{[&under] { under.server.stop(); }};
    EXPECT_TRUE(http.hasEnded());
    stopper.join();
}

TEST(Start, SaysWhyItCannotListen)
{
    ServerUnderTest first;
    VexaServerOptions options = loopback();
    options.listen = first.server.address();
    try {
        const ServerUnderTest second{options};
        ADD_FAILURE() << "two servers listen on one port";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string{error.what()},
                  "cannot listen on " + first.server.address().text() + ": Address already in use");
    }
}

} // namespace
} // namespace vexa::host
