#include <host/server/Peers.hpp>
#include <host/server/ServerThread.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

namespace {

double tickIntervalFor(const ServerTimeLimits& limits)
{
    // A time limit is kept to a quarter of itself, and nobody notices half a second.
    const double shortest = std::min({limits.request, limits.response, limits.idle / 3, limits.closing, limits.stop});
    return std::clamp(shortest / 4, 0.005, 0.5);
}

} // namespace

ServerPeer::ServerPeer(ServerThread& thread) : thread_{thread}
{
    thread_.peers_.push_back(*this);
    thread_.counts_.connections.add();
}

ServerPeer::~ServerPeer()
{
    thread_.counts_.connections.subtract();
    unlink();
    thread_.endWhenEmpty();
}

double ServerPeer::in(double seconds) const
{
    return thread_.shared_->platform().monotonicNow() + seconds;
}

ServerThread::ServerThread(std::shared_ptr<ServerShared> shared)
    : shared_{std::move(shared)},
      reader_{{shared_->options().limits.messageBytes, shared_->options().limits.messageDepth}},
      readMemory_{std::make_unique_for_overwrite<SharedReadStream<ServerSocket>::SharedMemory>()},
      door_{std::make_shared<ThreadDoor>(context_)},
      readyOutboxes_{std::make_shared<ReadyOutboxes>(door_)},
      tickInterval_{tickIntervalFor(shared_->options().timeLimits)}
{}

void ServerThread::start()
{
    waitForTick();
    thread_ = std::thread{[this] { run(); }};
}

void ServerThread::run()
{
    for (;;) {
        try {
            context_.run();
            return;
        } catch (...) {
            shared_->platform().logEscapedException("a handler of the server");
        }
    }
}

void ServerThread::join()
{
    if (thread_.joinable()) {
        thread_.join();
    }
}

void ServerThread::stop()
{
    door_->post([this] { stopOnThread(); });
}

void ServerThread::adopt(ServerSocket socket)
{
    counts_.accepted.add();
    boost::system::error_code error;
    // Messages are small and wait for nothing.
    socket.set_option(boost::asio::ip::tcp::no_delay{true}, error);
    socket.non_blocking(true, error);
    if (error || isStopping()) {
        return;
    }
    if (shared_->tls() != nullptr) {
        startTlsPeer(*this, std::move(socket));
    } else {
        startPlainPeer(*this, std::move(socket));
    }
}

void ServerThread::waitForTick()
{
    tickTimer_.expires_after(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>{tickInterval_}));
    tickTimer_.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            tick();
        }
    });
}

void ServerThread::tick()
{
    const double now = shared_->platform().monotonicNow();
    const bool isOver = now >= stopDeadline_;
    for (auto next = peers_.begin(); next != peers_.end();) {
        // A peer that ends may be gone afterwards.
        ServerPeer& peer = *next++;
        if (isOver) {
            peer.cut();
        } else {
            peer.tick(now);
        }
    }
    if (!isStopping() || !peers_.empty()) {
        waitForTick();
    }
}

void ServerThread::stopOnThread()
{
    if (isStopping()) {
        return;
    }
    stopDeadline_ = shared_->platform().monotonicNow() + shared_->options().timeLimits.stop;
    for (auto next = peers_.begin(); next != peers_.end();) {
        ServerPeer& peer = *next++;
        peer.stop();
    }
    endWhenEmpty();
}

void ServerThread::endWhenEmpty()
{
    if (isStopping() && peers_.empty()) {
        tickTimer_.cancel();
        guard_.reset();
        door_->close();
    }
}

} // namespace vexa::host
