#include <host/server/HttpPeerImplementation.hpp>
#include <host/server/Peers.hpp>
#include <host/server/WebSocketPeerImplementation.hpp>

#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <memory>
#include <utility>

namespace vexa::host {

void startTlsPeer(ServerThread& thread, ServerSocket socket)
{
    using Layer = boost::asio::ssl::stream<ServerSocket>;
    std::make_shared<HttpPeer<Layer>>(thread, Layer{std::move(socket), *thread.shared()->tls()})->start();
}

} // namespace vexa::host
