#include <host/tool/demo/CoroutineFollower.hpp>

#include <coroutine>
#include <exception>
#include <utility>

namespace vexa::host {

namespace {

/// A coroutine that starts at once and belongs to nobody: its frame goes when it returns.
// NOLINTBEGIN(readability-identifier-naming): the names are the language's
struct DetachedCoroutine {
    struct promise_type {
        DetachedCoroutine get_return_object() noexcept { return {}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() noexcept {}
        [[noreturn]] void unhandled_exception() noexcept { std::terminate(); }
    };
};
// NOLINTEND(readability-identifier-naming)

} // namespace

struct CoroutineFollower::Following {
    TopicStream stream;
    FollowerEvents events;

    static DetachedCoroutine run(std::shared_ptr<Following> self)
    {
        while (auto element = co_await self->stream.next()) {
            self->events.received(std::move(*element));
        }
        self->events.ended();
    }
};

CoroutineFollower::CoroutineFollower(TopicStream stream, FollowerEvents events)
    : following_{std::make_shared<Following>(std::move(stream), std::move(events))}
{
    Following::run(following_);
}

CoroutineFollower::~CoroutineFollower()
{
    cancel();
}

void CoroutineFollower::cancel()
{
    following_->stream.cancel();
}

std::unique_ptr<StreamFollower> CoroutineFollowerMaker::follow(FollowStyle, TopicStream stream, FollowerEvents events)
{
    return std::make_unique<CoroutineFollower>(std::move(stream), std::move(events));
}

} // namespace vexa::host
