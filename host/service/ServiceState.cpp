#include <host/service/ServiceState.hpp>

#include <array>
#include <charconv>
#include <utility>

namespace vexa::host {

namespace {

std::string hexadecimal(std::uint64_t number)
{
    std::array<char, 16> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16);
    return {digits.data(), written.ptr};
}

} // namespace

ServiceState::ServiceState(std::shared_ptr<Broker> topics, const ServiceLimits& bounds, Platform& outside)
    : platform{outside},
      queue{outside.makeQueue("vexaservice")},
      broker{std::move(topics)},
      limits{bounds},
      serverLogRecords{bounds.keptServerLogRecords},
      echoes{bounds.keptEchoes},
      idPrefix_{hexadecimal(outside.randomBits()) + '-'}
{}

std::string ServiceState::nextSubscriptionId()
{
    return idPrefix_ + std::to_string(++lastSubscription_);
}

} // namespace vexa::host
