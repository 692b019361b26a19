#include <host/broker/nats/TopicState.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <algorithm>
#include <memory>
#include <utility>

namespace vexa::host {

double secondsOf(std::int64_t microsecond) noexcept
{
    constexpr double microsecondsPerSecond = 1e6;
    return static_cast<double>(microsecond) / microsecondsPerSecond;
}

TopicState startBefore(const TopicRecord& record) noexcept
{
    return record.base.sequence == 0 ? TopicState{} : record.base;
}

TopicBatch placed(TopicRecord record, const TopicState& before)
{
    TopicBatch batch;
    batch.before = before;
    TopicState state = record.base.lastMicrosecond > before.lastMicrosecond ? record.base : before;
    state.sequence = record.sequence;
    batch.payloads.reserve(record.payloads.size());
    batch.updatedAts.reserve(record.payloads.size());
    for (Dictionary& payload : record.payloads) {
        if (std::exchange(state.hasEnded, boolAt(payload, "isTerminating").value_or(false))) {
            state.formerLivesUntil = state.lastMicrosecond;
        }
        state.lastMicrosecond = std::max(record.microsecond, state.lastMicrosecond + 1);
        const double updatedAt = secondsOf(state.lastMicrosecond);
        payload["updatedAt"] = updatedAt;
        batch.updatedAts.push_back(updatedAt);
        batch.payloads.push_back(std::make_shared<const Dictionary>(std::move(payload)));
    }
    batch.after = state;
    return batch;
}

} // namespace vexa::host
