#pragma once

#include <host/server/ServerThread.hpp>

namespace vexa::host {

/// Begin to serve a connection that was accepted, HTTP at first. On the thread.
void startPlainPeer(ServerThread& thread, ServerSocket socket);
void startTlsPeer(ServerThread& thread, ServerSocket socket);

} // namespace vexa::host
