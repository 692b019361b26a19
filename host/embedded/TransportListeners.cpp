#include <host/embedded/TransportListeners.hpp>
#include <VexaClient/platform/ReturnsPromptly.hpp>

#include <string>
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
    const bool returnsPromptly = dynamic_cast<const ReturnsPromptly*>(listener.get()) != nullptr;
    const std::lock_guard lock{mutex_};
    auto& listeners = categoryListeners_[std::string{category}];
    auto more =
        listeners != nullptr ? std::make_shared<MessageListeners>(*listeners) : std::make_shared<MessageListeners>();
    more->push_back({std::move(listener), returnsPromptly});
    listeners = std::move(more);
    return ++lastId_;
}

std::shared_ptr<const TransportListeners::MessageListeners>
TransportListeners::listenersOf(std::string_view category) const
{
    const std::lock_guard lock{mutex_};
    const auto found = categoryListeners_.find(category);
    return found != categoryListeners_.end() ? found->second : nullptr;
}

void TransportListeners::MessageListener::deliver(const Message& message, Platform& platform) const
{
    const auto call = [&] { listener->handleMessage(message); };
    if (returnsPromptly) {
        callGuarded(platform, "a message listener", call);
    } else {
        callHost(platform, "a message listener", call);
    }
}

} // namespace vexa::host
