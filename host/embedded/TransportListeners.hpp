#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/TextTable.hpp>
#include <VexaClient/transport/OruClientConnectionListener.hpp>
#include <VexaClient/transport/OruClientMessageListener.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace vexa::host {

/// Those who listen to a transport, together with whether it is open.
///
/// The two belong together: whoever registers and then asks whether the connection is open must find it open or be told
/// later, whatever another thread does meanwhile. Any thread may call any operation.
class TransportListeners {
public:
    using ConnectionListeners = std::vector<std::shared_ptr<OruClientConnectionListener>>;

    /// One who listens to a category.
    struct MessageListener {
        std::shared_ptr<OruClientMessageListener> listener;
        bool returnsPromptly; ///< it is marked with ReturnsPromptly

        /// Calls the listener as code of the host, unless it returns promptly. What it throws is logged.
        void deliver(const Message& message, Platform& platform) const;
    };
    using MessageListeners = std::vector<MessageListener>;

    [[nodiscard]] bool isOpen() const;

    /// Sets whether the connection is open and returns those who are to be told of it.
    [[nodiscard]] ConnectionListeners setOpen(bool isOpen);

    /// Each registration has an id of its own, 1 or more.
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener);
    std::int64_t addCategoryListener(std::string_view category, std::shared_ptr<OruClientMessageListener> listener);

    /// Those who listen to a category now, in the order of their registration; null for nobody.
    [[nodiscard]] std::shared_ptr<const MessageListeners> listenersOf(std::string_view category) const;

private:
    mutable std::mutex mutex_;
    bool isOpen_ = false;
    std::int64_t lastId_ = 0;
    ConnectionListeners connectionListeners_;
    TextTable<std::shared_ptr<const MessageListeners>> categoryListeners_; ///< each list is replaced, never changed
};

} // namespace vexa::host
