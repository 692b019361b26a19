#pragma once

#include <host/server/ClientOutbox.hpp>
#include <host/server/ServerFigures.hpp>
#include <host/server/ServerShared.hpp>
#include <host/server/SharedReadStream.hpp>
#include <host/server/ThreadDoor.hpp>
#include <host/websocket/DrainLoop.hpp>
#include <host/wire/MessageText.hpp>

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/intrusive/list.hpp>

#include <chrono>
#include <limits>
#include <memory>
#include <thread>

namespace vexa::host {

class ServerThread;

/// One connection, on its thread. It keeps itself alive until it has ended; the operations under way keep the memory
/// until they have come back.
class ServerPeer : public std::enable_shared_from_this<ServerPeer>,
                   public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
public:
    explicit ServerPeer(ServerThread& thread);
    virtual ~ServerPeer();
    ServerPeer(const ServerPeer&) = delete;
    ServerPeer& operator=(const ServerPeer&) = delete;

    /// Sees to what is due. `now` is the moment on the monotonic clock, in seconds.
    virtual void tick(double now) = 0;

    /// Ends the connection in the protocol's way.
    virtual void stop() = 0;

    /// Ends the connection at once.
    virtual void cut() = 0;

protected:
    static constexpr double never = std::numeric_limits<double>::infinity();

    [[nodiscard]] ServerThread& thread() const noexcept { return thread_; }
    [[nodiscard]] double in(double seconds) const;

    void keepAlive() { self_ = shared_from_this(); }
    void letGo() { self_.reset(); }

private:
    ServerThread& thread_;
    std::shared_ptr<ServerPeer> self_;
};

/// A thread that carries connections, with what they share. Everything but start(), stop(), join(), door() and the
/// reading of counts() belongs on the thread.
class ServerThread {
public:
    explicit ServerThread(std::shared_ptr<ServerShared> shared);
    ServerThread(const ServerThread&) = delete;
    ServerThread& operator=(const ServerThread&) = delete;

    void start();

    /// Ends all connections, in the protocol's way as far as the time limit allows, and then the thread.
    void stop();
    void join();
    [[nodiscard]] bool isCurrent() const noexcept { return std::this_thread::get_id() == thread_.get_id(); }

    /// Takes over a connection that was accepted.
    void adopt(ServerSocket socket);

    [[nodiscard]] const std::shared_ptr<ServerShared>& shared() const noexcept { return shared_; }
    [[nodiscard]] boost::asio::io_context& context() noexcept { return context_; }
    [[nodiscard]] DrainLoop& drainLoop() noexcept { return drainLoop_; }
    [[nodiscard]] MessageReader& reader() noexcept { return reader_; }
    [[nodiscard]] SharedReadStream<ServerSocket>::SharedMemory& readMemory() noexcept { return *readMemory_; }
    [[nodiscard]] const std::shared_ptr<ThreadDoor>& door() const noexcept { return door_; }
    [[nodiscard]] const std::shared_ptr<ReadyOutboxes>& readyOutboxes() const noexcept { return readyOutboxes_; }
    [[nodiscard]] ThreadCounts& counts() noexcept { return counts_; }
    [[nodiscard]] bool isStopping() const noexcept { return stopDeadline_ < std::numeric_limits<double>::infinity(); }

private:
    friend class ServerPeer;
    using Timer = boost::asio::basic_waitable_timer<std::chrono::steady_clock,
                                                    boost::asio::wait_traits<std::chrono::steady_clock>,
                                                    boost::asio::io_context::executor_type>;

    void run();
    void waitForTick();
    void tick();
    void stopOnThread();
    void endWhenEmpty();

    const std::shared_ptr<ServerShared> shared_;
    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> guard_{context_.get_executor()};
    DrainLoop drainLoop_{context_, shared_->platform()};
    MessageReader reader_;
    std::unique_ptr<SharedReadStream<ServerSocket>::SharedMemory> readMemory_;
    const std::shared_ptr<ThreadDoor> door_;
    const std::shared_ptr<ReadyOutboxes> readyOutboxes_;
    ThreadCounts counts_;
    Timer tickTimer_{context_.get_executor()};
    double tickInterval_; ///< in seconds
    double stopDeadline_ = std::numeric_limits<double>::infinity();
    boost::intrusive::list<ServerPeer, boost::intrusive::constant_time_size<false>> peers_;
    std::thread thread_;
};

} // namespace vexa::host
