#pragma once

#include <VexaClient/platform/stream/CompletionConsumer.hpp>
#include <VexaClient/platform/stream/StreamState.hpp>

#include <boost/asio/async_result.hpp>

#include <coroutine>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace vexa {

/// The next answer of a stream, for whoever waits without a thread: `co_await` it in any coroutine, or call it with a
/// completion token of Boost.Asio, whose signature is void(std::optional<Element>).
///
/// A coroutine goes on on a thread of the platform, never on the producer's; with a token, the handler runs on its
/// associated executor, or on a thread of the platform when it has none. Destroying a pending operation cancels the
/// stream; so does the token's cancellation slot, and the stop token.
template <class Element>
class [[nodiscard]] NextOperation final : private StreamConsumer {
public:
    explicit NextOperation(std::shared_ptr<StreamState<Element>> state, std::stop_token stop = {}) noexcept
        : state_{std::move(state)}, stop_{std::move(stop)}
    {}

    ~NextOperation()
    {
        if (handle_ && state_->forget(*this)) {
            state_->end(StreamEnd::cancelled);
        }
    }

    NextOperation(const NextOperation&) = delete;
    NextOperation& operator=(const NextOperation&) = delete;

    // In a coroutine.

    [[nodiscard]] bool await_ready()
    {
        if (stop_.stop_possible()) {
            onStop_.emplace(std::move(stop_), Cancel{state_});
        }
        return answered_ = state_->tryTake(answer_);
    }

    [[nodiscard]] bool await_suspend(std::coroutine_handle<> handle)
    {
        handle_ = handle;
        // From here on another thread may resume the coroutine and destroy this operation.
        return state_->await(*this);
    }

    [[nodiscard]] std::optional<Element> await_resume()
    {
        onStop_.reset();
        if (!answered_) {
            static_cast<void>(state_->tryTake(answer_));
        }
        return std::move(answer_);
    }

    // With a completion token.

    template <boost::asio::completion_token_for<void(std::optional<Element>)> CompletionToken>
    auto operator()(CompletionToken&& token) &&
    {
        return boost::asio::async_initiate<CompletionToken, void(std::optional<Element>)>(
            [](auto handler, std::shared_ptr<StreamState<Element>> state, std::stop_token stop) {
                CompletionConsumer<Element, decltype(handler)>::start(std::move(handler), std::move(state),
                                                                      std::move(stop));
            },
            token, std::move(state_), std::move(stop_));
    }

private:
    using Cancel = CancelStream<Element>;

    void wake(std::uint64_t ticket) override
    {
        state_->platform().execute([state = state_, handle = handle_, ticket] {
            if (state->claim(ticket)) {
                handle.resume();
            }
        });
    }

    std::shared_ptr<StreamState<Element>> state_;
    std::stop_token stop_;
    std::optional<std::stop_callback<Cancel>> onStop_;
    std::coroutine_handle<> handle_;
    std::optional<Element> answer_;
    bool answered_ = false;
};

} // namespace vexa
