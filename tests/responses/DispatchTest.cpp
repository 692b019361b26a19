#include "Conversation.hpp"
#include "QueueWatch.hpp"

namespace vexa::testing {
namespace {

TEST(Dispatch, SettlesAResponseUnderBothOfItsTypes)
{
    for (const std::string_view type : {"subscriptionResponse", "subscribeResponse"}) {
        SCOPED_TRACE(type);
        Conversation c;
        const std::string hash = c.request("scores");

        c.service.deliver(subscriptionResponse("O-001", {success("s-1")}, type));

        EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                                  "VEXA: Processing responses for O-001",
                                  "VEXA: Subscription response: TopicHash: " + hash + ", SubId: s-1"}));
        EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores")}}));
    }
}

TEST(Dispatch, DropsEveryOtherTypeWithoutALogLine)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.request("news");
    const Dictionary before = c.tables();
    Dictionary message = subscriptionResponse("O-002", {success("s-2")});
    message["messages"] = listValue({entry("s-1", {{"updatedAt", 5.0}}), terminatingEntry("s-1")});

    for (const std::string_view type :
         {"SubscriptionResponse", "subscriptionresponse", "SUBSCRIPTIONRESPONSE", "subscription_response",
          "subscriptionResponse ", "subscriptionResponses", "SubscribeResponse", "subscriberesponse",
          "subscribeResponses", "Data", "DATA", "data ", "subscribe", "messages", ""}) {
        SCOPED_TRACE(type);
        c.service.deliver(with(message, "type", Value(type)));
        EXPECT_EQ(c.log(), Lines{});
        EXPECT_EQ(c.tables(), before);
    }
    EXPECT_EQ(c.fed(), Values{});
    EXPECT_EQ(c.reports(), Values{});
}

TEST(Dispatch, DropsAMessageWhoseTypeIsNoTextOrAbsent)
{
    Conversation c;
    c.request("news");
    const Dictionary before = c.tables();
    const Dictionary message = subscriptionResponse("O-001", {success("s-1")});

    for (const Value& kind : everyKind()) {
        SCOPED_TRACE(boost::json::serialize(kind));
        c.service.deliver(with(message, "type", kind));
        EXPECT_EQ(c.log(), Lines{});
        EXPECT_EQ(c.tables(), before);
    }
    c.service.deliver(without(message, "type"));
    c.service.deliver({});
    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.tables(), before);
    EXPECT_EQ(c.reports(), Values{});
}

TEST(Dispatch, IgnoresAMessageThatIsNotThere)
{
    Conversation c;
    c.request("news");
    const Dictionary before = c.tables();

    c.transport->deliverMessage(nullptr);

    EXPECT_EQ(c.tables(), before);
    EXPECT_EQ(c.log(), Lines{});
}

TEST(Dispatch, LooksAtTheTypeAloneAndNotAtTheCategory)
{
    Conversation c;
    const std::string hash = c.request("scores");

    c.service.deliver(without(subscriptionResponse("O-001", {success("s-1")}), "category"));

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores")}}));
}

TEST(Dispatch, DoesNothingOnTheThreadThatDelivers)
{
    Conversation c;
    c.request("scores");

    c.transport->deliver(subscriptionResponse("O-001", {success("s-1")}));
    EXPECT_EQ(c.log(), Lines{});
    EXPECT_EQ(c.visibleReads(), 0U);

    c.platform.runUntilIdle();
    EXPECT_EQ(c.log().size(), 3U);
    EXPECT_EQ(c.visibleReads(), 1U);
}

TEST(Dispatch, HandlesMessagesInTheirOrderOfArrival)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        const std::string hash = c.request("scores");
        const Dictionary first = entry("s-1", {{"score", 1}});
        const Dictionary second = entry("s-1", {{"score", 2}});

        c.transport->deliver(dataMessage({entry("s-1", {{"score", 0}})}));
        c.transport->deliver(subscriptionResponse("O-001", {success("s-1")}));
        c.transport->deliver(dataMessage({first}));
        c.transport->deliver(subscriptionResponse("O-001", {failure()}));
        c.transport->deliver(dataMessage({second}));
        c.platform.runUntilIdle();

        EXPECT_EQ(c.log(), (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                                  "VEXA: Processing responses for O-001",
                                  "VEXA: Subscription response: TopicHash: " + hash + ", SubId: s-1",
                                  "VEXA: no pending topics for O-001, most likely connectionOpened function was "
                                  "called."}));
        EXPECT_EQ(c.fed(), (Values{feedCall(hash, first, false), feedCall(hash, second, false)}));
    }
}

TEST(Dispatch, KeepsTheClientAliveUntilTheMessageIsHandled)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");
    c.startAfresh();
    const std::weak_ptr<VexaOruClient> alive = c.client;

    c.transport->deliver(dataMessage({entry("s-1")}));
    c.client.reset();
    EXPECT_FALSE(alive.expired());

    c.platform.runUntilIdle();
    EXPECT_EQ(c.fed(), (Values{feedCall(hash, entry("s-1"), false)}));
    EXPECT_TRUE(alive.expired());
}

TEST(Dispatch, HandlesEveryMessageOnTheStateQueue)
{
    Conversation c;
    QueueWatch watch{c.platform};
    c.client = VexaOruClient::make(watch, c.container);
    const std::string hash = c.subscribe("scores", "s-1");
    const std::size_t before = watch.lines().size();

    c.service.deliver(subscriptionResponse("O-009", {}));
    c.service.terminate("s-1");
    c.service.terminate("s-1");

    const std::vector<std::string> stateQueue{"vexaint"};
    using Line = std::pair<std::string, std::vector<std::string>>;
    EXPECT_EQ((std::vector<Line>{watch.lines().begin() + static_cast<std::ptrdiff_t>(before), watch.lines().end()}),
              (std::vector<Line>{
                  {"VEXA: no pending topics for O-009, most likely connectionOpened function was called.", stateQueue},
                  {"VEXA: Removed " + hash, stateQueue},
                  {"VEXA: Subscription for s-1 was previously removed, not notifying", stateQueue}}));
}

} // namespace
} // namespace vexa::testing
