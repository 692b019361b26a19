#pragma once

#include <VexaClient/platform/Json.hpp>

#include <optional>
#include <string>
#include <string_view>

/// How loosely typed input is read, told anew: what is of another type counts as absent.
namespace vexa::model {

[[nodiscard]] inline const Value* valueIn(const Dictionary& dictionary, std::string_view key)
{
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? nullptr : &found->value();
}

[[nodiscard]] inline std::optional<std::string> textIn(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = valueIn(dictionary, key);
    if (value == nullptr || !value->is_string()) {
        return std::nullopt;
    }
    return std::string{value->get_string().c_str(), value->get_string().size()};
}

[[nodiscard]] inline bool truthIn(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = valueIn(dictionary, key);
    return value != nullptr && value->is_bool() && value->get_bool();
}

[[nodiscard]] inline std::optional<double> numberIn(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = valueIn(dictionary, key);
    if (value == nullptr || !value->is_number()) {
        return std::nullopt;
    }
    return value->to_number<double>();
}

[[nodiscard]] inline const Dictionary* dictionaryIn(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = valueIn(dictionary, key);
    return value != nullptr && value->is_object() ? &value->get_object() : nullptr;
}

/// The list under `key` if all its entries are dictionaries, else null.
[[nodiscard]] inline const List* dictionariesIn(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = valueIn(dictionary, key);
    if (value == nullptr || !value->is_array()) {
        return nullptr;
    }
    for (const Value& each : value->get_array()) {
        if (!each.is_object()) {
            return nullptr;
        }
    }
    return &value->get_array();
}

} // namespace vexa::model
