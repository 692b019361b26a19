#include <testing/FakeLogger.hpp>

#include <stdexcept>
#include <utility>

namespace vexa::testing {

namespace {

/// The part of `all` behind the first `taken`, all of which counts as taken from now on.
template <class T>
std::vector<T> takeFrom(const std::vector<T>& all, std::size_t& taken)
{
    const auto first = all.begin() + static_cast<std::ptrdiff_t>(std::exchange(taken, all.size()));
    return {first, all.end()};
}

} // namespace

void FakeLogger::consoleLog(std::string_view line)
{
    const std::lock_guard lock{mutex_};
    consoleLines_.emplace_back(line);
    throwIfTold();
}

void FakeLogger::serverLog(std::string_view category, Dictionary blob, std::int64_t severity)
{
    const double at = platform_.monotonicNow();
    const std::lock_guard lock{mutex_};
    serverLogs_.push_back(ServerLog{std::string{category}, std::move(blob), severity, at});
    throwIfTold();
}

std::vector<std::string> FakeLogger::consoleLines() const
{
    const std::lock_guard lock{mutex_};
    return consoleLines_;
}

std::vector<ServerLog> FakeLogger::serverLogs() const
{
    const std::lock_guard lock{mutex_};
    return serverLogs_;
}

std::vector<std::string> FakeLogger::takeConsoleLines()
{
    const std::lock_guard lock{mutex_};
    return takeFrom(consoleLines_, takenConsoleLines_);
}

std::vector<ServerLog> FakeLogger::takeServerLogs()
{
    const std::lock_guard lock{mutex_};
    return takeFrom(serverLogs_, takenServerLogs_);
}

void FakeLogger::throwFromNowOn(bool throws)
{
    const std::lock_guard lock{mutex_};
    throws_ = throws;
}

void FakeLogger::throwIfTold() const
{
    if (throws_) {
        throw std::runtime_error{"the fake logger fails"};
    }
}

} // namespace vexa::testing
