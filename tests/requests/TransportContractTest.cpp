#include "ClientUnderTest.hpp"
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <gtest/gtest.h>

#include <limits>

namespace vexa::testing {

namespace {

/// An echo sender of the test's own, over the test's transport.
class EchoSender final : public VexaDataSender {
public:
    explicit EchoSender(ClientUnderTest& under) : VexaDataSender{under.platform, under.container} {}
};

TEST(Registration, TakesTheMessageListenerFirstAndTheConnectionListenerSecond)
{
    ClientUnderTest under;
    under.client->createSubscription("scores", std::nullopt, 0.0);

    EXPECT_EQ(under.transport->calls(),
              (std::vector<Operation>{Operation::addCategoryListener, Operation::addConnectionListener}));
}

TEST(Registration, PassesTheClientItselfAsBothListeners)
{
    ClientUnderTest under;
    under.subscribe("scores");

    const auto registrations = under.transport->registrations();
    ASSERT_EQ(registrations.size(), 2U);
    EXPECT_EQ(registrations[0].category, "vexa");
    EXPECT_EQ(registrations[0].messageListener, under.client);
    EXPECT_EQ(registrations[0].connectionListener, nullptr);
    EXPECT_EQ(registrations[1].category, std::nullopt);
    EXPECT_EQ(registrations[1].messageListener, nullptr);
    EXPECT_EQ(registrations[1].connectionListener, under.client);
}

TEST(Registration, HappensOnce)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.subscribe("news");
    under.transport->notifyOpened();
    under.platform.clock.advance(100.0);
    under.subscribe("weather");

    EXPECT_EQ(under.transport->count(Operation::addCategoryListener), 1U);
    EXPECT_EQ(under.transport->count(Operation::addConnectionListener), 1U);
    EXPECT_EQ(under.transport->registrations().size(), 2U);
}

TEST(Registration, StoresAndShowsWhateverIdsTheTransportGives)
{
    for (const std::int64_t id :
         {std::int64_t{0}, std::int64_t{-7}, std::int64_t{3}, std::numeric_limits<std::int64_t>::max() - 1,
          std::numeric_limits<std::int64_t>::min()}) {
        ClientUnderTest under;
        under.transport->setNextListenerId(id);
        const std::string hash = under.client->createSubscription("scores", std::nullopt, 0.0);

        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                         "VEXA: Registered message listener Optional(" + std::to_string(id) + ")",
                         "VEXA: Registered connection listener Optional(" + std::to_string(id + 1) + ")"}));
        EXPECT_EQ(under.client->state().messageListenerId, id);
        EXPECT_EQ(under.client->state().connectionListenerId, id + 1);
        under.platform.runUntilIdle();
        under.client->createSubscription("news", std::nullopt, 0.0);
        EXPECT_EQ(under.transport->count(Operation::addCategoryListener), 1U);
    }
}

TEST(Registration, IsKeptWhenTheTransportSaysThatItDroppedIt)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const Value before = under.tables();
    under.platform.takeLogLines();

    under.transport->dropRegistration(1);
    under.platform.runUntilIdle();

    EXPECT_EQ(under.tables(), before);
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
    under.subscribe("news");
    EXPECT_EQ(under.transport->count(Operation::addCategoryListener), 1U);
}

TEST(Registration, DoesNotHappenWithoutASubscription)
{
    ClientUnderTest under;
    under.client->removeSubscription("h");
    under.client->setMessageFeedDelegate(nullptr);
    EchoSender{under}.sendToEcho();
    under.platform.clock.advance(100.0);
    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.transport->registrations().size(), 0U);
    EXPECT_EQ(under.transport->calls(), std::vector<Operation>{Operation::send});
}

TEST(OutgoingMessages, CarryACategoryAndATypeAtTheTop)
{
    ClientUnderTest under;
    EchoSender{under}.sendToEcho();
    under.subscribe("scores");

    const std::vector<Dictionary> sent = under.transport->takeSent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].at("category"), Value("zltMsg"));
    EXPECT_EQ(sent[0].at("type"), Value("sdk-echo"));
    EXPECT_EQ(sent[1].at("category"), Value("vexa"));
    EXPECT_EQ(sent[1].at("type"), Value("subscribe"));
}

TEST(ClosedTransport, PostponesARequestButNotAnEcho)
{
    ClientUnderTest under;
    under.transport->open = false;
    under.subscribe("scores");
    EXPECT_EQ(under.takeSent(), listOf({}));

    EchoSender{under}.sendToEcho();
    const std::vector<Dictionary> sent = under.transport->takeSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].at("type"), Value("sdk-echo"));
    EXPECT_EQ(under.transport->count(Operation::isOpen), 1U) << "for the request alone";
}

TEST(OpenTransport, IsAskedBeforeEveryRequest)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.subscribe("news");
    under.transport->notifyOpened();
    under.platform.runUntilIdle();

    EXPECT_EQ(under.transport->calls(),
              (std::vector<Operation>{Operation::addCategoryListener, Operation::addConnectionListener,
                                      Operation::isOpen, Operation::send, Operation::isOpen, Operation::send,
                                      Operation::isOpen, Operation::send}));
}

TEST(Reports, AskForVisibilityAndLoggerWhenTheyAreScheduled)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const std::size_t before = under.transport->calls().size();
    under.service.expectSubscribe("scores").reply(success("s-1"));
    const std::vector<Operation> calls = under.transport->calls();

    EXPECT_EQ(std::vector<Operation>(calls.begin() + static_cast<std::ptrdiff_t>(before), calls.end()),
              (std::vector<Operation>{Operation::isVisible, Operation::logger}));
    under.platform.clock.advance(300.0);
    EXPECT_EQ(under.transport->calls(), calls) << "and not when they are sent";
    ASSERT_EQ(under.transport->fakeLogger().serverLogs().size(), 1U);
    EXPECT_EQ(under.transport->fakeLogger().serverLogs()[0].category, "vexa");
    EXPECT_EQ(under.transport->fakeLogger().serverLogs()[0].severity, 0);
}

TEST(TransportLogger, IsHeldByTheLibraryOnlyWhileAReportWaits)
{
    ClientUnderTest under;
    const auto logger = std::make_shared<FakeLogger>(under.platform);
    under.transport->setLogger(logger);
    under.subscribe("scores");
    under.platform.clock.advance(6.0);
    EXPECT_EQ(logger->consoleLines(), Lines{"VEXA: Retrying O-001"});
    EXPECT_EQ(logger.use_count(), 2) << "the test's reference and the transport's";

    under.service.expectSubscribe("scores").reply(success("s-1"));
    EXPECT_EQ(logger.use_count(), 3);
    under.platform.clock.advance(300.0);
    EXPECT_EQ(logger.use_count(), 2);
    EXPECT_EQ(logger->serverLogs().size(), 1U);
}

} // namespace

} // namespace vexa::testing
