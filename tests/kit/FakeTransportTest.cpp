#include <testing/FakeTransport.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vexa::testing {
namespace {

/// A listener of both kinds.
class Listener final : public OruClientMessageListener, public OruClientConnectionListener {
public:
    void handleMessage(Message message) override { messages.push_back(std::move(message)); }
    void messageListenerRemoved(std::int64_t listenerId) override { removals.push_back(listenerId); }
    void connectionOpened() override { events.emplace_back("opened"); }
    void connectionClosed() override { events.emplace_back("closed"); }

    std::vector<Message> messages;
    std::vector<std::int64_t> removals;
    std::vector<std::string> events;
};

class FakeTransportTest : public ::testing::Test {
protected:
    using Operation = FakeTransport::Operation;

    VirtualPlatform platform;
    FakeTransport transport{platform};
    std::shared_ptr<Listener> listener = std::make_shared<Listener>();
};

TEST_F(FakeTransportTest, keepsWhatIsSent)
{
    transport.send({{"type", "subscribe"}});
    transport.send({{"type", "sdk-echo"}});
    const std::vector<Dictionary> both{{{"type", "subscribe"}}, {{"type", "sdk-echo"}}};
    EXPECT_EQ(transport.sent(), both);
    EXPECT_EQ(transport.takeSent(), both);
    EXPECT_TRUE(transport.takeSent().empty());
    transport.send({{"type", "third"}});
    EXPECT_EQ(transport.takeSent().size(), 1U);
    EXPECT_EQ(transport.sent().size(), 3U);
}

TEST_F(FakeTransportTest, answersAsItIsTold)
{
    EXPECT_TRUE(transport.isOpen());
    EXPECT_TRUE(transport.isVisible());
    transport.open = false;
    transport.visible = false;
    EXPECT_FALSE(transport.isOpen());
    EXPECT_FALSE(transport.isVisible());
}

TEST_F(FakeTransportTest, handsOutIdsInOrder)
{
    EXPECT_EQ(transport.addCategoryListener("vexa", listener), 1);
    EXPECT_EQ(transport.addConnectionListener(listener), 2);
    transport.setNextListenerId(-40);
    EXPECT_EQ(transport.addCategoryListener("other", listener), -40);
    EXPECT_EQ(transport.addConnectionListener(listener), -39);
}

TEST_F(FakeTransportTest, tellsWhatIsRegistered)
{
    transport.addCategoryListener("vexa", listener);
    transport.addConnectionListener(listener);
    const auto registrations = transport.registrations();
    ASSERT_EQ(registrations.size(), 2U);
    EXPECT_EQ(registrations[0].id, 1);
    EXPECT_EQ(registrations[0].category, "vexa");
    EXPECT_EQ(registrations[0].messageListener, listener);
    EXPECT_EQ(registrations[0].connectionListener, nullptr);
    EXPECT_EQ(registrations[1].id, 2);
    EXPECT_EQ(registrations[1].category, std::nullopt);
    EXPECT_EQ(registrations[1].messageListener, nullptr);
    EXPECT_EQ(registrations[1].connectionListener, listener);
}

TEST_F(FakeTransportTest, deliversToTheListenersOfTheCategory)
{
    const auto other = std::make_shared<Listener>();
    transport.addCategoryListener("vexa", listener);
    transport.addCategoryListener("zltMsg", other);
    const Message first = transport.deliver({{"type", "data"}});
    const Message second = transport.deliver({{"type", "echo"}}, "zltMsg");
    EXPECT_EQ(listener->messages, std::vector<Message>{first});
    EXPECT_EQ(other->messages, std::vector<Message>{second});
}

TEST_F(FakeTransportTest, deliversAMessageAsItIs)
{
    transport.addCategoryListener("vexa", listener);
    const auto message = std::make_shared<const Dictionary>();
    transport.deliverMessage(message);
    EXPECT_EQ(listener->messages.at(0), message);
}

TEST_F(FakeTransportTest, deliversText)
{
    transport.addCategoryListener("vexa", listener);
    transport.deliverJson(R"({"type": "data", "sentAt": 2.5})");
    EXPECT_EQ(*listener->messages.at(0), (Dictionary{{"type", "data"}, {"sentAt", 2.5}}));
    for (const char* text : {"", "[]", "{", "1", "{} {}"}) {
        EXPECT_THROW(transport.deliverJson(text), std::invalid_argument) << text;
    }
}

TEST_F(FakeTransportTest, tellsOfTheConnection)
{
    transport.addConnectionListener(listener);
    transport.notifyOpened();
    transport.notifyClosed();
    EXPECT_EQ(listener->events, (std::vector<std::string>{"opened", "closed"}));
    EXPECT_TRUE(transport.isOpen());
}

TEST_F(FakeTransportTest, aListenerMayUseTheTransport)
{
    struct Answering final : OruClientMessageListener {
        explicit Answering(FakeTransport& owner) : transport{owner} {}
        void handleMessage(Message message) override { transport.send(*message); }
        void messageListenerRemoved(std::int64_t /*listenerId*/) override {}
        FakeTransport& transport;
    };
    const auto answering = std::make_shared<Answering>(transport);
    transport.addCategoryListener("vexa", answering);
    transport.deliver({{"type", "ping"}});
    EXPECT_EQ(transport.sent(), (std::vector<Dictionary>{{{"type", "ping"}}}));
}

TEST_F(FakeTransportTest, holdsItsListenersWeakly)
{
    transport.addCategoryListener("vexa", listener);
    transport.addConnectionListener(listener);
    listener = nullptr;
    transport.deliver({{"type", "data"}});
    transport.notifyOpened();
    EXPECT_EQ(transport.registrations().at(0).messageListener, nullptr);
    EXPECT_EQ(transport.registrations().at(1).connectionListener, nullptr);
}

TEST_F(FakeTransportTest, holdsItsListenersStronglyWhenItIsTold)
{
    FakeTransport strong{platform, FakeTransport::Hold::strongly};
    strong.addCategoryListener("vexa", listener);
    strong.addConnectionListener(listener);
    const std::weak_ptr<Listener> watched = listener;
    listener = nullptr;
    strong.deliver({{"type", "data"}});
    ASSERT_FALSE(watched.expired());
    EXPECT_EQ(watched.lock()->messages.size(), 1U);
}

TEST_F(FakeTransportTest, aDroppedRegistrationGetsNothing)
{
    const std::int64_t id = transport.addCategoryListener("vexa", listener);
    transport.addConnectionListener(listener);
    transport.dropRegistration(id);
    transport.dropRegistration(999);
    transport.deliver({{"type", "data"}});
    EXPECT_TRUE(listener->messages.empty());
    EXPECT_EQ(listener->removals, std::vector<std::int64_t>{id});
    EXPECT_EQ(transport.registrations().size(), 1U);
}

TEST_F(FakeTransportTest, keepsTheCallsInOrder)
{
    static_cast<void>(transport.isOpen());
    transport.addCategoryListener("vexa", listener);
    transport.addConnectionListener(listener);
    transport.send({});
    static_cast<void>(transport.isVisible());
    static_cast<void>(transport.logger());
    static_cast<void>(transport.isOpen());
    EXPECT_EQ(transport.calls(), (std::vector<Operation>{Operation::isOpen, Operation::addCategoryListener,
                                                         Operation::addConnectionListener, Operation::send,
                                                         Operation::isVisible, Operation::logger, Operation::isOpen}));
    EXPECT_EQ(transport.count(Operation::isOpen), 2U);
    EXPECT_EQ(transport.count(Operation::send), 1U);
}

TEST_F(FakeTransportTest, eachOperationCanBeMadeToThrow)
{
    const auto expectThrowing = [this](Operation operation, auto&& call) {
        transport.throwFrom(operation, 1);
        EXPECT_THROW(call(), std::runtime_error);
        EXPECT_NO_THROW(call());
        EXPECT_EQ(transport.count(operation), 2U);
    };
    expectThrowing(Operation::logger, [this] { return transport.logger(); });
    expectThrowing(Operation::isVisible, [this] { return transport.isVisible(); });
    expectThrowing(Operation::isOpen, [this] { return transport.isOpen(); });
    expectThrowing(Operation::addConnectionListener, [this] { return transport.addConnectionListener(listener); });
    expectThrowing(Operation::addCategoryListener, [this] { return transport.addCategoryListener("vexa", listener); });
    expectThrowing(Operation::send, [this] { transport.send({}); });
    EXPECT_EQ(transport.sent().size(), 1U);
    EXPECT_EQ(transport.registrations().size(), 2U);
}

TEST_F(FakeTransportTest, throwsUntilItIsHealed)
{
    transport.throwFrom(Operation::send);
    for (int i = 0; i < 10; ++i) {
        EXPECT_THROW(transport.send({}), std::runtime_error);
    }
    transport.heal();
    transport.send({});
    EXPECT_EQ(transport.sent().size(), 1U);
}

TEST_F(FakeTransportTest, itsLoggerCanBeReplaced)
{
    EXPECT_EQ(transport.logger().get(), &transport.fakeLogger());
    const auto other = std::make_shared<FakeLogger>(platform);
    transport.setLogger(other);
    EXPECT_EQ(transport.logger(), other);
    transport.setLogger(nullptr);
    EXPECT_EQ(transport.logger(), nullptr);
}

TEST_F(FakeTransportTest, takesCallsFromManyThreads)
{
    transport.addCategoryListener("vexa", listener);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int n = 0; n < 200; ++n) {
                transport.send({{"n", n}});
                static_cast<void>(transport.isOpen());
                static_cast<void>(transport.registrations());
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    EXPECT_EQ(transport.sent().size(), 800U);
    EXPECT_EQ(transport.count(Operation::isOpen), 800U);
}

class FakeLoggerTest : public FakeTransportTest {};

TEST_F(FakeLoggerTest, keepsConsoleLines)
{
    FakeLogger& logger = transport.fakeLogger();
    logger.consoleLog("VEXA: Retrying O-001");
    EXPECT_EQ(logger.consoleLines(), std::vector<std::string>{"VEXA: Retrying O-001"});
    EXPECT_EQ(logger.takeConsoleLines().size(), 1U);
    EXPECT_TRUE(logger.takeConsoleLines().empty());
}

TEST_F(FakeLoggerTest, keepsRecordsWithTheTimeOfTheirArrival)
{
    FakeLogger& logger = transport.fakeLogger();
    platform.clock.advance(7.5);
    platform.clock.jump(-100.0);
    logger.serverLog("vexa", {{"vexaMessages", List{}}}, 0);
    const std::vector<ServerLog> logs = logger.takeServerLogs();
    ASSERT_EQ(logs.size(), 1U);
    EXPECT_EQ(logs[0].category, "vexa");
    EXPECT_EQ(logs[0].blob, (Dictionary{{"vexaMessages", List{}}}));
    EXPECT_EQ(logs[0].severity, 0);
    EXPECT_EQ(logs[0].at, 7.5);
    EXPECT_TRUE(logger.takeServerLogs().empty());
    EXPECT_EQ(logger.serverLogs().size(), 1U);
}

TEST_F(FakeLoggerTest, throwsWhenItIsToldAndKeepsWhatCame)
{
    FakeLogger& logger = transport.fakeLogger();
    logger.throwFromNowOn(true);
    EXPECT_THROW(logger.consoleLog("line"), std::runtime_error);
    EXPECT_THROW(logger.serverLog("vexa", {}, 0), std::runtime_error);
    logger.throwFromNowOn(false);
    EXPECT_NO_THROW(logger.consoleLog("line"));
    EXPECT_EQ(logger.consoleLines().size(), 2U);
    EXPECT_EQ(logger.serverLogs().size(), 1U);
}

} // namespace
} // namespace vexa::testing
