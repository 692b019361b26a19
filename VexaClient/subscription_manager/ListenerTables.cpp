#include <VexaClient/platform/ReturnsPromptly.hpp>
#include <VexaClient/subscription_manager/ListenerTables.hpp>

#include <algorithm>
#include <utility>

namespace vexa {

SubscriptionListeners* ListenerTables::listenersOf(std::string_view hash) const noexcept
{
    const auto found = listenersBySub_.find(hash);
    return found != listenersBySub_.end() ? found->get() : nullptr;
}

SubscriptionListeners& ListenerTables::listFor(std::string_view hash)
{
    if (SubscriptionListeners* known = listenersOf(hash)) {
        return *known;
    }
    return **listenersBySub_.insert(ListPointer{new SubscriptionListeners{hash}}).first;
}

void ListenerTables::add(SubscriptionListeners& list, std::int64_t listenerId,
                         std::shared_ptr<VexaSubscriptionListener> listener)
{
    const bool returnsPromptly = dynamic_cast<const ReturnsPromptly*>(listener.get()) != nullptr;
    list.listeners.push_back({listenerId, std::move(listener), returnsPromptly});
    listenersById_.emplace(listenerId, ListPointer{&list});
}

std::optional<std::string> ListenerTables::hashOf(std::int64_t listenerId) const
{
    const auto found = listenersById_.find(listenerId);
    return found != listenersById_.end() ? std::optional{found->second->hash} : std::nullopt;
}

std::shared_ptr<VexaSubscriptionListener> ListenerTables::takeOut(SubscriptionListeners& list, std::int64_t listenerId)
{
    // Ids only grow, and with them the list.
    const auto found = std::ranges::lower_bound(list.listeners, listenerId, {}, &ListedListener::listenerId);
    if (found == list.listeners.end() || found->listenerId != listenerId) {
        return nullptr;
    }
    auto listener = std::move(found->listener);
    list.listeners.erase(found);
    return listener;
}

void ListenerTables::deleteList(const SubscriptionListeners& list)
{
    listenersBySub_.erase(listenersBySub_.find(std::string_view{list.hash}));
}

void ListenerTables::deleteRecord(std::int64_t listenerId)
{
    listenersById_.erase(listenerId);
}

} // namespace vexa
