#pragma once

#include "Waiting.hpp"
#include <host/broker/Broker.hpp>

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace vexa::host {

/// The results of publications, in the order in which they complete. Any thread may use it.
class PublishResults {
public:
    [[nodiscard]] PublishCompletion completion()
    {
        return [shared = shared_](PublishResult result) {
            const std::lock_guard lock{shared->mutex};
            shared->results.push_back(std::move(result));
            shared->changed.notify_all();
        };
    }

    /// The results, once there are `count` of them, or those that came until patience ended.
    [[nodiscard]] std::vector<PublishResult> await(std::size_t count)
    {
        std::unique_lock lock{shared_->mutex};
        shared_->changed.wait_for(lock, patience, [&] { return shared_->results.size() >= count; });
        return shared_->results;
    }

private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<PublishResult> results;
    };

    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

/// Publishes and waits for the result; an error of the test's own when none comes.
[[nodiscard]] inline PublishResult publishAndWait(Broker& broker, const TopicKey& topic,
                                                  std::vector<Dictionary> payloads)
{
    PublishResults results;
    broker.publish(topic, std::move(payloads), results.completion());
    const auto completed = results.await(1);
    return completed.empty() ? PublishResult{0, ServiceError{"NoResult", "the publication did not complete"}}
                             : completed.front();
}

} // namespace vexa::host
