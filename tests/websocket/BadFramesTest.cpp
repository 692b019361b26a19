#include "ClientUnderTest.hpp"
#include "TestService.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Entries = Happenings::Entries;

/// The client's limits in these tests.
constexpr std::size_t mostBytes = 1000;
constexpr std::size_t mostDepth = 8;

OruWebSocketClientOptions limitedOptions(std::string url)
{
    OruWebSocketClientOptions options = optionsFor(std::move(url));
    options.incoming = {.bytes = mostBytes, .depth = mostDepth};
    return options;
}

/// A frame that is unusable and leaves the connection as it is.
struct HarmlessFrame {
    const char* name;
    FrameFault fault;
    std::string payload;
    bool isBinary = false;
};

class HarmlessFrames : public ::testing::TestWithParam<HarmlessFrame> {};

TEST_P(HarmlessFrames, areCountedToldOnceAndPassedOver)
{
    const HarmlessFrame& frame = GetParam();
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.stream().auto_fragment(true);
        end.stream().write_buffer_bytes(64);
        for (int i = 0; i < 50; ++i) {
            end.stream().binary(frame.isBinary);
            end.stream().write(boost::asio::buffer(frame.payload));
            end.send(numbered(i));
        }
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{limitedOptions(service.url())};
    under.client->start();
    const Entries entries = under.happenings().await(51);
    EXPECT_EQ(entries[0], "opened");
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(entries[static_cast<std::size_t>(i) + 1], numbered(i));
    }
    const OruWebSocketFigures figures = under.client->figures();
    EXPECT_EQ(figures.faulty(frame.fault), 50U);
    EXPECT_EQ(figures.connects, 1U);
    const Entries lines = under.console->entries();
    EXPECT_EQ(std::ranges::count_if(
                  lines, [](const std::string& line) { return line.find("received a frame") != std::string::npos; }),
              1);
}

INSTANTIATE_TEST_SUITE_P(
    BadFramesTest, HarmlessFrames,
    ::testing::Values(HarmlessFrame{"empty", FrameFault::notJson, ""},
                      HarmlessFrame{"noJson", FrameFault::notJson, "{\"category\":"},
                      HarmlessFrame{"list", FrameFault::notADictionary, "[1,2,3]"},
                      HarmlessFrame{"deep", FrameFault::tooDeep,
                                    "{\"a\":" + std::string(mostDepth, '[') + std::string(mostDepth, ']') + "}"},
                      HarmlessFrame{"large", FrameFault::tooLarge, std::string(mostBytes + 1, ' ')},
                      HarmlessFrame{"muchTooLarge", FrameFault::tooLarge, std::string(mostBytes * 15, ' ')},
                      HarmlessFrame{"binary", FrameFault::binary, "{\"category\":\"vexa\"}", true}),
    [](const auto& each) { return each.param.name; });

/// A frame for which RFC 6455 has the connection fail.
struct FatalFrame {
    const char* name;
    FrameFault fault;
    int closeCode;
    std::string bytes; ///< the whole frame, as it stands on the wire
};

class FatalFrames : public ::testing::TestWithParam<FatalFrame> {};

TEST_P(FatalFrames, closeTheConnectionWithTheirCodeAndAreFollowedByANewOne)
{
    const FatalFrame& frame = GetParam();
    std::atomic<int> closeCode = 0;
    TestService service{[&](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number == 1) {
            end.send(numbered(1));
            writeRaw(socket, frame.bytes);
            closeCode = end.receiveToTheEnd();
            return;
        }
        end.send(numbered(2));
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{limitedOptions(service.url())};
    under.client->start();
    EXPECT_EQ(under.happenings().await(5), (Entries{"opened", numbered(1), "closed", "opened", numbered(2)}));
    EXPECT_EQ(closeCode, frame.closeCode);
    EXPECT_EQ(under.client->figures().faulty(frame.fault), 1U);
}

/// A final text frame from a service with up to 125 bytes (RFC 6455, section 5.2).
std::string textFrame(const std::string& payload)
{
    return std::string{'\x81', static_cast<char>(payload.size())} + payload;
}

INSTANTIATE_TEST_SUITE_P(
    BadFramesTest, FatalFrames,
    ::testing::Values(FatalFrame{"overlongUtf8", FrameFault::notUtf8, 1007, textFrame("{\"a\":\"\xC0\xAF\"}")},
                      FatalFrame{"cutUtf8", FrameFault::notUtf8, 1007, textFrame("{\"a\":\"\xE2\x82")},
                      FatalFrame{"surrogate", FrameFault::notUtf8, 1007, textFrame("{\"a\":\"\xED\xA0\x80\"}")},
                      FatalFrame{"unknownOpcode", FrameFault::protocolViolation, 1002, std::string{"\x83\x01x", 3}},
                      FatalFrame{"reservedBit", FrameFault::protocolViolation, 1002, std::string{"\xC1\x01x", 3}},
                      FatalFrame{"masked", FrameFault::protocolViolation, 1002,
                                 std::string{"\x81\x81\x01\x02\x03\x04x", 7}},
                      FatalFrame{"strayContinuation", FrameFault::protocolViolation, 1002, std::string{"\x80\x01x", 3}},
                      FatalFrame{"longPing", FrameFault::protocolViolation, 1002,
                                 std::string{"\x89\x7E\x00\x7E", 4} + std::string(126, 'x')},
                      FatalFrame{"farTooLarge", FrameFault::tooLarge, 1009,
                                 std::string{"\x81\x7F\x00\x00\x00\x01\x00\x00\x00\x00", 10}}),
    [](const auto& each) { return each.param.name; });

TEST(BadFramesTest, textThatIsNoWebSocketAtAllEndsTheAttempt)
{
    TestService service{[](TestService::Socket& socket, int number) {
        if (number == 1) {
            writeRaw(socket, "SSH-2.0-OpenSSH\r\n\r\n");
            waitForTheEnd(socket);
            return;
        }
        ServiceEnd{socket}.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    under.console->awaitPart("the WebSocket handshake failed");
}

} // namespace
} // namespace vexa::host
