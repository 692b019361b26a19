#pragma once

#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>

#include <boost/container/small_vector.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

namespace vexa {

/// Messages on their way to those who listen. One message for one listener needs no allocation of its own.
class FanOut {
public:
    [[nodiscard]] bool isEmpty() const noexcept { return messages_.empty(); }

    /// Whether all who are called return promptly.
    [[nodiscard]] bool returnsPromptly() const noexcept { return returnsPromptly_; }

    /// Adds a message; those who are to get it are added behind it.
    void add(Message message, bool isTerminating) { messages_.push_back({std::move(message), isTerminating, 0}); }
    void addReceiver(std::shared_ptr<VexaSubscriptionListener> listener, bool returnsPromptly)
    {
        returnsPromptly_ = returnsPromptly_ && returnsPromptly;
        receivers_.push_back(std::move(listener));
        ++messages_.back().receiverCount;
    }

    /// Calls every listener for every message, in the order in which they were added, and lets go of each right after
    /// its call. Called once, where code of the host may run unless all return promptly.
    void callListeners(Platform& platform)
    {
        std::optional<HostCode> scope;
        if (!returnsPromptly_) {
            scope.emplace(platform);
        }
        auto receiver = receivers_.begin();
        for (Delivery& each : messages_) {
            for (std::size_t n = 0; n < each.receiverCount; ++n) {
                const std::shared_ptr<VexaSubscriptionListener> listener = std::move(*receiver++);
                callGuarded(platform, "VexaSubscriptionListener::messageReceived",
                            [&] { listener->messageReceived(each.message, each.isTerminating); });
            }
        }
    }

private:
    struct Delivery {
        Message message;
        bool isTerminating;
        std::size_t receiverCount;
    };

    bool returnsPromptly_ = true;
    boost::container::small_vector<Delivery, 1> messages_;
    boost::container::small_vector<std::shared_ptr<VexaSubscriptionListener>, 1> receivers_;
};

} // namespace vexa
