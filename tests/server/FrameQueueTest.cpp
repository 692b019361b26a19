#include <host/server/FrameQueue.hpp>

#include <boost/asio/buffers_iterator.hpp>
#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

constexpr FrameQueueLimits wide{1'000'000, 100'000};

std::shared_ptr<const PayloadText> payload(const std::string& text, bool isTerminating = false)
{
    return std::make_shared<PayloadText>(PayloadText{text, isTerminating});
}

DataBatch batch(double sentAt, const std::string& id, std::vector<DataEntry> entries)
{
    return {sentAt, std::make_shared<const std::string>('"' + id + '"'), std::move(entries)};
}

DataBatch single(double sentAt, const std::string& id, const std::string& text, bool isTerminating = false)
{
    return batch(sentAt, id, {{payload(text, isTerminating), false}});
}

std::string textOf(const OutgoingFrame& frame)
{
    const auto buffers = frame.buffers();
    return {boost::asio::buffers_begin(buffers), boost::asio::buffers_end(buffers)};
}

/// The texts of all frames, in order.
std::vector<std::string> drain(FrameQueue& queue)
{
    std::vector<std::string> texts;
    for (auto frame = queue.take(); frame; frame = queue.take()) {
        EXPECT_EQ(frame->size(), textOf(*frame).size());
        texts.push_back(textOf(*frame));
    }
    return texts;
}

using Texts = std::vector<std::string>;

TEST(FrameQueue, WritesADataMessage)
{
    FrameQueue queue{wide};
    ASSERT_TRUE(
        queue.add(batch(1700000000.25, "s-1", {{payload(R"({"a":1})"), false}, {payload(R"({"a":2})"), true}})));

    EXPECT_EQ(drain(queue), (Texts{R"({"category":"vexa","type":"data","sentAt":1700000000.25,"messages":[)"
                                   R"({"subscriptionId":"s-1","payload":{"a":1}},)"
                                   R"({"subscriptionId":"s-1","payload":{"a":2},"replayed":true}]})"}));
}

TEST(FrameQueue, PutsDataMessagesThatWaitTogetherIntoOneFrame)
{
    FrameQueue queue{wide};
    queue.add(single(1, "s-1", "1"));
    queue.add(single(2, "s-2", "2"));
    queue.add(single(3, "s-1", "3"));

    EXPECT_EQ(drain(queue), (Texts{R"({"category":"vexa","type":"data","sentAt":1,"messages":[)"
                                   R"({"subscriptionId":"s-1","payload":1},{"subscriptionId":"s-2","payload":2},)"
                                   R"({"subscriptionId":"s-1","payload":3}]})"}));
}

TEST(FrameQueue, LetsNoMessagePassAnother)
{
    FrameQueue queue{wide};
    queue.add(std::string{"first"});
    queue.add(single(1, "s-1", "1"));
    queue.add(std::string{"second"});
    queue.add(std::string{"third"});
    queue.add(single(2, "s-1", "2"));

    const Texts texts = drain(queue);
    ASSERT_EQ(texts.size(), 5U);
    EXPECT_EQ(texts[0], "first");
    EXPECT_NE(texts[1].find(R"("payload":1)"), std::string::npos);
    EXPECT_EQ(texts[2], "second");
    EXPECT_EQ(texts[3], "third");
    EXPECT_NE(texts[4].find(R"("payload":2)"), std::string::npos);
}

TEST(FrameQueue, AddsNothingBehindTheEndOfATopic)
{
    FrameQueue queue{wide};
    queue.add(single(1, "s-1", "1"));
    queue.add(single(2, "s-1", "2", true));
    queue.add(single(3, "s-1", "3"));

    const Texts texts = drain(queue);
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_NE(texts[0].find(R"("payload":2)"), std::string::npos);
    EXPECT_EQ(texts[0].find(R"("payload":3)"), std::string::npos);
}

TEST(FrameQueue, KeepsAFrameWithinItsSize)
{
    FrameQueue queue{{1'000'000, 1'000}};
    for (int number = 0; number < 100; ++number) {
        queue.add(single(1, "s-1", "\"" + std::string(100, 'x') + "\""));
    }
    const Texts texts = drain(queue);
    EXPECT_GT(texts.size(), 10U);
    EXPECT_LT(texts.size(), 50U);
    for (const std::string& each : texts) {
        EXPECT_LE(each.size(), 1'002U) << "but for the closing brackets";
    }
}

TEST(FrameQueue, SharesALongPayload)
{
    const auto shared = payload('"' + std::string(100'000, 'x') + '"');
    FrameQueue queue{wide};
    queue.add(batch(1, "s-1", {{payload("1"), false}, {shared, false}, {payload("2"), false}}));

    const auto frame = queue.take();
    ASSERT_TRUE(frame);
    const auto buffers = frame->buffers();
    ASSERT_EQ(buffers.size(), 3U);
    EXPECT_EQ(buffers[1].data(), shared->text.data());
    const auto message = boost::json::parse(textOf(*frame));
    EXPECT_EQ(message.at("messages").as_array().size(), 3U);
    EXPECT_EQ(frame->entries(), 3U);
}

TEST(FrameQueue, ClosesWithTheMessageThatFindsNoRoom)
{
    FrameQueue queue{{100, 1'000}};
    EXPECT_TRUE(queue.add(std::string(60, 'a')));
    EXPECT_TRUE(queue.add(std::string(40, 'b')));
    EXPECT_FALSE(queue.add(std::string(1, 'c')));
    EXPECT_EQ(queue.bytes(), 100U);

    EXPECT_EQ(drain(queue), (Texts{std::string(60, 'a'), std::string(40, 'b')})) << "what had room is still sent";
    EXPECT_FALSE(queue.add(std::string(1, 'd'))) << "a gap must not be";
}

TEST(FrameQueue, CountsTheFrameThatIsBeingWritten)
{
    FrameQueue queue{{100, 1'000}};
    queue.add(std::string(60, 'a'));
    ASSERT_TRUE(queue.take());
    EXPECT_EQ(queue.bytes(), 60U);
    EXPECT_FALSE(queue.take());
    EXPECT_EQ(queue.bytes(), 0U);
    EXPECT_TRUE(queue.add(std::string(100, 'b')));
}

TEST(FrameQueue, TakesOneMessageOfAnySize)
{
    FrameQueue queue{{100, 1'000}};
    EXPECT_TRUE(queue.add(std::string(1'000, 'a')));
    EXPECT_FALSE(queue.add(std::string(1, 'b')));
}

TEST(FrameQueue, KeepsOrderWhenItNeverRunsEmpty)
{
    FrameQueue queue{wide};
    int added = 0;
    int taken = 0;
    for (; added < 3; ++added) {
        queue.add(std::to_string(added));
    }
    for (; added < 5'000; ++added) {
        queue.add(std::to_string(added));
        const auto frame = queue.take();
        ASSERT_TRUE(frame);
        ASSERT_EQ(textOf(*frame), std::to_string(taken));
        ++taken;
    }
    EXPECT_EQ(drain(queue), (Texts{"4997", "4998", "4999"}));
}

} // namespace
} // namespace vexa::host
