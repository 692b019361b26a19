#include "tests/model/HashBook.hpp"

#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <stdexcept>

namespace vexa::model {

namespace {

void appendText(std::string& out, std::string_view text)
{
    out += std::to_string(text.size());
    out += ':';
    out += text;
}

void appendNumber(std::string& out, double number)
{
    std::array<char, 40> text{};
    if (number == 0.0) {
        number = 0.0;
    }
    std::snprintf(text.data(), text.size(), "%.17g", number);
    out += text.data();
}

void append(std::string& out, const Value& value)
{
    switch (value.kind()) {
    case boost::json::kind::object: {
        std::map<std::string_view, const Value*> entries;
        for (const auto& entry : value.get_object()) {
            entries.emplace(std::string_view{entry.key().data(), entry.key().size()}, &entry.value());
        }
        out += "dictionary(";
        for (const auto& [key, each] : entries) {
            appendText(out, key);
            append(out, *each);
        }
        out += ')';
        return;
    }
    case boost::json::kind::array:
        out += "list(";
        for (const Value& each : value.get_array()) {
            append(out, each);
            out += ';';
        }
        out += ')';
        return;
    case boost::json::kind::string:
        out += "text";
        appendText(out, std::string_view{value.get_string().data(), value.get_string().size()});
        return;
    case boost::json::kind::bool_:
        out += value.get_bool() ? "true" : "false";
        return;
    case boost::json::kind::null:
        out += "null";
        return;
    default:
        out += "number";
        appendNumber(out, value.to_number<double>());
    }
}

} // namespace

std::string canonicalTopic(std::string_view name, const Parameters& params)
{
    std::string text;
    appendText(text, name);
    append(text, params ? *params : Value(boost::json::string_kind));
    return text;
}

void HashBook::learn(const Replay& replay, std::string_view name, const Parameters& params, const std::string& hash)
{
    const std::string topic = canonicalTopic(name, params);
    const auto known = hashes_.find(topic);
    if (known != hashes_.end()) {
        if (known->second != hash) {
            replay.differ("the hash " + known->second + " again", hash);
        }
        return;
    }
    constexpr std::size_t length = 24;
    if (hash.size() != length || hash.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"
                                                        "+/=") != std::string::npos) {
        replay.differ("24 characters of base64", hash);
    }
    if (!topics_.emplace(hash, topic).second) {
        replay.differ("a hash that no other topic has", hash + ", which " + topics_[hash] + " has");
    }
    hashes_.emplace(topic, hash);
}

const std::string& HashBook::hashOf(std::string_view name, const Parameters& params) const
{
    const auto known = hashes_.find(canonicalTopic(name, params));
    if (known == hashes_.end()) {
        throw std::logic_error{"the simulation never asked for the hash of a topic that it uses"};
    }
    return known->second;
}

} // namespace vexa::model
