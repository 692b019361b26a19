#pragma once

#include <bench/roads/receive/ReceiveOptions.hpp>

namespace vexa::bench {

struct ListeningSocket;

/// The service of the receiving program: takes one WebSocket, confirms the topics that are asked for, and then sends
/// data messages that were made before. For a process of its own.
void serveAndSend(const ListeningSocket& listening, int acknowledgements, const ReceiveOptions& options);

} // namespace vexa::bench
