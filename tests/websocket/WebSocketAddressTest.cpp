#include <host/websocket/WebSocketAddress.hpp>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace vexa::host {
namespace {

TEST(WebSocketAddressTest, aBareHostHasTheDefaultPortAndTheRootPath)
{
    const WebSocketAddress address = webSocketAddress("ws://example.com");
    EXPECT_FALSE(address.isSecure);
    EXPECT_EQ(address.host, "example.com");
    EXPECT_EQ(address.port, "80");
    EXPECT_EQ(address.target, "/");
    EXPECT_EQ(address.authority, "example.com");
}

TEST(WebSocketAddressTest, everyPartIsRead)
{
    const WebSocketAddress address = webSocketAddress("wss://example.com:8443/live/feed?room=4%20a");
    EXPECT_TRUE(address.isSecure);
    EXPECT_EQ(address.host, "example.com");
    EXPECT_EQ(address.port, "8443");
    EXPECT_EQ(address.target, "/live/feed?room=4%20a");
    EXPECT_EQ(address.authority, "example.com:8443");
}

TEST(WebSocketAddressTest, theDefaultPortIsNotNamedInRequests)
{
    EXPECT_EQ(webSocketAddress("wss://example.com:443/").authority, "example.com");
    EXPECT_EQ(webSocketAddress("wss://example.com").port, "443");
    EXPECT_EQ(webSocketAddress("ws://example.com?a=1").target, "/?a=1");
}

TEST(WebSocketAddressTest, theBracketsOfAnAddressStayInRequestsAlone)
{
    const WebSocketAddress address = webSocketAddress("ws://[::1]:9000/");
    EXPECT_EQ(address.host, "::1");
    EXPECT_EQ(address.authority, "[::1]:9000");
}

class UnusableAddress : public ::testing::TestWithParam<const char*> {};

TEST_P(UnusableAddress, isRefusedInWords)
{
    try {
        static_cast<void>(webSocketAddress(GetParam()));
        FAIL() << "it was taken";
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string{error.what()}.find("' "), std::string::npos) << error.what();
    }
}

INSTANTIATE_TEST_SUITE_P(WebSocketAddressTest, UnusableAddress,
                         ::testing::Values("", "example.com", "http://example.com", "ws://", "ws:///path", "ws://a b/",
                                           "ws://user@example.com/", "ws://example.com/#part", "ws://example.com:0/",
                                           "ws://example.com:99999/", "ws://example.com:8G43/", "ws://exa\nmple.com/"));

} // namespace
} // namespace vexa::host
