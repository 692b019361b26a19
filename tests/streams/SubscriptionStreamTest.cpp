#include "Fixtures.hpp"
#include <testing/Seeds.hpp>

#include <boost/json/memory_resource.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <type_traits>

namespace vexa {
namespace {

using testing::entry;
using testing::RecordingListener;
using testing::subscribeRequest;
using testing::success;
using testing::terminatingEntry;
using testing::topic;

static_assert(!std::is_default_constructible_v<VexaSubscriptionStream>);
static_assert(!std::is_copy_constructible_v<Stream>);

TEST(SubscriptionStream, IsRegisteredWhenItIsReturned)
{
    ManagerOverRecordingClient under;
    const Stream stream = under.createStream("scores");
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores - nil", "VEXA: setting listener",
                     "VEXA: VexaSubscriptionStream registered listener - Optional(1)"}));
    EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"scores#", {1}}}));
    EXPECT_TRUE(under.platform.isIdle());
}

TEST(SubscriptionStream, LogsTheIdThatTheManagerHandsOut)
{
    ManagerOverRecordingClient under;
    for (int listener = 1; listener <= 6; ++listener) {
        under.add("scores");
    }
    under.platform.takeLogLines();
    const Stream stream = under.createStream("scores");
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: Creating subscription scores - nil", "VEXA: Adding new listener to existing sub",
                     "VEXA: VexaSubscriptionStream registered listener - Optional(7)"}));
}

TEST(SubscriptionStream, AsksForItsTopicFromItsTimeOrFromNone)
{
    ManagerOverRecordingClient under;
    const Parameters params = boost::json::parse(R"({"league": [4, null]})");
    const Stream first = VexaSubscriptionStream::createStream("scores", params, 1700000000.5, under.manager);
    const Stream second = VexaSubscriptionStream::createStream("news", std::nullopt, std::nullopt, under.manager);
    const auto creations = under.client->creations();
    ASSERT_EQ(creations.size(), 2U);
    EXPECT_EQ(creations[0].name, "scores");
    EXPECT_EQ(creations[0].params, params);
    EXPECT_EQ(creations[0].updatedAt, 1700000000.5);
    EXPECT_EQ(creations[1].name, "news");
    EXPECT_EQ(creations[1].params, std::nullopt);
    EXPECT_EQ(creations[1].updatedAt, 0.0);
}

TEST(SubscriptionStream, SendsTheSubscribeRequestOfItsTopic)
{
    WholeLibrary library;
    const Parameters params = boost::json::parse(R"({"league": 4})");
    const Stream stream = library.createStream("scores", params, 1700000000.5);
    library.platform.runUntilIdle();
    EXPECT_EQ(library.transport->sent(),
              (std::vector<Dictionary>{subscribeRequest("O-001", {topic("scores", params, 1700000000.5)})}));
}

TEST(SubscriptionStream, SendsNoTimeWhenItHasNone)
{
    WholeLibrary library;
    const Stream stream = library.createStream("scores");
    library.platform.runUntilIdle();
    EXPECT_EQ(library.transport->sent(), (std::vector<Dictionary>{subscribeRequest("O-001", {topic("scores")})}));
}

TEST(SubscriptionStream, BringsTheServicesEntriesWholeAndInOrder)
{
    for (const std::uint64_t seed : testing::seeds(30)) {
        WholeLibrary library{seed};
        Stream stream = library.createStream("scores");
        library.service.expectSubscribe("scores").reply(success("s-1"));
        const Message batch = library.service.data({entry("s-1", numbered(1)), entry("s-1", numbered(2), true)});
        library.service.data({entry("s-1", numbered(3))});
        EXPECT_EQ(taken(stream), (Deliveries{{entry("s-1", numbered(1)), false},
                                             {entry("s-1", numbered(2), true), false},
                                             {entry("s-1", numbered(3)), false}}))
            << testing::replayHint(seed);
        EXPECT_FALSE(stream.isExhausted());
    }
}

TEST(SubscriptionStream, SharesTheEntryWithTheBatchThatItCameWith)
{
    WholeLibrary library;
    Stream stream = library.createStream("scores");
    library.service.expectSubscribe("scores").reply(success("s-1"));
    Message batch = library.service.data({entry("s-1", numbered(1))});
    std::optional<VexaSubscriptionStream::Element> element = stream.wait();
    ASSERT_TRUE(element);
    EXPECT_EQ(element->message.get(), &batch->at("messages").as_array().at(0).as_object());

    const std::weak_ptr<const Dictionary> observed = std::exchange(batch, nullptr);
    EXPECT_FALSE(observed.expired());
    element.reset();
    EXPECT_TRUE(observed.expired());
}

TEST(SubscriptionStream, EndsBehindATerminatingMessage)
{
    for (const std::uint64_t seed : testing::seeds(30)) {
        WholeLibrary library{seed};
        Stream stream = library.createStream("scores");
        library.service.expectSubscribe("scores").reply(success("s-1"));
        library.service.data({entry("s-1", numbered(1))});
        library.service.terminate("s-1");
        library.service.data({entry("s-1", numbered(2))});
        EXPECT_EQ(taken(stream), (Deliveries{{entry("s-1", numbered(1)), false}, {terminatingEntry("s-1"), true}}))
            << testing::replayHint(seed);
        EXPECT_TRUE(stream.isExhausted());
    }
}

TEST(SubscriptionStream, SharesOneSubscriptionWithOtherStreamsOfItsTopic)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        WholeLibrary library{seed};
        std::optional<Stream> first = library.createStream("scores");
        library.service.expectSubscribe("scores").reply(success("s-1"));
        std::optional<Stream> second = library.createStream("scores");
        library.service.expectNothingSent();

        library.service.data({entry("s-1", numbered(1))});
        EXPECT_EQ(taken(*first), (Deliveries{{entry("s-1", numbered(1)), false}})) << testing::replayHint(seed);
        EXPECT_EQ(taken(*second), (Deliveries{{entry("s-1", numbered(1)), false}})) << testing::replayHint(seed);

        first.reset();
        library.service.data({entry("s-1", numbered(2))});
        EXPECT_EQ(taken(*second), (Deliveries{{entry("s-1", numbered(2)), false}})) << testing::replayHint(seed);
        EXPECT_TRUE(library.client->state().removedSubscriptions.empty()) << testing::replayHint(seed);

        second.reset();
        library.platform.runUntilIdle();
        EXPECT_EQ(library.client->state().removedSubscriptions,
                  (TextSet{library.manager->subscriptionHash("scores", std::nullopt)}))
            << testing::replayHint(seed);
    }
}

TEST(SubscriptionStream, LosesNothingToASlowConsumer)
{
    ManagerOverRecordingClient under;
    Stream stream = under.createStream("scores");
    Deliveries expected;
    for (int number = 0; number < 5000; ++number) {
        under.client->deliver("scores#", numbered(number));
        expected.push_back({numbered(number), false});
    }
    under.platform.runUntilIdle();
    EXPECT_EQ(taken(stream), expected);
}

TEST(SubscriptionStream, HoldsNobodyUpWhileItsConsumerIsSlow)
{
    ManagerOverRecordingClient under;
    const Stream slow = under.createStream("scores");
    Stream quick = under.createStream("scores");
    under.deliver("scores#", numbered(1));
    under.deliver("scores#", numbered(2));
    EXPECT_EQ(taken(quick), (Deliveries{{numbered(1), false}, {numbered(2), false}}));
}

TEST(SubscriptionStream, WaitsForTheWholeRoadOfAMessage)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        WholeLibrary library{seed};
        Stream stream = library.createStream("scores");
        library.service.expectSubscribe("scores").reply(success("s-1"));
        library.transport->deliver(testing::dataMessage({entry("s-1", numbered(1))}));
        const auto element = stream.wait();
        ASSERT_TRUE(element) << testing::replayHint(seed);
        EXPECT_EQ(*element->message, entry("s-1", numbered(1))) << testing::replayHint(seed);
        EXPECT_FALSE(element->isTerminating) << testing::replayHint(seed);
    }
}

/// Memory that counts what is taken out of it and not given back.
class CountedMemory final : public boost::json::memory_resource {
public:
    std::size_t bytes = 0;

protected:
    void* do_allocate(std::size_t size, std::size_t alignment) override
    {
        bytes += size;
        return ::operator new(size, std::align_val_t{alignment});
    }
    void do_deallocate(void* memory, std::size_t size, std::size_t alignment) override
    {
        bytes -= size;
        ::operator delete(memory, std::align_val_t{alignment});
    }
    [[nodiscard]] bool do_is_equal(const boost::json::memory_resource& other) const noexcept override
    {
        return this == &other;
    }
};

TEST(SubscriptionStream, KeepsParametersInMemoryOfItsOwn)
{
    ManagerOverRecordingClient under;
    CountedMemory memory;
    std::optional<Value> params = boost::json::parse(R"({"league": [4, "a name"]})", &memory);
    const Stream stream = VexaSubscriptionStream::createStream("scores", params, std::nullopt, under.manager);
    EXPECT_GT(memory.bytes, 0U);
    params.reset();
    EXPECT_EQ(memory.bytes, 0U);
}

} // namespace
} // namespace vexa
