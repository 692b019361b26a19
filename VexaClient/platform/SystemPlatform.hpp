#pragma once

#include <VexaClient/platform/Platform.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

namespace vexa {

/// Takes the lines of the system log, each whole and without a line break. Any thread may call it, several at the same
/// time.
using LogSink = std::function<void(std::string_view line)>;

/// The platform of the operating system: worker threads and timers by Boost.Asio, clocks of the standard library,
/// random bits from the kernel, lines to syslog or to a sink of the host's.
class SystemPlatform final : public Platform {
public:
    /// \param workers  how many threads run the queues; 0 for one for each core, and two at least. More are added while
    ///                 code of the host holds these up.
    explicit SystemPlatform(std::size_t workers = 0);

    /// Waits for the items that run now; what still waits is dropped.
    ~SystemPlatform() override;

    SystemPlatform(const SystemPlatform&) = delete;
    SystemPlatform& operator=(const SystemPlatform&) = delete;

    /// The one that Platform::system() gives. Made on first use and never destroyed.
    [[nodiscard]] static SystemPlatform& shared();

    /// Sends the lines of the system log to `sink` from now on; an empty one sends them to syslog, as it was at first.
    void setLogSink(LogSink sink);

    [[nodiscard]] SerialQueueHandle makeQueue(std::string label, QueueWork work = QueueWork::mayBlock) override;
    [[nodiscard]] double now() override;
    [[nodiscard]] double monotonicNow() override;
    [[nodiscard]] std::uint64_t randomBits() override;
    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, const std::function<bool()>& ready,
              std::optional<double> seconds) override;
    void enterHostCode() noexcept override;
    void leaveHostCode() noexcept override;
    [[nodiscard]] bool isInBurst() noexcept override;
    bool beginBurst() noexcept override;
    void runInBurst() noexcept override;
    void endBurst() noexcept override;

protected:
    void submit(WorkItemPointer item) override;
    void addToBurst(WorkItemPointer item) override;
    void writeLogLine(std::string_view line) override;

private:
    struct Engine;
    std::unique_ptr<Engine> engine_;
};

} // namespace vexa
