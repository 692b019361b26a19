#include <host/tool/demo/AsioFollower.hpp>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <optional>
#include <utility>

namespace vexa::host {

struct AsioFollower::Following {
    boost::asio::io_context& context;
    TopicStream stream;
    FollowerEvents events;

    static boost::asio::awaitable<void> run(std::shared_ptr<Following> self)
    {
        while (auto element = co_await self->stream.next(boost::asio::use_awaitable)) {
            self->events.received(std::move(*element));
        }
        self->events.ended();
    }

    static void askForNext(const std::shared_ptr<Following>& self)
    {
        self->stream.next(boost::asio::bind_executor(self->context, [self](std::optional<TopicElement> element) {
            if (!element) {
                self->events.ended();
                return;
            }
            self->events.received(std::move(*element));
            askForNext(self);
        }));
    }
};

AsioFollower::AsioFollower(boost::asio::io_context& context, Token token, TopicStream stream, FollowerEvents events)
    : following_{std::make_shared<Following>(context, std::move(stream), std::move(events))}
{
    if (token == Token::awaitable) {
        boost::asio::co_spawn(context, Following::run(following_), boost::asio::detached);
    } else {
        Following::askForNext(following_);
    }
}

AsioFollower::~AsioFollower()
{
    cancel();
}

void AsioFollower::cancel()
{
    following_->stream.cancel();
}

} // namespace vexa::host
