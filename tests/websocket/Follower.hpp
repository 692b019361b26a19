#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/transport/OruClientConnectionListener.hpp>
#include <VexaClient/transport/OruClientMessageListener.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <ranges>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {

/// What happened, in order, in words. Any thread may add to it; the test waits for what it expects.
class Happenings {
public:
    using Entries = std::vector<std::string>;

    void add(std::string entry)
    {
        const std::lock_guard lock{mutex_};
        entries_.push_back(std::move(entry));
        changed_.notify_all();
    }

    [[nodiscard]] Entries entries() const
    {
        const std::lock_guard lock{mutex_};
        return entries_;
    }

    /// The entries, once `isEnough` holds for them. A wait that would last for ever ends the test: it throws
    /// std::runtime_error with the entries that came instead.
    Entries await(const std::function<bool(const Entries&)>& isEnough)
    {
        std::unique_lock lock{mutex_};
        if (!changed_.wait_for(lock, std::chrono::seconds{240}, [&] { return isEnough(entries_); })) {
            std::string came = "what was waited for never came; the last that came:";
            for (const std::string& each :
                 entries_ | std::views::drop(entries_.size() - std::min(entries_.size(), mostTold))) {
                came += "\n  " + each.substr(0, 200);
            }
            throw std::runtime_error{came};
        }
        return entries_;
    }

    /// The entries, once there are `count` of them.
    Entries await(std::size_t count)
    {
        return await([count](const Entries& entries) { return entries.size() >= count; });
    }

    /// The entries, once `entry` has come `times` times.
    Entries awaitEntry(const std::string& entry, std::ptrdiff_t times = 1)
    {
        return await([&](const Entries& entries) { return std::ranges::count(entries, entry) >= times; });
    }

    /// The entries, once one of them contains `part`.
    Entries awaitPart(const std::string& part)
    {
        return await([&](const Entries& entries) {
            return std::ranges::any_of(entries,
                                       [&](const std::string& each) { return each.find(part) != std::string::npos; });
        });
    }

private:
    static constexpr std::size_t mostTold = 20;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Entries entries_;
};

/// Listens to a transport and remembers "opened", "closed" and the text of each message. What the test sets in
/// `onOpened` and `onMessage` before it registers the follower runs after each is remembered.
class Follower final : public OruClientConnectionListener, public OruClientMessageListener {
public:
    void connectionOpened() override
    {
        happenings.add("opened");
        if (onOpened) {
            onOpened();
        }
    }
    void connectionClosed() override { happenings.add("closed"); }
    void handleMessage(Message message) override
    {
        happenings.add(boost::json::serialize(*message));
        if (onMessage) {
            onMessage(*message);
        }
    }
    void messageListenerRemoved(std::int64_t /*listenerId*/) override {}

    Happenings happenings;
    std::function<void()> onOpened;
    std::function<void(const Dictionary&)> onMessage;
};

} // namespace vexa::host
