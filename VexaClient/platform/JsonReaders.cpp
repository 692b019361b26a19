#include <VexaClient/platform/JsonReaders.hpp>

#include <algorithm>

namespace vexa {

std::optional<std::string_view> asString(const Value& value) noexcept
{
    const boost::json::string* text = value.if_string();
    return text != nullptr ? std::optional{std::string_view{text->data(), text->size()}} : std::nullopt;
}

std::optional<bool> asBool(const Value& value) noexcept
{
    const bool* boolean = value.if_bool();
    return boolean != nullptr ? std::optional{*boolean} : std::nullopt;
}

std::optional<double> asDouble(const Value& value) noexcept
{
    switch (value.kind()) {
    case boost::json::kind::double_:
        return value.get_double();
    case boost::json::kind::int64:
        return static_cast<double>(value.get_int64());
    case boost::json::kind::uint64:
        return static_cast<double>(value.get_uint64());
    default:
        return std::nullopt;
    }
}

std::optional<std::string_view> stringAt(const Dictionary& dictionary, std::string_view key) noexcept
{
    const Value* value = dictionary.if_contains(key);
    return value != nullptr ? asString(*value) : std::nullopt;
}

std::optional<bool> boolAt(const Dictionary& dictionary, std::string_view key) noexcept
{
    const Value* value = dictionary.if_contains(key);
    return value != nullptr ? asBool(*value) : std::nullopt;
}

std::optional<double> doubleAt(const Dictionary& dictionary, std::string_view key) noexcept
{
    const Value* value = dictionary.if_contains(key);
    return value != nullptr ? asDouble(*value) : std::nullopt;
}

const Dictionary* dictionaryAt(const Dictionary& dictionary, std::string_view key) noexcept
{
    const Value* value = dictionary.if_contains(key);
    return value != nullptr ? value->if_object() : nullptr;
}

const List* dictionariesAt(const Dictionary& dictionary, std::string_view key) noexcept
{
    const Value* value = dictionary.if_contains(key);
    const List* list = value != nullptr ? value->if_array() : nullptr;
    if (list == nullptr || !std::ranges::all_of(*list, [](const Value& v) { return v.is_object(); })) {
        return nullptr;
    }
    return list;
}

} // namespace vexa
