#include "ServerUnderTest.hpp"
#include <testing/ServiceMessages.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using testing::VirtualPlatform;

/// A session whose sink takes data messages as texts.
struct Carrier {
    explicit Carrier(VexaService& service) : session{service.connect(makeSink())} {}

    SessionSink makeSink()
    {
        SessionSink sink;
        sink.send = [this](const Dictionary& message) { events.emplace_back(message.at("type").as_string().c_str()); };
        sink.deliver = [this](DataBatch batch) {
            for (const DataEntry& entry : batch.entries) {
                events.push_back(*batch.subscriptionId + (entry.isReplayed ? " replayed " : " ") + entry.payload->text);
                payloads.push_back(entry.payload);
            }
        };
        return sink;
    }

    void send(Dictionary message) { session.receive(std::make_shared<const Dictionary>(std::move(message))); }

    std::vector<std::string> events;
    std::vector<std::shared_ptr<const PayloadText>> payloads;
    Session session;
};

struct Fixture {
    VirtualPlatform platform{testing::defaultSeed()};
    VexaService service{MemoryBroker::make({}, platform), {}, platform};
};

TEST(ServiceCarrier, GetsDataAsTextsThatAllSubscribersShare)
{
    Fixture t;
    Carrier one{t.service};
    Carrier other{t.service};
    one.send(testing::subscribeRequest("O-001", {testing::topic("scores")}));
    other.send(testing::subscribeRequest("O-001", {testing::topic("scores")}));
    t.platform.runUntilIdle();
    t.service.publish("scores", std::nullopt, {numbered(1)});
    t.platform.runUntilIdle();

    ASSERT_EQ(one.events.size(), 2U);
    EXPECT_EQ(one.events[0], "subscriptionResponse");
    EXPECT_NE(one.events[1].find(R"("number":1)"), std::string::npos);
    EXPECT_EQ(one.events[1].front(), '"');
    ASSERT_EQ(other.payloads.size(), 1U);
    EXPECT_EQ(one.payloads[0], other.payloads[0]);
}

TEST(ServiceCarrier, IsToldWhenAllHasBeenHandled)
{
    Fixture t;
    Carrier carrier{t.service};
    t.platform.runUntilIdle();
    carrier.send(testing::subscribeRequest("O-001", {testing::topic("scores")}));
    carrier.session.whenHandled([&carrier] { carrier.events.emplace_back("handled"); });
    t.platform.runUntilIdle();
    EXPECT_EQ(carrier.events, (std::vector<std::string>{"handled", "subscriptionResponse"}))
        << "the request has been passed on, which is all that the service itself can do";
}

TEST(ServiceCarrier, IsNotToldBeforePublicationsAreAnswered)
{
    Fixture t;
    Carrier carrier{t.service};
    t.platform.runUntilIdle();
    const Dictionary request = json(R"({"category":"vexa","type":"publish","payload":{"requestId":"P-1",
        "topic":{"name":"scores"},"messages":[{"number":1}]}})");
    carrier.send(request);
    carrier.send(request);
    carrier.session.whenHandled([&carrier] { carrier.events.emplace_back("handled"); });
    t.platform.runUntilIdle();
    EXPECT_EQ(carrier.events, (std::vector<std::string>{"publishResponse", "publishResponse", "handled"}));

    carrier.send(request);
    carrier.session.whenHandled([&carrier] { carrier.events.emplace_back("handled again"); });
    carrier.session.close();
    t.platform.runUntilIdle();
    EXPECT_EQ(carrier.events.back(), "handled again") << "also when the session has been closed";
}

} // namespace
} // namespace vexa::host
