#pragma once

#include <VexaClient/platform/AsyncStream.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace vexa::host {

/// The ways to consume a stream.
enum class FollowStyle : std::uint8_t {
    coroutine,     ///< a coroutine that awaits the next element
    asioCoroutine, ///< a coroutine of Boost.Asio, by completion token
    callback,      ///< a completion handler that asks for the next element
    thread         ///< a thread of its own that blocks in a loop over the stream
};

[[nodiscard]] std::string_view styleName(FollowStyle style) noexcept;

using TopicElement = VexaSubscriptionStream::Element;
using TopicStream = AsyncStream<TopicElement>;

/// What becomes known of a stream: each element, in order, and then its end, once. Called on the consumer's thread.
struct FollowerEvents {
    std::function<void(TopicElement element)> received;
    std::function<void()> ended;
};

/// A consumer of one stream. Dropping it cancels the stream.
class StreamFollower {
public:
    virtual ~StreamFollower() = default;

    /// Cancels the stream; `ended` is called soon after, unless it has been called. Any thread.
    virtual void cancel() = 0;
};

/// Sets consumers on streams.
class FollowerMaker {
public:
    virtual ~FollowerMaker() = default;

    [[nodiscard]] virtual std::unique_ptr<StreamFollower> follow(FollowStyle style, TopicStream stream,
                                                                 FollowerEvents events) = 0;
};

} // namespace vexa::host
