#include <host/tool/demo/AsioFollower.hpp>
#include <host/tool/demo/CoroutineFollower.hpp>
#include <host/tool/demo/EveryStyleFollowerMaker.hpp>
#include <host/tool/demo/ThreadFollower.hpp>

#include <utility>

namespace vexa::host {

EveryStyleFollowerMaker::EveryStyleFollowerMaker() : work_{context_.get_executor()}, thread_{[this] { context_.run(); }}
{}

EveryStyleFollowerMaker::~EveryStyleFollowerMaker()
{
    work_.reset();
    thread_.join();
}

std::unique_ptr<StreamFollower> EveryStyleFollowerMaker::follow(FollowStyle style, TopicStream stream,
                                                                FollowerEvents events)
{
    switch (style) {
    case FollowStyle::asioCoroutine:
        return std::make_unique<AsioFollower>(context_, AsioFollower::Token::awaitable, std::move(stream),
                                              std::move(events));
    case FollowStyle::callback:
        return std::make_unique<AsioFollower>(context_, AsioFollower::Token::handler, std::move(stream),
                                              std::move(events));
    case FollowStyle::thread:
        return std::make_unique<ThreadFollower>(std::move(stream), std::move(events));
    case FollowStyle::coroutine:
        break;
    }
    return std::make_unique<CoroutineFollower>(std::move(stream), std::move(events));
}

} // namespace vexa::host
