#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>

namespace vexa {

/// What a transport tells those who listen to the messages of a category. Listeners are identified by object.
class OruClientMessageListener {
public:
    virtual ~OruClientMessageListener() = default;

    /// One incoming message of the category under which the listener was registered. The transport may call it on any
    /// thread, in the order of arrival; implementations return at once.
    virtual void handleMessage(Message message) = 0;

    /// The transport has dropped the registration `listenerId` and will deliver nothing more under it.
    virtual void messageListenerRemoved(std::int64_t listenerId) = 0;
};

} // namespace vexa
