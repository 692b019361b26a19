#include <host/embedded/TransportListeners.hpp>

#include <utility>

namespace vexa::host {

bool TransportListeners::isOpen() const
{
    const std::lock_guard lock{mutex_};
    return isOpen_;
}

TransportListeners::ConnectionListeners TransportListeners::setOpen(bool isOpen)
{
    const std::lock_guard lock{mutex_};
    isOpen_ = isOpen;
    return connectionListeners_;
}

std::int64_t TransportListeners::addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener)
{
    const std::lock_guard lock{mutex_};
    connectionListeners_.push_back(std::move(listener));
    return ++lastId_;
}

std::int64_t TransportListeners::addCategoryListener(std::string_view category,
                                                     std::shared_ptr<OruClientMessageListener> listener)
{
    const std::lock_guard lock{mutex_};
    categoryListeners_.push_back({std::string{category}, std::move(listener)});
    return ++lastId_;
}

TransportListeners::MessageListeners TransportListeners::listenersOf(std::string_view category) const
{
    MessageListeners listeners;
    const std::lock_guard lock{mutex_};
    for (const CategoryListener& each : categoryListeners_) {
        if (each.category == category) {
            listeners.push_back(each.listener);
        }
    }
    return listeners;
}

} // namespace vexa::host
