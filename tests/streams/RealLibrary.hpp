#pragma once

#include "Fixtures.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <numeric>

namespace vexa {

/// Something that many threads add to, and that a test waits for.
template <class Entry>
class Collected {
public:
    void add(Entry entry)
    {
        const std::lock_guard lock{mutex_};
        entries_.push_back(std::move(entry));
        changed_.notify_all();
    }

    /// The entries, once there are at least `count`.
    std::vector<Entry> await(std::size_t count)
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [&] { return entries_.size() >= count; });
        return entries_;
    }

    std::vector<Entry> now()
    {
        const std::lock_guard lock{mutex_};
        return entries_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Entry> entries_;
};

/// The whole library on two threads of the system, over a fake transport.
struct RealLibrary {
    RealLibrary()
    {
        platform.setLogSink([this](std::string_view line) { lines.add(std::string{line}); });
        container.oruClient(transport);
        client = VexaOruClient::make(platform, container);
        manager = VexaOruSubscriptionManager::make(platform, client);
    }

    ~RealLibrary()
    {
        settle();
        static_cast<void>(manager->state());
        client->setMessageFeedDelegate(nullptr);
        static_cast<void>(client->state());
    }

    RealLibrary(const RealLibrary&) = delete;
    RealLibrary& operator=(const RealLibrary&) = delete;

    Stream createStream(std::string_view name)
    {
        return VexaSubscriptionStream::createStream(name, std::nullopt, std::nullopt, manager);
    }

    /// A stream of the topic that the service has confirmed under the id.
    Stream createConfirmedStream(std::string_view name, std::string_view subscriptionId)
    {
        Stream stream = createStream(name);
        // The request is sent on the client's queue, behind which the state is read.
        static_cast<void>(client->state());
        transport->deliver(testing::subscriptionResponse(testing::operationIdOf(transport->sent().back()),
                                                         {testing::success(subscriptionId)}));
        return stream;
    }

    void publish(std::string_view subscriptionId, int number)
    {
        transport->deliver(testing::dataMessage({testing::entry(subscriptionId, numbered(number))}));
    }

    void terminate(std::string_view subscriptionId)
    {
        transport->deliver(testing::dataMessage({testing::terminatingEntry(subscriptionId)}));
    }

    std::size_t countOf(const std::string& line)
    {
        const Lines all = lines.now();
        return static_cast<std::size_t>(std::count(all.begin(), all.end(), line));
    }

    /// Returns when all that was published before has reached its listeners.
    void settle()
    {
        Collected<bool> reached;
        const auto last = std::make_shared<testing::RecordingListener>();
        last->onMessage = [&](const auto&) { reached.add(true); };
        const std::int64_t id = manager->addMessageListener("the last message", std::nullopt, 0.0, last);
        static_cast<void>(client->state());
        transport->deliver(testing::subscriptionResponse(testing::operationIdOf(transport->sent().back()),
                                                         {testing::success("the last")}));
        publish("the last", 0);
        reached.await(1);
        manager->removeMessageListener(id);
    }

    /// Every stream with an id up to `last` has been unregistered exactly once.
    void expectEachUnregisteredOnce(std::int64_t last)
    {
        settle();
        for (std::int64_t id = 1; id <= last; ++id) {
            EXPECT_EQ(countOf("VEXA: VexaSubscriptionStream unregistered listener - " + std::to_string(id)), 1U) << id;
        }
    }

    Collected<std::string> lines;
    Dependencies container;
    SystemPlatform platform{2};
    std::shared_ptr<testing::FakeTransport> transport = std::make_shared<testing::FakeTransport>(platform);
    std::shared_ptr<VexaOruClient> client;
    std::shared_ptr<VexaOruSubscriptionManager> manager;
};

inline int numberOf(const VexaSubscriptionStream::Element& element)
{
    return element.message->at("payload").at("number").to_number<int>();
}

/// The numbers that come before the terminating element, which must come.
inline std::vector<int> numbersUntilTheEnd(Stream& stream)
{
    std::vector<int> numbers;
    bool terminated = false;
    for (const auto& element : stream) {
        EXPECT_FALSE(terminated);
        terminated = element.isTerminating;
        if (!terminated) {
            numbers.push_back(numberOf(element));
        }
    }
    EXPECT_TRUE(terminated);
    return numbers;
}

inline std::vector<int> upTo(int count)
{
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 0);
    return numbers;
}

} // namespace vexa
