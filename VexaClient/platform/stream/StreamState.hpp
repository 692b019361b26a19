#pragma once

#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/stream/StreamBuffer.hpp>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace vexa {

/// How a stream ended.
enum class StreamEnd : std::uint8_t {
    finished, ///< by its producer; what is buffered can still be taken
    cancelled ///< by its consumer; what was buffered is gone
};

/// What became of an element.
enum class YieldResult : std::uint8_t { enqueued, terminated };

/// Someone who waits for a stream's next answer.
class StreamConsumer {
public:
    /// An element can be taken, or the stream has ended. Called once for each wait, under the stream's mutex: it passes
    /// the word on and returns. `ticket` is the wait that it ends.
    virtual void wake(std::uint64_t ticket) = 0;

protected:
    ~StreamConsumer() = default;
};

/// What the two ends of a stream share. Any thread may call any operation; there is one consumer at a time.
template <class Element>
class StreamState : public std::enable_shared_from_this<StreamState<Element>> {
public:
    using TerminationHandler = std::function<void(StreamEnd)>;

    explicit StreamState(Platform& platform) noexcept : platform_{platform} {}

    [[nodiscard]] Platform& platform() const noexcept { return platform_; }

    YieldResult yield(Element element)
    {
        const std::lock_guard lock{mutex_};
        if (end_) {
            return YieldResult::terminated;
        }
        buffer_.push(std::move(element));
        wakeConsumer();
        return YieldResult::enqueued;
    }

    /// Ends the stream, unless it has ended. The termination handler runs on the calling thread, before the consumer
    /// hears of the end.
    void end(StreamEnd how)
    {
        StreamBuffer<Element> dropped;
        TerminationHandler handler;
        {
            const std::lock_guard lock{mutex_};
            if (how == StreamEnd::cancelled) {
                std::swap(dropped, buffer_);
            }
            if (end_) {
                return;
            }
            end_ = how;
            handler = std::exchange(terminationHandler_, nullptr);
        }
        run(handler, how);
        const std::lock_guard lock{mutex_};
        wakeConsumer();
    }

    /// Sets what runs when the stream ends; at once when it has ended already.
    void setTerminationHandler(TerminationHandler handler)
    {
        std::optional<StreamEnd> ended;
        {
            const std::lock_guard lock{mutex_};
            ended = end_;
            if (!ended) {
                std::swap(terminationHandler_, handler);
            }
        }
        if (ended) {
            run(handler, *ended);
        }
    }

    /// Whether nothing more can come out of the stream.
    [[nodiscard]] bool isExhausted() const
    {
        const std::lock_guard lock{mutex_};
        return end_ && buffer_.empty();
    }

    /// Takes the next answer if there is one: an element, or nothing for ever when the stream has ended.
    /// Returns whether there was one.
    [[nodiscard]] bool tryTake(std::optional<Element>& answer)
    {
        const std::lock_guard lock{mutex_};
        return tryTakeLocked(answer);
    }

    /// Makes `consumer` the one that waits. Returns false when an answer is there already.
    [[nodiscard]] bool await(StreamConsumer& consumer)
    {
        const std::lock_guard lock{mutex_};
        if (hasAnswer()) {
            return false;
        }
        registerConsumer(consumer);
        return true;
    }

    /// Ends the wait `ticket` from the consumer's side. Returns false when it had been given up.
    [[nodiscard]] bool claim(std::uint64_t ticket)
    {
        const std::lock_guard lock{mutex_};
        if (consumer_ == nullptr || ticket_ != ticket) {
            return false;
        }
        consumer_ = nullptr;
        return true;
    }

    /// Gives up the wait of `consumer`, if it waits.
    /// Returns whether it did.
    bool forget(const StreamConsumer& consumer) noexcept
    {
        const std::lock_guard lock{mutex_};
        return consumer_ == &consumer && (consumer_ = nullptr, true);
    }

    /// Blocks the calling thread until there is an answer or `seconds` have passed.
    [[nodiscard]] std::optional<Element> wait(std::optional<double> seconds)
    {
        std::optional<Element> answer;
        std::unique_lock lock{mutex_};
        if (tryTakeLocked(answer)) {
            return answer;
        }
        BlockedThread thread{*this};
        registerConsumer(thread);
        platform_.wait(lock, thread.changed, [this] { return hasAnswer(); }, seconds);
        consumer_ = nullptr;
        tryTakeLocked(answer);
        return answer;
    }

private:
    class BlockedThread final : public StreamConsumer {
    public:
        explicit BlockedThread(StreamState& state) noexcept : state_{state} {}

        void wake(std::uint64_t ticket) override
        {
            if (!state_.platform_.isInBurst()) {
                changed.notify_one();
                return;
            }
            state_.platform_.atEndOfBurst(
                [state = state_.shared_from_this(), ticket] { state->wakeIfItStillWaits(ticket); });
        }

        std::condition_variable changed;

    private:
        StreamState& state_;
    };

    void wakeIfItStillWaits(std::uint64_t ticket)
    {
        const std::lock_guard lock{mutex_};
        if (consumer_ != nullptr && ticket_ == ticket) {
            consumer_->wake(ticket);
        }
    }

    void run(const TerminationHandler& handler, StreamEnd how)
    {
        if (handler) {
            callGuarded(platform_, "a stream's termination handler", [&] { handler(how); });
        }
    }

    [[nodiscard]] bool hasAnswer() const noexcept { return end_ || !buffer_.empty(); }

    bool tryTakeLocked(std::optional<Element>& answer)
    {
        if (!buffer_.empty()) {
            answer.emplace(buffer_.pop());
            return true;
        }
        return end_.has_value();
    }

    void registerConsumer(StreamConsumer& consumer)
    {
        if (consumer_ != nullptr) {
            fatal("a stream has one consumer, but next() was called while another call of it was pending");
        }
        consumer_ = &consumer;
        woken_ = false;
        ++ticket_;
    }

    void wakeConsumer()
    {
        if (consumer_ != nullptr && !std::exchange(woken_, true)) {
            consumer_->wake(ticket_);
        }
    }

    Platform& platform_;
    mutable std::mutex mutex_;
    StreamBuffer<Element> buffer_;
    TerminationHandler terminationHandler_;
    StreamConsumer* consumer_ = nullptr;
    std::uint64_t ticket_ = 0;
    std::optional<StreamEnd> end_;
    bool woken_ = false;
};

} // namespace vexa
