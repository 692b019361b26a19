#include <bench/roads/peers/RedisLoop.hpp>

#include <stdexcept>

#include <poll.h>

namespace vexa::bench {

RedisLoop::RedisLoop(std::uint16_t port) : context_{redisAsyncConnect("127.0.0.1", port)}
{
    if (context_ == nullptr || context_->err != 0) {
        throw std::runtime_error{"redis: cannot connect"};
    }
    context_->ev.data = this;
    context_->ev.addRead = [](void* loop) { static_cast<RedisLoop*>(loop)->wanted_ |= POLLIN; };
    context_->ev.delRead = [](void* loop) { static_cast<RedisLoop*>(loop)->wanted_ &= ~POLLIN; };
    context_->ev.addWrite = [](void* loop) { static_cast<RedisLoop*>(loop)->wanted_ |= POLLOUT; };
    context_->ev.delWrite = [](void* loop) { static_cast<RedisLoop*>(loop)->wanted_ &= ~POLLOUT; };
    context_->ev.cleanup = [](void* loop) { static_cast<RedisLoop*>(loop)->wanted_ = 0; };
    redisAsyncSetConnectCallback(context_, [](const redisAsyncContext* /*context*/, int /*status*/) {});
}

RedisLoop::~RedisLoop()
{
    redisAsyncFree(context_);
}

void RedisLoop::runUntil(const std::function<bool()>& isDone)
{
    constexpr int patienceMilliseconds = 30'000;
    while (!isDone()) {
        pollfd watched{context_->c.fd, wanted_, 0};
        if (::poll(&watched, 1, patienceMilliseconds) <= 0) {
            throw std::runtime_error{"redis: nothing comes any more"};
        }
        if ((watched.revents & (POLLERR | POLLHUP)) != 0) {
            throw std::runtime_error{"redis: the connection is lost"};
        }
        if ((watched.revents & POLLOUT) != 0) {
            redisAsyncHandleWrite(context_);
        }
        if ((watched.revents & POLLIN) != 0) {
            redisAsyncHandleRead(context_);
        }
    }
}

} // namespace vexa::bench
