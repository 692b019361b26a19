#pragma once

#include <host/publish/Publisher.hpp>
#include <host/websocket/OruWebSocketClient.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {

/// What a NumberPublisher publishes, and how fast.
struct NumberPlan {
    std::string topic;
    std::uint64_t count;          ///< of messages, numbered from 1
    std::uint64_t perRequest = 4; ///< messages
    double rate = 0;              ///< messages a second; 0 for as fast as they are answered
    std::size_t unanswered = 200; ///< the most requests under way; the publisher waits beyond that
};

/// An application that publishes numbered messages over a connection of its own, on a thread of its own. One that was
/// held up makes up for the time that it lost.
class NumberPublisher {
public:
    NumberPublisher(SystemPlatform& platform, std::string url, NumberPlan plan);

    /// Publishes nothing more and parts from the service.
    ~NumberPublisher();

    NumberPublisher(const NumberPublisher&) = delete;
    NumberPublisher& operator=(const NumberPublisher&) = delete;

    /// How many messages the service has acknowledged.
    [[nodiscard]] std::uint64_t accepted() const noexcept { return accepted_; }

    /// Whether all were published and answered.
    [[nodiscard]] bool isDone() const;

    /// What the service answered to the requests that it did not take whole.
    [[nodiscard]] std::vector<std::string> refusals() const;

    [[nodiscard]] std::uint64_t reconnects() const { return transport_->figures().reconnects; }

private:
    void run();
    void publishNext(std::uint64_t first);
    void answered(std::size_t expected, const PublishResult& result);

    const NumberPlan plan_;
    const std::shared_ptr<OruWebSocketClient> transport_;
    std::atomic<std::uint64_t> accepted_{0};

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t unanswered_ = 0;
    bool isPublished_ = false;
    bool isStopped_ = false;
    std::vector<std::string> refusals_;

    std::unique_ptr<Publisher> publisher_;
    std::thread thread_;
};

} // namespace vexa::host
