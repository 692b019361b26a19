#pragma once

#include <VexaClient/platform/SystemPlatform.hpp>

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string_view>

namespace vexa::bench {

/// Keeps the library's log in a temporary file, as a host would, and counts in it how often the service has confirmed a
/// topic. The platform writes its log there for as long as the object lives.
class ConfirmationLog {
public:
    explicit ConfirmationLog(SystemPlatform& platform = SystemPlatform::shared());
    ~ConfirmationLog();
    ConfirmationLog(const ConfirmationLog&) = delete;
    ConfirmationLog& operator=(const ConfirmationLog&) = delete;

    /// Waits until so many confirmations have been logged since the object was made. Throws std::runtime_error when
    /// they do not come for minutes.
    void await(std::uint64_t confirmations);

private:
    void write(std::string_view line);

    SystemPlatform& platform_;
    std::FILE* const file_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::uint64_t confirmations_ = 0;
    std::uint64_t awaited_ = 0; ///< none when 0
};

} // namespace vexa::bench
