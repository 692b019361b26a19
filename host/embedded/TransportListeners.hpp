#pragma once

#include <VexaClient/transport/OruClientConnectionListener.hpp>
#include <VexaClient/transport/OruClientMessageListener.hpp>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
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
    using MessageListeners = std::vector<std::shared_ptr<OruClientMessageListener>>;

    [[nodiscard]] bool isOpen() const;

    /// Sets whether the connection is open and returns those who are to be told of it.
    [[nodiscard]] ConnectionListeners setOpen(bool isOpen);

    /// Each registration has an id of its own, 1 or more.
    std::int64_t addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener);
    std::int64_t addCategoryListener(std::string_view category, std::shared_ptr<OruClientMessageListener> listener);

    /// Those who listen to a category, in the order of their registration.
    [[nodiscard]] MessageListeners listenersOf(std::string_view category) const;

private:
    struct CategoryListener {
        std::string category;
        std::shared_ptr<OruClientMessageListener> listener;
    };

    mutable std::mutex mutex_;
    bool isOpen_ = false;
    std::int64_t lastId_ = 0;
    ConnectionListeners connectionListeners_;
    std::vector<CategoryListener> categoryListeners_;
};

} // namespace vexa::host
