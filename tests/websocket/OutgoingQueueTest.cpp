#include <host/websocket/OutgoingQueue.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using Texts = std::vector<std::string>;

Texts takeAll(OutgoingQueue& queue)
{
    Texts texts;
    while (auto text = queue.take()) {
        texts.push_back(std::move(*text));
    }
    return texts;
}

class OutgoingQueueTest : public ::testing::Test {
protected:
    OutgoingQueue queue{{.bytes = 10}};
};

TEST_F(OutgoingQueueTest, anOpenQueueGivesWhatItGotInOrder)
{
    queue.open();
    queue.add("one", WhileClosed::drop);
    queue.add("two", WhileClosed::keep);
    queue.add("six", WhileClosed::drop);
    EXPECT_EQ(queue.bytes(), 9U);
    EXPECT_EQ(takeAll(queue), (Texts{"one", "two", "six"}));
    EXPECT_EQ(queue.bytes(), 0U);
}

TEST_F(OutgoingQueueTest, aClosedQueueKeepsDiagnosticsAloneAndGivesNothing)
{
    EXPECT_TRUE(queue.add("log", WhileClosed::keep));
    EXPECT_FALSE(queue.add("subscribe", WhileClosed::drop));
    EXPECT_EQ(queue.take(), std::nullopt);
    EXPECT_EQ(queue.drops().whileClosed, 1U);
    queue.open();
    EXPECT_EQ(takeAll(queue), Texts{"log"});
}

TEST_F(OutgoingQueueTest, closingDropsWhatIsNotKept)
{
    queue.open();
    queue.add("sub1", WhileClosed::drop);
    queue.add("log", WhileClosed::keep);
    queue.add("sub", WhileClosed::drop);
    queue.close();
    EXPECT_EQ(queue.drops().lostWithConnection, 2U);
    EXPECT_EQ(queue.bytes(), 3U);
    queue.open();
    EXPECT_EQ(takeAll(queue), Texts{"log"});
}

TEST_F(OutgoingQueueTest, theOldestDiagnosticsMakeRoom)
{
    queue.add("aaaa", WhileClosed::keep);
    queue.add("bbbb", WhileClosed::keep);
    EXPECT_TRUE(queue.add("cccc", WhileClosed::keep));
    EXPECT_EQ(queue.drops().forLackOfRoom, 1U);
    queue.open();
    EXPECT_TRUE(queue.add("dddd", WhileClosed::drop));
    EXPECT_EQ(queue.drops().forLackOfRoom, 2U);
    EXPECT_EQ(takeAll(queue), (Texts{"cccc", "dddd"}));
}

TEST_F(OutgoingQueueTest, whatIsNotKeptNeverMakesRoom)
{
    queue.open();
    queue.add("aaaaaaaa", WhileClosed::drop);
    EXPECT_FALSE(queue.add("bbbb", WhileClosed::drop));
    EXPECT_FALSE(queue.add("bbbb", WhileClosed::keep));
    EXPECT_TRUE(queue.add("cc", WhileClosed::drop));
    EXPECT_EQ(queue.drops().forLackOfRoom, 2U);
    EXPECT_EQ(takeAll(queue), (Texts{"aaaaaaaa", "cc"}));
}

TEST_F(OutgoingQueueTest, aTextThatCanNeverFitDropsNothingElse)
{
    queue.add("aaaa", WhileClosed::keep);
    EXPECT_FALSE(queue.add("eleven byte", WhileClosed::keep));
    EXPECT_EQ(queue.size(), 1U);
    EXPECT_TRUE(queue.add("bbbbbb", WhileClosed::keep));
    EXPECT_EQ(queue.size(), 2U);
}

TEST_F(OutgoingQueueTest, theLimitIsNeverPassedWhateverComes)
{
    queue.open();
    for (std::size_t i = 0; i < 1000; ++i) {
        queue.add(std::string(i * 7 % 13, 'x'), i % 3 == 0 ? WhileClosed::drop : WhileClosed::keep);
        ASSERT_LE(queue.bytes(), 10U) << i;
        if (i % 5 == 0) {
            static_cast<void>(queue.take());
        }
    }
    std::size_t left = 0;
    const std::size_t bytes = queue.bytes();
    for (const std::string& text : takeAll(queue)) {
        left += text.size();
    }
    EXPECT_EQ(left, bytes);
}

TEST_F(OutgoingQueueTest, anEndedQueueTakesNothingMoreButGivesWhatItHas)
{
    queue.open();
    queue.add("one", WhileClosed::drop);
    queue.end();
    EXPECT_FALSE(queue.add("two", WhileClosed::keep));
    EXPECT_EQ(takeAll(queue), Texts{"one"});
}

} // namespace
} // namespace vexa::host
