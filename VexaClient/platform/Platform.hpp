#pragma once

#include <VexaClient/platform/SerialQueue.hpp>
#include <VexaClient/platform/WorkItem.hpp>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vexa {

/// What the items of a queue may do with the thread that they are given.
enum class QueueWork {
    prompt,  ///< they return quickly; calls into code that may block are marked with HostCode
    mayBlock ///< they may block as long as they like
};

/// The library's only door to the outside: queues, clocks, chance and the system log. Every operation may be called on
/// any thread. A platform must outlive all that was made with it.
class Platform {
public:
    virtual ~Platform() = default;

    /// The platform of this process. Made on first use and never destroyed.
    [[nodiscard]] static Platform& system();

    /// A new serial queue.
    [[nodiscard]] virtual SerialQueueHandle makeQueue(std::string label, QueueWork work = QueueWork::mayBlock) = 0;

    /// The wall clock: seconds since 1970. It may jump.
    [[nodiscard]] virtual double now() = 0;

    /// A clock that never jumps: seconds since some moment in the past. Delays and timers follow it.
    [[nodiscard]] virtual double monotonicNow() = 0;

    /// 64 bits from the operating system's secure random source.
    [[nodiscard]] virtual std::uint64_t randomBits() = 0;

    /// Runs a closure on a thread of the platform, apart from every queue. It may block as long as it likes.
    template <class F>
    void execute(F&& closure)
    {
        submit(makeWorkItem(std::forward<F>(closure)));
    }

    /// Waits until `ready` holds, which others bring about under the same mutex with a notification, or until `seconds`
    /// have passed on the monotonic clock. Returns whether it holds.
    virtual bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                      const std::function<bool()>& ready, std::optional<double> seconds) = 0;

    /// Writes "VEXA: " and `text` to the system log as one line. The text is never a format, and control characters in
    /// it are escaped. Never throws.
    void log(std::string_view text) noexcept;

    /// Writes to the log that host code, named by `what`, let the current exception escape. Call it in a handler.
    void logEscapedException(std::string_view what) noexcept;

    /// Marks that the calling thread is about to run code that may block, so that no work waits behind it on this
    /// thread.
    virtual void enterHostCode() noexcept = 0;
    virtual void leaveHostCode() noexcept = 0;

    /// Runs a closure at the end of the calling thread's burst, on that thread; at once outside of a burst.
    template <class F>
    void atEndOfBurst(F&& closure)
    {
        if (isInBurst()) {
            addToBurst(makeWorkItem(std::forward<F>(closure)));
        } else {
            std::forward<F>(closure)();
        }
    }

    /// Whether the calling thread is in a burst.
    [[nodiscard]] virtual bool isInBurst() noexcept { return false; }

    /// What Burst does on the calling thread. beginBurst() returns whether there is something to end.
    virtual bool beginBurst() noexcept { return false; }
    virtual void runInBurst() noexcept {}
    virtual void endBurst() noexcept {}

protected:
    virtual void submit(WorkItemPointer item) = 0;
    virtual void addToBurst(WorkItemPointer item) { item.release()->run(); }

    /// Writes one finished line. What it throws is dropped.
    virtual void writeLogLine(std::string_view line) = 0;
};

/// The stretch of a thread's work that runs code of the host.
class HostCode {
public:
    explicit HostCode(Platform& platform) noexcept : platform_{platform} { platform_.enterHostCode(); }
    ~HostCode() { platform_.leaveHostCode(); }
    HostCode(const HostCode&) = delete;
    HostCode& operator=(const HostCode&) = delete;

private:
    Platform& platform_;
};

/// A stretch in which a thread hands over what came together, as a transport does with the messages of one read, and
/// lends itself to the library meanwhile.
///
/// The thread runs what it made ready itself, as far as that returns promptly and runs no code of a host, while it is
/// still in the processor's cache. All else, wake-ups of other threads included, is left to the end of the stretch,
/// when one of them does for many. For short stretches in which nothing is waited for; a call into code of the host
/// within one ends the delay of what has been held back so far.
class Burst {
public:
    explicit Burst(Platform& platform) noexcept : platform_{platform}, isBegun_{platform.beginBurst()} {}
    ~Burst()
    {
        if (isBegun_) {
            platform_.endBurst();
        }
    }

    /// Runs on this thread what is ready and prompt. Call it after each piece that was handed over.
    void run() noexcept
    {
        if (isBegun_) {
            platform_.runInBurst();
        }
    }

    /// Ends the stretch and begins the next one.
    void renew() noexcept
    {
        if (isBegun_) {
            platform_.endBurst();
            platform_.beginBurst();
        }
    }
    Burst(const Burst&) = delete;
    Burst& operator=(const Burst&) = delete;

private:
    Platform& platform_;
    const bool isBegun_;
};

/// Makes a call that must not let an exception escape: one that does is written to the system log under the name
/// `what`.
template <class F>
void callGuarded(Platform& platform, std::string_view what, F&& call) noexcept
{
    try {
        std::forward<F>(call)();
    } catch (...) {
        platform.logEscapedException(what);
    }
}

/// Calls into the host, whose code may block and throw. An exception that escapes is written to the system log under
/// the name `what`.
template <class F>
void callHost(Platform& platform, std::string_view what, F&& call) noexcept
{
    const HostCode scope{platform};
    callGuarded(platform, what, std::forward<F>(call));
}

/// Asks the host; `otherwise` is the answer when an exception escapes, which is written to the system log.
template <class Answer, class F>
[[nodiscard]] Answer askHost(Platform& platform, std::string_view what, Answer otherwise, F&& question) noexcept
{
    callHost(platform, what, [&] { otherwise = std::forward<F>(question)(); });
    return otherwise;
}

} // namespace vexa
