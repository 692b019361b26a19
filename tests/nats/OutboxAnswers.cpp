#include "CollectingReceiver.hpp"
#include <host/broker/nats/TopicOutbox.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

/// The publications of one topic over a JetStream whose answers the test makes up.
struct OutboxUnderTest {
    OutboxUnderTest()
    {
        // Otherwise the library is opened with the first connection, and no message can be given back before.
        constexpr std::int64_t withoutSpinning = 0;
        EXPECT_EQ(nats_Open(withoutSpinning), NATS_OK);
        services.largestRecord = std::size_t{1024} * 1024;
        services.isReady = true;
        outbox->add("P-1", numberedFrom(1, 1), [this](const PublishResult& result) { results.push_back(result); });
        outbox->sendNext({});
    }

    /// Answers the newest request.
    void answer(const std::string& text)
    {
        natsMsg* message = nullptr;
        const std::string inbox = "inbox.answer." + std::to_string(++lastRequest);
        ASSERT_EQ(natsMsg_Create(&message, inbox.c_str(), nullptr, text.c_str(), static_cast<int>(text.size())),
                  NATS_OK);
        jetStream.arrived(NatsLink::answers, *message);
        natsMsg_Destroy(message);
    }

    testing::VirtualPlatform platform;
    NatsBrokerOptions options;
    JetStream jetStream{options, "inbox.", platform};
    NatsCounters counters;
    TopicServices services{options, platform, jetStream, counters, "service-"};
    const std::string topic = R"("scores")";
    const std::string subject = "VEXA.scores";
    std::shared_ptr<TopicOutbox> outbox = std::make_shared<TopicOutbox>(services, topic, subject, [] {});
    std::vector<PublishResult> results;
    std::uint64_t lastRequest = 0;
};

TEST(OutboxAnswers, completeAPublicationThatIsStoredAlready)
{
    OutboxUnderTest under;
    under.answer(R"({"stream":"VEXA","seq":7,"duplicate":true})");
    ASSERT_EQ(under.results.size(), 1U);
    EXPECT_EQ(under.results[0].accepted, 1U);
    EXPECT_EQ(under.counters.duplicateAnswers, 1U);
}

TEST(OutboxAnswers, leaveAPublicationOpenThatMayComeToBeStored)
{
    for (const auto* const text : {R"({"stream":"VEXA","seq":0,"duplicate":true})",
                                   R"({"error":{"code":409,"err_code":10158,"description":"is in process"}})",
                                   R"({"error":{"code":503,"description":"raft: not leader"}})"}) {
        OutboxUnderTest under;
        under.answer(text);
        EXPECT_TRUE(under.results.empty()) << text;

        under.outbox->checkTimes();
        EXPECT_EQ(under.counters.repeatedRecords, 1U) << text;
        under.answer(R"({"stream":"VEXA","seq":7,"duplicate":true})");
        ASSERT_EQ(under.results.size(), 1U) << text;
        EXPECT_EQ(under.results[0].accepted, 1U) << text;
    }
}

TEST(OutboxAnswers, promiseNothingAboutAPublicationThatMayComeToBeStored)
{
    OutboxUnderTest under;
    under.answer(R"({"stream":"VEXA","seq":0,"duplicate":true})");
    under.platform.clock.advance(under.options.publishTimeLimit);
    under.outbox->checkTimes();
    ASSERT_EQ(under.results.size(), 1U);
    ASSERT_TRUE(under.results[0].error.has_value());
    EXPECT_EQ(under.results[0].error->error, "PublicationUnconfirmed");
}

TEST(OutboxAnswers, failAPublicationThatIsRefusedForGood)
{
    OutboxUnderTest under;
    under.answer(R"({"error":{"code":400,"err_code":10054,"description":"message size exceeds maximum"}})");
    ASSERT_EQ(under.results.size(), 1U);
    ASSERT_TRUE(under.results[0].error.has_value());
    EXPECT_EQ(under.results[0].error->error, "BrokerRefused");
}

} // namespace
} // namespace vexa::host
