#include "ServiceClient.hpp"
#include <host/broker/TopicKey.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <unordered_set>

namespace vexa::host {
namespace {

TopicKey key(const Value& parameters)
{
    return TopicKey{"scores", parameters};
}

TEST(TopicKey, DoesNotLookAtTheOrderOfEntries)
{
    EXPECT_EQ(key(json(R"({"a":1,"b":{"c":2,"d":[3]}})")), key(json(R"({"b":{"d":[3],"c":2},"a":1})")));
}

TEST(TopicKey, TakesEqualNumbersForTheSame)
{
    EXPECT_EQ(key(4), key(4.0));
    EXPECT_EQ(key(4U), key(4.0));
    EXPECT_EQ(key(0), key(-0.0));
    EXPECT_EQ(key(-4), key(-4.0));
    EXPECT_EQ(key(std::uint64_t{1} << 63U), key(0x1.0p63));
    EXPECT_EQ(key(std::numeric_limits<std::int64_t>::min()), key(-0x1.0p63));
}

TEST(TopicKey, TellsNumbersApartThatADoubleCannot)
{
    EXPECT_NE(key(9007199254740993), key(9007199254740992.0));
    EXPECT_NE(key(std::numeric_limits<std::uint64_t>::max()), key(0x1.0p64));
    EXPECT_NE(key(0.1), key(0.30000000000000004 - 0.2));
}

TEST(TopicKey, TellsTypesApart)
{
    // From a text, since compilers differ in what a list within braces is.
    const Value values = boost::json::parse(R"([null, false, true, 0, 1, 0.5, "", "null", "1", "false", [], [1], [1, 2],
        [2, 1], [[]], "[1]", {}, {"a": 1}, {"a": "1"}, {"a": null}])");
    std::unordered_set<TopicKey> keys{TopicKey{"scores"}};
    for (const Value& value : values.as_array()) {
        EXPECT_TRUE(keys.insert(key(value)).second) << value;
    }
}

TEST(TopicKey, TellsAbsentParametersFromEveryPresentOne)
{
    EXPECT_NE(TopicKey{"scores"}, key(nullptr));
    EXPECT_NE(TopicKey{"scores"}, key(""));
    EXPECT_NE(TopicKey{"scores"}, key(Dictionary{}));
}

TEST(TopicKey, CannotBeForgedByAName)
{
    EXPECT_NE((TopicKey{"scores\":1"}), key(1));
    EXPECT_NE((TopicKey{"a:b"}), (TopicKey{"a", Value("b")}));
    EXPECT_NE((TopicKey{"a"}), (TopicKey{"A"}));
    EXPECT_NE((TopicKey{""}), (TopicKey{"", Value("")}));
}

TEST(TopicKey, IsReadableAsAText)
{
    EXPECT_EQ((TopicKey{"scores"}).text(), R"("scores")");
    EXPECT_EQ(key(json(R"({"league":4.0,"day":[1,"a"],"at":0.5})")).text(),
              R"("scores":{"at":0.5,"day":[1,"a"],"league":4})");
}

} // namespace
} // namespace vexa::host
