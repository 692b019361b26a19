#pragma once

#include <string>
#include <utility>

namespace vexa {

/// The name of a notification that components of a host exchange.
class NotificationName {
public:
    explicit NotificationName(std::string text) : text_{std::move(text)} {}

    [[nodiscard]] const std::string& text() const noexcept { return text_; }

    friend bool operator==(const NotificationName&, const NotificationName&) = default;

    /// "VexaSubscriptionCreated": for the host and its components; the library neither posts nor observes it.
    /// Built on first access, once, and kept for the life of the process. Any thread.
    [[nodiscard]] static const NotificationName& vexaSubscriptionCreated();

private:
    std::string text_;
};

} // namespace vexa
