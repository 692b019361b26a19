#pragma once

#include <host/websocket/OruWebSocketClient.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace vexa::bench {

/// A WebSocket transport to a service on loopback, not started, with room for the requests of a hundred thousand topics
/// at once.
[[nodiscard]] std::shared_ptr<host::OruWebSocketClient> makeTransport(const std::string& url);

/// Waits until the transport has its connection. Throws std::runtime_error when it does not come.
void awaitOpen(host::OruWebSocketClient& transport);

/// Calls a function with each message.
class CallingListener final : public VexaSubscriptionListener {
public:
    explicit CallingListener(std::function<void(const Message& message)> call) : call_{std::move(call)} {}
    void messageReceived(const Message& message, bool /*isTerminating*/) override { call_(message); }

private:
    const std::function<void(const Message& message)> call_;
};

} // namespace vexa::bench
