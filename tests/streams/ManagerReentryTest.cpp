#include "Fixtures.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace vexa {
namespace {

using testing::RecordingListener;

/// A listener that calls back whatever it likes, once, with its first message.
std::shared_ptr<RecordingListener> calling(std::function<void()> call)
{
    auto listener = std::make_shared<RecordingListener>();
    listener->onMessage = [call = std::move(call), called = false](const auto&) mutable {
        if (!std::exchange(called, true)) {
            call();
        }
    };
    return listener;
}

TEST(ManagerReentry, AddsAListenerFromInsideACallback)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        const auto late = std::make_shared<RecordingListener>();
        Ids added;
        under.add("scores", calling([&] { added.push_back(under.add("scores", late)); }));
        under.deliver("scores#", numbered(1));
        under.deliver("scores#", numbered(2));
        EXPECT_EQ(added, (Ids{2})) << testing::replayHint(seed);
        EXPECT_EQ(taken(*late), (Deliveries{{numbered(2), false}})) << testing::replayHint(seed);
    }
}

TEST(ManagerReentry, RemovesAListenerFromInsideItsOwnCallback)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        const auto listener = calling([&] { under.manager->removeMessageListener(1); });
        under.add("scores", listener);
        under.deliver("scores#", numbered(1));
        under.deliver("scores#", numbered(2));
        EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), false}})) << testing::replayHint(seed);
        EXPECT_EQ(under.client->removals(), (Hashes{"scores#"})) << testing::replayHint(seed);
    }
}

TEST(ManagerReentry, RemovesAnotherListenerFromInsideACallbackAfterTheMessageAtHand)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        const auto other = std::make_shared<RecordingListener>();
        under.add("scores", calling([&] { under.manager->removeMessageListener(2); }));
        under.add("scores", other);
        under.deliver("scores#", numbered(1));
        under.deliver("scores#", numbered(2));
        EXPECT_EQ(taken(*other), (Deliveries{{numbered(1), false}})) << testing::replayHint(seed);
        EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{1})) << testing::replayHint(seed);
    }
}

TEST(ManagerReentry, SubscribesAgainFromInsideTheCallbackOfATerminatingMessage)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        const auto again = std::make_shared<RecordingListener>();
        under.add("scores", calling([&] { under.add("scores", again); }));
        under.deliver("scores#", numbered(1), true);
        under.deliver("scores#", numbered(2));
        EXPECT_EQ(taken(*again), (Deliveries{{numbered(2), false}})) << testing::replayHint(seed);
        EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"scores#", {2}}}))
            << testing::replayHint(seed);
    }
}

TEST(ManagerReentry, ListsListenersFromInsideACallback)
{
    ManagerOverRecordingClient under;
    std::vector<Ids> listed;
    under.add("scores", calling([&] { listed.push_back(under.manager->anyListenersFor("scores", std::nullopt)); }));
    under.deliver("scores#", numbered(1));
    EXPECT_EQ(listed, (std::vector<Ids>{{1}}));
}

TEST(ManagerReentry, CreatesAStreamFromInsideACallback)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        std::optional<Stream> stream;
        under.add("scores", calling([&] { stream = under.createStream("scores"); }));
        under.deliver("scores#", numbered(1));
        under.deliver("scores#", numbered(2));
        ASSERT_TRUE(stream);
        EXPECT_EQ(taken(*stream), (Deliveries{{numbered(2), false}})) << testing::replayHint(seed);
        stream.reset();
        under.platform.runUntilIdle();
        EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{1})) << testing::replayHint(seed);
    }
}

TEST(ManagerReentry, FeedsAMessageFromInsideACallback)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        const auto first = calling([&] { under.client->deliver("scores#", numbered(2)); });
        const auto second = std::make_shared<RecordingListener>();
        under.add("scores", first);
        under.add("scores", second);
        under.deliver("scores#", numbered(1));
        EXPECT_EQ(taken(*first), (Deliveries{{numbered(1), false}, {numbered(2), false}})) << testing::replayHint(seed);
        EXPECT_EQ(taken(*second), (Deliveries{{numbered(1), false}, {numbered(2), false}}))
            << testing::replayHint(seed);
    }
}

} // namespace
} // namespace vexa
