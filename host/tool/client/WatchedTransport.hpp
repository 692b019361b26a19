#pragma once

#include <host/broker/Broker.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vexa::host {

/// A transport client in front of another one, which tells what the service refused: a subscription that fails is told
/// to no listener, but a person at a terminal wants to know.
class WatchedTransport final : public OruClient {
public:
    /// Called on a thread of the transport's, for each topic that the service refused. It returns at once.
    using Refused = std::function<void(std::string_view topic, const ServiceError& reason)>;

    [[nodiscard]] static std::shared_ptr<WatchedTransport> make(std::shared_ptr<OruClient> transport, Refused refused);

    WatchedTransport(std::shared_ptr<OruClient> transport, Refused refused);

    [[nodiscard]] std::shared_ptr<OruClientLogger> logger() override { return transport_->logger(); }
    [[nodiscard]] bool isVisible() override { return transport_->isVisible(); }
    [[nodiscard]] bool isOpen() override { return transport_->isOpen(); }
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override;
    std::int64_t addCategoryListener(std::string_view category,
                                     std::shared_ptr<OruClientMessageListener> listener) override;
    void send(Dictionary message) override;

private:
    class Answers;

    void remember(const Dictionary& message);
    void answered(const Dictionary& message);

    const std::shared_ptr<OruClient> transport_;
    const Refused refused_;
    std::mutex mutex_;
    std::unordered_map<std::string, std::vector<std::string>> requested_; ///< topic names by operation id
};

} // namespace vexa::host
