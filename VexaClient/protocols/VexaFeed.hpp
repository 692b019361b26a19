#pragma once

#include <VexaClient/platform/Json.hpp>

#include <string_view>

namespace vexa {

/// The single receiver of everything that a subscription client delivers.
class VexaFeed {
public:
    virtual ~VexaFeed() = default;

    /// Takes one message of the subscription `hash`.
    ///
    /// \param hash           the subscription hash; valid during the call only.
    /// \param message        the whole entry of the service's data message, unchanged; never null.
    /// \param isTerminating  true when the service ends the subscription with this message.
    ///
    /// Runs on the client's callback queue, one call at a time, in the order of arrival. An exception that escapes
    /// is written to the system log and otherwise ignored.
    virtual void messageFeed(std::string_view hash, const Message& message, bool isTerminating) = 0;
};

} // namespace vexa
