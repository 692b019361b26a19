#include <host/server/Listener.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/asio/ip/basic_resolver.hpp>
#include <boost/asio/post.hpp>

#include <stdexcept>
#include <utility>

namespace vexa::host {

namespace {

using Tcp = boost::asio::ip::tcp;
using ErrorCode = boost::system::error_code;

void require(const ErrorCode& error, const ListenAddress& address)
{
    if (error) {
        throw std::runtime_error{joined({"cannot listen on ", address.text(), ": ", error.message()})};
    }
}

} // namespace

Listener::Listener(const ListenAddress& address, const std::vector<std::unique_ptr<ServerThread>>& threads)
    : threads_{threads},
      acceptor_{threads.front()->context().get_executor()},
      pauseTimer_{threads.front()->context().get_executor()},
      address_{address}
{
    ErrorCode error;
    boost::asio::ip::basic_resolver<Tcp, Executor> resolver{threads.front()->context().get_executor()};
    const auto found = resolver.resolve(address.host, decimal(address.port), Tcp::resolver::passive, error);
    require(error, address);
    const Tcp::endpoint endpoint = found.begin()->endpoint();
    acceptor_.open(endpoint.protocol(), error);
    require(error, address);
    // The port of a server that ended a moment ago can be taken over.
    acceptor_.set_option(Tcp::acceptor::reuse_address{true}, error);
    require(error, address);
    acceptor_.bind(endpoint, error);
    require(error, address);
    acceptor_.listen(boost::asio::socket_base::max_listen_connections, error);
    require(error, address);
    address_.port = acceptor_.local_endpoint().port();
}

void Listener::start()
{
    ServerThread& thread = *threads_[next_];
    next_ = (next_ + 1) % threads_.size();
    acceptor_.async_accept(
        thread.context().get_executor(), [this, &thread](const ErrorCode& error, ServerSocket socket) {
            if (error) {
                failed(error);
                return;
            }
            // Each connection belongs to one thread from its first byte on.
            thread.door()->post([&thread, socket = std::move(socket)]() mutable { thread.adopt(std::move(socket)); });
            start();
        });
}

void Listener::failed(const ErrorCode& error)
{
    if (error == boost::asio::error::operation_aborted) {
        return;
    }
    ServerThread& thread = *threads_.front();
    thread.counts().acceptFailures.add();
    thread.shared()->notice("accept", [&error](std::uint64_t times) {
        return joined({"a connection could not be accepted: ", error.message(), " (",
                       decimal(static_cast<std::int64_t>(times)), times == 1 ? " time" : " times",
                       " since this was last told)"});
    });
    // Trying again at once would keep the thread busy for as long as file descriptors are short.
    constexpr auto pause = std::chrono::milliseconds{50};
    pauseTimer_.expires_after(pause);
    pauseTimer_.async_wait([this](const ErrorCode& cancelled) {
        if (!cancelled && acceptor_.is_open()) {
            start();
        }
    });
}

void Listener::stop()
{
    threads_.front()->door()->post([this] {
        ErrorCode ignored;
        acceptor_.close(ignored);
        pauseTimer_.cancel();
    });
}

} // namespace vexa::host
