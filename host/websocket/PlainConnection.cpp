#include <host/websocket/BeastConnectionImplementation.hpp>

namespace vexa::host {

std::shared_ptr<WebSocketConnection> makePlainConnection(const WebSocketSurroundings& surroundings)
{
    using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
    return std::make_shared<BeastConnection<Socket>>(surroundings);
}

} // namespace vexa::host
