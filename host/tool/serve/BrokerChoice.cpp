#include <host/broker/MemoryBroker.hpp>
#include <host/tool/serve/BrokerChoice.hpp>

#ifdef VEXA_HAS_NATS
#include <host/broker/nats/NatsBroker.hpp>
#endif

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace vexa::host {

namespace {

constexpr std::string_view memory = "memory";

std::vector<std::string> addressesIn(std::string_view list)
{
    std::vector<std::string> addresses;
    for (;;) {
        const std::size_t comma = list.find(',');
        addresses.emplace_back(list.substr(0, comma));
        if (comma == std::string_view::npos) {
            return addresses;
        }
        list.remove_prefix(comma + 1);
    }
}

bool isNatsAddress(std::string_view address)
{
    return (address.starts_with("nats://") || address.starts_with("tls://")) &&
           address.find("://") + std::string_view{"://"}.size() < address.size();
}

#ifdef VEXA_HAS_NATS

std::optional<std::string> unlessEmpty(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional{text};
}

std::shared_ptr<Broker> makeNatsBroker(const BrokerChoice& choice)
{
    constexpr std::size_t enough = 3;
    NatsBrokerOptions options;
    options.servers = addressesIn(choice.name);
    options.stream = choice.stream;
    options.replicas =
        choice.replicas > 0 ? choice.replicas : static_cast<int>(std::min(enough, options.servers.size()));
    options.retention.recordsPerTopic = static_cast<std::int64_t>(choice.messagesPerTopic);
    options.retention.maximumAge = choice.maximumAge;
    options.publishTimeLimit = choice.publishTimeLimit;
    options.token = unlessEmpty(choice.token);
    options.credentialsFile = unlessEmpty(choice.credentialsFile);
    options.authorityFile = unlessEmpty(choice.authoritiesFile);
    options.certificateFile = unlessEmpty(choice.certificateFile);
    options.keyFile = unlessEmpty(choice.keyFile);
    return NatsBroker::make(options);
}

#endif

} // namespace

std::string complaintAboutBroker(const std::string& name)
{
    if (name == memory) {
        return {};
    }
    const std::vector<std::string> addresses = addressesIn(name);
    if (!std::all_of(addresses.begin(), addresses.end(), isNatsAddress)) {
        return "there is no broker '" + name + "'; name 'memory' or servers, as in nats://127.0.0.1:4222,nats://...";
    }
#ifdef VEXA_HAS_NATS
    return {};
#else
    return "this build has no broker on NATS; build it where libnats is installed";
#endif
}

std::shared_ptr<Broker> makeBroker(const BrokerChoice& choice)
{
    if (const std::string complaint = complaintAboutBroker(choice.name); !complaint.empty()) {
        throw std::invalid_argument{complaint};
    }
#ifdef VEXA_HAS_NATS
    if (choice.name != memory) {
        return makeNatsBroker(choice);
    }
#endif
    MemoryBrokerLimits limits;
    limits.messagesPerTopic = choice.messagesPerTopic;
    limits.maximumAge = choice.maximumAge;
    return MemoryBroker::make(limits);
}

void releaseBrokers()
{
#ifdef VEXA_HAS_NATS
    NatsBroker::releaseLibrary();
#endif
}

} // namespace vexa::host
