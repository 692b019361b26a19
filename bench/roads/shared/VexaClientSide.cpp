#include <bench/roads/shared/VexaClientSide.hpp>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

namespace vexa::bench {

namespace {

/// Tells when the connection has opened.
class OpenWatch final : public OruClientConnectionListener {
public:
    void connectionOpened() override
    {
        const std::lock_guard lock{mutex_};
        isOpen_ = true;
        changed_.notify_all();
    }

    void connectionClosed() override {}

    [[nodiscard]] bool await()
    {
        constexpr std::chrono::seconds patience{30};
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, patience, [this] { return isOpen_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
};

} // namespace

std::shared_ptr<host::OruWebSocketClient> makeTransport(const std::string& url)
{
    constexpr std::size_t outgoingBytes = std::size_t{256} * 1024 * 1024;
    host::OruWebSocketClientOptions options;
    options.url = url;
    options.outgoing.bytes = outgoingBytes;
    options.incoming.bytes = outgoingBytes;
    return host::OruWebSocketClient::make(std::move(options));
}

void awaitOpen(host::OruWebSocketClient& transport)
{
    const auto watch = std::make_shared<OpenWatch>();
    transport.addConnectionListener(watch);
    if (!transport.isOpen() && !watch->await()) {
        throw std::runtime_error{"the transport does not get a connection: " + transport.lastError()};
    }
}

} // namespace vexa::bench
