#pragma once

#include <VexaClient/platform/stream/NextOperation.hpp>
#include <VexaClient/platform/stream/StreamState.hpp>

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace vexa {

/// A sequence of elements that arrive over time, with an unbounded buffer: nothing is ever dropped for lack of room.
///
/// It is the receiving end; its Continuation is the sending one. There is one consumer at a time, on any thread; a call
/// of next() or wait() while another one is pending stops the process with a message. Once the stream has ended and its
/// buffer is empty, every further call answers nothing. Dropping the stream, cancel() and cancelling a pending wait end
/// it as cancelled, which drops what is buffered; any thread may do so at any time, also inside the consuming loop.
template <class Element>
class AsyncStream {
public:
    using State = StreamState<Element>;

    /// The sending end. Copies of it send into the same stream; any thread may use them.
    class Continuation {
    public:
        /// Puts an element into the stream. Returns at once; the consumer never runs inside this call. After the stream
        /// has ended the element is dropped.
        YieldResult yield(Element element) const { return state_->yield(std::move(element)); }

        /// Ends the stream as finished: the consumer still gets what is buffered. A second end does nothing.
        void finish() const { state_->end(StreamEnd::finished); }

        /// Sets what runs once when the stream ends, on the thread that ends it; at once when it has ended already.
        void onTermination(std::function<void(StreamEnd)> handler) const
        {
            state_->setTerminationHandler(std::move(handler));
        }

    private:
        friend class AsyncStream;
        explicit Continuation(std::shared_ptr<State> state) noexcept : state_{std::move(state)} {}

        std::shared_ptr<State> state_;
    };

    /// Makes a stream and hands its continuation to `build` before it returns. What `build` throws cancels the stream
    /// and escapes.
    template <class Build>
    AsyncStream(Platform& platform, Build&& build) : state_{std::make_shared<State>(platform)}
    {
        try {
            std::forward<Build>(build)(Continuation{state_});
        } catch (...) {
            cancel();
            throw;
        }
    }

    ~AsyncStream() { cancel(); }

    AsyncStream(AsyncStream&&) noexcept = default;
    AsyncStream& operator=(AsyncStream&& other) noexcept
    {
        if (this != &other) {
            cancel();
            state_ = std::move(other.state_);
        }
        return *this;
    }
    AsyncStream(const AsyncStream&) = delete;
    AsyncStream& operator=(const AsyncStream&) = delete;

    /// The next element, or nothing at the end: an operation to `co_await` in any coroutine. A request to stop while it
    /// is pending cancels the stream.
    [[nodiscard]] NextOperation<Element> next(std::stop_token stop = {})
    {
        if (state_ == nullptr) {
            fatal("next() was called on a stream that has been moved away");
        }
        return NextOperation<Element>{state_, std::move(stop)};
    }

    /// The next element, or nothing at the end, for any completion token of Boost.Asio with the signature
    /// void(std::optional<Element>). The handler never runs inside this call. Its cancellation slot cancels the stream.
    template <boost::asio::completion_token_for<void(std::optional<Element>)> CompletionToken>
    auto next(CompletionToken&& token)
    {
        return next()(std::forward<CompletionToken>(token));
    }

    /// Blocks until the next element comes, or nothing at the end. A request to stop cancels the stream.
    [[nodiscard]] std::optional<Element> wait(std::stop_token stop = {}) { return waitOrStop({}, std::move(stop)); }

    /// As wait(), but answers nothing also when `seconds` have passed, which leaves the stream as it is.
    [[nodiscard]] std::optional<Element> waitFor(double seconds, std::stop_token stop = {})
    {
        return waitOrStop(seconds, std::move(stop));
    }

    /// Whether the stream has ended and all its elements have been taken.
    [[nodiscard]] bool isExhausted() const { return state_ == nullptr || state_->isExhausted(); }

    /// Ends the stream as cancelled. A second end does nothing.
    void cancel() noexcept
    {
        if (state_ != nullptr) {
            state_->end(StreamEnd::cancelled);
        }
    }

    /// Blocking iteration: each step is a wait().
    class Iterator {
    public:
        using iterator_concept = std::input_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = Element;

        explicit Iterator(std::shared_ptr<State> state) : state_{std::move(state)} { ++*this; }

        Iterator& operator++()
        {
            element_ = state_ != nullptr ? state_->wait({}) : std::nullopt;
            return *this;
        }
        void operator++(int) { ++*this; }
        const Element& operator*() const { return *element_; }
        const Element* operator->() const { return &*element_; }
        friend bool operator==(const Iterator& iterator, std::default_sentinel_t) { return !iterator.element_; }

    private:
        std::shared_ptr<State> state_;
        std::optional<Element> element_;
    };

    [[nodiscard]] Iterator begin() { return Iterator{state_}; }
    [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }

private:
    [[nodiscard]] std::optional<Element> waitOrStop(std::optional<double> seconds, std::stop_token stop)
    {
        if (state_ == nullptr) {
            return std::nullopt;
        }
        // Held here too, since another thread may drop the stream meanwhile.
        const std::shared_ptr<State> state = state_;
        const std::stop_callback onStop{std::move(stop), CancelStream<Element>{state}};
        return state->wait(seconds);
    }

    std::shared_ptr<State> state_;
};

} // namespace vexa
