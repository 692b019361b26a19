#include "ClientUnderTest.hpp"
#include "TestService.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vexa::host {
namespace {

using Entries = Happenings::Entries;

TEST(WebSocketReconnectTest, eachConnectionIsOpenedOnceAndItsMessagesStayWithinIt)
{
    constexpr int cuts = 30;
    TestService service{[](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        for (int i = 0; i < 20; ++i) {
            end.send(numbered(number));
        }
        if (number <= cuts) {
            resetWhenDone(socket);
            return;
        }
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    under.client->start();
    const Entries entries = under.happenings().awaitEntry(numbered(cuts + 1), 20);

    std::int64_t before = 0;
    std::optional<std::int64_t> current;
    bool isOpen = false;
    for (const std::string& entry : entries) {
        if (entry == "opened" || entry == "closed") {
            ASSERT_EQ(isOpen, entry == "closed");
            isOpen = entry == "opened";
            before = current.value_or(before);
            current.reset();
        } else {
            ASSERT_TRUE(isOpen);
            const std::int64_t number = dictionary(entry)["number"].as_int64();
            ASSERT_EQ(number, current.value_or(number));
            ASSERT_GT(number, before);
            current = number;
        }
    }
    EXPECT_EQ(current, cuts + 1);
    EXPECT_EQ(under.client->figures().reconnects, under.client->figures().connects - 1);
}

TEST(WebSocketReconnectTest, aGoodConnectionIsTriedAgainAtOnce)
{
    TestService service{[](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number == 1) {
            resetWhenDone(socket);
            return;
        }
        end.receiveToTheEnd();
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.reconnect = {.firstCeiling = 1000, .lastCeiling = 1000, .stableAfter = 0};
    ClientUnderTest under{std::move(options)};
    under.client->start();
    EXPECT_EQ(under.happenings().await(3), (Entries{"opened", "closed", "opened"}));
    under.console->awaitPart("lost the connection");
    under.console->awaitPart("trying again in 0.0 s");
}

TEST(WebSocketReconnectTest, aServiceThatIsGoneIsToldInWords)
{
    std::optional<TestService> service{
        std::in_place, [](TestService::Socket& socket, int /*number*/) { ServiceEnd{socket}.receiveToTheEnd(); }};
    ClientUnderTest under{service->url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    service.reset();
    under.happenings().awaitEntry("closed");
    under.console->awaitPart("Connection refused");
    EXPECT_FALSE(under.client->isOpen());
}

TEST(WebSocketReconnectTest, diagnosticsSentDuringACutArriveOnceAfterIt)
{
    Happenings received;
    TestService service{[&](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number == 1) {
            end.stream().close(boost::beast::websocket::close_code::going_away);
            return;
        }
        for (;;) {
            received.add(end.receive());
        }
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.reconnect.stableAfter = 0;
    ClientUnderTest under{std::move(options)};
    struct Sender final : OruClientConnectionListener {
        void connectionOpened() override {}
        void connectionClosed() override
        {
            if (client->isOpen()) {
                ADD_FAILURE() << "the transport is open while it tells that it has closed";
            }
            client->send(subscribeRequest());
            for (int i = 0; i < 3; ++i) {
                client->send(echoMessage(i));
            }
        }
        OruWebSocketClient* client = nullptr;
    };
    const auto sender = std::make_shared<Sender>();
    sender->client = under.client.get();
    under.client->addConnectionListener(sender);
    under.client->start();
    const Entries arrived = received.await(3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(dictionary(arrived[static_cast<std::size_t>(i)]), echoMessage(i));
    }
    EXPECT_EQ(under.client->figures().drops.whileClosed, 1U);
    EXPECT_EQ(received.entries().size(), 3U);
}

} // namespace
} // namespace vexa::host
