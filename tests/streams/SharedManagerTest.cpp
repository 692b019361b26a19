#include "Fixtures.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <boost/json/value_from.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <future>
#include <thread>

namespace vexa {
namespace {

/// What each of many threads gets that begin at the same moment.
template <class Read>
auto readAtOnce(Read&& read)
{
    constexpr std::size_t readers = 16;
    std::vector<decltype(read())> results(readers);
    std::barrier start{static_cast<std::ptrdiff_t>(readers)};
    std::vector<std::jthread> threads;
    for (auto& result : results) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            result = read();
        });
    }
    threads.clear();
    return results;
}

TEST(SharedManager, IsOneInstanceUnderConcurrentFirstUse)
{
    const auto managers = readAtOnce([] { return VexaOruSubscriptionManager::sharedSubscriptionManager().get(); });
    ASSERT_NE(managers.front(), nullptr);
    EXPECT_EQ(managers, (std::vector<VexaOruSubscriptionManager*>(managers.size(), managers.front())));
}

TEST(SharedManager, RunsOnThePlatformOfTheSystem)
{
    EXPECT_EQ(&VexaOruSubscriptionManager::sharedSubscriptionManager()->platform(), &Platform::system());
}

/// A transport that promises its first message.
class FirstMessage final : public OruClient {
public:
    std::shared_ptr<OruClientLogger> logger() override { return logger_; }
    bool isVisible() override { return true; }
    bool isOpen() override { return true; }
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener>) override { return 1; }
    std::int64_t addCategoryListener(std::string_view, std::shared_ptr<OruClientMessageListener>) override { return 2; }
    void send(Dictionary message) override
    {
        if (!sent_.exchange(true)) {
            first.set_value(std::move(message));
        }
    }

    std::promise<Dictionary> first;

private:
    std::shared_ptr<OruClientLogger> logger_ = std::make_shared<testing::FakeLogger>(Platform::system());
    std::atomic<bool> sent_ = false;
};

TEST(SharedManager, ServesStreamsThatNameNoManager)
{
    const auto transport = std::make_shared<FirstMessage>();
    Dependencies::shared().oruClient(transport);
    SystemPlatform::shared().setLogSink([](std::string_view) {});
    const auto& manager = VexaOruSubscriptionManager::sharedSubscriptionManager();
    const std::int64_t listenerId = manager->state().nextListenerId;
    const Parameters params = boost::json::value_from(listenerId);

    {
        const Stream stream = VexaSubscriptionStream::createStream("scores", params, 1700000000.5);
        EXPECT_EQ(manager->anyListenersFor("scores", params), (Ids{listenerId}));
        EXPECT_EQ(testing::topicsOf(transport->first.get_future().get()),
                  (std::vector<Dictionary>{testing::topic("scores", params, 1700000000.5)}));
    }
    EXPECT_EQ(manager->anyListenersFor("scores", params), (Ids{}));
}

TEST(SharedSender, IsOneInstanceUnderConcurrentFirstUse)
{
    const auto senders = readAtOnce([] { return &VexaDataSender::shared(); });
    ASSERT_NE(senders.front(), nullptr);
    EXPECT_EQ(senders, (std::vector<VexaDataSender*>(senders.size(), senders.front())));
}

TEST(SharedSender, SendsThroughTheTransportOfTheSharedContainer)
{
    const auto transport = std::make_shared<testing::FakeTransport>(Platform::system());
    Dependencies::shared().oruClient(transport);
    VexaDataSender::shared().sendToEcho();
    const auto sent = transport->sent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent.front().at("category"), "zltMsg");
    EXPECT_EQ(sent.front().at("type"), "sdk-echo");
}

} // namespace
} // namespace vexa
