#include "ClientUnderTest.hpp"
#include <VexaClient/subscription_client/SubscriptionHash.hpp>

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <rapidcheck/gtest.h>

#include <array>
#include <charconv>
#include <cmath>
#include <map>
#include <string>
#include <vector>

namespace vexa::testing {

namespace {

/// Whole numbers that a double holds exactly.
constexpr std::int64_t greatestExact = std::int64_t{1} << 53U;

rc::Gen<std::string> arbitraryText()
{
    return rc::gen::container<std::string>(rc::gen::oneOf(
        rc::gen::inRange('a', 'd'), rc::gen::element('"', '\\', '{', '}', '[', ']', ',', ':', '0', '1', ' ')));
}

rc::Gen<Value> arbitraryScalar()
{
    const auto text = rc::gen::map(
        rc::gen::oneOf(arbitraryText(), rc::gen::element<std::string>("", "true", "null", "1", "é", "\U0001F600")),
        [](const std::string& each) { return Value(each); });
    const auto whole = rc::gen::map(rc::gen::inRange<std::int64_t>(-greatestExact, greatestExact),
                                    [](std::int64_t each) { return Value(each); });
    const auto small = rc::gen::map(rc::gen::inRange(-2, 3), [](int each) { return Value(each); });
    const auto real = rc::gen::map(rc::gen::arbitrary<double>(), [](double each) { return Value(each); });
    const auto boolean = rc::gen::map(rc::gen::arbitrary<bool>(), [](bool each) { return Value(each); });
    return rc::gen::oneOf(text, whole, small, real, boolean, rc::gen::just(Value(nullptr)));
}

rc::Gen<Value> arbitraryValue(int depth)
{
    if (depth == 0) {
        return arbitraryScalar();
    }
    const auto inner = rc::gen::lazy([depth] { return arbitraryValue(depth - 1); });
    const auto list = rc::gen::map(rc::gen::resize(4, rc::gen::container<std::vector<Value>>(inner)),
                                   [](const std::vector<Value>& all) { return Value(List(all.begin(), all.end())); });
    const auto dictionary =
        rc::gen::map(rc::gen::resize(4, rc::gen::container<std::map<std::string, Value>>(arbitraryText(), inner)),
                     [](const std::map<std::string, Value>& all) { return Value(Dictionary(all.begin(), all.end())); });
    return rc::gen::oneOf(arbitraryScalar(), list, dictionary);
}

/// `value` with every scalar in it replaced by what `change` makes of it.
template <class Change>
Value withScalars(const Value& value, const Change& change)
{
    if (const List* list = value.if_array()) {
        List changed;
        for (const Value& each : *list) {
            changed.push_back(withScalars(each, change));
        }
        return Value(changed);
    }
    if (const Dictionary* dictionary = value.if_object()) {
        Dictionary changed;
        for (const auto& each : *dictionary) {
            changed.insert_or_assign(each.key(), withScalars(each.value(), change));
        }
        return Value(changed);
    }
    return change(value);
}

Value wholeNumbersAsDoubles(const Value& value)
{
    return withScalars(
        value, [](const Value& each) { return each.is_int64() ? Value(static_cast<double>(each.get_int64())) : each; });
}

/// `value` with the entries of every dictionary in it inserted the other way round.
Value withEntriesReversed(const Value& value)
{
    if (const List* list = value.if_array()) {
        List reversed;
        for (const Value& each : *list) {
            reversed.push_back(withEntriesReversed(each));
        }
        return Value(reversed);
    }
    if (const Dictionary* dictionary = value.if_object()) {
        Dictionary reversed;
        for (auto each = dictionary->end(); each != dictionary->begin();) {
            --each;
            reversed.insert_or_assign(each->key(), withEntriesReversed(each->value()));
        }
        return Value(reversed);
    }
    return value;
}

std::string inQuotes(std::string_view text)
{
    std::string out = "\"";
    for (const char each : text) {
        out += each == '"' || each == '\\' ? std::string{'\\', each} : std::string{each};
    }
    return out + "\"";
}

std::string numberDisplay(const Value& value)
{
    if (value.is_int64()) {
        return std::to_string(value.get_int64());
    }
    const double number = value.get_double();
    if (number == std::floor(number) && number >= -0x1.0p63 && number < 0x1.0p64) {
        return number < 0.0 ? std::to_string(static_cast<std::int64_t>(number))
                            : std::to_string(static_cast<std::uint64_t>(number));
    }
    std::array<char, 400> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

/// The display form of a value, with text quoted as inside containers.
std::string display(const Value& value)
{
    if (const List* list = value.if_array()) {
        std::string out;
        for (const Value& each : *list) {
            out += (out.empty() ? "" : ",") + display(each);
        }
        return "[" + out + "]";
    }
    if (const Dictionary* dictionary = value.if_object()) {
        std::map<std::string, std::string> entries;
        for (const auto& each : *dictionary) {
            entries[each.key()] = display(each.value());
        }
        std::string out;
        for (const auto& [key, entry] : entries) {
            out += (out.empty() ? "" : ",") + inQuotes(key) + ":" + entry;
        }
        return "{" + out + "}";
    }
    if (const auto* text = value.if_string()) {
        return inQuotes({text->data(), text->size()});
    }
    if (value.is_bool()) {
        return value.get_bool() ? "true" : "false";
    }
    return value.is_null() ? "null" : numberDisplay(value);
}

/// All bytes that are fed for a value, as the rule tells them.
std::string fedFor(const Value& value)
{
    std::string fed;
    if (const List* list = value.if_array()) {
        for (const Value& each : *list) {
            fed += fedFor(each);
        }
    } else if (const Dictionary* dictionary = value.if_object()) {
        std::map<std::string, Value> entries;
        for (const auto& each : *dictionary) {
            entries[each.key()] = each.value();
        }
        for (const auto& [key, entry] : entries) {
            fed += key + fedFor(entry);
        }
    } else if (const auto* text = value.if_string()) {
        return std::string{text->data(), text->size()};
    }
    return fed + display(value);
}

std::string hashByTheRule(const std::string& name, const Value& params)
{
    Dictionary topic;
    topic[name] = params;
    const std::string fed = fedFor(Value(topic));
    std::array<unsigned char, 16> digest{};
    std::array<unsigned char, 25> text{};
    EXPECT_EQ(EVP_Digest(fed.data(), fed.size(), digest.data(), nullptr, EVP_md5(), nullptr), 1);
    EVP_EncodeBlock(text.data(), digest.data(), 16);
    return {text.begin(), text.begin() + 24};
}

RC_GTEST_PROP(SubscriptionHashProperty, FollowsTheRuleWordByWord, ())
{
    const std::string name = *arbitraryText();
    const Value params = *arbitraryValue(3);
    RC_ASSERT(subscriptionHash(name, params) == hashByTheRule(name, params));
}

RC_GTEST_PROP(SubscriptionHashProperty, NeverDependsOnTheOrderOfEntries, ())
{
    const Value params = *arbitraryValue(3);
    RC_ASSERT(subscriptionHash("t", params) == subscriptionHash("t", withEntriesReversed(params)));
}

RC_GTEST_PROP(SubscriptionHashProperty, TreatsWholeNumbersAndDoublesAlikeAtEveryDepth, ())
{
    const Value params = *arbitraryValue(3);
    RC_ASSERT(subscriptionHash("t", params) == subscriptionHash("t", wholeNumbersAsDoubles(params)));
}

RC_GTEST_PROP(SubscriptionHashProperty, TellsTextFromWhatItReadsLikeAtEveryDepth, ())
{
    const Value params = *arbitraryValue(3);
    const Value asText =
        withScalars(params, [](const Value& each) { return each.is_string() ? each : Value(display(each)); });
    RC_ASSERT((subscriptionHash("t", params) == subscriptionHash("t", asText)) == (params == asText));
}

RC_GTEST_PROP(SubscriptionHashProperty, TellsDifferentParametersApart, ())
{
    const Value a = *arbitraryValue(2);
    const Value b = *arbitraryValue(2);
    const bool areEqual = wholeNumbersAsDoubles(a) == wholeNumbersAsDoubles(b);
    RC_ASSERT((subscriptionHash("t", a) == subscriptionHash("t", b)) == areEqual);
}

} // namespace

} // namespace vexa::testing
