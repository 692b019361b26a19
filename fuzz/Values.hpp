#pragma once

#include <fuzz/Input.hpp>
#include <VexaClient/platform/Json.hpp>

#include <string_view>

/// Values as fuzzers need them: made from text of any kind, written in another way, changed a little, and compared.
namespace vexa::fuzz {

/// Whether every number in a value is finite, as JSON has it. The parser of Boost.JSON 1.81 takes 1e999 and 0e999 too.
[[nodiscard]] bool isFinite(const Value& value);

/// The value in a JSON text; text that is none is the value itself.
[[nodiscard]] Value valueOf(std::string_view text);

/// Whether two values say the same: entries of dictionaries in any order, numbers by their numerical value.
[[nodiscard]] bool areEqual(const Value& one, const Value& other);

/// `value` with the entries of its dictionaries in another order, and its numbers in other types that can hold them.
[[nodiscard]] Value writtenOtherwise(const Value& value, Choices& choices);

/// `value` with one thing in it changed, which may leave it equal.
[[nodiscard]] Value changed(Value value, Choices& choices);

} // namespace vexa::fuzz
