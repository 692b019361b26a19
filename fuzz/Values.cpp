#include <fuzz/Values.hpp>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace vexa::fuzz {

namespace {

// A number that holds every number that a value can hold.
using Widest = long double;
static_assert(std::numeric_limits<Widest>::digits >= 64);

Widest numberIn(const Value& value)
{
    switch (value.kind()) {
    case boost::json::kind::int64:
        return static_cast<Widest>(value.get_int64());
    case boost::json::kind::uint64:
        return static_cast<Widest>(value.get_uint64());
    default:
        return static_cast<Widest>(value.get_double());
    }
}

template <class Number>
bool canHold(Widest number)
{
    // The upper bounds are powers of two, which every floating-point type holds.
    const Widest beyond = std::ldexp(Widest{1}, std::numeric_limits<Number>::digits);
    return std::trunc(number) == number && number < beyond &&
           number >= static_cast<Widest>(std::numeric_limits<Number>::lowest());
}

Value numberOtherwise(const Value& value, Choices& choices)
{
    const Widest number = numberIn(value);
    std::vector<Value> forms;
    forms.push_back(value);
    if (canHold<std::int64_t>(number)) {
        forms.emplace_back(static_cast<std::int64_t>(number));
    }
    if (canHold<std::uint64_t>(number)) {
        forms.emplace_back(static_cast<std::uint64_t>(number));
    }
    if (const auto rounded = static_cast<double>(number); static_cast<Widest>(rounded) == number) {
        forms.emplace_back(rounded);
    }
    return forms[choices.below(forms.size())];
}

Value neighbour(const Value& value)
{
    switch (value.kind()) {
    case boost::json::kind::int64:
        return value.get_int64() < std::numeric_limits<std::int64_t>::max() ? value.get_int64() + 1 : 0;
    case boost::json::kind::uint64:
        return value.get_uint64() - 1;
    default:
        return std::nextafter(value.get_double(), 0.5);
    }
}

void changeDictionary(Dictionary& dictionary, Choices& choices)
{
    if (dictionary.empty()) {
        dictionary.emplace("", nullptr);
        return;
    }
    const auto entry = dictionary.begin() + static_cast<std::ptrdiff_t>(choices.below(dictionary.size()));
    Value value = entry->value();
    std::string key{entry->key().data(), entry->key().size()};
    dictionary.erase(entry);
    if (choices.below(2) == 0) {
        key += key.empty() ? 'a' : key.front();
        dictionary.emplace(key, std::move(value));
    }
}

void changeList(List& list, Choices& choices)
{
    if (list.empty()) {
        list.emplace_back(nullptr);
        return;
    }
    const std::size_t place = choices.below(list.size());
    switch (choices.below(3)) {
    case 0:
        list.erase(list.begin() + static_cast<std::ptrdiff_t>(place));
        return;
    case 1:
        list.push_back(Value(list[place]));
        return;
    default:
        std::swap(list[place], list.back());
    }
}

Value wrapped(Value value)
{
    List list;
    list.push_back(std::move(value));
    return Value(std::move(list));
}

/// Changes `value` itself.
void change(Value& value, Choices& choices)
{
    switch (choices.below(6)) {
    case 0:
        value = Value(boost::json::serialize(value));
        return;
    case 1:
        value = wrapped(std::move(value));
        return;
    case 2:
        value = Value(nullptr);
        return;
    case 3:
        value = Value("");
        return;
    default:
        break;
    }
    if (Dictionary* dictionary = value.if_object()) {
        changeDictionary(*dictionary, choices);
    } else if (List* list = value.if_array()) {
        changeList(*list, choices);
    } else if (boost::json::string* text = value.if_string()) {
        text->push_back(text->empty() ? '"' : text->front());
    } else if (value.is_bool()) {
        value = choices.below(2) == 0 ? Value(!value.get_bool()) : Value(value.get_bool() ? 1 : 0);
    } else if (value.is_number()) {
        value = neighbour(value);
    } else {
        value = Value(false);
    }
}

/// Changes `value` or something in it.
void changeSomewhere(Value& value, Choices& choices)
{
    Dictionary* dictionary = value.if_object();
    List* list = value.if_array();
    const std::size_t size = dictionary != nullptr ? dictionary->size() : list != nullptr ? list->size() : 0;
    if (size == 0 || choices.below(4) == 0) {
        change(value, choices);
        return;
    }
    const auto place = static_cast<std::ptrdiff_t>(choices.below(size));
    changeSomewhere(dictionary != nullptr ? (dictionary->begin() + place)->value() : *(list->begin() + place), choices);
}

} // namespace

bool isFinite(const Value& value)
{
    if (const Dictionary* dictionary = value.if_object()) {
        return std::ranges::all_of(*dictionary, [](const auto& entry) { return isFinite(entry.value()); });
    }
    if (const List* list = value.if_array()) {
        return std::ranges::all_of(*list, isFinite);
    }
    return !value.is_double() || std::isfinite(value.get_double());
}

Value valueOf(std::string_view text)
{
    boost::system::error_code error;
    const boost::json::string_view view{text.data(), text.size()};
    Value value = boost::json::parse(view, error);
    return error || !isFinite(value) ? Value(view) : value;
}

bool areEqual(const Value& one, const Value& other)
{
    if (one.is_number() && other.is_number()) {
        return numberIn(one) == numberIn(other);
    }
    if (one.kind() != other.kind()) {
        return false;
    }
    if (const Dictionary* dictionary = one.if_object()) {
        const Dictionary& another = other.get_object();
        return dictionary->size() == another.size() && std::ranges::all_of(*dictionary, [&](const auto& entry) {
                   const Value* value = another.if_contains(entry.key());
                   return value != nullptr && areEqual(entry.value(), *value);
               });
    }
    if (const List* list = one.if_array()) {
        const List& another = other.get_array();
        return std::equal(list->begin(), list->end(), another.begin(), another.end(), areEqual);
    }
    return one == other;
}

Value writtenOtherwise(const Value& value, Choices& choices)
{
    if (const Dictionary* dictionary = value.if_object()) {
        std::vector<const boost::json::key_value_pair*> entries;
        for (const auto& entry : *dictionary) {
            entries.insert(entries.begin() + static_cast<std::ptrdiff_t>(choices.below(entries.size() + 1)), &entry);
        }
        Dictionary other;
        for (const auto* entry : entries) {
            other.emplace(entry->key(), writtenOtherwise(entry->value(), choices));
        }
        return Value(std::move(other));
    }
    if (const List* list = value.if_array()) {
        List other;
        for (const Value& each : *list) {
            other.push_back(writtenOtherwise(each, choices));
        }
        return Value(std::move(other));
    }
    return value.is_number() ? numberOtherwise(value, choices) : value;
}

Value changed(Value value, Choices& choices)
{
    changeSomewhere(value, choices);
    return value;
}

} // namespace vexa::fuzz
