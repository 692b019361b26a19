#include "ClientUnderTest.hpp"
#include <VexaClient/subscription_client/SubscriptionHash.hpp>

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <array>
#include <limits>
#include <numeric>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vexa::testing {

namespace {

/// The base64 form of the MD5 digest of pieces that are fed one after the other.
std::string digestOf(const std::vector<std::string>& pieces)
{
    const std::string bytes = std::accumulate(pieces.begin(), pieces.end(), std::string{});
    std::array<unsigned char, 16> digest{};
    std::array<unsigned char, 25> text{};
    EXPECT_EQ(EVP_Digest(bytes.data(), bytes.size(), digest.data(), nullptr, EVP_md5(), nullptr), 1);
    EVP_EncodeBlock(text.data(), digest.data(), 16);
    return {text.begin(), text.begin() + 24};
}

/// Expects that no two of the hashes of topic "t" with these parameters are the same.
void expectAllDiffer(const std::vector<Parameters>& all)
{
    std::set<std::string> hashes;
    for (const Parameters& params : all) {
        EXPECT_TRUE(hashes.insert(subscriptionHash("t", params)).second) << Value(params ? *params : Value("absent"));
    }
}

Value nestedLists(int depth)
{
    Value value(nullptr);
    for (int i = 0; i < depth; ++i) {
        List outer;
        outer.push_back(std::move(value));
        value = Value(std::move(outer));
    }
    return value;
}

TEST(SubscriptionHash, IsTheDigestThatOtherToolsGiveForTheSameBytes)
{
    // printf 'scores{"scores":""}' | openssl md5 -binary | base64
    EXPECT_EQ(subscriptionHash("scores", std::nullopt), "EYCpR2RO7cF6XY0edkAJ7g==");
    // printf 'scoresleague4{"league":4}{"scores":{"league":4}}' | openssl md5 -binary | base64
    EXPECT_EQ(subscriptionHash("scores", json(R"({"league": 4})")), "ohzUekN36UUYgypGOS0IQQ==");
}

TEST(SubscriptionHash, HasTwentyFourCharactersOfStandardBase64)
{
    std::set<char> seen;
    for (int i = 0; i < 500; ++i) {
        const std::string hash = subscriptionHash("t", Value(i));
        EXPECT_EQ(hash.size(), 24U);
        EXPECT_EQ(hash.substr(22), "==");
        seen.insert(hash.begin(), hash.begin() + 22);
    }
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    EXPECT_EQ(seen, std::set<char>(alphabet.begin(), alphabet.end()));
}

TEST(SubscriptionHash, TreatsAbsentParametersAsEmptyText)
{
    EXPECT_EQ(subscriptionHash("scores", std::nullopt), subscriptionHash("scores", Value("")));
}

TEST(SubscriptionHash, FeedsTextAsItsOwnCharactersAndThenTheWholeTopic)
{
    EXPECT_EQ(subscriptionHash("scores", Value("live")), digestOf({"scores", "live", R"({"scores":"live"})"}));
}

TEST(SubscriptionHash, FeedsAListElementByElementAndThenWhole)
{
    EXPECT_EQ(subscriptionHash("t", json(R"(["a", 1, null])")),
              digestOf({"t", "a", "1", "null", R"(["a",1,null])", R"({"t":["a",1,null]})"}));
}

TEST(SubscriptionHash, FeedsADictionaryKeyByKeyInAscendingOrderAndThenWhole)
{
    EXPECT_EQ(subscriptionHash("t", json(R"({"b": true, "a": "x"})")),
              digestOf({"t", "a", "x", "b", "true", R"({"a":"x","b":true})", R"({"t":{"a":"x","b":true}})"}));
}

TEST(SubscriptionHash, FeedsANestedContainerAgainAtEveryLevelAboveIt)
{
    EXPECT_EQ(subscriptionHash("t", json(R"({"k": [["v"], {}]})")),
              digestOf({"t", "k", "v", R"(["v"])", "{}", R"([["v"],{}])", R"({"k":[["v"],{}]})",
                        R"({"t":{"k":[["v"],{}]}})"}));
}

TEST(SubscriptionHash, OrdersKeysByCodePoint)
{
    // Capital letters before small ones, a prefix before what it begins, and the last plane behind the first.
    EXPECT_EQ(
        subscriptionHash("t", json(R"({"b": 1, "é": 4, "B": 0, "\ud83d\ude00": 6, "bb": 2, "\uffee": 5, "z": 3})")),
        digestOf({"t", "B", "0", "b", "1", "bb", "2", "z", "3", "é", "4", "\uffee", "5", "\U0001F600", "6",
                  R"({"B":0,"b":1,"bb":2,"z":3,"é":4,")"
                  "\uffee"
                  R"(":5,")"
                  "\U0001F600"
                  R"(":6})",
                  R"({"t":{"B":0,"b":1,"bb":2,"z":3,"é":4,")"
                  "\uffee"
                  R"(":5,")"
                  "\U0001F600"
                  R"(":6}})"}));
}

TEST(SubscriptionHash, EscapesQuotesAndBackslashesInsideContainers)
{
    EXPECT_EQ(subscriptionHash("t", json(R"(["a\"b", "c\\d"])")),
              digestOf({"t", R"(a"b)", R"(c\d)", R"(["a\"b","c\\d"])", R"({"t":["a\"b","c\\d"]})"}));
    EXPECT_NE(subscriptionHash("t", json(R"(["a", "b"])")), subscriptionHash("t", json(R"(["a\",\"b"])")));
    EXPECT_NE(subscriptionHash("t", json(R"({"a": "1", "b": "2"})")),
              subscriptionHash("t", json(R"({"a": "1\",\"b\":\"2"})")));
}

TEST(SubscriptionHash, DoesNotDependOnTheOrderInWhichEntriesWereInserted)
{
    EXPECT_EQ(subscriptionHash("t", json(R"({"a": 1, "b": {"x": [1], "y": 2}, "c": 3})")),
              subscriptionHash("t", json(R"({"c": 3, "b": {"y": 2, "x": [1]}, "a": 1})")));
}

TEST(SubscriptionHash, DependsOnTheOrderOfAList)
{
    EXPECT_NE(subscriptionHash("t", json("[1, 2]")), subscriptionHash("t", json("[2, 1]")));
}

TEST(SubscriptionHash, TreatsNumericallyEqualNumbersAlike)
{
    const std::string four = subscriptionHash("t", Value(std::int64_t{4}));
    EXPECT_EQ(subscriptionHash("t", Value(std::uint64_t{4})), four);
    EXPECT_EQ(subscriptionHash("t", Value(4.0)), four);
    EXPECT_EQ(subscriptionHash("t", Value(-0.0)), subscriptionHash("t", Value(0)));
    EXPECT_EQ(subscriptionHash("t", json(R"({"a": [4.0, -3.0]})")), subscriptionHash("t", json(R"({"a": [4, -3]})")));
}

TEST(SubscriptionHash, TreatsNumericallyEqualNumbersAlikeAtTheEndsOfTheirRanges)
{
    EXPECT_EQ(subscriptionHash("t", Value(-0x1.0p63)),
              subscriptionHash("t", Value(std::numeric_limits<std::int64_t>::min())));
    EXPECT_EQ(subscriptionHash("t", Value(0x1.0p63)), subscriptionHash("t", Value(std::uint64_t{1} << 63U)));
    EXPECT_EQ(subscriptionHash("t", Value(0x1.0p53)), subscriptionHash("t", Value(std::int64_t{1} << 53U)));
}

TEST(SubscriptionHash, TellsNeighbouringNumbersApart)
{
    expectAllDiffer({Value(4), Value(-4), Value(4.5), Value(0x1.0p64), Value(0x1.0p65),
                     Value(std::numeric_limits<std::uint64_t>::max()), Value(std::numeric_limits<std::int64_t>::max()),
                     Value(-0x1.0p64), Value(0.1), Value(0.30000000000000004), Value(0.3), Value(1e300),
                     Value(5e-324)});
}

TEST(SubscriptionHash, TellsNumbersTextAndBooleansApart)
{
    expectAllDiffer(
        {Value(1), Value("1"), Value(true), Value("true"), Value(false), Value("false"), Value(0), Value("0")});
}

TEST(SubscriptionHash, TellsNumbersTextAndBooleansApartInsideContainers)
{
    expectAllDiffer({json("[1]"), json(R"(["1"])"), json("[true]"), json(R"(["true"])"), json(R"({"k": 1})"),
                     json(R"({"k": "1"})"), json(R"({"k": true})"), json(R"({"k": "true"})"), json(R"([["1"]])"),
                     json("[[1]]"), json(R"([{"k": "1"}])"), json(R"([{"k": 1}])")});
}

TEST(SubscriptionHash, TellsNullFromAbsentAndFromText)
{
    expectAllDiffer({Value(nullptr), std::nullopt, Value("null"), json("[null]"), json(R"(["null"])"), json("[]"),
                     json(R"({"k": null})"), json(R"({"k": "null"})"), json("{}"), json(R"({"k": ""})"),
                     json(R"([""])")});
}

TEST(SubscriptionHash, TellsContainersFromTextThatReadsLikeThem)
{
    expectAllDiffer({json("[]"), Value("[]"), json("{}"), Value("{}"), json(R"(["a"])"), Value(R"(["a"])"),
                     json(R"([["a"]])"), json(R"({"a": "b"})"), Value(R"({"a":"b"})"), json(R"(["a", "b"])")});
}

TEST(SubscriptionHash, TellsTopicNamesApart)
{
    const std::set<std::string> hashes{
        subscriptionHash("scores", std::nullopt),  subscriptionHash("Scores", std::nullopt),
        subscriptionHash("", std::nullopt),        subscriptionHash("scores ", std::nullopt),
        subscriptionHash("score", Value("s")),     subscriptionHash("résultats", std::nullopt),
        subscriptionHash("sc\"ores", std::nullopt)};
    EXPECT_EQ(hashes.size(), 7U);
}

TEST(SubscriptionHash, TakesTextWithEmbeddedZeros)
{
    using namespace std::string_view_literals;
    EXPECT_NE(subscriptionHash("t\0a"sv, std::nullopt), subscriptionHash("t\0b"sv, std::nullopt));
    EXPECT_NE(subscriptionHash("t", Value("a\0b"sv)), subscriptionHash("t", Value("a\0c"sv)));
}

TEST(SubscriptionHash, TakesDeepParameters)
{
    EXPECT_EQ(subscriptionHash("t", nestedLists(1000)), subscriptionHash("t", nestedLists(1000)));
    EXPECT_NE(subscriptionHash("t", nestedLists(1000)), subscriptionHash("t", nestedLists(999)));
}

TEST(SubscriptionHash, TakesLargeParameters)
{
    Dictionary ascending;
    Dictionary descending;
    for (int i = 0; i < 20000; ++i) {
        ascending["key " + std::to_string(i)] = i;
        descending["key " + std::to_string(19999 - i)] = 19999 - i;
    }
    EXPECT_EQ(subscriptionHash("t", Value(ascending)), subscriptionHash("t", Value(descending)));
    descending["key 12345"] = 12344;
    EXPECT_NE(subscriptionHash("t", Value(ascending)), subscriptionHash("t", Value(descending)));

    const std::string text(1 << 20, 'x');
    EXPECT_EQ(subscriptionHash("t", Value(text)), digestOf({"t", text, R"({"t":")", text, R"("})"}));
}

TEST(SubscriptionHash, IsTheSameOnEveryThread)
{
    const ClientUnderTest under;
    const auto hashes = [&client = *under.client] {
        std::vector<std::string> all;
        for (int i = 0; i < 200; ++i) {
            all.push_back(client.subscriptionHash("t", Value(i)));
        }
        return all;
    };
    std::array<std::vector<std::string>, 4> seen;
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (auto& each : seen) {
        threads.emplace_back([&each, &hashes] { each = hashes(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const std::vector<std::string> expected = hashes();
    for (const auto& each : seen) {
        EXPECT_EQ(each, expected);
    }
}

TEST(SubscriptionHash, LeavesTheTablesOfTheClientAlone)
{
    ClientUnderTest under;
    static_cast<void>(under.client->subscriptionHash("scores", json(R"({"league": 4})")));

    EXPECT_EQ(under.tables(), tablesWith({}));
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
    EXPECT_EQ(under.transport->calls(), std::vector<Operation>{});
}

} // namespace

} // namespace vexa::testing
