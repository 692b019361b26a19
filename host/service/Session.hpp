#pragma once

#include <host/broker/Broker.hpp>
#include <host/service/DataBatch.hpp>
#include <VexaClient/platform/Json.hpp>

#include <functional>
#include <memory>

namespace vexa::host {

class ClientConnection;

/// How a service reaches one client. All are called on the service's queue, one call at a time, and return at once. An
/// exception that escapes is written to the system log and otherwise ignored.
struct SessionSink {
    /// Takes the messages for the client, in order.
    std::function<void(Dictionary message)> send;

    /// The service has closed the session and sends nothing more; the client is expected to connect again.
    std::function<void(ServiceError reason)> closed;

    /// Takes the data messages in place of `send`, in one order with what goes there, with texts for payloads. They
    /// all go to `send` when this is empty.
    std::function<void(DataBatch batch)> deliver = nullptr;
};

/// One client's connection, as the service sees it. Made by VexaService::connect(). Every operation may be called on
/// any thread and returns at once. Dropping the session closes it.
///
/// The connection that carries the messages is taken to keep them whole and in order. A topic that was subscribed on it
/// stays so until it closes. Requesting it again, in a retry or for a second listener, is answered with the same
/// subscription id and changes nothing about what is delivered, so nothing is delivered twice. A topic that ended stays
/// subscribed too and goes on when it opens again. Data of a subscription goes out only while no answer that names it
/// is owed.
///
/// When a topic is requested several times on one connection, the newest "updatedAt" counts: nothing up to it is
/// replayed that has not been sent yet, and requests with an older one are refused as "AlreadySubscribed". A client
/// that took such a request for granted would believe to be where that request began, and after the next reconnection
/// it would get again what it has.
///
/// One case is left that no answer can settle: a request under another operation id, for a topic of which more has been
/// sent than the request's "updatedAt" covers. A client that has given up the earlier operation, as clients do when
/// they learn that their connection opened, has thrown that away; one that has not, has it. The service then closes the
/// session. The client connects again and says what it has, and nothing is lost or delivered twice.
class Session {
public:
    explicit Session(std::shared_ptr<ClientConnection> connection) noexcept;
    ~Session();
    Session(Session&&) noexcept = default;
    Session& operator=(Session&& other) noexcept;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Handles one message of the client, behind those received earlier. What cannot be read is counted and, where it
    /// names the request that it wants to be, answered with an error.
    void receive(Message message);

    /// Calls `then` on the service's queue once all that was received so far has been handled and the broker has
    /// answered as many publications as that began: the way for a carrier to find out how far ahead of the service it
    /// is. `then` returns at once; it is called also when the session has been closed meanwhile.
    void whenHandled(std::function<void()> then);

    /// Ends all subscriptions. Messages that are on their way to the sink may still arrive there. A second call does
    /// nothing.
    void close() noexcept;

private:
    std::shared_ptr<ClientConnection> connection_;
};

} // namespace vexa::host
