#include <host/server/ClientOutbox.hpp>
#include <host/wire/MessageText.hpp>

#include <utility>

namespace vexa::host {

void ReadyOutboxes::add(std::shared_ptr<ClientOutbox> outbox)
{
    bool isFirst = false;
    {
        const std::lock_guard lock{mutex_};
        isFirst = ready_.empty();
        ready_.push_back(std::move(outbox));
    }
    if (isFirst) {
        door_->post([self = shared_from_this()] { self->attend(); });
    }
}

void ReadyOutboxes::attend()
{
    std::vector<std::shared_ptr<ClientOutbox>> ready;
    {
        const std::lock_guard lock{mutex_};
        ready.swap(ready_);
        ready_.reserve(ready.size());
    }
    for (const auto& each : ready) {
        each->attend();
    }
}

ClientOutbox::ClientOutbox(const FrameQueueLimits& limits, std::shared_ptr<ReadyOutboxes> ready, Owner& owner)
    : ready_{std::move(ready)}, owner_{&owner}, queue_{limits}
{}

void ClientOutbox::send(const Dictionary& message)
{
    add(messageText(message));
}

void ClientOutbox::deliver(DataBatch batch)
{
    add(std::move(batch));
}

template <class Content>
void ClientOutbox::add(Content content)
{
    std::unique_lock lock{mutex_};
    if (isDetached_) {
        return;
    }
    if (!queue_.add(std::move(content))) {
        if (!std::exchange(news_.isOverfull, true)) {
            announce(std::move(lock));
        }
    } else if (!std::exchange(isAttended_, true)) {
        announce(std::move(lock));
    }
}

void ClientOutbox::closed(ServiceError reason)
{
    std::unique_lock lock{mutex_};
    news_.closedFor = std::move(reason);
    announce(std::move(lock));
}

void ClientOutbox::handled()
{
    std::unique_lock lock{mutex_};
    news_.isHandled = true;
    announce(std::move(lock));
}

void ClientOutbox::announce(std::unique_lock<std::mutex> lock)
{
    if (isDetached_) {
        return;
    }
    lock.unlock();
    ready_->add(shared_from_this());
}

std::optional<OutgoingFrame> ClientOutbox::take()
{
    const std::lock_guard lock{mutex_};
    auto frame = queue_.take();
    isAttended_ = frame.has_value();
    return frame;
}

ClientOutbox::News ClientOutbox::takeNews()
{
    const std::lock_guard lock{mutex_};
    News news = std::exchange(news_, {});
    // Told once: the queue stays closed.
    news_.isOverfull = news.isOverfull;
    return news;
}

void ClientOutbox::closeQueue()
{
    const std::lock_guard lock{mutex_};
    // Nothing that comes after this is missed by anyone, so it is no overflow.
    news_.isOverfull = true;
    queue_.close();
}

void ClientOutbox::detach()
{
    owner_ = nullptr;
    const std::lock_guard lock{mutex_};
    isDetached_ = true;
    queue_.clear();
}

void ClientOutbox::attend()
{
    if (owner_ != nullptr) {
        owner_->outboxReady();
    }
}

} // namespace vexa::host
