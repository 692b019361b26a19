#include <host/service/ClientConnection.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

namespace {

/// The time of a message, in seconds since 1970.
double timeOf(const Delivery& delivery)
{
    return doubleAt(*delivery.payload, "updatedAt").value_or(0);
}

} // namespace

void ClientConnection::sendWhenSettled(const Answer& answer)
{
    if (answer.unsettled > 0) {
        return;
    }
    send(subscriptionResponse(answer.operationId, answer.topics));
    for (const auto& named : answer.subscriptions) {
        const auto subscription = named.lock();
        if (subscription != nullptr && --subscription->owedAnswers == 0) {
            deliver(*subscription, std::exchange(subscription->held, {}));
        }
    }
}

void ClientConnection::deliver(Subscription& subscription, std::vector<Delivery> deliveries)
{
    // A request that came after the one for which the broker began the replay may have named a later time.
    std::erase_if(deliveries, [&subscription](const Delivery& each) {
        return each.isReplayed && timeOf(each) <= subscription.requestedFrom;
    });
    if (deliveries.empty() || !isOpen_) {
        return;
    }
    subscription.sentUntil = timeOf(deliveries.back());
    noteNewMessages(*subscription.account, deliveries);
    const std::size_t atMost = std::max<std::size_t>(1, service_->limits.entriesPerDataMessage);
    for (std::span<const Delivery> rest{deliveries}; !rest.empty();) {
        const auto part = rest.first(std::min(atMost, rest.size()));
        rest = rest.subspan(part.size());
        const auto replayed = static_cast<std::size_t>(
            std::count_if(part.begin(), part.end(), [](const Delivery& each) { return each.isReplayed; }));
        service_->figures.replayed += replayed;
        service_->figures.delivered += part.size();
        subscription.account->replayed += replayed;
        subscription.account->delivered += part.size();
        if (sink_.deliver) {
            sendAsTexts(subscription, part);
        } else {
            sendAsDictionary(subscription, part);
        }
    }
}

void ClientConnection::noteNewMessages(TopicLedger::Account& account, const std::vector<Delivery>& deliveries)
{
    const auto lastKnown = std::find_if(deliveries.rbegin(), deliveries.rend(), [&account](const Delivery& each) {
        return each.isReplayed || timeOf(each) <= account.newest;
    });
    const auto count = static_cast<std::size_t>(lastKnown - deliveries.rbegin());
    if (count > 0) {
        account.noteReceived(count, timeOf(deliveries.back()), service_->platform.monotonicNow());
    }
}

void ClientConnection::sendAsDictionary(const Subscription& subscription, std::span<const Delivery> deliveries)
{
    List entries;
    entries.reserve(deliveries.size());
    for (const Delivery& each : deliveries) {
        entries.push_back(dataEntry(subscription.id, each));
    }
    send(dataMessage(service_->platform.now(), std::move(entries)));
}

void ClientConnection::sendAsTexts(const Subscription& subscription, std::span<const Delivery> deliveries)
{
    DataBatch batch{service_->platform.now(), subscription.idText, {}};
    batch.entries.reserve(deliveries.size());
    for (const Delivery& each : deliveries) {
        batch.entries.push_back({service_->payloadTexts.textOf(each.payload), each.isReplayed});
    }
    callGuarded(service_->platform, "the sink of a session", [&] { sink_.deliver(std::move(batch)); });
}

} // namespace vexa::host
