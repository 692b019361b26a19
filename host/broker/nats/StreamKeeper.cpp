#include <host/broker/nats/StreamKeeper.hpp>
#include <host/broker/nats/TopicSubject.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

namespace {

std::int64_t nanoseconds(double seconds) noexcept
{
    constexpr double nanosecondsPerSecond = 1e9;
    return static_cast<std::int64_t>(seconds * nanosecondsPerSecond);
}

/// Whether every entry of `wanted` stands in `present` with the same value.
bool contains(const Dictionary& present, const Dictionary& wanted)
{
    return std::all_of(wanted.begin(), wanted.end(), [&](const auto& entry) {
        const Value* const value = present.if_contains(entry.key());
        return value != nullptr && *value == entry.value();
    });
}

/// Whether the stream that an answer describes can store messages: it has a leader that hears from enough others to be
/// a majority with them. The server of a cluster answers for the stream even when it has not.
bool hasMajority(const Dictionary& answer)
{
    constexpr std::int64_t longestSilence = 5'000'000'000;
    const Dictionary* const cluster = dictionaryAt(answer, "cluster");
    const List* const others = cluster == nullptr ? nullptr : dictionariesAt(*cluster, "replicas");
    if (cluster == nullptr || (others == nullptr && stringAt(*cluster, "leader"))) {
        return true;
    }
    if (!stringAt(*cluster, "leader")) {
        return false;
    }
    const auto heard = std::count_if(others->begin(), others->end(), [](const Value& other) {
        const Value* const silence = other.get_object().if_contains("active");
        return silence != nullptr && silence->is_int64() && silence->get_int64() < longestSilence;
    });
    return 2 * (static_cast<std::size_t>(heard) + 1) > others->size() + 1;
}

} // namespace

StreamKeeper::StreamKeeper(JetStream& jetStream, const NatsBrokerOptions& options)
    : jetStream_{jetStream}, options_{options}
{}

void StreamKeeper::find(Handler handler)
{
    jetStream_.call(
        "STREAM.INFO." + options_.stream, "",
        [weak = weak_from_this(), handler = std::move(handler)](const Dictionary& answer,
                                                                const std::optional<JetStreamError>& error) {
            const auto self = weak.lock();
            if (self == nullptr) {
                return;
            }
            const Dictionary* const present = dictionaryAt(answer, "config");
            if (error && error->code == JetStreamError::streamNotFound) {
                self->configure("STREAM.CREATE.", "the stream cannot be made", handler);
            } else if (error || present == nullptr) {
                handler(std::nullopt, error ? error->description : "the stream is not described");
            } else if (!self->isUpToDate_ && hasMajority(answer) && !contains(*present, self->configuration())) {
                self->configure("STREAM.UPDATE.", "the stream's limits cannot be set", handler);
            } else {
                self->useAnswer(answer, handler);
            }
        });
}

void StreamKeeper::configure(std::string_view request, std::string_view complaint, Handler handler)
{
    jetStream_.call(joined({request, options_.stream}), messageText(configuration()),
                    [weak = weak_from_this(), complaint, handler = std::move(handler)](
                        const Dictionary& answer, const std::optional<JetStreamError>& error) {
                        const auto self = weak.lock();
                        if (self == nullptr) {
                            return;
                        }
                        if (error) {
                            handler(std::nullopt, joined({complaint, ": ", error->description}));
                        } else {
                            self->useAnswer(answer, handler);
                        }
                    });
}

void StreamKeeper::useAnswer(const Dictionary& answer, const Handler& handler)
{
    if (!hasMajority(answer)) {
        handler(std::nullopt, "most of its servers are away");
        return;
    }
    isUpToDate_ = true;
    Stream stream;
    const Dictionary* const state = dictionaryAt(answer, "state");
    const Value* const last = state == nullptr ? nullptr : state->if_contains("last_seq");
    if (last != nullptr && last->is_int64()) {
        stream.lastSequence = static_cast<std::uint64_t>(last->get_int64());
    }
    const std::string created{stringAt(answer, "created").value_or("")};
    stream.isReplaced = !created_.empty() && created != created_;
    created_ = created;
    handler(stream, {});
}

Dictionary StreamKeeper::configuration() const
{
    // A record is sent again, with the same id, for as long as its publications may take.
    constexpr double usualMemoryOfIds = 120;
    const NatsRetention& retention = options_.retention;
    const double memoryOfIds = std::max(usualMemoryOfIds, 2 * options_.publishTimeLimit);
    List subjects;
    subjects.emplace_back(subjectsOfStream(options_.stream));
    return {
        {"name", options_.stream},
        {"subjects", std::move(subjects)},
        {"retention", "limits"},
        {"storage", "file"},
        {"discard", "old"},
        {"num_replicas", options_.replicas},
        {"max_msgs_per_subject", retention.recordsPerTopic},
        {"max_bytes", retention.maximumBytes.value_or(-1)},
        {"max_age", nanoseconds(retention.maximumAge.value_or(0))},
        {"duplicate_window", nanoseconds(std::min(memoryOfIds, retention.maximumAge.value_or(memoryOfIds)))},
    };
}

} // namespace vexa::host
