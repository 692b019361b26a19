#include <host/websocket/OutgoingQueue.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

void OutgoingQueue::close()
{
    isOpen_ = false;
    const std::size_t before = waiting_.size();
    std::erase_if(waiting_, [](const Waiting& each) { return each.whileClosed == WhileClosed::drop; });
    drops_.lostWithConnection += before - waiting_.size();
    bytes_ = keptBytes_;
}

bool OutgoingQueue::add(std::string text, WhileClosed whileClosed)
{
    if (hasEnded_ || (!isOpen_ && whileClosed == WhileClosed::drop)) {
        ++drops_.whileClosed;
        return false;
    }
    if (!makeRoom(text.size())) {
        ++drops_.forLackOfRoom;
        return false;
    }
    bytes_ += text.size();
    keptBytes_ += whileClosed == WhileClosed::keep ? text.size() : 0;
    waiting_.push_back({std::move(text), whileClosed});
    return true;
}

bool OutgoingQueue::makeRoom(std::size_t needed)
{
    if (needed > limits_.bytes || bytes_ - keptBytes_ > limits_.bytes - needed) {
        return false;
    }
    while (bytes_ > limits_.bytes - needed) {
        const auto oldest =
            std::ranges::find(waiting_, WhileClosed::keep, [](const Waiting& each) { return each.whileClosed; });
        bytes_ -= oldest->text.size();
        keptBytes_ -= oldest->text.size();
        waiting_.erase(oldest);
        ++drops_.forLackOfRoom;
    }
    return true;
}

std::optional<std::string> OutgoingQueue::take()
{
    if (!isOpen_ || waiting_.empty()) {
        return std::nullopt;
    }
    Waiting next = std::move(waiting_.front());
    waiting_.pop_front();
    bytes_ -= next.text.size();
    keptBytes_ -= next.whileClosed == WhileClosed::keep ? next.text.size() : 0;
    return std::move(next.text);
}

} // namespace vexa::host
