#include "ServerUnderTest.hpp"
#include "TestClient.hpp"

#include <boost/beast/websocket/rfc6455.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <string_view>

namespace vexa::host {
namespace {

using namespace std::string_view_literals;

TEST(BadFrames, AreCountedAndOtherwiseIgnored)
{
    ServerUnderTest under;
    TestClient client{under};
    client.send("no JSON");
    client.send("");
    client.send(R"({"open":)");
    client.send("[1,2]");
    client.send(std::string(65, '[') + std::string(65, ']'));
    client.stream().binary(true);
    client.send("{}");
    client.stream().text(true);
    client.exchange();

    EXPECT_EQ(under.bad(FrameFault::notJson), 3U);
    EXPECT_EQ(under.bad(FrameFault::notADictionary), 1U);
    EXPECT_EQ(under.bad(FrameFault::tooDeep), 1U);
    EXPECT_EQ(under.bad(FrameFault::binary), 1U);
}

TEST(BadFrames, AreToldOnceInAWhile)
{
    VexaServerOptions options = loopback();
    options.timeLimits.closing = 0.1;
    std::atomic<int> notices = 0;
    std::string notice;
    options.notice = [&](std::string_view sentence) {
        notice = sentence;
        ++notices;
    };
    ServerUnderTest under{options};
    TestClient client{under};
    for (int time = 0; time < 100; ++time) {
        client.send("no JSON");
    }
    client.exchange();
    under.server.stop();
    EXPECT_EQ(notices, 1);
    EXPECT_EQ(notice, "a client at 127.0.0.1 sent a frame that is no JSON text (1 time since this was last told)");
}

TEST(BadFrames, AMessageThatIsTooLargeClosesTheConnection)
{
    VexaServerOptions options = loopback();
    options.limits.messageBytes = 10'000;
    ServerUnderTest under{options};
    TestClient client{under};
    client.send(publishRequest("P-1", {Dictionary{{"number", 1}, {"text", std::string(9'000, 'x')}}}));
    EXPECT_EQ(client.receive().at("accepted"), 1) << "just within the limit";

    client.send(std::string(10'001, ' '));
    EXPECT_EQ(client.closeCode(), 1009U);
    await([&under] { return under.closed(CloseReason::tooLarge) == 1; });
    EXPECT_EQ(under.bad(FrameFault::tooLarge), 1U);
}

TEST(BadFrames, AMessageOfManyFragmentsCannotGrowBeyondTheLimit)
{
    VexaServerOptions options = loopback();
    options.limits.messageBytes = 10'000;
    ServerUnderTest under{options};
    TestClient client{under};
    ErrorCode error;
    const std::string fragment(1'000, ' ');
    for (int time = 0; time < 11; ++time) {
        client.stream().write_some(false, boost::asio::buffer(fragment), error);
    }
    EXPECT_EQ(client.closeCode(), 1009U);
}

TEST(BadFrames, ATextThatIsNotUtf8ClosesTheConnection)
{
    ServerUnderTest under;
    TestClient client{under};
    client.send("{\"a\":\"\xC3\x28\"}");
    EXPECT_EQ(client.closeCode(), 1007U);
    await([&under] { return under.closed(CloseReason::protocol) == 1; });
    EXPECT_EQ(under.bad(FrameFault::notUtf8), 1U);
}

TEST(BadFrames, AFrameWithoutAMaskClosesTheConnection)
{
    ServerUnderTest under;
    TestClient client{under};
    client.sendRaw("\x81\x02{}"sv);
    EXPECT_EQ(client.closeCode(), 1002U);
    await([&under] { return under.bad(FrameFault::protocolViolation) == 1; });
}

TEST(BadFrames, AReservedOpcodeClosesTheConnection)
{
    ServerUnderTest under;
    TestClient client{under};
    client.sendRaw("\x83\x80\0\0\0\0"sv);
    EXPECT_EQ(client.closeCode(), 1002U);
}

TEST(BadFrames, FragmentsMakeOneMessageAlsoWithAPingBetweenThem)
{
    ServerUnderTest under;
    TestClient client{under};
    const std::string text = messageText(testing::subscribeRequest("O-fragments", {}));
    for (std::size_t place = 0; place < text.size(); ++place) {
        client.stream().write_some(place + 1 == text.size(), boost::asio::buffer(text.data() + place, 1));
        if (place == 10) {
            client.stream().ping("between");
        }
    }
    EXPECT_EQ(client.receive().at("operationId"), "O-fragments");
    EXPECT_EQ(under.server.figures().framesReceived, 1U);
}

TEST(BadFrames, AMessageThatComesByteByByteIsRead)
{
    ServerUnderTest under;
    TestClient client{under};
    // {} with a mask of zeros.
    for (const char byte : "\x81\x82\0\0\0\0{}"sv) {
        client.sendRaw({&byte, 1});
    }
    client.exchange();
    EXPECT_EQ(under.server.figures().framesReceived, 2U);
    EXPECT_EQ(under.service->figures().unknown, 1U);
}

TEST(BadFrames, ManyMessagesInOnePieceAreAllRead)
{
    ServerUnderTest under;
    TestClient client{under};
    std::string bytes;
    for (int time = 0; time < 50'000; ++time) {
        bytes.append("\x81\x82\0\0\0\0{}"sv);
    }
    client.sendRaw(bytes);
    client.exchange();
    EXPECT_EQ(under.server.figures().framesReceived, 50'001U);
}

TEST(BadFrames, FramesSentRightBehindTheHandshakeAreRead)
{
    ServerUnderTest under;
    BasicTestClient<> client{under.port()};
    client.connect();
    const auto handshake = "GET / HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n"
                           "\x81\x82\0\0\0\0{}"sv;
    boost::asio::write(client.socket(), boost::asio::buffer(handshake.data(), handshake.size()));
    await([&under] { return under.service->figures().unknown == 1; });
}

TEST(BadFrames, AnAbruptEndClosesTheSession)
{
    ServerUnderTest under;
    TestClient reset{under};
    static_cast<void>(reset.subscribe("scores"));
    TestClient halfSent{under};
    halfSent.sendRaw("\x81\xFE\x10\x00\0\0\0\0{\"a\":"sv);
    await([&under] { return under.service->figures().sessions == 2; });

    reset.reset();
    halfSent.socket().close();
    await([&under] { return under.closed(CloseReason::lost) == 2; });
    await([&under] { return under.service->figures().sessions == 0; });
    EXPECT_EQ(under.service->figures().subscriptions, 0U);
    await([&under] { return under.server.figures().connections == 0; });
}

TEST(BadFrames, AClientThatClosesIsAnswered)
{
    ServerUnderTest under;
    TestClient client{under};
    client.stream().close({boost::beast::websocket::close_code::going_away, "enough"});
    EXPECT_EQ(client.stream().reason().code, 1001U);
    await([&under] { return under.closed(CloseReason::byClient) == 1; });
}

} // namespace
} // namespace vexa::host
