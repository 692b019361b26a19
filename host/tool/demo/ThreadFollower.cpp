#include <host/tool/demo/ThreadFollower.hpp>

#include <utility>

namespace vexa::host {

ThreadFollower::ThreadFollower(TopicStream stream, FollowerEvents events)
    : stream_{std::move(stream)}, events_{std::move(events)}, thread_{[this] {
          for (const TopicElement& element : stream_) {
              events_.received(element);
          }
          events_.ended();
      }}
{}

ThreadFollower::~ThreadFollower()
{
    stream_.cancel();
    thread_.join();
}

} // namespace vexa::host
