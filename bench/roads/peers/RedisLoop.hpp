#pragma once

#include <hiredis/async.h>
#include <hiredis/hiredis.h>

#include <cstdint>
#include <functional>

namespace vexa::bench {

/// hiredis' asynchronous client of a redis-server on loopback, on the calling thread, over poll(2).
class RedisLoop {
public:
    /// Throws std::runtime_error when it cannot connect.
    explicit RedisLoop(std::uint16_t port);
    ~RedisLoop();
    RedisLoop(const RedisLoop&) = delete;
    RedisLoop& operator=(const RedisLoop&) = delete;

    [[nodiscard]] redisAsyncContext& context() noexcept { return *context_; }

    /// Handles what comes and goes. Throws std::runtime_error when the connection is lost or silent for long.
    void runUntil(const std::function<bool()>& isDone);

private:
    redisAsyncContext* context_;
    short wanted_ = 0; ///< the events of poll(2)
};

} // namespace vexa::bench
