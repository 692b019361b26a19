#include <host/service/TopicLedger.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <boost/json/parse.hpp>

#include <algorithm>
#include <string_view>
#include <utility>

namespace vexa::host {

namespace {

constexpr double unusedFor = 60;
constexpr double betweenAttempts = 1;

/// Puts the name and the parameters back that a key was made of: its text is a JSON text, alone or in front of another.
void nameTopic(const TopicKey& topic, TopicFigures& figures)
{
    boost::system::error_code isNoList;
    const Value name = boost::json::parse("[" + topic.text() + "]", isNoList);
    if (!isNoList) {
        const auto& text = name.as_array().front().as_string();
        figures.name.assign(text.data(), text.size());
        return;
    }
    const Value both = boost::json::parse("{" + topic.text() + "}");
    const auto& entry = *both.as_object().begin();
    figures.name.assign(entry.key().data(), entry.key().size());
    figures.parameters = entry.value();
}

} // namespace

TopicLedger::Account& TopicLedger::subscriptionBegan(const TopicKey& topic, double now)
{
    Account& found = account(topic, now);
    ++found.subscribers;
    return found;
}

void TopicLedger::published(const TopicKey& topic, std::size_t count, double time, double now)
{
    Account& found = account(topic, now);
    found.published += count;
    found.publishedRate.add(count, now);
    found.lastPublished = std::max(found.lastPublished, time);
}

void TopicLedger::report(const Dictionary& blob)
{
    if (const List* deliveries = dictionariesAt(blob, "vexaMessages")) {
        for (const Value& record : *deliveries) {
            reportDelivery(record.get_object());
        }
    }
    if (const List* subscriptions = dictionariesAt(blob, "vexaSubscriptionResponses")) {
        for (const Value& record : *subscriptions) {
            reportSubscription(record.get_object());
        }
    }
}

void TopicLedger::reportDelivery(const Dictionary& record)
{
    Account* const found = namedIn(record);
    if (found == nullptr) {
        return;
    }
    if (stringAt(record, "delivery") == "offline") {
        ++found->reportedReplays;
        return;
    }
    const double sentAt = doubleAt(record, "sentAt").value_or(0);
    const auto receivedAt = doubleAt(record, "receivedAt");
    if (sentAt > 0 && receivedAt) {
        if (found->delays == nullptr) {
            found->delays = std::make_unique<DelayHistogram>();
        }
        found->delays->add(*receivedAt - sentAt);
    }
}

void TopicLedger::reportSubscription(const Dictionary& record)
{
    Account* const found = namedIn(record);
    const auto error = stringAt(record, "error");
    if (found == nullptr || !error) {
        return;
    }
    ++(*error == "SubscriptionTimeoutError" ? found->timedOutSubscriptions : found->failedSubscriptions);
}

TopicLedger::Account* TopicLedger::namedIn(const Dictionary& record)
{
    const Dictionary* topic = dictionaryAt(record, "topic");
    const auto name = topic != nullptr ? stringAt(*topic, "name") : std::nullopt;
    if (!name) {
        return nullptr;
    }
    const Value* parameters = topic->if_contains("parameters");
    const auto found = accounts_.find(parameters != nullptr ? TopicKey{*name, *parameters} : TopicKey{*name});
    return found != accounts_.end() ? &found->second : nullptr;
}

TopicLedger::Account& TopicLedger::account(const TopicKey& topic, double now)
{
    auto found = accounts_.find(topic);
    if (found == accounts_.end()) {
        makeRoom(now);
        if (accounts_.size() >= atMost_) {
            return shared_;
        }
        found = accounts_.try_emplace(topic).first;
    }
    found->second.lastUsed = now;
    return found->second;
}

void TopicLedger::makeRoom(double now)
{
    if (accounts_.size() < atMost_ || now - lastMadeRoom_ < betweenAttempts) {
        return;
    }
    lastMadeRoom_ = now;
    std::erase_if(accounts_, [now](const auto& each) {
        return each.second.subscribers == 0 && now - each.second.lastUsed >= unusedFor;
    });
}

std::vector<TopicFigures> TopicLedger::figures(double now) const
{
    std::vector<TopicFigures> all;
    all.reserve(accounts_.size());
    for (const auto& [topic, each] : accounts_) {
        TopicFigures& figures = all.emplace_back();
        nameTopic(topic, figures);
        figures.subscribers = each.subscribers;
        figures.published = each.published;
        figures.received = each.received;
        figures.delivered = each.delivered;
        figures.replayed = each.replayed;
        // What was published here comes back from the broker as received, but only while somebody subscribes.
        figures.messagesPerSecond = std::max(each.publishedRate.perSecond(now), each.receivedRate.perSecond(now));
        figures.newestAt = std::max(each.newest, each.lastPublished);
        figures.delay = each.delays != nullptr ? each.delays->figures() : DelayFigures{};
        figures.reportedReplays = each.reportedReplays;
        figures.failedSubscriptions = each.failedSubscriptions;
        figures.timedOutSubscriptions = each.timedOutSubscriptions;
    }
    return all;
}

} // namespace vexa::host
