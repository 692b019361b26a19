#pragma once

#include <host/broker/MemoryBroker.hpp>
#include <host/server/VexaServer.hpp>
#include <host/service/VexaService.hpp>
#include <VexaClient/platform/Json.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace vexa::host {

/// The dictionary that a text holds.
inline Dictionary json(std::string_view text)
{
    return boost::json::parse(boost::json::string_view{text.data(), text.size()}).as_object();
}

/// A payload whose content is its place in a sequence.
inline Dictionary numbered(int number)
{
    return {{"number", number}};
}

/// Waits until something that other threads bring about is so. Fails the test when it does not come to be.
template <class Condition>
void await(Condition&& condition)
{
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds{60};
    while (!condition()) {
        if (std::chrono::steady_clock::now() > giveUp) {
            FAIL() << "what was waited for did not happen";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
}

/// Options for a server on a port of loopback that is free, on one thread unless a test says otherwise.
inline VexaServerOptions loopback()
{
    VexaServerOptions options;
    options.listen = {"127.0.0.1", 0};
    options.threads = 1;
    return options;
}

/// A service over a memory broker, or another one, and its server.
struct ServerUnderTest {
    explicit ServerUnderTest(VexaServerOptions options = loopback(), const ServiceLimits& limits = {},
                             std::shared_ptr<Broker> broker = MemoryBroker::make())
        : service{std::make_shared<VexaService>(std::move(broker), limits)}, server{service, std::move(options)}
    {}

    [[nodiscard]] unsigned short port() const { return server.address().port; }

    void publish(int number) { service->publish("scores", std::nullopt, {numbered(number)}); }

    [[nodiscard]] std::uint64_t closed(CloseReason reason) const
    {
        return server.figures().webSocketsClosed[static_cast<std::size_t>(reason)];
    }
    [[nodiscard]] std::uint64_t bad(FrameFault fault) const
    {
        return server.figures().badFrames[static_cast<std::size_t>(fault)];
    }

    std::shared_ptr<VexaService> service;
    VexaServer server;
};

} // namespace vexa::host
