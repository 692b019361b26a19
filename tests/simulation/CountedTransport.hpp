#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace vexa::simulation {

/// What passed between the library and its transport.
struct TransportAccount {
    std::multiset<std::string> owedReports;      ///< one text for each data message that was delivered
    std::multiset<std::string> madeReports;      ///< the same for each delivery report
    std::map<std::size_t, std::size_t> gotUntil; ///< by topic, one more than the newest message that was delivered
    std::uint64_t records = 0;                   ///< calls of serverLog
    std::uint64_t waited = 0;                    ///< those of them while the connection was closed
    std::uint64_t timeouts = 0;                  ///< records of requests that timed out
};

/// A transport that passes all on to another one, and counts it.
class CountedTransport final : public OruClient {
public:
    CountedTransport(std::shared_ptr<OruClient> inner, TransportAccount& account);

    [[nodiscard]] std::shared_ptr<OruClientLogger> logger() override { return logger_; }
    [[nodiscard]] bool isVisible() override { return inner_->isVisible(); }
    [[nodiscard]] bool isOpen() override { return inner_->isOpen(); }
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override
    {
        return inner_->addConnectionListener(std::move(listener));
    }
    std::int64_t addCategoryListener(std::string_view category,
                                     std::shared_ptr<OruClientMessageListener> listener) override;
    void send(Dictionary message) override { inner_->send(std::move(message)); }

private:
    const std::shared_ptr<OruClient> inner_;
    TransportAccount& account_;
    const std::shared_ptr<OruClientLogger> logger_;
    std::shared_ptr<OruClientMessageListener> listener_; ///< the inner transport may hold it weakly
};

} // namespace vexa::simulation
