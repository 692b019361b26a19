#pragma once

#include <host/broker/Broker.hpp>
#include <host/broker/nats/TopicState.hpp>

#include <cstddef>
#include <deque>
#include <vector>

namespace vexa::host {

/// The newest records of a topic, without a gap, as far as they are kept in memory.
class TopicWindow {
public:
    /// An empty window behind `base`.
    explicit TopicWindow(const TopicState& base = {}) : base_{base} {}

    /// The state behind the newest record.
    [[nodiscard]] const TopicState& state() const noexcept { return batches_.empty() ? base_ : batches_.back().after; }

    /// The state before the oldest record.
    [[nodiscard]] const TopicState& base() const noexcept { return base_; }

    /// Whether every payload of the topic that is later than `after`, in seconds since 1970, is in the window.
    [[nodiscard]] bool reaches(double after) const noexcept;

    /// The payloads that are later than `after`, and none of a record whose newest one is older than `notBefore`; both
    /// in seconds since 1970.
    [[nodiscard]] std::vector<Delivery> later(double after, double notBefore, bool isReplayed) const;

    void append(TopicBatch batch);

    /// Puts older records in front.
    ///
    /// \param batches    from `base` on to where the window began
    /// \param isOldest   whether the stream has nothing older
    void prepend(const TopicState& base, bool isOldest, std::vector<TopicBatch> batches);

    /// Drops the oldest records until there are no more than `records`, as many as the stream keeps.
    void dropWhatTheStreamDrops(std::size_t records);

    /// Drops the oldest records until there are no more than `payloads`; the newest record stays.
    void dropDownTo(std::size_t payloads);

private:
    void dropOldest();

    TopicState base_;
    bool isOldest_ = false;
    std::deque<TopicBatch> batches_;
    std::size_t payloads_ = 0;
};

} // namespace vexa::host
