#include "NumberSubscriber.hpp"

#include <VexaClient/VexaSubscriptionStream.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

OruWebSocketClientOptions quickToComeBack(std::string url)
{
    OruWebSocketClientOptions options;
    options.url = std::move(url);
    options.reconnect = {.firstCeiling = 0.1, .lastCeiling = 1, .stableAfter = 1};
    return options;
}

NumberSubscriber::NumberSubscriber(SystemPlatform& platform, boost::asio::io_context& context, std::string url,
                                   std::string_view topic)
    : transport_{OruWebSocketClient::make(quickToComeBack(std::move(url)), platform)}
{
    container_.oruClient(transport_);
    library_.emplace(platform, container_);
    FollowerEvents events;
    events.received = [arrivals = arrivals_](const TopicElement& element) {
        const auto number = element.message->at("payload").at("number").to_number<std::uint64_t>();
        const std::lock_guard lock{arrivals->mutex};
        arrivals->account.arrived(number);
    };
    events.ended = [] {};
    follower_.emplace(context, AsioFollower::Token::handler,
                      VexaSubscriptionStream::createStream(topic, std::nullopt, std::nullopt, library_->manager()),
                      std::move(events));
    transport_->start();
}

NumberSubscriber::~NumberSubscriber()
{
    follower_.reset();
    transport_->stop();
}

SequenceAccount NumberSubscriber::account() const
{
    const std::lock_guard lock{arrivals_->mutex};
    return arrivals_->account;
}

NumberSubscribers::NumberSubscribers(SystemPlatform& platform)
    : platform_{platform}, work_{boost::asio::make_work_guard(context_)}, thread_{[this] { context_.run(); }}
{}

NumberSubscribers::~NumberSubscribers()
{
    subscribers_.clear();
    work_.reset();
    thread_.join();
}

void NumberSubscribers::add(std::size_t count, const std::string& url, std::string_view topic)
{
    for (std::size_t each = 0; each < count; ++each) {
        subscribers_.emplace_back(platform_, context_, url, topic);
    }
}

std::uint64_t NumberSubscribers::received() const
{
    std::uint64_t sum = 0;
    for (const NumberSubscriber& each : subscribers_) {
        sum += each.account().count();
    }
    return sum;
}

std::size_t NumberSubscribers::countWith(std::uint64_t messages) const
{
    return static_cast<std::size_t>(
        std::count_if(subscribers_.begin(), subscribers_.end(),
                      [messages](const NumberSubscriber& each) { return each.account().count() >= messages; }));
}

std::uint64_t NumberSubscribers::reconnects() const
{
    std::uint64_t sum = 0;
    for (const NumberSubscriber& each : subscribers_) {
        sum += each.reconnects();
    }
    return sum;
}

} // namespace vexa::host
