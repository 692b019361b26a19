#include "CollectingReceiver.hpp"
#include <host/broker/nats/RecordText.hpp>
#include <host/broker/nats/TopicState.hpp>
#include <host/broker/nats/TopicWindow.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

constexpr double forAnyAge = -std::numeric_limits<double>::infinity();

TopicRecord record(std::uint64_t sequence, std::int64_t microsecond, std::vector<Dictionary> payloads)
{
    return {sequence, microsecond, {}, std::move(payloads)};
}

TEST(TopicState, takesThePublishersTimeWhenItIsLater)
{
    const TopicBatch batch = placed(record(7, 2'000'000, numberedFrom(1, 2)), {6, 1'000'000, 0, false});
    EXPECT_EQ(batch.updatedAts, (std::vector<double>{2.0, 2.000001}));
    EXPECT_EQ(batch.before, (TopicState{6, 1'000'000, 0, false}));
    EXPECT_EQ(batch.after, (TopicState{7, 2'000'001, 0, false}));
    EXPECT_EQ(batch.payloads[1]->at("updatedAt"), Value(2.000001));
}

TEST(TopicState, goesOnBehindTheNewestPayloadWhenThePublishersClockIsBehind)
{
    const TopicBatch batch = placed(record(7, 5, numberedFrom(1, 2)), {6, 1'000'000, 0, false});
    EXPECT_EQ(batch.after, (TopicState{7, 1'000'002, 0, false}));
}

TEST(TopicState, noticesTheEndOfALifeWhenOthersFollow)
{
    std::vector<Dictionary> payloads = numberedFrom(1, 1);
    payloads[0]["isTerminating"] = true;
    const TopicBatch ended = placed(record(1, 10, payloads), {});
    EXPECT_EQ(ended.after, (TopicState{1, 10, 0, true}));
    EXPECT_EQ(placed(record(2, 20, numberedFrom(2, 1)), ended.after).after, (TopicState{2, 20, 10, false}));
}

TEST(TopicState, countsFromTheRecordsOwnBaseWhenTheStreamLacksWhatThePublisherKnew)
{
    const TopicRecord behindRemoved{9, 5, {8, 3'000'000, 2'000'000, false}, numberedFrom(1, 1)};
    EXPECT_EQ(placed(behindRemoved, {6, 1'000'000, 0, true}).after, (TopicState{9, 3'000'001, 2'000'000, false}));
    const TopicRecord behindKnown{9, 5, {5, 500'000, 0, false}, numberedFrom(1, 1)};
    EXPECT_EQ(placed(behindKnown, {6, 1'000'000, 0, false}).after, (TopicState{9, 1'000'001, 0, false}));
}

TEST(TopicState, isReadFromTheStartTowardsARecordWhoseBaseIsOfAFormerStream)
{
    EXPECT_EQ(startBefore({9, 5, {8, 3, 2, true}, {}}), (TopicState{8, 3, 2, true}));
    EXPECT_EQ(startBefore({9, 5, {0, 3, 2, true}, {}}), TopicState{});
}

TEST(TopicState, isTheSameFromWhateverEarlierStateItIsComputed)
{
    TopicState state;
    std::vector<TopicBatch> batches;
    for (std::uint64_t sequence = 1; sequence <= 20; ++sequence) {
        const std::int64_t clock = sequence % 3 == 0 ? 1'000 : 1'000 + 7 * static_cast<std::int64_t>(sequence);
        batches.push_back(placed(record(sequence, clock, numberedFrom(0, 3)), state));
        state = batches.back().after;
    }
    for (std::size_t start = 1; start < batches.size(); ++start) {
        TopicState again = batches[start].before;
        for (std::size_t i = start; i < batches.size(); ++i) {
            const std::uint64_t sequence = i + 1;
            const std::int64_t clock = sequence % 3 == 0 ? 1'000 : 1'000 + 7 * static_cast<std::int64_t>(sequence);
            again = placed(record(sequence, clock, numberedFrom(0, 3)), again).after;
        }
        EXPECT_EQ(again, state);
    }
}

TEST(RecordText, givesBackWhatWasStored)
{
    std::vector<Dictionary> payloads = numberedFrom(1, 2);
    payloads[0]["text"] = "ü\n\"";
    const TopicState base{41, 1'700'000'000'000'001, 1'600'000'000'000'000, true};
    const std::string text = recordText(R"("a\"b":{"c":1})", 1'700'000'000'123'456, base, payloadTexts(payloads));
    const auto read = readRecord(text, 42);
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->sequence, 42U);
    EXPECT_EQ(read->microsecond, 1'700'000'000'123'456);
    EXPECT_EQ(read->base, base);
    EXPECT_EQ(read->payloads, payloads);
    EXPECT_LE(text.size(), payloadTexts(payloads).size() + recordOverhead(R"("a\"b":{"c":1})"));
}

TEST(RecordText, takesABaseOfAFormerStreamForTheBeginning)
{
    const std::string text = recordText("t", 5, {9, 4, 3, false}, "{}");
    EXPECT_EQ(readRecord(text, 9)->base, (TopicState{0, 4, 3, false}));
    EXPECT_EQ(readRecord(text, 10)->base, (TopicState{9, 4, 3, false}));
}

TEST(RecordText, isNotReadFromAnythingElse)
{
    const std::string text = recordText("t", 5, {1, 4, 3, false}, "{}");
    ASSERT_TRUE(readRecord(text, 2).has_value());
    for (const char* const part : {"microsecond", "base", "sequence", "formerLivesUntil", "hasEnded", "payloads"}) {
        std::string damaged = text;
        damaged.replace(damaged.rfind('"' + std::string{part} + '"') + 1, 1, "X");
        EXPECT_FALSE(readRecord(damaged, 2).has_value()) << damaged;
    }
    for (const char* const other : {"", "null", "[]", "{}", "\xff", R"({"payloads":[1]})"}) {
        EXPECT_FALSE(readRecord(other, 2).has_value()) << other;
    }
}

TEST(RecordText, isNotReadWithTimesThatNoTopicHas)
{
    constexpr std::int64_t latest = 8'000'000'000'000'000;
    EXPECT_TRUE(readRecord(recordText("t", latest, {1, latest, latest, false}, "{}"), 2));
    EXPECT_FALSE(readRecord(recordText("t", latest + 1, {1, 4, 3, false}, "{}"), 2));
    EXPECT_FALSE(readRecord(recordText("t", 5, {1, latest + 1, 3, false}, "{}"), 2));
    EXPECT_FALSE(readRecord(recordText("t", 5, {1, std::numeric_limits<std::int64_t>::max(), 3, false}, "{}"), 2));
    EXPECT_FALSE(readRecord(recordText("t", 5, {1, 4, 5, false}, "{}"), 2));
}

/// A window behind `base` with one record of two payloads for each sequence.
TopicWindow windowOf(const TopicState& base, std::uint64_t last)
{
    TopicWindow window{base};
    while (window.state().sequence < last) {
        const std::uint64_t sequence = window.state().sequence + 1;
        const auto number = static_cast<std::int64_t>(sequence);
        window.append(placed(record(sequence, number * 10, numberedFrom(number * 10, 2)), window.state()));
    }
    return window;
}

TEST(TopicWindow, givesWhatIsLater)
{
    const TopicWindow window = windowOf({}, 3);
    EXPECT_EQ(numbersOf(window.later(0, forAnyAge, true)), (std::vector<std::int64_t>{10, 11, 20, 21, 30, 31}));
    EXPECT_EQ(numbersOf(window.later(secondsOf(20), forAnyAge, true)), (std::vector<std::int64_t>{21, 30, 31}));
    EXPECT_EQ(numbersOf(window.later(secondsOf(31), forAnyAge, true)), std::vector<std::int64_t>{});
    EXPECT_EQ(replayMarksOf(window.later(secondsOf(21), forAnyAge, false)), (std::vector<bool>{false, false}));
    EXPECT_EQ(numbersOf(window.later(0, secondsOf(25), true)), (std::vector<std::int64_t>{30, 31}));
}

TEST(TopicWindow, knowsHowFarItReaches)
{
    EXPECT_TRUE(windowOf({}, 2).reaches(0));
    const TopicWindow window = windowOf({4, 41, 0, false}, 6);
    EXPECT_FALSE(window.reaches(0));
    EXPECT_FALSE(window.reaches(secondsOf(40)));
    EXPECT_TRUE(window.reaches(secondsOf(41)));
}

TEST(TopicWindow, isExtendedBackwards)
{
    TopicWindow window = windowOf({4, 41, 0, false}, 6);
    TopicState state{2, 21, 0, false};
    std::vector<TopicBatch> older;
    for (std::uint64_t sequence = 3; sequence <= 4; ++sequence) {
        const auto number = static_cast<std::int64_t>(sequence);
        older.push_back(placed(record(sequence, number * 10, numberedFrom(number * 10, 2)), state));
        state = older.back().after;
    }
    window.prepend({2, 21, 0, false}, false, older);
    EXPECT_TRUE(window.reaches(secondsOf(21)));
    EXPECT_FALSE(window.reaches(0));
    EXPECT_EQ(numbersOf(window.later(secondsOf(30), forAnyAge, true)),
              (std::vector<std::int64_t>{31, 40, 41, 50, 51, 60, 61}));
    window.prepend({1, 11, 0, false}, true, {});
    EXPECT_TRUE(window.reaches(0));
}

TEST(TopicWindow, dropsTheOldestAndKnowsIt)
{
    TopicWindow window = windowOf({}, 5);
    window.dropDownTo(5);
    EXPECT_EQ(numbersOf(window.later(0, forAnyAge, true)), (std::vector<std::int64_t>{40, 41, 50, 51}));
    EXPECT_FALSE(window.reaches(secondsOf(30)));
    EXPECT_TRUE(window.reaches(secondsOf(31)));
    window.dropDownTo(1);
    EXPECT_EQ(numbersOf(window.later(0, forAnyAge, true)), (std::vector<std::int64_t>{50, 51}));
    EXPECT_EQ(window.state().sequence, 5U);
}

TEST(TopicWindow, stillReachesTheOldestWhenTheStreamDropsIt)
{
    TopicWindow window = windowOf({}, 5);
    window.dropWhatTheStreamDrops(2);
    EXPECT_EQ(numbersOf(window.later(0, forAnyAge, true)), (std::vector<std::int64_t>{40, 41, 50, 51}));
    EXPECT_TRUE(window.reaches(0));
    TopicWindow without = windowOf({4, 41, 0, false}, 8);
    without.dropWhatTheStreamDrops(2);
    EXPECT_FALSE(without.reaches(0));
}

} // namespace
} // namespace vexa::host
