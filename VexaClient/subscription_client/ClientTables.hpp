#pragma once

#include <VexaClient/platform/TextTable.hpp>
#include <VexaClient/subscription_client/TopicSubscription.hpp>

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa {

/// A topic that the service has confirmed at some time.
struct ConfirmedTopic {
    TopicSubscription subscription;
    bool isCurrent;       ///< whether it stands among the current subscriptions
    bool isRemoved;       ///< whether its messages are withheld
    std::uint32_t routes; ///< how many subscription ids stand for it
};

/// A subscription id of the service, with the topic that it stands for. The text never changes, so that whoever needs
/// the id for longer keeps the route.
class SubscriptionRoute : public boost::intrusive_ref_counter<SubscriptionRoute, boost::thread_safe_counter> {
public:
    explicit SubscriptionRoute(std::string_view id) : subscriptionId{id} {}

    const std::string subscriptionId;

    /// For the owner of the tables alone.
    ConfirmedTopic* topic = nullptr;
};

using SubscriptionRoutePointer = boost::intrusive_ptr<const SubscriptionRoute>;

/// The tables by which a client finds the topic of a message: subscription ids, what they stand for, which topics are
/// current and which are removed. A message costs one search, by its subscription id.
class ClientTables {
public:
    /// The route of a subscription id; null for an unknown one. Its topic is never null.
    [[nodiscard]] SubscriptionRoute* route(std::string_view subscriptionId) const noexcept;

    /// The subscription `hash` among the current ones; null when it is not.
    [[nodiscard]] TopicSubscription* current(std::string_view hash) const noexcept;

    /// Makes a topic current, in place of what was current under its hash, and lets `subscriptionId` stand for it.
    /// Returns the route.
    SubscriptionRoutePointer confirm(const TopicSubscription& topic, std::string_view subscriptionId);

    /// Withholds the messages of a subscription, known or not.
    void remove(std::string_view hash);

    /// Undoes remove().
    void restore(std::string_view hash);

    /// Appends all current subscriptions to `topics`; none is current afterwards. What no subscription id stands for is
    /// forgotten.
    void takeCurrent(std::vector<TopicSubscription>& topics);

    // Copies of the tables, for tests and diagnosis.
    [[nodiscard]] TextTable<TopicSubscription> currentSubscriptions() const;
    [[nodiscard]] const TextSet& removedSubscriptions() const noexcept { return removedSubscriptions_; }
    [[nodiscard]] TextTable<std::string> subscriptionIdToHash() const;

private:
    struct TextOf {
        std::string_view operator()(std::string_view text) const noexcept { return text; }
        std::string_view operator()(const std::unique_ptr<ConfirmedTopic>& topic) const noexcept
        {
            return topic->subscription.hash();
        }
        std::string_view operator()(const boost::intrusive_ptr<SubscriptionRoute>& route) const noexcept
        {
            return route->subscriptionId;
        }
    };
    struct Hash {
        using is_transparent = void;
        using is_avalanching = void;
        std::size_t operator()(const auto& entry) const noexcept { return TextHash{}(TextOf{}(entry)); }
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(const auto& one, const auto& other) const noexcept { return TextOf{}(one) == TextOf{}(other); }
    };
    template <class Pointer>
    using PointerSet = boost::unordered_flat_set<Pointer, Hash, Equal>;

    PointerSet<std::unique_ptr<ConfirmedTopic>> currentSubscriptions_; ///< with those that were current earlier
    PointerSet<boost::intrusive_ptr<SubscriptionRoute>> subscriptionIdToHash_;
    TextSet removedSubscriptions_;
    std::size_t currentCount_ = 0;
};

} // namespace vexa
