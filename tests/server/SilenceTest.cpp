#include "HttpConnection.hpp"
#include "ServerUnderTest.hpp"
#include "TestClient.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vexa::host {
namespace {

TEST(Silence, AClientThatAnswersPingsStays)
{
    VexaServerOptions options = loopback();
    options.timeLimits.idle = 0.3;
    ServerUnderTest under{options};
    TestClient client{under};
    static_cast<void>(client.subscribe("scores"));
    std::thread publisher{[&under] {
        await([&under] { return under.server.figures().pingsSent >= 5; });
        under.publish(1);
    }};
    EXPECT_EQ(client.receiveNumbers(1), std::vector<int>{1}) << "reading answers the pings";
    publisher.join();
    EXPECT_EQ(under.closed(CloseReason::silent), 0U);
}

TEST(Silence, AClientThatAnswersNoPingIsClosed)
{
    VexaServerOptions options = loopback();
    options.timeLimits.idle = 0.1;
    ServerUnderTest under{options};
    TestClient client{under};
    await([&under] { return under.closed(CloseReason::silent) == 1; });
    EXPECT_GE(under.server.figures().pingsSent, 1U);
    await([&under] { return under.server.figures().webSockets == 0; });
    await([&under] { return under.service->figures().sessions == 0; });
}

TEST(Silence, APingIsAnswered)
{
    ServerUnderTest under;
    TestClient client{under};
    std::string answer;
    client.stream().control_callback([&answer](boost::beast::websocket::frame_type kind, auto content) {
        if (kind == boost::beast::websocket::frame_type::pong) {
            answer.assign(content.data(), content.size());
        }
    });
    client.stream().ping("are you there");
    client.exchange();
    EXPECT_EQ(answer, "are you there");
}

TEST(Silence, AConnectionThatSendsNothingIsClosed)
{
    VexaServerOptions options = loopback();
    options.timeLimits.request = 0.05;
    ServerUnderTest under{options};
    HttpConnection silent{under.port()};
    EXPECT_TRUE(silent.hasEnded());
}

TEST(Silence, AConnectionThatTricklesIsClosed)
{
    VexaServerOptions options = loopback();
    options.timeLimits.request = 0.1;
    ServerUnderTest under{options};
    HttpConnection trickling{under.port()};
    ErrorCode error;
    constexpr std::string_view header = "X: y\r\n";
    trickling.write("GET / HTTP/1.1\r\n");
    while (!error) {
        boost::asio::write(trickling.socket(), boost::asio::buffer(header.data(), header.size()), error);
        std::this_thread::sleep_for(std::chrono::milliseconds{5});
    }
    await([&under] { return under.server.figures().connections == 0; });
    EXPECT_EQ(under.server.figures().httpResponses, decltype(ServerFigures::httpResponses){});
}

TEST(Silence, AClientThatTakesNoResponseIsClosed)
{
    VexaServerOptions options = loopback();
    options.timeLimits.response = 0.1;
    ServerUnderTest under{options};
    const std::string name(100'000, 'n');
    for (int number = 0; number < 200; ++number) {
        under.service->publish(name + std::to_string(number), std::nullopt, {numbered(1)});
    }
    HttpConnection greedy{under.port()};
    greedy.write("GET /topics HTTP/1.1\r\nHost: x\r\n\r\n");
    await([&under] { return under.server.figures().accepted == 1 && under.server.figures().connections == 0; });
}

} // namespace
} // namespace vexa::host
