#include <host/server/HttpPeerImplementation.hpp>
#include <host/server/Peers.hpp>
#include <host/server/WebSocketPeerImplementation.hpp>

#include <memory>
#include <utility>

namespace vexa::host {

void startPlainPeer(ServerThread& thread, ServerSocket socket)
{
    std::make_shared<HttpPeer<ServerSocket>>(thread, std::move(socket))->start();
}

} // namespace vexa::host
