#pragma once

#include <VexaClient/platform/stream/StreamState.hpp>

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/associated_executor.hpp>
#include <boost/asio/cancellation_type.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/system_executor.hpp>

#include <memory>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <utility>

namespace vexa {

/// Cancels a stream when called, if it still exists.
template <class Element>
struct CancelStream {
    std::weak_ptr<StreamState<Element>> stream;

    void operator()() const
    {
        if (const auto state = stream.lock()) {
            state->end(StreamEnd::cancelled);
        }
    }
};

/// A completion handler of Boost.Asio that waits for a stream's next answer. It owns itself until it is woken.
template <class Element, class Handler>
class CompletionConsumer final : public StreamConsumer {
public:
    static void start(Handler handler, std::shared_ptr<StreamState<Element>> state, std::stop_token stop)
    {
        auto self = std::make_unique<CompletionConsumer>(std::move(handler), std::move(state));
        CompletionConsumer& consumer = *self;
        // Held here too: once registered, another thread may complete the consumer and destroy it.
        const std::shared_ptr<StreamState<Element>> kept = consumer.state_;
        if (stop.stop_possible()) {
            consumer.onStop_.emplace(std::move(stop), CancelStream<Element>{kept});
        }
        if (auto slot = boost::asio::get_associated_cancellation_slot(consumer.handler_); slot.is_connected()) {
            slot.assign([cancel = CancelStream<Element>{kept}](boost::asio::cancellation_type) { cancel(); });
        }
        if (kept->await(consumer)) {
            static_cast<void>(self.release());
        } else {
            post(std::move(self));
        }
    }

    CompletionConsumer(Handler handler, std::shared_ptr<StreamState<Element>> state)
        : handler_{std::move(handler)}, work_{boost::asio::get_associated_executor(handler_)}, state_{std::move(state)}
    {}

private:
    using Executor = boost::asio::associated_executor_t<Handler>;

    void wake(std::uint64_t ticket) override
    {
        // The wait cannot be given up from outside, so the woken consumer is the caller's to own.
        ticket_ = ticket;
        post(std::unique_ptr<CompletionConsumer>{this});
    }

    static void post(std::unique_ptr<CompletionConsumer> self)
    {
        if constexpr (std::is_same_v<Executor, boost::asio::system_executor>) {
            Platform& platform = self->state_->platform();
            platform.execute([self = std::move(self)]() mutable { complete(std::move(self)); });
        } else {
            const Executor executor = self->work_.get_executor();
            boost::asio::post(executor, [self = std::move(self)]() mutable { complete(std::move(self)); });
        }
    }

    /// On the handler's executor.
    static void complete(std::unique_ptr<CompletionConsumer> self)
    {
        if (self->ticket_) {
            static_cast<void>(self->state_->claim(*self->ticket_));
        }
        std::optional<Element> answer;
        static_cast<void>(self->state_->tryTake(answer));
        boost::asio::get_associated_cancellation_slot(self->handler_).clear();
        self->onStop_.reset();
        const auto work = std::move(self->work_);
        Handler handler = std::move(self->handler_);
        // The handler may start the next operation, so nothing of this one is left when it runs.
        self.reset();
        std::move(handler)(std::move(answer));
    }

    Handler handler_;
    boost::asio::executor_work_guard<Executor> work_;
    std::shared_ptr<StreamState<Element>> state_;
    std::optional<std::stop_callback<CancelStream<Element>>> onStop_;
    std::optional<std::uint64_t> ticket_;
};

} // namespace vexa
