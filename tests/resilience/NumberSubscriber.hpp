#pragma once

#include <host/tool/demo/AsioFollower.hpp>
#include <host/tool/demo/SequenceAccount.hpp>
#include <host/websocket/OruWebSocketClient.hpp>
#include <testing/StandaloneLibrary.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace vexa::host {

/// Options of a client that comes back soon however often it is cut off.
[[nodiscard]] OruWebSocketClientOptions quickToComeBack(std::string url);

/// An application that follows a topic whose messages are numbered 1, 2, 3 and so on: with a connection, a client, a
/// manager and a stream of its own.
class NumberSubscriber {
public:
    /// \param context  on whose threads the stream is consumed; must be run for as long as the subscriber exists
    NumberSubscriber(SystemPlatform& platform, boost::asio::io_context& context, std::string url,
                     std::string_view topic);

    /// Parts from the service.
    ~NumberSubscriber();

    NumberSubscriber(const NumberSubscriber&) = delete;
    NumberSubscriber& operator=(const NumberSubscriber&) = delete;

    /// What came until now.
    [[nodiscard]] SequenceAccount account() const;

    [[nodiscard]] std::uint64_t reconnects() const { return transport_->figures().reconnects; }

private:
    /// Outlives the subscriber where an element is on its way to it.
    struct Arrivals {
        mutable std::mutex mutex;
        SequenceAccount account;
    };

    const std::shared_ptr<Arrivals> arrivals_ = std::make_shared<Arrivals>();
    Dependencies container_;
    const std::shared_ptr<OruWebSocketClient> transport_;
    std::optional<testing::StandaloneLibrary> library_;
    std::optional<AsioFollower> follower_;
};

/// Any number of subscribers in one process, which share nothing but its threads.
class NumberSubscribers {
public:
    explicit NumberSubscribers(SystemPlatform& platform);
    ~NumberSubscribers();
    NumberSubscribers(const NumberSubscribers&) = delete;
    NumberSubscribers& operator=(const NumberSubscribers&) = delete;

    void add(std::size_t count, const std::string& url, std::string_view topic);

    [[nodiscard]] const std::list<NumberSubscriber>& all() const noexcept { return subscribers_; }

    /// How many messages came to all of them together.
    [[nodiscard]] std::uint64_t received() const;

    /// How many of them have got as many messages as that, or more.
    [[nodiscard]] std::size_t countWith(std::uint64_t messages) const;

    /// How often they have connected again, all together.
    [[nodiscard]] std::uint64_t reconnects() const;

private:
    SystemPlatform& platform_;
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
    std::list<NumberSubscriber> subscribers_;
};

} // namespace vexa::host
