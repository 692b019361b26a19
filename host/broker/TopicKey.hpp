#pragma once

#include <VexaClient/platform/Json.hpp>

#include <compare>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace vexa::host {

/// What a topic is known by at the service: its name and its parameters, in one canonical text.
///
/// Two keys are equal when a user would say that they name the same topic: the order of the entries of a dictionary
/// does not matter, and numbers are equal when they are numerically equal, whether they were written 4 or 4.0. Text is
/// not a number, the order of a list matters, and absent parameters are neither JSON null nor an empty dictionary.
class TopicKey {
public:
    explicit TopicKey(std::string_view name, const Parameters& parameters = std::nullopt);

    /// The canonical text: the name as a JSON text and, behind a colon, the parameters with their keys sorted.
    [[nodiscard]] const std::string& text() const noexcept { return text_; }

    friend bool operator==(const TopicKey&, const TopicKey&) = default;
    friend auto operator<=>(const TopicKey&, const TopicKey&) = default;

private:
    std::string text_;
};

} // namespace vexa::host

template <>
struct std::hash<vexa::host::TopicKey> {
    std::size_t operator()(const vexa::host::TopicKey& key) const noexcept
    {
        return std::hash<std::string>{}(key.text());
    }
};
