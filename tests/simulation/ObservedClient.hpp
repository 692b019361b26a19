#pragma once

#include "tests/simulation/Recorder.hpp"
#include <VexaClient/protocols/VexaClient.hpp>
#include <VexaClient/protocols/VexaFeed.hpp>
#include <VexaClient/subscription_client/BatchFeed.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vexa::simulation {

/// A feed that passes all on to another one, which returns promptly, and writes it down.
class ObservedFeed final : public BatchFeed {
public:
    ObservedFeed(Recorder& recorder, std::int64_t number, std::shared_ptr<BatchFeed> inner) noexcept
        : recorder_{recorder}, number_{number}, inner_{std::move(inner)}
    {}

    void messageFeed(std::string_view hash, const Message& message, bool isTerminating) override
    {
        record(hash, message, isTerminating);
        inner_->messageFeed(hash, message, isTerminating);
    }

    void batchFeed(FedBatch batch) override
    {
        for (const FedMessage& each : batch) {
            record(each.topic->hash(), each.message, each.isTerminating);
        }
        inner_->batchFeed(std::move(batch));
    }

private:
    void record(std::string_view hash, const Message& message, bool isTerminating)
    {
        Observation call;
        call.what = Happening::feed;
        call.source = number_;
        call.text = hash;
        call.message = message;
        call.flag = isTerminating;
        recorder_.hostCall(std::move(call), [] { return 0; });
    }

    Recorder& recorder_;
    const std::int64_t number_;
    const std::shared_ptr<BatchFeed> inner_;
};

/// The client as its manager sees it: it passes all on to the real one, and writes it down.
class ObservedClient final : public VexaClient {
public:
    ObservedClient(Recorder& recorder, std::shared_ptr<VexaClient> inner, std::int64_t feedNumber) noexcept
        : recorder_{recorder}, inner_{std::move(inner)}, feedNumber_{feedNumber}
    {}

    [[nodiscard]] std::string subscriptionHash(std::string_view name, const Parameters& params) override
    {
        return inner_->subscriptionHash(name, params);
    }

    std::string createSubscription(std::string_view name, const Parameters& params, double updatedAt) override
    {
        Observation call;
        call.what = Happening::managerCreates;
        call.text = name;
        call.params = params;
        call.updatedAt = updatedAt;
        recorder_.add(std::move(call));
        std::string hash = inner_->createSubscription(name, params, updatedAt);
        Observation end;
        end.what = Happening::clientReturns;
        end.text = hash;
        recorder_.add(std::move(end));
        return hash;
    }

    void removeSubscription(std::string_view hash) override
    {
        Observation call;
        call.what = Happening::managerRemoves;
        call.text = hash;
        recorder_.add(std::move(call));
        inner_->removeSubscription(hash);
    }

    void setMessageFeedDelegate(std::shared_ptr<VexaFeed> delegate) override
    {
        Observation call;
        call.what = Happening::managerSetsFeed;
        call.source = feedNumber_;
        recorder_.add(std::move(call));
        const auto observed =
            std::make_shared<ObservedFeed>(recorder_, feedNumber_, std::dynamic_pointer_cast<BatchFeed>(delegate));
        feed_ = observed;
        inner_->setMessageFeedDelegate(observed);
    }

    /// The manager as the client's feed; null when the client has let go of it.
    [[nodiscard]] std::shared_ptr<VexaFeed> feed() const { return feed_.lock(); }

private:
    Recorder& recorder_;
    const std::shared_ptr<VexaClient> inner_;
    const std::int64_t feedNumber_;
    std::weak_ptr<VexaFeed> feed_;
};

} // namespace vexa::simulation
