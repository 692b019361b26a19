#include "Conversation.hpp"

namespace vexa::testing {
namespace {

constexpr std::string_view unknownError = "UnknownSubscriptionError";
constexpr std::string_view successWasFalse = "Subscription response 'success' was false";
constexpr std::string_view missingId = "Subscription response 'success' was true, but missing 'subscriptionId'";

TEST(SubscriptionRecord, TellsOfASuccess)
{
    Conversation c;
    const Parameters params = boost::json::parse(R"({"league":4})");
    c.subscribe("scores", "s-1", 1700000000.25, params);

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores", params, 1700000000.25)},
                                                 {"visible", true},
                                                 {"subscriptionId", "s-1"}}})}));
}

TEST(SubscriptionRecord, DescribesATopicWithoutParametersAndTimeByItsNameAlone)
{
    Conversation c;
    c.subscribe("scores", "s-1");

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", {{"name", "scores"}}},
                                                 {"visible", true},
                                                 {"subscriptionId", "s-1"}}})}));
}

TEST(SubscriptionRecord, TellsWhatTheServiceSaidOfAFailure)
{
    Conversation c;
    c.request("scores");
    c.service.expectSubscribe("scores").reply(failure("NotAllowed", "No access to scores"));

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "fail"},
                                                 {"topic", topic("scores")},
                                                 {"visible", true},
                                                 {"error", "NotAllowed"},
                                                 {"errorMessage", "No access to scores"}}})}));
}

TEST(SubscriptionRecord, FillsInWhatTheServiceDidNotSayOfAFailure)
{
    struct Failure {
        Dictionary entry;
        std::string_view error;
        std::string_view errorMessage;
    };
    for (const Failure& each :
         {Failure{failure(), unknownError, successWasFalse}, Failure{Dictionary(), unknownError, successWasFalse},
          Failure{failure("NotAllowed"), "NotAllowed", successWasFalse},
          Failure{failure(std::nullopt, "No access"), unknownError, "No access"}, Failure{failure("", ""), "", ""}}) {
        SCOPED_TRACE(boost::json::serialize(each.entry));
        Conversation c;
        c.request("scores");
        c.service.expectSubscribe("scores").reply(each.entry);

        EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                     {"status", "fail"},
                                                     {"topic", topic("scores")},
                                                     {"visible", true},
                                                     {"error", each.error},
                                                     {"errorMessage", each.errorMessage}}})}));
    }
}

TEST(SubscriptionRecord, CallsASuccessWithoutAnIdASuccessWithAnError)
{
    Conversation c;
    c.request("scores");
    c.service.expectSubscribe("scores").reply(successWithoutId());

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores")},
                                                 {"visible", true},
                                                 {"error", unknownError},
                                                 {"errorMessage", missingId}}})}));
}

TEST(SubscriptionRecord, LeavesTheServicesErrorTextsOutOfASuccess)
{
    Dictionary contradiction = failure("NotAllowed", "No access");
    contradiction["success"] = true;
    Conversation c;
    c.request("scores");
    c.request("news");
    c.reportInOrder(2);
    c.service.deliver(subscriptionResponse("O-001", {with(contradiction, "subscriptionId", Value("s-1"))}));
    c.service.deliver(subscriptionResponse("O-002", {contradiction}));

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores")},
                                                 {"visible", true},
                                                 {"subscriptionId", "s-1"}}}),
                                   topicReport({{{"operationId", "O-002"},
                                                 {"status", "success"},
                                                 {"topic", topic("news")},
                                                 {"visible", true},
                                                 {"error", unknownError},
                                                 {"errorMessage", missingId}}})}));
}

TEST(SubscriptionRecord, LeavesTheIdOutOfAFailure)
{
    Conversation c;
    c.request("scores");
    c.service.expectSubscribe("scores").reply(with(failure(), "subscriptionId", Value("s-1")));

    EXPECT_EQ(c.table("routes"), tableOf({}));
    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "fail"},
                                                 {"topic", topic("scores")},
                                                 {"visible", true},
                                                 {"error", unknownError},
                                                 {"errorMessage", successWasFalse}}})}));
}

TEST(SubscriptionRecord, StandsInOneReportForTheWholeRequestInItsOrder)
{
    Conversation c;
    const std::string operationId = c.requestTogether({"scores", "news", "weather"});
    c.service.deliver(subscriptionResponse(operationId, {failure("NotAllowed"), success("s-2"), successWithoutId()}));

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-004"},
                                                 {"status", "fail"},
                                                 {"topic", topic("scores")},
                                                 {"visible", true},
                                                 {"error", "NotAllowed"},
                                                 {"errorMessage", successWasFalse}},
                                                {{"operationId", "O-004"},
                                                 {"status", "success"},
                                                 {"topic", topic("news")},
                                                 {"visible", true},
                                                 {"subscriptionId", "s-2"}},
                                                {{"operationId", "O-004"},
                                                 {"status", "success"},
                                                 {"topic", topic("weather")},
                                                 {"visible", true},
                                                 {"error", unknownError},
                                                 {"errorMessage", missingId}}})}));
}

TEST(SubscriptionRecord, TellsWhetherTheApplicationWasVisibleReadOnceForTheResponse)
{
    Conversation c;
    const std::string operationId = c.requestTogether({"scores", "news"});
    c.transport->visible = false;
    c.service.deliver(subscriptionResponse(operationId, {success("s-1"), success("s-2")}));
    c.transport->visible = true;

    EXPECT_EQ(c.visibleReads(), 1U);
    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-003"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores")},
                                                 {"visible", false},
                                                 {"subscriptionId", "s-1"}},
                                                {{"operationId", "O-003"},
                                                 {"status", "success"},
                                                 {"topic", topic("news")},
                                                 {"visible", false},
                                                 {"subscriptionId", "s-2"}}})}));
}

} // namespace
} // namespace vexa::testing
