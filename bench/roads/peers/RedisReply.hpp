#pragma once

#include <hiredis/hiredis.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace vexa::bench {

struct FreeRedisReply {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};
using RedisReply = std::unique_ptr<redisReply, FreeRedisReply>;

struct FreeRedisContext {
    void operator()(redisContext* context) const { redisFree(context); }
};
using RedisContext = std::unique_ptr<redisContext, FreeRedisContext>;

/// A blocking connection to a redis-server on loopback. Throws std::runtime_error when there is none.
[[nodiscard]] inline RedisContext connectToRedis(std::uint16_t port)
{
    constexpr timeval patience{30, 0};
    RedisContext context{redisConnectWithTimeout("127.0.0.1", port, patience)};
    if (context == nullptr || context->err != 0 || redisSetTimeout(context.get(), patience) != REDIS_OK) {
        throw std::runtime_error{"redis: cannot connect"};
    }
    return context;
}

/// Waits for the next reply. Throws std::runtime_error when none comes.
[[nodiscard]] inline RedisReply nextReply(redisContext& context)
{
    void* reply = nullptr;
    if (redisGetReply(&context, &reply) != REDIS_OK) {
        throw std::runtime_error{std::string{"redis: "} + context.errstr};
    }
    return RedisReply{static_cast<redisReply*>(reply)};
}

} // namespace vexa::bench
