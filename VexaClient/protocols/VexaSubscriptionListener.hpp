#pragma once

#include <VexaClient/platform/Json.hpp>

namespace vexa {

/// One consumer of one subscription.
class VexaSubscriptionListener {
public:
    virtual ~VexaSubscriptionListener() = default;

    /// Takes one message of the subscription.
    ///
    /// \param message        the whole entry of the service's data message, unchanged; never null. It points into the
    ///                       batch that it came with and keeps that batch alive.
    /// \param isTerminating  true when this is the last message: the listener is already unregistered then.
    ///
    /// Runs on the manager's callback queue, one call at a time. It may call the manager back. An exception that
    /// escapes is written to the system log and otherwise ignored.
    virtual void messageReceived(const Message& message, bool isTerminating) = 0;
};

} // namespace vexa
