#include <bench/roads/shared/ConfirmationLog.hpp>

#include <chrono>
#include <stdexcept>
#include <string>

namespace vexa::bench {

ConfirmationLog::ConfirmationLog(SystemPlatform& platform) : platform_{platform}, file_{std::tmpfile()}
{
    if (file_ == nullptr) {
        throw std::runtime_error{"no temporary file could be made for the log"};
    }
    platform_.setLogSink([this](std::string_view line) { write(line); });
}

ConfirmationLog::~ConfirmationLog()
{
    platform_.setLogSink([](std::string_view) {});
    std::fclose(file_);
}

void ConfirmationLog::await(std::uint64_t confirmations)
{
    constexpr std::chrono::minutes patience{3};
    std::unique_lock lock{mutex_};
    awaited_ = confirmations;
    if (!changed_.wait_for(lock, patience, [&] { return confirmations_ >= confirmations; })) {
        throw std::runtime_error{"only " + std::to_string(confirmations_) + " topics have been confirmed"};
    }
    awaited_ = 0;
}

void ConfirmationLog::write(std::string_view line)
{
    const bool isConfirmation = line.find("Subscription response: ") != std::string_view::npos;
    const std::lock_guard lock{mutex_};
    std::fwrite(line.data(), 1, line.size(), file_);
    std::fputc('\n', file_);
    if (isConfirmation && ++confirmations_ == awaited_) {
        changed_.notify_all();
    }
}

} // namespace vexa::bench
