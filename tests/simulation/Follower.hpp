#pragma once

#include "tests/simulation/PublishedTopic.hpp"
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>

namespace vexa::simulation {

/// What someone who follows a topic has got of it, held against what was published.
class FollowerAccount {
public:
    /// \param promisedFrom  the first message that nothing may be left out behind. Of what the library had got before
    ///                      the follower came, some may still be on its way to earlier followers, and comes; some may
    ///                      have been withheld since there were none, and does not.
    FollowerAccount(const PublishedTopic& topic, std::size_t promisedFrom) : topic_{topic}, promisedFrom_{promisedFrom}
    {}

    /// Takes the next message. Throws a Difference unless it is the one that was published after the last, as it was
    /// published.
    void take(const Message& message, bool isTerminating);

    /// Throws a Difference unless the follower has got everything up to now.
    void requireUpToDate() const;

    [[nodiscard]] bool hasEnded() const noexcept { return hasEnded_; }
    [[nodiscard]] std::optional<std::size_t> last() const noexcept { return last_; }
    [[nodiscard]] const PublishedTopic& topic() const noexcept { return topic_; }

private:
    const PublishedTopic& topic_;
    std::size_t promisedFrom_;
    std::optional<std::size_t> last_; ///< the number of the newest message
    double lastUpdatedAt_ = 0;
    bool hasEnded_ = false;
};

/// A listener of the host's that follows a topic.
class FollowingListener final : public VexaSubscriptionListener {
public:
    FollowingListener(const PublishedTopic& topic, std::size_t promisedFrom) : account{topic, promisedFrom} {}

    void messageReceived(const Message& message, bool isTerminating) override;

    /// What was wrong with a message. Nothing may escape a listener, so it is kept.
    void rethrow() const;

    FollowerAccount account;
    bool isRemoved = false; ///< nothing may come any more
    std::size_t calls = 0;

private:
    std::exception_ptr wrong_;
};

} // namespace vexa::simulation
