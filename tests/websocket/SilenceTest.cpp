#include "ClientUnderTest.hpp"
#include "TestService.hpp"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vexa::host {
namespace {

using Entries = Happenings::Entries;

/// An address on loopback that answers no attempt to connect: its queue of connections is full and never emptied.
class DeafAddress {
public:
    DeafAddress()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* general = reinterpret_cast<sockaddr*>(&address);
        socklen_t length = sizeof address;
        EXPECT_EQ(::bind(listener_, general, length), 0);
        EXPECT_EQ(::listen(listener_, 0), 0);
        EXPECT_EQ(::getsockname(listener_, general, &length), 0);
        port_ = ntohs(address.sin_port);
        for (const int each : fillers_) {
            ::connect(each, general, length);
        }
    }
    ~DeafAddress()
    {
        ::close(listener_);
        for (const int each : fillers_) {
            ::close(each);
        }
    }
    DeafAddress(const DeafAddress&) = delete;
    DeafAddress& operator=(const DeafAddress&) = delete;

    [[nodiscard]] std::string url() const { return "ws://127.0.0.1:" + std::to_string(port_); }

private:
    static int newSocket() { return ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0); }

    int listener_ = newSocket();
    int fillers_[4] = {newSocket(), newSocket(), newSocket(), newSocket()};
    int port_ = 0;
};

TEST(WebSocketSilenceTest, anAddressThatDoesNotAnswerIsGivenUp)
{
    const DeafAddress deaf;
    OruWebSocketClientOptions options = optionsFor(deaf.url());
    options.timeLimits.connect = 0.05;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.console->awaitPart("reaching the host took too long");
}

TEST(WebSocketSilenceTest, aHandshakeWithoutAnAnswerIsGivenUp)
{
    TestService service{[](TestService::Socket& socket, int number) {
        if (number == 1) {
            waitForTheEnd(socket);
            return;
        }
        ServiceEnd{socket}.receiveToTheEnd();
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.handshake = 1;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.console->awaitPart("the WebSocket handshake took too long");
    under.happenings().awaitEntry("opened");
}

TEST(WebSocketSilenceTest, aTlsHandshakeWithoutAnAnswerIsGivenUp)
{
    TestService service{[](TestService::Socket& socket, int /*number*/) { waitForTheEnd(socket); }};
    OruWebSocketClientOptions options = optionsFor(service.url("wss"));
    options.timeLimits.handshake = 0.05;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.console->awaitPart("the TLS handshake took too long");
}

TEST(WebSocketSilenceTest, aPeerThatFallsSilentIsDead)
{
    TestService service{[](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number == 1) {
            waitForTheEnd(socket);
            return;
        }
        end.receiveToTheEnd();
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.idle = 1;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    EXPECT_EQ(under.happenings().await(3), (Entries{"opened", "closed", "opened"}));
    under.console->awaitPart("has fallen silent");
}

TEST(WebSocketSilenceTest, aQuietPeerThatAnswersPingsStays)
{
    Happenings pings;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.stream().control_callback([&](boost::beast::websocket::frame_type kind, boost::beast::string_view) {
            if (kind == boost::beast::websocket::frame_type::ping) {
                pings.add("ping");
            }
        });
        end.receiveToTheEnd();
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.idle = 1;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    pings.await(4);
    EXPECT_EQ(under.happenings().entries(), Entries{"opened"});
}

TEST(WebSocketSilenceTest, thePingsOfAServiceAreAnswered)
{
    Happenings pongs;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.stream().control_callback([&](boost::beast::websocket::frame_type kind, boost::beast::string_view payload) {
            if (kind == boost::beast::websocket::frame_type::pong) {
                pongs.add(std::string{payload});
            }
        });
        end.stream().ping("first");
        end.send(numbered(1));
        end.stream().ping("second");
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    under.client->start();
    EXPECT_EQ(pongs.await(2), (Entries{"first", "second"}));
}

TEST(WebSocketSilenceTest, aMessageThatCannotBeWrittenInTimeEndsTheConnection)
{
    TestService service{[](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number > 1) {
            end.receiveToTheEnd();
            return;
        }
        // It sends on and on, so that it is not silent, but reads nothing.
        for (int i = 0;; ++i) {
            end.send(numbered(i));
            std::this_thread::yield();
        }
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.write = 0.2;
    options.outgoing.bytes = std::size_t{64} * 1024 * 1024;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.happenings().awaitEntry("opened");
    Dictionary large = echoMessage(1);
    large["text"] = textLargerThanSocketBuffers();
    under.client->send(large);
    under.console->awaitPart("could not be written in time");
    under.happenings().awaitEntry("opened", 2);
}

TEST(WebSocketSilenceTest, aServiceThatClosesAndLingersIsLeft)
{
    TestService service{[](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number > 1) {
            end.receiveToTheEnd();
            return;
        }
        writeRaw(socket, std::string{"\x88\x02\x03\xE9", 4});
        waitForTheEnd(socket);
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.close = 0.1;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    EXPECT_EQ(under.happenings().await(3), (Entries{"opened", "closed", "opened"}));
    under.console->awaitPart("the service closed the connection with 1001");
}

TEST(WebSocketSilenceTest, aServiceThatClosesAndLingersIsLeftAlsoWhenAMessageWasBeingWritten)
{
    std::promise<void> mayRead;
    TestService service{[&](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number > 1) {
            end.receiveToTheEnd();
            return;
        }
        // In one piece, so that the client comes upon the closing before it can notice that its message has gone out.
        const std::string message = numbered(1);
        writeRaw(socket,
                 std::string{'\x81', static_cast<char>(message.size())} + message + std::string{"\x88\x02\x03\xE9", 4});
        mayRead.get_future().wait();
        waitForTheEnd(socket);
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.timeLimits.close = 0.5;
    options.timeLimits.idle = 1000;
    options.outgoing.bytes = std::size_t{64} * 1024 * 1024;
    ClientUnderTest under{std::move(options)};
    under.follower->onMessage = [&](const Dictionary&) { mayRead.set_value(); };
    Dictionary large = echoMessage(1);
    large["text"] = textLargerThanSocketBuffers();
    under.client->send(large);
    under.client->start();
    EXPECT_EQ(under.happenings().await(4), (Entries{"opened", numbered(1), "closed", "opened"}));
    under.console->awaitPart("the service closed the connection with 1001");
}

} // namespace
} // namespace vexa::host
