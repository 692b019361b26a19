#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>

#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace vexa::testing {

/// A consumer of one subscription that keeps what it is given. Any thread may use it.
class RecordingListener final : public VexaSubscriptionListener {
public:
    struct Received {
        Message message;
        bool isTerminating;
    };

    /// Called with each message after it was kept, on the thread that brought it; what it throws escapes the listener.
    /// Set it before the first message comes.
    std::function<void(const Received&)> onMessage;

    void messageReceived(const Message& message, bool isTerminating) override
    {
        const Received each{message, isTerminating};
        {
            const std::lock_guard lock{mutex_};
            received_.push_back(each);
        }
        if (onMessage) {
            onMessage(each);
        }
    }

    [[nodiscard]] std::vector<Received> received() const
    {
        const std::lock_guard lock{mutex_};
        return received_;
    }

    /// What has come since the last call; the listener keeps it no longer.
    std::vector<Received> take()
    {
        const std::lock_guard lock{mutex_};
        return std::exchange(received_, {});
    }

private:
    mutable std::mutex mutex_;
    std::vector<Received> received_;
};

} // namespace vexa::testing
