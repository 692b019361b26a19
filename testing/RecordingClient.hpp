#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/protocols/VexaClient.hpp>
#include <VexaClient/protocols/VexaFeed.hpp>

#include <boost/json/serialize.hpp>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::testing {

/// A subscription client that keeps what it is asked for and delivers what the test tells it to. Any thread may use it.
class RecordingClient final : public VexaClient {
public:
    struct Creation {
        std::string name;
        Parameters params;
        double updatedAt;
    };

    /// What subscriptionHash() and createSubscription() answer; at first the name, a number sign and the parameters as
    /// JSON, "scores#" for none. Set it before the client is used.
    std::function<std::string(std::string_view name, const Parameters& params)> hash = &plainHash;

    /// Called with each creation after it was kept; what it throws escapes the client. Set it before the client is
    /// used.
    std::function<void(const Creation&)> onCreate;

    [[nodiscard]] std::string subscriptionHash(std::string_view name, const Parameters& params) override
    {
        return hash(name, params);
    }

    std::string createSubscription(std::string_view name, const Parameters& params, double updatedAt) override
    {
        Creation creation{std::string{name}, params, updatedAt};
        {
            const std::lock_guard lock{mutex_};
            creations_.push_back(creation);
        }
        if (onCreate) {
            onCreate(creation);
        }
        return hash(name, params);
    }

    void removeSubscription(std::string_view subscription) override
    {
        const std::lock_guard lock{mutex_};
        removals_.emplace_back(subscription);
    }

    void setMessageFeedDelegate(std::shared_ptr<VexaFeed> delegate) override
    {
        const std::lock_guard lock{mutex_};
        delegate_.swap(delegate);
    }

    /// Hands a message to the delegate, on the calling thread; drops it when there is none. Returns what it handed
    /// over.
    Message deliver(std::string_view subscription, Dictionary message, bool isTerminating = false)
    {
        const auto shared = std::make_shared<const Dictionary>(std::move(message));
        if (const auto feed = delegate()) {
            feed->messageFeed(subscription, shared, isTerminating);
        }
        return shared;
    }

    /// The subscriptions that were asked for, in order.
    [[nodiscard]] std::vector<Creation> creations() const
    {
        const std::lock_guard lock{mutex_};
        return creations_;
    }

    /// The hashes of the subscriptions that were removed, in order.
    [[nodiscard]] std::vector<std::string> removals() const
    {
        const std::lock_guard lock{mutex_};
        return removals_;
    }

    [[nodiscard]] std::shared_ptr<VexaFeed> delegate() const
    {
        const std::lock_guard lock{mutex_};
        return delegate_;
    }

    static std::string plainHash(std::string_view name, const Parameters& params)
    {
        return std::string{name} + "#" + (params ? boost::json::serialize(*params) : std::string{});
    }

private:
    mutable std::mutex mutex_;
    std::vector<Creation> creations_;
    std::vector<std::string> removals_;
    std::shared_ptr<VexaFeed> delegate_;
};

} // namespace vexa::testing
