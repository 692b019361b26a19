#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/subscription_client/TopicIdentity.hpp>

#include <string_view>

namespace vexa {

/// One topic as the client knows it. Copies are independent of each other; what never changes is shared between them,
/// so that a copy costs a reference.
class TopicSubscription {
public:
    /// \param params  the caller's parameters, exactly as given.
    /// \param hash    the subscription hash of (name, params).
    /// \param moment  the topic's updatedAt: seconds since 1970; 0 or less for none.
    TopicSubscription(std::string_view name, const Parameters& params, std::string_view hash, double moment);

    /// A topic that is known already, at another moment.
    TopicSubscription(TopicIdentity::Pointer identity, double moment) noexcept;

    [[nodiscard]] std::string_view name() const noexcept { return identity_->name(); }
    [[nodiscard]] const Parameters& params() const noexcept { return identity_->params(); }
    [[nodiscard]] std::string_view hash() const noexcept { return identity_->hash(); }
    [[nodiscard]] const TopicIdentity::Pointer& identity() const noexcept { return identity_; }

    /// The topic's description: "name"; "parameters" when there are any; "updatedAt" when it is greater than 0.
    [[nodiscard]] Dictionary asDictionary() const;

private:
    TopicIdentity::Pointer identity_;

public:
    /// The newest moment that the caller or the feed has seen of the topic: seconds since 1970; 0 or less for none.
    double updatedAt;
};

/// The description of a topic at a moment: "name"; "parameters" when there are any; "updatedAt" when it is greater
/// than 0.
[[nodiscard]] Dictionary topicDescription(const TopicIdentity& topic, double updatedAt);

} // namespace vexa
