#include <host/server/Listener.hpp>
#include <host/server/ServerShared.hpp>
#include <host/server/ServerThread.hpp>
#include <host/server/VexaServer.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace vexa::host {

/// The server's parts, in the order in which they depend on each other.
class VexaServer::Core {
public:
    Core(std::shared_ptr<VexaService> service, VexaServerOptions options, Platform& platform)
        : shared_{std::make_shared<ServerShared>(std::move(service), std::move(options), platform)},
          threads_{makeThreads(shared_)},
          listener_{shared_->options().listen, threads_}
    {
        shared_->figures = [this] { return figures(); };
        listener_.start();
        try {
            for (const auto& thread : threads_) {
                thread->start();
            }
        } catch (...) {
            stop();
            throw;
        }
    }

    ~Core() { stop(); }
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;

    [[nodiscard]] const ListenAddress& address() const noexcept { return listener_.address(); }
    [[nodiscard]] ServerShared& shared() const noexcept { return *shared_; }

    [[nodiscard]] ServerFigures figures() const
    {
        ServerFigures figures;
        for (const auto& thread : threads_) {
            addCounts(figures, thread->counts());
        }
        return figures;
    }

    void stop()
    {
        if (!shared_->isStopping.exchange(true)) {
            listener_.stop();
            for (const auto& thread : threads_) {
                thread->stop();
            }
        }
        if (std::any_of(threads_.begin(), threads_.end(), [](const auto& thread) { return thread->isCurrent(); })) {
            return;
        }
        const std::lock_guard lock{joinMutex_};
        for (const auto& thread : threads_) {
            thread->join();
        }
    }

private:
    using Threads = std::vector<std::unique_ptr<ServerThread>>;

    static Threads makeThreads(const std::shared_ptr<ServerShared>& shared)
    {
        std::size_t count = shared->options().threads;
        if (count == 0) {
            count = std::max(1U, std::thread::hardware_concurrency());
        }
        Threads threads;
        for (std::size_t number = 0; number < count; ++number) {
            threads.push_back(std::make_unique<ServerThread>(shared));
        }
        return threads;
    }

    const std::shared_ptr<ServerShared> shared_;
    const Threads threads_;
    Listener listener_;
    std::mutex joinMutex_;
};

VexaServer::VexaServer(std::shared_ptr<VexaService> service, VexaServerOptions options, Platform& platform)
    : core_{std::make_unique<Core>(std::move(service), std::move(options), platform)}
{}

VexaServer::~VexaServer() = default;

const ListenAddress& VexaServer::address() const noexcept
{
    return core_->address();
}

std::string VexaServer::url() const
{
    return joined({core_->shared().tls() != nullptr ? "wss://" : "ws://", core_->address().text()});
}

ServerFigures VexaServer::figures() const
{
    return core_->figures();
}

void VexaServer::reloadTokens()
{
    core_->shared().reloadTokens();
}

void VexaServer::stop()
{
    core_->stop();
}

} // namespace vexa::host
