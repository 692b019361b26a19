#pragma once

#include <host/tool/demo/StreamFollower.hpp>

#include <thread>

namespace vexa::host {

/// Follows a stream with a thread of its own that blocks in a loop over it. Destroying it waits for the thread.
class ThreadFollower final : public StreamFollower {
public:
    ThreadFollower(TopicStream stream, FollowerEvents events);
    ~ThreadFollower() override;
    ThreadFollower(const ThreadFollower&) = delete;
    ThreadFollower& operator=(const ThreadFollower&) = delete;

    void cancel() override { stream_.cancel(); }

private:
    TopicStream stream_;
    FollowerEvents events_;
    std::thread thread_;
};

} // namespace vexa::host
