#pragma once

#include <host/tool/demo/StreamFollower.hpp>

#include <boost/asio/io_context.hpp>

#include <memory>

namespace vexa::host {

/// Follows a stream on the threads of an I/O context, by completion tokens of Boost.Asio.
class AsioFollower final : public StreamFollower {
public:
    /// How the next element is asked for.
    enum class Token { awaitable, handler };

    AsioFollower(boost::asio::io_context& context, Token token, TopicStream stream, FollowerEvents events);
    ~AsioFollower() override;
    AsioFollower(const AsioFollower&) = delete;
    AsioFollower& operator=(const AsioFollower&) = delete;

    void cancel() override;

private:
    struct Following;
    const std::shared_ptr<Following> following_;
};

} // namespace vexa::host
