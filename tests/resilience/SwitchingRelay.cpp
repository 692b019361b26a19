#include "SwitchingRelay.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <utility>

namespace vexa::host {

namespace {

using Tcp = boost::asio::ip::tcp;
using ErrorCode = boost::system::error_code;

Tcp::endpoint loopbackAt(std::uint16_t port)
{
    return {boost::asio::ip::address_v4::loopback(), port};
}

} // namespace

/// Two sockets, each of whose bytes go out at the other, until one of them is gone.
struct SwitchingRelay::Connection : std::enable_shared_from_this<Connection> {
    explicit Connection(Socket accepted) : client{std::move(accepted)}, service{client.get_executor()} {}

    struct Direction {
        Socket& from;
        Socket& to;
        std::array<char, 65536> piece{};
    };

    void carry(Direction& direction)
    {
        direction.from.async_read_some(
            boost::asio::buffer(direction.piece),
            [self = shared_from_this(), &direction](const ErrorCode& error, std::size_t count) {
                if (error) {
                    self->cut();
                } else {
                    self->write(direction, count);
                }
            });
    }

    void write(Direction& direction, std::size_t count)
    {
        boost::asio::async_write(
            direction.to, boost::asio::buffer(direction.piece.data(), count),
            [self = shared_from_this(), &direction](const ErrorCode& error, std::size_t /*count*/) {
                if (error) {
                    self->cut();
                } else {
                    self->carry(direction);
                }
            });
    }

    void cut()
    {
        ErrorCode ignored;
        client.close(ignored);
        service.close(ignored);
    }

    Socket client;
    Socket service;
    Direction there{client, service};
    Direction back{service, client};
};

SwitchingRelay::SwitchingRelay(std::vector<std::uint16_t> ports)
    : ports_{std::move(ports)}, acceptor_{context_, loopbackAt(0)}
{
    accept();
    thread_ = std::thread{[this] { context_.run(); }};
}

SwitchingRelay::~SwitchingRelay()
{
    context_.stop();
    thread_.join();
}

std::string SwitchingRelay::url() const
{
    return "ws://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port());
}

void SwitchingRelay::accept()
{
    acceptor_.async_accept([this](const ErrorCode& error, Socket client) {
        if (!error) {
            reach(std::make_shared<Connection>(std::move(client)), ports_.size());
            accept();
        }
    });
}

void SwitchingRelay::reach(const std::shared_ptr<Connection>& connection, std::size_t attempts)
{
    connection->service.async_connect(loopbackAt(ports_[current_]),
                                      [this, connection, attempts, tried = current_](const ErrorCode& error) {
                                          if (!error) {
                                              connection->carry(connection->there);
                                              connection->carry(connection->back);
                                              return;
                                          }
                                          current_ = (tried + 1) % ports_.size();
                                          ErrorCode ignored;
                                          connection->service.close(ignored);
                                          if (attempts > 1) {
                                              reach(connection, attempts - 1);
                                          }
                                      });
}

} // namespace vexa::host
