#pragma once

#include <VexaClient/platform/Json.hpp>

#include <optional>
#include <string_view>

/// Strict readers: the one place where loosely typed input is turned into values.
///
/// Each takes a value, or a dictionary and a key, and answers nothing when the value is of another type or the key is
/// absent. None of them throws, converts text or copies. What they answer lives as long as the value.
namespace vexa {

/// A text.
[[nodiscard]] std::optional<std::string_view> asString(const Value& value) noexcept;

/// A boolean. Only a JSON boolean counts: the integer 1 is no boolean.
[[nodiscard]] std::optional<bool> asBool(const Value& value) noexcept;

/// A number, whether JSON wrote it as an integer or not. A boolean is no number.
[[nodiscard]] std::optional<double> asDouble(const Value& value) noexcept;

/// The text under `key`.
[[nodiscard]] std::optional<std::string_view> stringAt(const Dictionary& dictionary, std::string_view key) noexcept;

/// The boolean under `key`.
[[nodiscard]] std::optional<bool> boolAt(const Dictionary& dictionary, std::string_view key) noexcept;

/// The number under `key`.
[[nodiscard]] std::optional<double> doubleAt(const Dictionary& dictionary, std::string_view key) noexcept;

/// The dictionary under `key`, or null.
[[nodiscard]] const Dictionary* dictionaryAt(const Dictionary& dictionary, std::string_view key) noexcept;

/// The list under `key` when every entry of it is a dictionary, else null. An empty list qualifies.
[[nodiscard]] const List* dictionariesAt(const Dictionary& dictionary, std::string_view key) noexcept;

} // namespace vexa
