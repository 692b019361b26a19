#include <VexaClient/platform/JsonReaders.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <string_view>

namespace vexa {
namespace {

/// One value of every kind that JSON has, each under the name of its kind.
const Dictionary& everyKind()
{
    static const Value value = boost::json::parse(R"({
        "null": null,
        "true": true,
        "false": false,
        "integer": -4,
        "zero": 0,
        "one": 1,
        "unsigned": 18446744073709551615,
        "real": 2.5,
        "text": "true",
        "empty text": "",
        "number text": "12",
        "list": [1, 2],
        "empty list": [],
        "dictionaries": [{"a": 1}, {}],
        "mixed list": [{}, 1],
        "list of lists": [[]],
        "dictionary": {"inner": 1},
        "empty dictionary": {}
    })");
    return value.get_object();
}

/// Checks that `answers` holds exactly for the keys in `expected`.
template <class Answers>
void expectAnswersFor(std::initializer_list<std::string_view> expected, Answers&& answers)
{
    for (const auto& each : everyKind()) {
        const std::string_view key{each.key().data(), each.key().size()};
        const bool isExpected = std::ranges::find(expected, key) != expected.end();
        EXPECT_EQ(static_cast<bool>(answers(key)), isExpected) << key;
    }
    EXPECT_FALSE(static_cast<bool>(answers("absent")));
    EXPECT_FALSE(static_cast<bool>(answers("")));
}

TEST(JsonReaders, onlyTextIsText)
{
    expectAnswersFor({"text", "empty text", "number text"},
                     [](std::string_view key) { return stringAt(everyKind(), key).has_value(); });
    EXPECT_EQ(stringAt(everyKind(), "text"), "true");
    EXPECT_EQ(stringAt(everyKind(), "empty text"), "");
}

TEST(JsonReaders, textIsNotCopied)
{
    EXPECT_EQ(stringAt(everyKind(), "text")->data(), everyKind().at("text").get_string().data());
}

TEST(JsonReaders, textMayHoldAZeroByte)
{
    const Dictionary dictionary{{"key", std::string_view{"a\0b", 3}}};
    EXPECT_EQ(stringAt(dictionary, "key"), (std::string_view{"a\0b", 3}));
}

TEST(JsonReaders, onlyABooleanIsABoolean)
{
    expectAnswersFor({"true", "false"}, [](std::string_view key) { return boolAt(everyKind(), key).has_value(); });
    EXPECT_EQ(boolAt(everyKind(), "true"), true);
    EXPECT_EQ(boolAt(everyKind(), "false"), false);
}

TEST(JsonReaders, everyNumberIsADouble)
{
    expectAnswersFor({"integer", "zero", "one", "unsigned", "real"},
                     [](std::string_view key) { return doubleAt(everyKind(), key).has_value(); });
    EXPECT_EQ(doubleAt(everyKind(), "integer"), -4.0);
    EXPECT_EQ(doubleAt(everyKind(), "zero"), 0.0);
    EXPECT_EQ(doubleAt(everyKind(), "unsigned"), 18446744073709551616.0);
    EXPECT_EQ(doubleAt(everyKind(), "real"), 2.5);
}

TEST(JsonReaders, onlyADictionaryIsADictionary)
{
    expectAnswersFor({"dictionary", "empty dictionary"},
                     [](std::string_view key) { return dictionaryAt(everyKind(), key) != nullptr; });
    EXPECT_EQ(dictionaryAt(everyKind(), "dictionary"), &everyKind().at("dictionary").get_object());
}

TEST(JsonReaders, aListOfDictionariesHoldsNothingElse)
{
    expectAnswersFor({"dictionaries", "empty list"},
                     [](std::string_view key) { return dictionariesAt(everyKind(), key) != nullptr; });
    EXPECT_EQ(dictionariesAt(everyKind(), "dictionaries"), &everyKind().at("dictionaries").get_array());
}

} // namespace
} // namespace vexa
