#include <bench/roads/reconnect/CuttableRelay.hpp>
#include <bench/roads/shared/Usage.hpp>

#include <array>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/socket.h>

namespace vexa::bench {

namespace {

constexpr char cutOrder = 'c';
constexpr char mendOrder = 'm';
constexpr char timeOrder = 't';

/// One direction of a connection. Bytes that the other side does not take yet wait here, and no more are read.
class Direction {
public:
    Direction(int from, int to) noexcept : from_{from}, to_{to} {}

    /// What poll(2) should watch on the two sockets for this direction.
    [[nodiscard]] short wantedOfSource() const noexcept { return waiting_.empty() ? POLLIN : 0; }
    [[nodiscard]] short wantedOfTarget() const noexcept { return waiting_.empty() ? 0 : POLLOUT; }

    /// Carries what can be carried now. Returns whether the connection still stands.
    [[nodiscard]] bool carry()
    {
        if (waiting_.empty()) {
            waiting_.resize(roomBytes);
            const ssize_t count = ::recv(from_, waiting_.data(), waiting_.size(), MSG_DONTWAIT);
            waiting_.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
            if (count <= 0) {
                return count < 0 && (errno == EAGAIN || errno == EINTR);
            }
        }
        const ssize_t count = ::send(to_, waiting_.data(), waiting_.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        waiting_.erase(0, static_cast<std::size_t>(count));
        return true;
    }

private:
    static constexpr std::size_t roomBytes = std::size_t{64} * 1024;

    const int from_;
    const int to_;
    std::string waiting_;
};

struct Connection {
    Connection(Descriptor accepted, std::uint16_t port)
        : client{std::move(accepted)},
          server{connectTo(port)},
          toServer{client.number(), server.number()},
          toClient{server.number(), client.number()}
    {}

    Descriptor client;
    Descriptor server;
    Direction toServer;
    Direction toClient;
};

class Relay {
public:
    Relay(const ListeningSocket& listening, std::uint16_t server, int orders, int answers)
        : listening_{listening}, server_{server}, orders_{orders}, answers_{answers}
    {}

    /// Carries until the orders end.
    void run()
    {
        bool isOrdered = true;
        while (isOrdered) {
            // Entries that are not wanted now have a negative descriptor, which poll(2) leaves out.
            std::array<pollfd, 4> watched{
                pollfd{orders_, POLLIN, 0},
                pollfd{isCut_ || connection_ != nullptr ? -1 : listening_.descriptor.number(), POLLIN, 0},
                pollfd{-1, 0, 0}, pollfd{-1, 0, 0}};
            if (connection_ != nullptr) {
                const Direction& up = connection_->toServer;
                const Direction& down = connection_->toClient;
                watched[2] = {connection_->client.number(),
                              static_cast<short>(up.wantedOfSource() | down.wantedOfTarget()), 0};
                watched[3] = {connection_->server.number(),
                              static_cast<short>(down.wantedOfSource() | up.wantedOfTarget()), 0};
            }
            if (::poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR) {
                throw std::system_error{errno, std::generic_category(), "poll"};
            }
            if (connection_ != nullptr && (watched[2].revents != 0 || watched[3].revents != 0) &&
                (!connection_->toServer.carry() || !connection_->toClient.carry())) {
                connection_.reset();
            }
            if (watched[1].revents != 0) {
                accept();
            }
            isOrdered = watched[0].revents == 0 || obey();
        }
    }

private:
    void accept()
    {
        Descriptor accepted = listening_.accept();
        connectedAt_ = TimeUsage::now().wall;
        connection_ = std::make_unique<Connection>(std::move(accepted), server_);
    }

    /// Returns whether there may be more orders.
    [[nodiscard]] bool obey()
    {
        char order = 0;
        if (readSome(orders_, &order, 1) == 0) {
            return false;
        }
        if (order == cutOrder) {
            connection_.reset();
            isCut_ = true;
        } else if (order == mendOrder) {
            isCut_ = false;
        }
        writeAll(answers_, {reinterpret_cast<const char*>(&connectedAt_), sizeof(connectedAt_)});
        return true;
    }

    const ListeningSocket& listening_;
    const std::uint16_t server_;
    const int orders_;
    const int answers_;
    std::unique_ptr<Connection> connection_;
    double connectedAt_ = 0;
    bool isCut_ = false;
};

} // namespace

CuttableRelay CuttableRelay::to(std::uint16_t port)
{
    const ListeningSocket listening = ListeningSocket::open();
    Pipe orders = Pipe::open();
    Pipe answers = Pipe::open();
    ChildProcess process = ChildProcess::running([&] {
        orders.writing = Descriptor{};
        Relay{listening, port, orders.reading.number(), answers.writing.number()}.run();
    });
    return CuttableRelay{std::move(process), std::move(orders.writing), std::move(answers.reading), listening.port};
}

CuttableRelay::CuttableRelay(ChildProcess process, Descriptor orders, Descriptor answers, std::uint16_t port) noexcept
    : process_{std::move(process)}, orders_{std::move(orders)}, answers_{std::move(answers)}, port_{port}
{}

double CuttableRelay::ask(char order)
{
    writeAll(orders_.number(), {&order, 1});
    double answer = 0;
    if (readSome(answers_.number(), reinterpret_cast<char*>(&answer), sizeof(answer)) != sizeof(answer)) {
        throw std::runtime_error{"the relay has ended"};
    }
    return answer;
}

void CuttableRelay::cut()
{
    ask(cutOrder);
}

void CuttableRelay::mend()
{
    ask(mendOrder);
}

double CuttableRelay::connectedAt()
{
    return ask(timeOrder);
}

} // namespace vexa::bench
