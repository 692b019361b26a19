#pragma once

#include "Follower.hpp"
#include <host/websocket/OruWebSocketClient.hpp>

#include <boost/json/parse.hpp>

#include <memory>
#include <string>
#include <utility>

namespace vexa::host {

/// Options with short delays, so that nothing waits for long.
inline OruWebSocketClientOptions optionsFor(std::string url)
{
    OruWebSocketClientOptions options;
    options.url = std::move(url);
    options.reconnect = {.firstCeiling = 0.01, .lastCeiling = 0.05, .stableAfter = 10};
    return options;
}

/// A message of the category that the follower of a ClientUnderTest listens to.
inline std::string numbered(int number)
{
    return R"({"category":"vexa","number":)" + std::to_string(number) + "}";
}

inline Dictionary dictionary(const std::string& text)
{
    return boost::json::parse(text).as_object();
}

inline Dictionary subscribeRequest()
{
    return dictionary(R"({"category":"vexa","type":"subscribe","payload":{"operationId":"O-001","topics":[]}})");
}

inline Dictionary echoMessage(int number)
{
    return dictionary(R"({"category":"zltMsg","type":"sdk-echo","msgId":")" + std::to_string(number) + R"("})");
}

/// A client with a follower of its connection and of the messages of the category "vexa"; console lines are remembered.
struct ClientUnderTest {
    explicit ClientUnderTest(OruWebSocketClientOptions options)
    {
        options.console = [lines = console](std::string_view line) { lines->add(std::string{line}); };
        client = OruWebSocketClient::make(std::move(options));
        client->addCategoryListener("vexa", follower);
        client->addConnectionListener(follower);
    }

    explicit ClientUnderTest(std::string url) : ClientUnderTest{optionsFor(std::move(url))} {}

    ~ClientUnderTest()
    {
        if (client != nullptr) {
            client->stop();
        }
    }
    ClientUnderTest(const ClientUnderTest&) = delete;
    ClientUnderTest& operator=(const ClientUnderTest&) = delete;

    Happenings& happenings() { return follower->happenings; }

    std::shared_ptr<Happenings> console = std::make_shared<Happenings>();
    std::shared_ptr<Follower> follower = std::make_shared<Follower>();
    std::shared_ptr<OruWebSocketClient> client;
};

} // namespace vexa::host
