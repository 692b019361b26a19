#include "ServiceClient.hpp"
#include "SlowBroker.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Numbers = std::vector<int>;
using Types = std::vector<std::string>;

TEST(ServiceOverSlowBroker, HoldsDeliveriesBackWhileAnAnswerThatNamesThemIsOwed)
{
    VirtualPlatform platform;
    const auto broker = std::make_shared<SlowBroker>();
    VexaService service{broker, {}, platform};
    ServiceClient client{platform, service};
    client.send(subscribeRequest("O-001", {topic("scores"), topic("weather")}));
    EXPECT_EQ(client.take(), Messages{});

    broker->receivers[R"("scores")"]->subscribed();
    broker->receivers[R"("scores")"]->received({delivery(1)});
    EXPECT_EQ(client.take(), Messages{}) << "the answer still waits for the other topic";

    client.send(subscribeRequest("O-002", {topic("scores")}));
    const Messages second = client.take();
    EXPECT_EQ(typesOf(second), Types{"subscriptionResponse"}) << "the first answer is still owed";
    EXPECT_EQ(second.at(0).at("operationId"), "O-002");

    broker->receivers[R"("scores")"]->received({delivery(2)});
    broker->receivers[R"("weather")"]->refused({"Gone", "No more"});
    const Messages first = client.take();
    EXPECT_EQ(typesOf(first), (Types{"subscriptionResponse", "data"}));
    EXPECT_EQ(first.at(0).at("operationId"), "O-001");
    EXPECT_EQ(first.at(0).at("topics").at(1), testing::failure("Gone", "No more"));
    EXPECT_EQ(numbersIn(first), (Numbers{1, 2}));
}

TEST(ServiceOverSlowBroker, CancelsAtTheBrokerWhatAClosedSessionHad)
{
    VirtualPlatform platform;
    const auto broker = std::make_shared<SlowBroker>();
    VexaService service{broker, {}, platform};
    auto client = std::make_unique<ServiceClient>(platform, service);
    client->send(subscribeRequest("O-001", {topic("scores"), topic("weather")}));
    platform.runUntilIdle();

    client.reset();
    platform.runUntilIdle();
    EXPECT_EQ(broker->cancelled, 2);

    broker->receivers[R"("scores")"]->subscribed();
    broker->receivers[R"("scores")"]->received({delivery(1)});
    platform.runUntilIdle();
    EXPECT_EQ(service.figures().delivered, 0U);
}

} // namespace
} // namespace vexa::host
