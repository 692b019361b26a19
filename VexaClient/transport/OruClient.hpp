#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/transport/OruClientConnectionListener.hpp>
#include <VexaClient/transport/OruClientLogger.hpp>
#include <VexaClient/transport/OruClientMessageListener.hpp>

#include <cstdint>
#include <memory>
#include <string_view>

namespace vexa {

/// The application's transport client: everything that the library requires of the connection it rides on.
///
/// Every operation may be called on any thread, several at the same time, and must return without waiting for the
/// library. None reports an error; an exception that escapes one is written to the system log, and the library goes on:
/// without an answer, a transport counts as closed and as not visible, and a message as sent.
class OruClient {
public:
    virtual ~OruClient() = default;

    /// The transport's logger; never null.
    [[nodiscard]] virtual std::shared_ptr<OruClientLogger> logger() = 0;

    /// Whether the application is visible to its user; the library only reports it.
    [[nodiscard]] virtual bool isVisible() = 0;

    /// Whether the connection to the service is open.
    [[nodiscard]] virtual bool isOpen() = 0;

    /// Registers a follower of the connection and returns an id for the registration.
    virtual std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener) = 0;

    /// Registers a listener to incoming messages whose "category" is `category` and returns an id for the registration.
    virtual std::int64_t addCategoryListener(std::string_view category,
                                             std::shared_ptr<OruClientMessageListener> listener) = 0;

    /// Sends one message, or deals with it in the transport's own way while the connection is down.
    virtual void send(Dictionary message) = 0;
};

} // namespace vexa
