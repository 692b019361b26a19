#include "ServiceClient.hpp"
#include <host/embedded/EmbeddedTransport.hpp>
#include <host/publish/Publisher.hpp>
#include <testing/FakeTransport.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using testing::FakeTransport;

/// What publishers were answered: the number of accepted payloads, or the word of the error.
using Answers = std::vector<std::string>;

std::string wordOf(const PublishResult& result)
{
    return result.error ? result.error->error : std::to_string(result.accepted);
}

struct PublisherOverFakeTransport {
    explicit PublisherOverFakeTransport(bool isOpen = true)
    {
        platform.nextRandomBits({0xabc});
        transport->open = isOpen;
        publisher.emplace(transport, PublisherOptions{}, platform);
    }

    void publish(int number)
    {
        publisher->publish("scores", std::nullopt, {numbered(number)},
                           [this](const PublishResult& result) { answers.push_back(wordOf(result)); });
    }

    void open()
    {
        transport->open = true;
        transport->notifyOpened();
    }

    void close()
    {
        transport->open = false;
        transport->notifyClosed();
    }

    Messages sent()
    {
        platform.runUntilIdle();
        return transport->takeSent();
    }

    void answer(std::string_view text)
    {
        transport->deliver(json(text));
        platform.runUntilIdle();
    }

    VirtualPlatform platform;
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>(platform);
    std::optional<Publisher> publisher;
    Answers answers;
};

Dictionary requestNumbered(int request, int payload)
{
    const std::string id = "0000000000000abc-" + std::to_string(request);
    return publishRequest(id, "0000000000000abc", "scores", std::nullopt, {numbered(payload)});
}

TEST(Publisher, SendsItsRequestsWholeAndInOrder)
{
    PublisherOverFakeTransport under;
    under.publisher->publish("scores", Value(Dictionary{{"league", 4}}), {numbered(1), numbered(2)});
    under.publish(3);

    EXPECT_EQ(under.sent(),
              (Messages{json(R"({"category":"vexa","type":"publish","payload":{"requestId":"0000000000000abc-1",
                                 "publisher":"0000000000000abc","topic":{"name":"scores","parameters":{"league":4}},
                                 "messages":[{"number":1},{"number":2}]}})"),
                        json(R"({"category":"vexa","type":"publish","payload":{"requestId":"0000000000000abc-2",
                                 "publisher":"0000000000000abc","topic":{"name":"scores"},
                                 "messages":[{"number":3}]}})")}));
}

TEST(Publisher, AnswersEachRequestOnceWithWhatTheServiceSaid)
{
    PublisherOverFakeTransport under;
    under.publish(1);
    under.publish(2);
    under.sent();

    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-2","accepted":1})");
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-2","accepted":1})");
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-1","error":"Away","errorMessage":"?"})");

    EXPECT_EQ(under.answers, (Answers{"1", "Away"}));
}

TEST(Publisher, TakesNoNoticeOfOtherMessages)
{
    PublisherOverFakeTransport under;
    under.publish(1);
    under.sent();

    under.transport->deliverMessage(nullptr);
    for (const auto* text : {R"({"type":"data","messages":[]})", R"({"type":"publishResponse"})",
                             R"({"type":"publishResponse","requestId":1,"accepted":1})",
                             R"({"type":"publishResponse","requestId":"","accepted":1})",
                             R"({"type":"publishResponse","requestId":"0000000000000abc-","accepted":1})",
                             R"({"type":"publishResponse","requestId":"0000000000000abc-1x","accepted":1})",
                             R"({"type":"publishResponse","requestId":"0000000000000abc-7","accepted":1})",
                             R"({"type":"publishResponse","requestId":"0000000000000def-1","accepted":1})"}) {
        under.answer(text);
    }

    EXPECT_EQ(under.answers, Answers{});
}

TEST(Publisher, TakesAnAnswerWithoutANumberForAnError)
{
    PublisherOverFakeTransport under;
    under.publish(1);
    under.publish(2);
    under.sent();
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-1"})");
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-2","accepted":-1})");
    EXPECT_EQ(under.answers, (Answers{"MalformedResponse", "MalformedResponse"}));
}

TEST(Publisher, WaitsForTheConnectionToOpen)
{
    PublisherOverFakeTransport under{false};
    under.publish(1);
    under.publish(2);
    EXPECT_EQ(under.sent(), Messages{});
    under.open();
    EXPECT_EQ(under.sent(), (Messages{requestNumbered(1, 1), requestNumbered(2, 2)}));
}

TEST(Publisher, RepeatsWhatIsNotAnsweredWhenTheConnectionOpensAgain)
{
    PublisherOverFakeTransport under;
    under.publish(1);
    under.publish(2);
    under.publish(3);
    under.sent();
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-2","accepted":1})");
    under.close();
    under.publish(4);
    EXPECT_EQ(under.sent(), Messages{});

    under.open();

    EXPECT_EQ(under.sent(), (Messages{requestNumbered(1, 1), requestNumbered(3, 3), requestNumbered(4, 4)}));
}

TEST(Publisher, RepeatsWhatIsOverdue)
{
    PublisherOverFakeTransport under;
    under.publish(1);
    under.sent();
    under.platform.clock.advance(6);
    under.publish(2);
    EXPECT_EQ(under.sent(), (Messages{requestNumbered(2, 2)}));

    under.platform.clock.advance(6);
    EXPECT_EQ(under.sent(), (Messages{requestNumbered(1, 1)}));
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-1","accepted":1})");
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-2","accepted":1})");
    EXPECT_EQ(under.platform.pendingDelays().timers, 0U);
    under.platform.clock.advance(100);
    EXPECT_EQ(under.sent(), Messages{});
}

TEST(Publisher, RepeatsNothingWhileTheConnectionIsClosed)
{
    PublisherOverFakeTransport under;
    under.publish(1);
    under.sent();
    under.close();
    under.platform.clock.advance(100);
    EXPECT_EQ(under.sent(), Messages{});
}

TEST(Publisher, ForgetsEverythingWhenItGoes)
{
    PublisherOverFakeTransport under;
    under.publish(1);
    under.sent();
    under.publisher.reset();
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-1","accepted":1})");
    under.open();
    EXPECT_EQ(under.sent(), Messages{});
    EXPECT_EQ(under.answers, Answers{});
    EXPECT_EQ(under.platform.pendingDelays().timers, 0U);
}

TEST(Publisher, GoesOnWhenTheTransportOrACompletionThrows)
{
    PublisherOverFakeTransport under;
    under.transport->throwFrom(FakeTransport::Operation::send, 1);
    under.publisher->publish("scores", std::nullopt, {numbered(1)},
                             [](const PublishResult&) { throw std::runtime_error{"no"}; });
    under.publish(2);
    EXPECT_EQ(under.sent(), (Messages{requestNumbered(2, 2)}));
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-1","accepted":1})");
    under.answer(R"({"type":"publishResponse","requestId":"0000000000000abc-2","accepted":1})");
    EXPECT_EQ(under.answers, Answers{"1"});
}

/// A publisher and the real service, with a transport between them that loses messages.
struct PublisherOverService {
    explicit PublisherOverService(std::uint64_t seed) : platform{seed} { transport->open(); }

    VirtualPlatform platform;
    std::shared_ptr<VexaService> service =
        std::make_shared<VexaService>(MemoryBroker::make({}, platform), ServiceLimits{}, platform);
    std::shared_ptr<EmbeddedTransport> transport = EmbeddedTransport::make(service, {}, platform);
};

TEST(PublisherOverService, AddsEachMessageOnceThoughRequestsAndAnswersAreLost)
{
    for (const std::uint64_t seed : seeds(30)) {
        PublisherOverService under{seed};
        ServiceClient subscriber{under.platform, *under.service};
        subscriber.subscribe("scores");
        Publisher publisher{under.transport, {}, under.platform};
        under.transport->lose(TrafficDirection::toClient, loseFraction(0.3, seed));
        Answers answers;
        std::vector<int> expected;
        for (int number = 1; number <= 20; ++number) {
            expected.push_back(number);
            publisher.publish("scores", std::nullopt, {numbered(number)},
                              [&](const PublishResult& result) { answers.push_back(wordOf(result)); });
            if (number % 7 == 0) {
                under.platform.runOne();
                under.transport->close();
                under.transport->open();
            }
        }
        under.platform.clock.advance(300);

        EXPECT_EQ(numbersIn(subscriber.take()), expected) << replayHint(seed);
        EXPECT_EQ(answers, Answers(20, "1")) << replayHint(seed);
    }
}

} // namespace
} // namespace vexa::host
