#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/SerialQueue.hpp>
#include <VexaClient/platform/Text.hpp>

namespace vexa {

constinit thread_local SerialQueue::Frame* SerialQueue::Frame::innermost_ = nullptr;

SerialQueue::Frame::Frame(const SerialQueue& queue) noexcept : queue_{&queue}, outer_{innermost_}
{
    innermost_ = this;
}

SerialQueue::Frame::~Frame()
{
    innermost_ = outer_;
}

bool SerialQueue::isCurrent() const noexcept
{
    for (const auto* frame = Frame::innermost_; frame != nullptr; frame = frame->outer_) {
        if (frame->queue_ == this) {
            return true;
        }
    }
    return false;
}

void SerialQueue::refuseOwnThread() const noexcept
{
    if (isCurrent()) {
        fatal(joined({"synchronous work for the queue \"", label_,
                      "\" was submitted from that queue itself, which can never end"}));
    }
}

} // namespace vexa
