#include <host/broker/TopicKey.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace vexa::host {

namespace {

void appendCanonical(std::string& out, const Value& value);

template <class Number>
void appendDigits(std::string& out, Number number)
{
    std::array<char, 32> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    out.append(buffer.data(), written.ptr);
}

void appendDouble(std::string& out, double number)
{
    // Both bounds are powers of two, so that the comparison is exact and the conversions below are defined.
    constexpr double lowest = -0x1.0p63;
    constexpr double beyond = 0x1.0p64;
    if (std::trunc(number) != number || number < lowest || number >= beyond) {
        appendDigits(out, number);
    } else if (number < 0) {
        appendDigits(out, static_cast<std::int64_t>(number));
    } else {
        appendDigits(out, static_cast<std::uint64_t>(number));
    }
}

void appendText(std::string& out, std::string_view text)
{
    out += boost::json::serialize(boost::json::string_view{text.data(), text.size()});
}

void appendList(std::string& out, const List& list)
{
    char separator = '[';
    for (const Value& each : list) {
        out += separator;
        appendCanonical(out, each);
        separator = ',';
    }
    out += list.empty() ? "[]" : "]";
}

void appendDictionary(std::string& out, const Dictionary& dictionary)
{
    std::vector<std::pair<std::string_view, const Value*>> entries;
    entries.reserve(dictionary.size());
    for (const auto& entry : dictionary) {
        entries.emplace_back(std::string_view{entry.key().data(), entry.key().size()}, &entry.value());
    }
    std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    char separator = '{';
    for (const auto& [key, value] : entries) {
        out += separator;
        appendText(out, key);
        out += ':';
        appendCanonical(out, *value);
        separator = ',';
    }
    out += entries.empty() ? "{}" : "}";
}

void appendCanonical(std::string& out, const Value& value)
{
    switch (value.kind()) {
    case boost::json::kind::null:
        out += "null";
        return;
    case boost::json::kind::bool_:
        out += value.get_bool() ? "true" : "false";
        return;
    case boost::json::kind::int64:
        appendDigits(out, value.get_int64());
        return;
    case boost::json::kind::uint64:
        appendDigits(out, value.get_uint64());
        return;
    case boost::json::kind::double_:
        appendDouble(out, value.get_double());
        return;
    case boost::json::kind::string:
        appendText(out, {value.get_string().data(), value.get_string().size()});
        return;
    case boost::json::kind::array:
        appendList(out, value.get_array());
        return;
    case boost::json::kind::object:
        appendDictionary(out, value.get_object());
        return;
    }
}

} // namespace

TopicKey::TopicKey(std::string_view name, const Parameters& parameters)
{
    appendText(text_, name);
    if (parameters) {
        text_ += ':';
        appendCanonical(text_, *parameters);
    }
}

} // namespace vexa::host
