#pragma once

#include <host/tool/demo/StreamFollower.hpp>

#include <memory>

namespace vexa::host {

/// Follows a stream with a plain coroutine, which runs on whatever thread its next element finds.
class CoroutineFollower final : public StreamFollower {
public:
    CoroutineFollower(TopicStream stream, FollowerEvents events);
    ~CoroutineFollower() override;
    CoroutineFollower(const CoroutineFollower&) = delete;
    CoroutineFollower& operator=(const CoroutineFollower&) = delete;

    void cancel() override;

private:
    struct Following;
    const std::shared_ptr<Following> following_;
};

/// Follows every stream with a plain coroutine, so that nothing but the platform of the streams is needed.
class CoroutineFollowerMaker final : public FollowerMaker {
public:
    [[nodiscard]] std::unique_ptr<StreamFollower> follow(FollowStyle style, TopicStream stream,
                                                         FollowerEvents events) override;
};

} // namespace vexa::host
