#include "Fixtures.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

#include <stdexcept>

namespace vexa {
namespace {

using testing::RecordingListener;

TEST(ManagerLog, TellsOfTheFirstListenerAndOfLaterOnes)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores - nil", "VEXA: setting listener"}));
    under.add("scores");
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores - nil", "VEXA: Adding new listener to existing sub"}));
}

TEST(ManagerLog, RendersParametersAsOptionalJson)
{
    for (const std::string json : {R"({"league":4,"open":true})", R"([1,"two"])", R"("text")", "4", "false", "null"}) {
        ManagerOverRecordingClient under;
        under.manager->addMessageListener("scores", boost::json::parse(json), 0.0,
                                          std::make_shared<RecordingListener>());
        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: Creating subscription scores - Optional(" + json + ")", "VEXA: setting listener"}));
    }
}

TEST(ManagerLog, WritesNamesAsTextAndNeverAsAFormat)
{
    ManagerOverRecordingClient under;
    under.add("100%@ %s\nVEXA: forged");
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription 100%@ %s\\nVEXA: forged - nil", "VEXA: setting listener"}));
}

TEST(ManagerLog, TellsOfASubscriptionBeforeItAsksTheClient)
{
    ManagerOverRecordingClient under;
    std::vector<Lines> before;
    under.client->onCreate = [&](const auto&) { before.push_back(under.platform.logLines()); };
    under.add("scores");
    EXPECT_EQ(before, (std::vector<Lines>{{"VEXA: Creating subscription scores - nil"}}));
}

TEST(ManagerLog, TellsOfTheRemovalOfTheFirstAndOfTheLastListener)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.add("scores");
    under.platform.takeLogLines();
    under.remove(1);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: removing listener 1", "VEXA: still had other listeners"}));
    under.remove(2);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: removing listener 2", "VEXA: removing subscription"}));
}

TEST(ManagerLog, TellsThatNoListenerCannotBeRemoved)
{
    ManagerOverRecordingClient under;
    under.remove(0);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: Cannot remove no-listener"}));
}

TEST(ManagerLog, TellsThatAnIdHasNoSubscription)
{
    ManagerOverRecordingClient under;
    under.remove(7);
    under.remove(-1);
    under.remove(INT64_MIN);
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: No subscription registered for 7", "VEXA: No subscription registered for -1",
                     "VEXA: No subscription registered for -9223372036854775808"}));
}

TEST(ManagerLog, TellsThatAnIdHasNoSubscriptionAnyMoreWhenItIsRemovedTwice)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.remove(1);
    under.platform.takeLogLines();
    under.remove(1);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: No subscription registered for 1"}));
}

TEST(ManagerLog, TellsThatNoListenerCannotBeAdded)
{
    ManagerOverRecordingClient under;
    under.add("scores", nullptr);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: Cannot add no-listener"}));
}

TEST(ManagerLog, TellsOfAMessageForNobody)
{
    ManagerOverRecordingClient under;
    under.deliver("9S4mUDE7XPVvL5ewHhqQZg==", numbered(1));
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: no listeners registered for 9S4mUDE7XPVvL5ewHhqQZg=="}));
}

TEST(ManagerLog, SaysNothingOfAMessageThatReachesItsListeners)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.platform.takeLogLines();
    under.deliver("scores#", numbered(1));
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{}));
}

TEST(ManagerLog, TellsOfEachRemovalThatATerminatingMessageBrings)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        under.add("scores");
        under.add("scores");
        under.add("scores");
        under.platform.takeLogLines();
        under.deliver("scores#", numbered(1), true);
        under.deliver("scores#", numbered(2));
        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: removing listener 1", "VEXA: still had other listeners", "VEXA: removing listener 2",
                         "VEXA: still had other listeners", "VEXA: removing listener 3", "VEXA: removing subscription",
                         "VEXA: no listeners registered for scores#"}))
            << testing::replayHint(seed);
    }
}

/// A client whose removals fail until they are healed.
class FailingRemovals final : public VexaClient {
public:
    std::string subscriptionHash(std::string_view name, const Parameters&) override { return std::string{name}; }
    std::string createSubscription(std::string_view name, const Parameters&, double) override
    {
        return std::string{name};
    }
    void removeSubscription(std::string_view hash) override
    {
        removals.emplace_back(hash);
        if (fails) {
            throw std::runtime_error{"the removal fails"};
        }
    }
    void setMessageFeedDelegate(std::shared_ptr<VexaFeed>) override {}

    bool fails = true;
    Hashes removals;
};

/// A manager whose listener 1 is recorded but no longer listed, since its removal failed half-way.
struct HalfRemovedListener {
    HalfRemovedListener()
    {
        add();
        remove(1);
        client->fails = false;
    }

    void add() { manager->addMessageListener("scores", std::nullopt, 0.0, std::make_shared<RecordingListener>()); }

    void remove(std::int64_t listenerId)
    {
        manager->removeMessageListener(listenerId);
        platform.runUntilIdle();
    }

    testing::VirtualPlatform platform;
    std::shared_ptr<FailingRemovals> client = std::make_shared<FailingRemovals>();
    std::shared_ptr<VexaOruSubscriptionManager> manager = VexaOruSubscriptionManager::make(platform, client);
};

TEST(ManagerLog, TellsThatARemovalFailed)
{
    HalfRemovedListener under;
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores - nil", "VEXA: setting listener", "VEXA: removing listener 1",
                     "VEXA: removing subscription",
                     "VEXA: a work item of the queue \"vexasubiq\" threw: the removal fails"}));
}

TEST(ManagerLog, TellsOfTheSubscriptionAgainWhenItsListWasFoundEmpty)
{
    HalfRemovedListener under;
    under.platform.takeLogLines();
    under.remove(1);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: removing subscription"}));
    EXPECT_EQ(under.client->removals, (Hashes{"scores", "scores"}));
    EXPECT_TRUE(under.manager->state().listenersBySub.empty());
    EXPECT_TRUE(under.manager->state().listenersById.empty());
}

TEST(ManagerLog, SaysNothingOfAMessageForAListThatIsEmpty)
{
    HalfRemovedListener under;
    under.platform.takeLogLines();
    under.manager->messageFeed("scores", std::make_shared<const Dictionary>(numbered(1)), false);
    under.platform.runUntilIdle();
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{}));
}

TEST(ManagerLog, TellsOfOtherListenersWhenAnIdIsNotAmongThem)
{
    HalfRemovedListener under;
    under.add();
    under.platform.takeLogLines();
    under.remove(1);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: still had other listeners"}));
    EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"scores", {2}}}));
    EXPECT_EQ(under.manager->state().listenersById.count(1), 0U);
}

TEST(ManagerLog, SaysNothingWhenAnIdHasNoListAnyMore)
{
    HalfRemovedListener under;
    under.add();
    under.remove(2);
    under.platform.takeLogLines();
    under.remove(1);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{}));
    EXPECT_EQ(under.client->removals, (Hashes{"scores", "scores"}));
    EXPECT_TRUE(under.manager->state().listenersById.empty());
}

} // namespace
} // namespace vexa
