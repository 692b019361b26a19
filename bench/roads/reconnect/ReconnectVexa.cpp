// The library's connection to `vexa serve` is cut, and a message published on each of its topics meanwhile: how long it
// takes from the new connection until the last of these messages is there, and with it the last of the subscriptions.

#include <bench/roads/reconnect/CuttableRelay.hpp>
#include <bench/roads/reconnect/ReconnectMain.hpp>
#include <bench/roads/shared/ConfirmationLog.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/shared/VexaClientSide.hpp>
#include <bench/roads/shared/VexaServe.hpp>
#include <host/publish/Publisher.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace vexa::bench;

/// Counts, and tells when enough is reached.
class Tally {
public:
    void add(std::uint64_t count)
    {
        const std::lock_guard lock{mutex_};
        count_ += count;
        if (count_ >= awaited_) {
            changed_.notify_all();
        }
    }

    /// Throws std::runtime_error when it is not reached for long.
    void await(std::uint64_t count)
    {
        constexpr std::chrono::minutes patience{2};
        std::unique_lock lock{mutex_};
        awaited_ = count;
        if (!changed_.wait_for(lock, patience, [&] { return count_ >= count; })) {
            throw std::runtime_error{"only " + std::to_string(count_) + " of " + std::to_string(count)};
        }
    }

    [[nodiscard]] std::uint64_t count()
    {
        const std::lock_guard lock{mutex_};
        return count_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t count_ = 0;
    std::uint64_t awaited_ = 0;
};

/// Publishes one message on each topic, and returns when the service has them.
void publishOnAll(vexa::host::Publisher& publisher, std::uint64_t topics)
{
    Tally accepted;
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        std::vector<vexa::Dictionary> payloads;
        payloads.emplace_back(vexa::Dictionary{{"player", "a name of some length"}, {"score", topic}});
        publisher.publish(topicName(topic), std::nullopt, std::move(payloads),
                          [&accepted](const vexa::host::PublishResult& result) { accepted.add(result.accepted); });
    }
    accepted.await(topics);
}

Recovery recover(std::uint64_t topics)
{
    const VexaServe service = VexaServe::start();
    CuttableRelay relay = CuttableRelay::to(service.port());
    ConfirmationLog log;
    const auto direct = makeTransport(service.url());
    vexa::host::Publisher publisher{direct};
    direct->start();
    const auto transport = makeTransport("ws://127.0.0.1:" + std::to_string(relay.port()));
    vexa::Dependencies::shared().oruClient(transport);
    transport->start();
    awaitOpen(*transport);
    auto& manager = *vexa::VexaOruSubscriptionManager::sharedSubscriptionManager();
    Tally received;
    const auto listener = std::make_shared<CallingListener>([&received](const vexa::Message&) { received.add(1); });
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        manager.addMessageListener(topicName(topic), std::nullopt, 0, listener);
    }
    log.await(topics);
    publishOnAll(publisher, topics);
    received.await(topics);

    relay.cut();
    publishOnAll(publisher, topics);
    Recovery recovery;
    recovery.missed = topics;
    recovery.mended = TimeUsage::now();
    relay.mend();
    received.await(2 * topics);
    recovery.working = TimeUsage::now();
    recovery.connectedAt = relay.connectedAt();
    recovery.lost = 2 * topics - received.count();
    transport->stop();
    direct->stop();
    return recovery;
}

} // namespace

int main(int count, char** words)
{
    return reconnectMain(count, words, "vexa", recover);
}
