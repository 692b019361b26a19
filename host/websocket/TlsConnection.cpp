#include <host/websocket/BeastConnectionImplementation.hpp>

namespace vexa::host {

std::shared_ptr<WebSocketConnection> makeTlsConnection(const WebSocketSurroundings& surroundings)
{
    using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
    return std::make_shared<BeastConnection<boost::asio::ssl::stream<Socket>>>(surroundings);
}

} // namespace vexa::host
