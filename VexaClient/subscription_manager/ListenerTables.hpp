#pragma once

#include <VexaClient/platform/TextTable.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>

#include <boost/container/small_vector.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <boost/unordered/unordered_flat_map.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vexa {

/// A listener under its id.
struct ListedListener {
    std::int64_t listenerId;
    std::shared_ptr<VexaSubscriptionListener> listener;
    bool returnsPromptly; ///< it is marked with ReturnsPromptly
};

/// The listeners of a subscription, in the order of their registration. Most subscriptions have one, which needs no
/// allocation.
struct SubscriptionListeners : boost::intrusive_ref_counter<SubscriptionListeners, boost::thread_unsafe_counter> {
    explicit SubscriptionListeners(std::string_view subscriptionHash) : hash{subscriptionHash} {}

    const std::string hash;
    boost::container::small_vector<ListedListener, 1> listeners;
};

/// The tables of a manager: a record of each listener, and the listeners of each subscription. A message costs one
/// search, by the subscription hash.
class ListenerTables {
public:
    /// The listeners of the subscription `hash`; null when there is no list of them.
    [[nodiscard]] SubscriptionListeners* listenersOf(std::string_view hash) const noexcept;

    /// The same, with an empty list when there was none.
    [[nodiscard]] SubscriptionListeners& listFor(std::string_view hash);

    /// Records a listener and adds it to its list.
    void add(SubscriptionListeners& list, std::int64_t listenerId, std::shared_ptr<VexaSubscriptionListener> listener);

    /// The hash under which a listener is recorded; nothing when there is no record of it.
    [[nodiscard]] std::optional<std::string> hashOf(std::int64_t listenerId) const;

    /// Takes a listener out of a list; nothing when it is not in it. Its record stays.
    [[nodiscard]] static std::shared_ptr<VexaSubscriptionListener> takeOut(SubscriptionListeners& list,
                                                                           std::int64_t listenerId);

    void deleteList(const SubscriptionListeners& list);
    void deleteRecord(std::int64_t listenerId);

    /// Shows each record, and each list, for tests and diagnosis.
    template <class Show>
    void showRecords(Show&& show) const
    {
        for (const auto& [listenerId, list] : listenersById_) {
            show(listenerId, *list);
        }
    }
    template <class Show>
    void showLists(Show&& show) const
    {
        for (const auto& list : listenersBySub_) {
            show(*list);
        }
    }

private:
    using ListPointer = boost::intrusive_ptr<SubscriptionListeners>;

    static std::string_view textOf(std::string_view hash) noexcept { return hash; }
    static std::string_view textOf(const ListPointer& list) noexcept { return list->hash; }

    struct Hash {
        using is_transparent = void;
        using is_avalanching = void;
        std::size_t operator()(const auto& key) const noexcept { return TextHash{}(textOf(key)); }
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(const auto& one, const auto& other) const noexcept { return textOf(one) == textOf(other); }
    };

    boost::unordered_flat_map<std::int64_t, ListPointer> listenersById_;
    boost::unordered_flat_set<ListPointer, Hash, Equal> listenersBySub_;
};

} // namespace vexa
