#include "Fixtures.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

namespace vexa {
namespace {

using testing::RecordingListener;

/// A listener that fails with each message.
std::shared_ptr<RecordingListener> failing()
{
    auto listener = std::make_shared<RecordingListener>();
    listener->onMessage = [](const auto&) { throw std::runtime_error{"the listener fails"}; };
    return listener;
}

TEST(ListenerFaults, LogsWhatAListenerThrows)
{
    ManagerOverRecordingClient under;
    under.add("scores", failing());
    under.platform.takeLogLines();
    under.deliver("scores#", numbered(1));
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: VexaSubscriptionListener::messageReceived threw: the listener fails"}));
}

TEST(ListenerFaults, LogsThatAListenerThrewSomethingElse)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    listener->onMessage = [](const auto&) { throw 7; };
    under.add("scores", listener);
    under.platform.takeLogLines();
    under.deliver("scores#", numbered(1));
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: VexaSubscriptionListener::messageReceived threw something that is no std::exception"}));
}

TEST(ListenerFaults, GoOnWithTheOtherListenersAndTheNextMessage)
{
    ManagerOverRecordingClient under;
    const auto bad = failing();
    const auto good = std::make_shared<RecordingListener>();
    under.add("scores", bad);
    under.add("scores", good);
    under.deliver("scores#", numbered(1));
    under.deliver("scores#", numbered(2));
    const Deliveries both{{numbered(1), false}, {numbered(2), false}};
    EXPECT_EQ(taken(*bad), both);
    EXPECT_EQ(taken(*good), both);
}

TEST(ListenerFaults, LeaveATerminationAsItIs)
{
    ManagerOverRecordingClient under;
    const auto good = std::make_shared<RecordingListener>();
    under.add("scores", failing());
    under.add("scores", good);
    under.platform.takeLogLines();
    under.deliver("scores#", numbered(1), true);
    EXPECT_EQ(taken(*good), (Deliveries{{numbered(1), true}}));
    EXPECT_EQ(under.client->removals(), (Hashes{"scores#"}));
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: removing listener 1", "VEXA: still had other listeners", "VEXA: removing listener 2",
                     "VEXA: removing subscription",
                     "VEXA: VexaSubscriptionListener::messageReceived threw: the listener fails"}));
}

TEST(ListenerFaults, LeaveNothingOfAnAdditionThatTheClientRefused)
{
    ManagerOverRecordingClient under;
    under.client->onCreate = [](const auto&) { throw std::runtime_error{"the client fails"}; };
    const auto listener = std::make_shared<RecordingListener>();
    EXPECT_THROW(under.add("scores", listener), std::runtime_error);
    EXPECT_EQ(under.manager->state().nextListenerId, 1);
    EXPECT_TRUE(under.manager->state().listenersById.empty());
    EXPECT_TRUE(under.manager->state().listenersBySub.empty());
    EXPECT_EQ(listener.use_count(), 1);
}

/// A listener that does something when it is destroyed.
class Farewell final : public VexaSubscriptionListener {
public:
    explicit Farewell(std::function<void()> onEnd) : onEnd_{std::move(onEnd)} {}
    Farewell(const Farewell&) = delete;
    Farewell& operator=(const Farewell&) = delete;
    ~Farewell() override { onEnd_(); }

    void messageReceived(const Message&, bool) override {}

private:
    std::function<void()> onEnd_;
};

TEST(ListenerDestruction, HappensAsCodeOfTheHostOffTheStateQueue)
{
    for (const bool terminated : {false, true}) {
        ManagerOverRecordingClient under;
        std::vector<Ids> listed;
        std::vector<bool> marked;
        under.add("scores", std::make_shared<Farewell>([&] {
                      listed.push_back(under.manager->anyListenersFor("scores", std::nullopt));
                      marked.push_back(under.platform.isInHostCode());
                  }));
        if (terminated) {
            under.deliver("scores#", numbered(1), true);
        } else {
            under.remove(1);
        }
        EXPECT_EQ(listed, (std::vector<Ids>{{}}));
        EXPECT_EQ(marked, std::vector<bool>{true});
    }
}

TEST(ListenerDestruction, HappensOnTheCallbackQueueBehindTheCallbacksBefore)
{
    for (const std::uint64_t seed : testing::seeds(30)) {
        ManagerOverRecordingClient under{seed};
        Lines journal;
        const auto other = std::make_shared<RecordingListener>();
        other->onMessage = [&](const RecordingListener::Received& each) {
            journal.push_back("message " + boost::json::serialize(each.message->at("number")));
        };
        under.add("scores", std::make_shared<Farewell>([&] {
                      journal.push_back("destroyed");
                      under.client->deliver("scores#", numbered(3));
                      under.platform.runUntilIdle();
                      journal.push_back("destruction over");
                  }));
        under.add("scores", other);
        under.client->deliver("scores#", numbered(1));
        under.manager->removeMessageListener(1);
        under.client->deliver("scores#", numbered(2));
        under.platform.runUntilIdle();
        EXPECT_EQ(journal, (Lines{"message 1", "destroyed", "destruction over", "message 2", "message 3"}))
            << testing::replayHint(seed);
    }
}

TEST(ListenerDestruction, OfATerminatedListenerFollowsItsCallback)
{
    for (const std::uint64_t seed : testing::seeds(30)) {
        ManagerOverRecordingClient under{seed};
        Lines journal;
        const auto other = std::make_shared<RecordingListener>();
        other->onMessage = [&](const auto&) { journal.emplace_back("the second is called"); };
        under.add("scores", std::make_shared<Farewell>([&] { journal.emplace_back("the first is destroyed"); }));
        under.add("scores", other);
        under.deliver("scores#", numbered(1), true);
        EXPECT_EQ(journal, (Lines{"the first is destroyed", "the second is called"})) << testing::replayHint(seed);
    }
}

} // namespace
} // namespace vexa
