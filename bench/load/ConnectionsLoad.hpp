#pragma once

#include "EventTimes.hpp"
#include "SubscriberConnection.hpp"
#include <host/publish/Publisher.hpp>
#include <host/websocket/OruWebSocketClient.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <boost/asio/io_context.hpp>

#include <tests/resilience/RestartableService.hpp>

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace vexa::host {

struct LoadOptions {
    std::size_t connections = 10'000;
    std::size_t atOnce = 500;         ///< the most that connect at a time, at first
    double settle = 0;                ///< seconds between the message and the cut
    double outage = 1;                ///< seconds for which the service is away
    std::vector<std::string> service; ///< further arguments of `vexa serve`
    ReconnectOptions reconnect;
};

/// Thousands of subscribers in this process against `vexa serve` as another: they connect, subscribe and get a message;
/// then the service is killed and started again, and all come back.
class ConnectionsLoad {
public:
    explicit ConnectionsLoad(LoadOptions options);
    ~ConnectionsLoad();
    ConnectionsLoad(const ConnectionsLoad&) = delete;
    ConnectionsLoad& operator=(const ConnectionsLoad&) = delete;

    /// Goes through all of it and returns the figures. Throws std::runtime_error when nothing moves any more.
    [[nodiscard]] Dictionary run();

private:
    [[nodiscard]] Dictionary connectAll();
    [[nodiscard]] Dictionary subscribeAll();
    [[nodiscard]] Dictionary deliverToAll();
    [[nodiscard]] Dictionary cutAndComeBack();

    void happened(LoadEvent event);
    void runUntil(const std::function<bool()>& isDone);
    void runFor(double seconds);

    /// Resident bytes of the service, as it tells of itself.
    [[nodiscard]] double serviceMemory();

    const LoadOptions options_;
    RestartableService service_;
    boost::asio::io_context context_;
    SystemPlatform platform_;
    EventTimes times_;
    LoadSurroundings surroundings_;
    std::list<SubscriberConnection> connections_;
    std::list<SubscriberConnection>::iterator next_; ///< the first that has not begun to connect
    std::shared_ptr<OruWebSocketClient> transport_;
    std::unique_ptr<Publisher> publisher_;
};

} // namespace vexa::host
