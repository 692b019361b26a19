#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <mutex>
#include <utility>

namespace vexa::host {

/// The way onto a thread that runs an io_context, for those who may outlive it. Any thread may call any operation.
class ThreadDoor {
public:
    explicit ThreadDoor(boost::asio::io_context& context) noexcept : context_{&context} {}

    /// Has the thread run `work`. Drops it when the door is closed.
    template <class Work>
    void post(Work&& work)
    {
        const std::lock_guard lock{mutex_};
        if (context_ != nullptr) {
            boost::asio::post(*context_, std::forward<Work>(work));
        }
    }

    void close()
    {
        const std::lock_guard lock{mutex_};
        context_ = nullptr;
    }

private:
    std::mutex mutex_;
    boost::asio::io_context* context_;
};

} // namespace vexa::host
