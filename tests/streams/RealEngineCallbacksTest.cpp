#include "Coroutine.hpp"
#include "RealLibrary.hpp"

#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>

namespace vexa {
namespace {

using testing::RecordingListener;

TEST(RealEngineCallbacks, LetsListenersAddAndRemoveInsideTheirCallbacks)
{
    constexpr int messages = 200;
    RealLibrary library;
    const Stream keepsTheSubscription = library.createConfirmedStream("scores", "s-1");
    Collected<int> numbers;
    std::int64_t current = 0;
    const auto listener = std::make_shared<RecordingListener>();
    // Each message replaces the registration, behind which the next message is fanned out only once.
    listener->onMessage = [&](const RecordingListener::Received& each) {
        library.manager->removeMessageListener(current);
        current = library.manager->addMessageListener("scores", std::nullopt, 0.0, listener);
        numbers.add(each.message->at("payload").at("number").to_number<int>());
    };
    current = library.manager->addMessageListener("scores", std::nullopt, 0.0, listener);
    for (const int number : upTo(messages)) {
        library.publish("s-1", number);
        numbers.await(static_cast<std::size_t>(number) + 1);
    }
    EXPECT_EQ(numbers.now(), upTo(messages));
    EXPECT_EQ(library.manager->anyListenersFor("scores", std::nullopt), (Ids{1, 2 + messages}));
    library.manager->removeMessageListener(current);
    EXPECT_EQ(library.manager->anyListenersFor("scores", std::nullopt), (Ids{1}));
    library.settle();
}

TEST(RealEngineCallbacks, HoldsUpOnlyTheCallbackQueueWhileAListenerBlocks)
{
    RealLibrary library;
    Stream scores = library.createConfirmedStream("scores", "s-1");
    std::mutex mutex;
    std::condition_variable changed;
    bool released = false;
    Collected<int> entered;
    const auto blocking = std::make_shared<RecordingListener>();
    blocking->onMessage = [&](const auto&) {
        entered.add(1);
        std::unique_lock lock{mutex};
        changed.wait(lock, [&] { return released; });
    };
    const std::int64_t id = library.manager->addMessageListener("scores", std::nullopt, 0.0, blocking);
    library.publish("s-1", 0);
    entered.await(1);

    // The registry, the client and the transport go on meanwhile.
    const Stream news = library.createConfirmedStream("news", "n-1");
    library.manager->removeMessageListener(id);
    EXPECT_EQ(library.manager->anyListenersFor("scores", std::nullopt), (Ids{1}));
    EXPECT_EQ(library.manager->anyListenersFor("news", std::nullopt), (Ids{3}));
    EXPECT_EQ(library.client->state().currentSubscriptions.size(), 2U);
    library.publish("s-1", 1);

    {
        const std::lock_guard lock{mutex};
        released = true;
        changed.notify_all();
    }
    library.terminate("s-1");
    EXPECT_EQ(numbersUntilTheEnd(scores), upTo(2));
    EXPECT_EQ(entered.now(), (std::vector<int>{1}));
}

Coroutine consumeUntilTheEnd(Stream& stream, std::function<void()> inTheLoop, Collected<std::vector<int>>& results)
{
    std::vector<int> numbers;
    while (const auto element = co_await stream.next()) {
        inTheLoop();
        if (!element->isTerminating) {
            numbers.push_back(numberOf(*element));
        }
    }
    results.add(std::move(numbers));
}

TEST(RealEngineCallbacks, HoldsNobodyUpWhileManyCoroutinesBlock)
{
    constexpr int messages = 50;
    constexpr std::size_t blockers = 6;
    // Beyond the life of the threads that run them.
    Collected<std::vector<int>> quick;
    Collected<std::vector<int>> slow;
    std::list<Coroutine> consumers;
    RealLibrary library;
    std::list<Stream> streams;
    streams.push_back(library.createConfirmedStream("scores", "s-1"));
    for (std::size_t more = 0; more < blockers; ++more) {
        streams.push_back(library.createStream("scores"));
    }
    // Each of the slow ones blocks at its first element until the quick one has seen the end.
    const auto blockUntilTheQuickOneIsDone = [&] { quick.await(1); };
    for (auto stream = std::next(streams.begin()); stream != streams.end(); ++stream) {
        consumers.push_back(consumeUntilTheEnd(*stream, blockUntilTheQuickOneIsDone, slow));
    }
    consumers.push_back(consumeUntilTheEnd(streams.front(), [] {}, quick));
    for (const int number : upTo(messages)) {
        library.publish("s-1", number);
    }
    library.terminate("s-1");

    EXPECT_EQ(quick.await(1), (std::vector<std::vector<int>>{upTo(messages)}));
    EXPECT_EQ(slow.await(blockers), std::vector<std::vector<int>>(blockers, upTo(messages)));
    library.expectEachUnregisteredOnce(static_cast<std::int64_t>(1 + blockers));
}

} // namespace
} // namespace vexa
