#include <VexaClient/platform/system/DelayedWork.hpp>
#include <VexaClient/platform/system/PooledSerialQueue.hpp>
#include <VexaClient/platform/system/SecureRandom.hpp>
#include <VexaClient/platform/system/WorkerPool.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include <syslog.h>

namespace vexa {

namespace {

std::size_t defaultWorkers()
{
    return std::max<std::size_t>(2, std::thread::hardware_concurrency());
}

template <class Clock>
double secondsOf()
{
    return std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
}

} // namespace

struct SystemPlatform::Engine {
    Engine(std::size_t workers, Platform& platform) : pool{workers != 0 ? workers : defaultWorkers(), platform, delayed}
    {}

    SecureRandom random;
    std::mutex sinkMutex;
    std::shared_ptr<const LogSink> sink;
    DelayedWork delayed;
    WorkerPool pool;
};

Platform& Platform::system()
{
    return SystemPlatform::shared();
}

SystemPlatform& SystemPlatform::shared()
{
    static auto* const platform = new SystemPlatform;
    return *platform;
}

SystemPlatform::SystemPlatform(std::size_t workers) : engine_{std::make_unique<Engine>(workers, *this)} {}

SystemPlatform::~SystemPlatform()
{
    engine_->delayed.stop();
    engine_->pool.stop();
    engine_->delayed.clear();
}

void SystemPlatform::setLogSink(LogSink sink)
{
    auto replaced = sink ? std::make_shared<const LogSink>(std::move(sink)) : nullptr;
    const std::lock_guard lock{engine_->sinkMutex};
    engine_->sink.swap(replaced);
}

SerialQueueHandle SystemPlatform::makeQueue(std::string label, QueueWork work)
{
    return SerialQueueHandle{new PooledSerialQueue{std::move(label), work, *this, engine_->pool, engine_->delayed}};
}

double SystemPlatform::now()
{
    return secondsOf<std::chrono::system_clock>();
}

double SystemPlatform::monotonicNow()
{
    return secondsOf<std::chrono::steady_clock>();
}

std::uint64_t SystemPlatform::randomBits()
{
    return engine_->random.bits();
}

bool SystemPlatform::wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                          const std::function<bool()>& ready, std::optional<double> seconds)
{
    const HostCode scope{*this};
    if (!seconds) {
        changed.wait(lock, ready);
        return true;
    }
    return changed.wait_for(lock, std::chrono::duration<double>{std::clamp(*seconds, 0.0, 1e9)}, ready);
}

void SystemPlatform::enterHostCode() noexcept
{
    engine_->pool.enterHostCode();
}

void SystemPlatform::leaveHostCode() noexcept
{
    engine_->pool.leaveHostCode();
}

bool SystemPlatform::isInBurst() noexcept
{
    return engine_->pool.isInBurst();
}

bool SystemPlatform::beginBurst() noexcept
{
    return engine_->pool.beginBurst();
}

void SystemPlatform::runInBurst() noexcept
{
    engine_->pool.runInBurst();
}

void SystemPlatform::endBurst() noexcept
{
    engine_->pool.endBurst();
}

void SystemPlatform::submit(WorkItemPointer item)
{
    engine_->pool.submit(std::move(item));
}

void SystemPlatform::addToBurst(WorkItemPointer item)
{
    engine_->pool.addToBurst(std::move(item));
}

void SystemPlatform::writeLogLine(std::string_view line)
{
    std::shared_ptr<const LogSink> sink;
    {
        const std::lock_guard lock{engine_->sinkMutex};
        sink = engine_->sink;
    }
    if (sink != nullptr) {
        (*sink)(line);
        return;
    }
    ::syslog(LOG_USER | LOG_INFO, "%s", std::string{line}.c_str());
}

} // namespace vexa
