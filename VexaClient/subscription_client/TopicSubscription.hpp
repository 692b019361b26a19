#pragma once

#include <VexaClient/platform/Json.hpp>

#include <memory>
#include <string>

namespace vexa {

/// One topic as the client knows it. Copies are independent of each other; what never changes is shared between them,
/// so that a copy costs a reference.
class TopicSubscription {
public:
    /// \param params  the caller's parameters, exactly as given.
    /// \param hash    the subscription hash of (name, params).
    /// \param moment  the topic's updatedAt: seconds since 1970; 0 or less for none.
    TopicSubscription(std::string name, const Parameters& params, std::string hash, double moment);

    [[nodiscard]] const std::string& name() const noexcept { return identity_->name; }
    [[nodiscard]] const Parameters& params() const noexcept { return identity_->params; }
    [[nodiscard]] const std::string& hash() const noexcept { return identity_->hash; }

    /// The newest moment that the caller or the feed has seen of the topic: seconds since 1970; 0 or less for none.
    double updatedAt;

    /// The topic's description: "name"; "parameters" when there are any; "updatedAt" when it is greater than 0.
    [[nodiscard]] Dictionary asDictionary() const;

private:
    struct Identity {
        std::string name;
        Parameters params;
        std::string hash;
    };

    std::shared_ptr<const Identity> identity_;
};

} // namespace vexa
