#include <testing/ScriptedService.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace vexa::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

/// Keeps what it is told.
class Listener final : public OruClientMessageListener, public OruClientConnectionListener {
public:
    void handleMessage(Message message) override { messages.push_back(*message); }
    void messageListenerRemoved(std::int64_t /*listenerId*/) override {}
    void connectionOpened() override { events.emplace_back("opened"); }
    void connectionClosed() override { events.emplace_back("closed"); }

    std::vector<Dictionary> messages;
    std::vector<std::string> events;
};

class ScriptedServiceTest : public ::testing::Test {
protected:
    ScriptedServiceTest()
    {
        transport.addCategoryListener("vexa", listener);
        transport.addConnectionListener(listener);
    }

    /// What the expectation complains of.
    template <class Expectation>
    static std::string complaintOf(Expectation&& expectation)
    {
        try {
            expectation();
        } catch (const std::logic_error& error) {
            return error.what();
        }
        return "none";
    }

    VirtualPlatform platform{7};
    FakeTransport transport{platform};
    ScriptedService service{platform, transport};
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
};

TEST_F(ScriptedServiceTest, aRequestIsFoundAndAnswered)
{
    const SerialQueueHandle queue = platform.makeQueue("client");
    queue->async([this] { transport.send(subscribeRequest("O-001", {topic("scores", Value(4))})); });
    ReceivedSubscribe request = service.expectSubscribe("scores");
    EXPECT_EQ(request.operationId(), "O-001");
    EXPECT_EQ(request.topics(), (std::vector<Dictionary>{topic("scores", Value(4))}));
    request.reply(success("s-1"));
    EXPECT_EQ(listener->messages, (std::vector<Dictionary>{subscriptionResponse("O-001", {success("s-1")})}));
}

TEST_F(ScriptedServiceTest, aReplyHasAnEntryForEachTopic)
{
    transport.send(subscribeRequest("O-001", {topic("scores"), topic("news")}));
    service.expectSubscribe({"news", "scores"}).reply(success("s-1"), failure("Denied"));
    EXPECT_EQ(listener->messages.back(), subscriptionResponse("O-001", {success("s-1"), failure("Denied")}));
}

TEST_F(ScriptedServiceTest, theNewestRequestWithoutAReplyCounts)
{
    transport.send(subscribeRequest("O-001", {topic("scores")}));
    transport.send(subscribeRequest("O-002", {topic("scores")}));
    transport.send(subscribeRequest("O-003", {topic("news")}));
    transport.send(subscribeRequest("O-001", {topic("scores", std::nullopt, 5.0)}));
    ReceivedSubscribe again = service.expectSubscribe("scores");
    EXPECT_EQ(again.operationId(), "O-001");
    EXPECT_EQ(again.topics().at(0).at("updatedAt"), 5.0);
    again.reply(success("s-1"));
    EXPECT_EQ(service.expectSubscribe("scores").operationId(), "O-002");
}

TEST_F(ScriptedServiceTest, messagesThatTheTestTookStillCount)
{
    transport.send(subscribeRequest("O-001", {topic("scores")}));
    transport.takeSent();
    EXPECT_EQ(service.expectSubscribe("scores").operationId(), "O-001");
}

TEST_F(ScriptedServiceTest, aMissingRequestIsComplainedOf)
{
    EXPECT_THAT(complaintOf([this] { service.expectSubscribe("scores"); }),
                AllOf(HasSubstr("\"scores\""), HasSubstr("nothing"), HasSubstr("VEXA_SEED=7")));
    transport.send(subscribeRequest("O-001", {topic("news")}));
    service.expectSubscribe("news").reply(success("s-1"));
    EXPECT_THAT(complaintOf([this] { service.expectSubscribe("news"); }),
                AllOf(HasSubstr("O-001"), HasSubstr("(replied to)")));
    EXPECT_THAT(complaintOf([this] { service.expectSubscribe({"news", "scores"}); }),
                HasSubstr("exactly [\"news\", \"scores\"]"));
}

TEST_F(ScriptedServiceTest, anAnswerMayLackAPart)
{
    transport.send(subscribeRequest("O-001", {topic("scores")}));
    service.expectSubscribe("scores").replyWithoutTopics();
    transport.send(subscribeRequest("O-002", {topic("scores")}));
    service.expectSubscribe("scores").replyWithoutOperationId({success("s-1")});
    transport.send(subscribeRequest("O-003", {topic("scores")}));
    service.expectSubscribe("scores").replyWith({{"type", "other"}});
    ASSERT_EQ(listener->messages.size(), 3U);
    EXPECT_FALSE(listener->messages[0].contains("topics"));
    EXPECT_EQ(listener->messages[0].at("operationId"), "O-001");
    EXPECT_FALSE(listener->messages[1].contains("operationId"));
    EXPECT_EQ(listener->messages[1].at("topics"), (List{success("s-1")}));
    EXPECT_EQ(listener->messages[2], (Dictionary{{"type", "other"}}));
    EXPECT_THAT(complaintOf([this] { service.expectSubscribe("scores"); }), HasSubstr("no subscribe request"));
}

TEST_F(ScriptedServiceTest, silenceIsExpectedSinceTheLastExpectation)
{
    service.expectNothingSent();
    transport.send(subscribeRequest("O-001", {topic("scores")}));
    service.expectSubscribe("scores");
    service.expectNothingSent();
    platform.makeQueue("client")->async([this] { transport.send({{"type", "sdk-echo"}}); });
    EXPECT_THAT(complaintOf([this] { service.expectNothingSent(); }),
                AllOf(HasSubstr("sdk-echo"), HasSubstr("VEXA_SEED=7")));
    service.expectNothingSent();
}

TEST_F(ScriptedServiceTest, dataIsDelivered)
{
    const Message batch = service.data({entry("s-1", {{"score", 1}}), entry("s-2")}, 5.0);
    EXPECT_EQ(*batch, dataMessage({entry("s-1", {{"score", 1}}), entry("s-2")}, 5.0));
    service.terminate("s-1");
    EXPECT_EQ(listener->messages, (std::vector<Dictionary>{*batch, dataMessage({terminatingEntry("s-1")})}));
}

TEST_F(ScriptedServiceTest, theConnectionClosesAndOpens)
{
    service.close();
    EXPECT_FALSE(transport.isOpen());
    service.open();
    EXPECT_TRUE(transport.isOpen());
    EXPECT_EQ(listener->events, (std::vector<std::string>{"closed", "opened"}));
}

TEST_F(ScriptedServiceTest, whatADeliveryMakesReadyHasRunWhenTheCallReturns)
{
    struct Queueing final : OruClientMessageListener {
        explicit Queueing(VirtualPlatform& platform) : queue{platform.makeQueue("client")} {}
        void handleMessage(Message /*message*/) override
        {
            queue->async([this] { ++handled; });
        }
        void messageListenerRemoved(std::int64_t /*listenerId*/) override {}
        SerialQueueHandle queue;
        int handled = 0;
    };
    const auto queueing = std::make_shared<Queueing>(platform);
    transport.addCategoryListener("vexa", queueing);
    service.data({});
    EXPECT_EQ(queueing->handled, 1);
}

} // namespace
} // namespace vexa::testing
