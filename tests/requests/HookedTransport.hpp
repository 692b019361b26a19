#pragma once

#include <testing/FakeTransport.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/transport/OruClient.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace vexa::testing {

/// A transport that passes every call on to a FakeTransport and then lets the test act inside the call.
class HookedTransport final : public OruClient {
public:
    using Operation = FakeTransport::Operation;

    explicit HookedTransport(std::shared_ptr<FakeTransport> transport) : transport_{std::move(transport)} {}

    /// Called at the end of each operation; what it throws escapes the operation.
    std::function<void(Operation)> onCall;

    std::shared_ptr<OruClientLogger> logger() override
    {
        auto answer = transport_->logger();
        call(Operation::logger);
        return answer;
    }

    bool isVisible() override
    {
        const bool answer = transport_->isVisible();
        call(Operation::isVisible);
        return answer;
    }

    bool isOpen() override
    {
        const bool answer = transport_->isOpen();
        call(Operation::isOpen);
        return answer;
    }

    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) override
    {
        const std::int64_t answer = transport_->addConnectionListener(std::move(listener));
        call(Operation::addConnectionListener);
        return answer;
    }

    std::int64_t addCategoryListener(std::string_view category,
                                     std::shared_ptr<OruClientMessageListener> listener) override
    {
        const std::int64_t answer = transport_->addCategoryListener(category, std::move(listener));
        call(Operation::addCategoryListener);
        return answer;
    }

    void send(Dictionary message) override
    {
        transport_->send(std::move(message));
        call(Operation::send);
    }

private:
    void call(Operation operation) const
    {
        if (onCall) {
            onCall(operation);
        }
    }

    const std::shared_ptr<FakeTransport> transport_;
};

} // namespace vexa::testing
