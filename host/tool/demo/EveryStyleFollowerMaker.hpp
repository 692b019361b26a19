#pragma once

#include <host/tool/demo/StreamFollower.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <thread>

namespace vexa::host {

/// Follows each stream in the style that is asked for. It has one thread for all that use Boost.Asio, and must outlive
/// the followers it made.
class EveryStyleFollowerMaker final : public FollowerMaker {
public:
    EveryStyleFollowerMaker();
    ~EveryStyleFollowerMaker() override;
    EveryStyleFollowerMaker(const EveryStyleFollowerMaker&) = delete;
    EveryStyleFollowerMaker& operator=(const EveryStyleFollowerMaker&) = delete;

    [[nodiscard]] std::unique_ptr<StreamFollower> follow(FollowStyle style, TopicStream stream,
                                                         FollowerEvents events) override;

private:
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
};

} // namespace vexa::host
