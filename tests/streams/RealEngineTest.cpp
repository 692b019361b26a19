#include "RealLibrary.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <list>
#include <numeric>
#include <thread>

namespace vexa {
namespace {

TEST(RealEngine, RegistersStreamsOfAHundredThreadsAtOnce)
{
    constexpr std::size_t threadCount = 100;
    RealLibrary library;
    std::vector<std::optional<Stream>> streams(threadCount);
    {
        std::barrier start{static_cast<std::ptrdiff_t>(threadCount)};
        std::vector<std::jthread> threads;
        for (std::size_t each = 0; each < threadCount; ++each) {
            threads.emplace_back([&, each] {
                start.arrive_and_wait();
                streams[each] = library.createStream(each % 2 == 0 ? "scores" : "news");
            });
        }
    }
    Ids ids = library.manager->anyListenersFor("scores", std::nullopt);
    const Ids others = library.manager->anyListenersFor("news", std::nullopt);
    EXPECT_EQ(ids.size(), threadCount / 2);
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    ids.insert(ids.end(), others.begin(), others.end());
    std::sort(ids.begin(), ids.end());
    Ids expected(threadCount);
    std::iota(expected.begin(), expected.end(), std::int64_t{1});
    EXPECT_EQ(ids, expected);

    streams.clear();
    EXPECT_EQ(library.manager->anyListenersFor("scores", std::nullopt), (Ids{}));
    EXPECT_EQ(library.manager->anyListenersFor("news", std::nullopt), (Ids{}));
    library.expectEachUnregisteredOnce(threadCount);
}

TEST(RealEngine, BringsEveryMessageToEveryStreamInOrder)
{
    constexpr int messages = 500;
    RealLibrary library;
    std::list<Stream> streams;
    streams.push_back(library.createConfirmedStream("scores", "s-1"));
    for (int more = 0; more < 7; ++more) {
        streams.push_back(library.createStream("scores"));
    }
    std::list<std::vector<int>> received(streams.size());
    {
        std::vector<std::jthread> consumers;
        auto numbers = received.begin();
        for (Stream& stream : streams) {
            consumers.emplace_back([&stream, &into = *numbers++] { into = numbersUntilTheEnd(stream); });
        }
        for (const int number : upTo(messages)) {
            library.publish("s-1", number);
        }
        library.terminate("s-1");
    }
    for (const auto& numbers : received) {
        EXPECT_EQ(numbers, upTo(messages));
    }
    library.expectEachUnregisteredOnce(8);
}

TEST(RealEngine, EndsStreamsThatAreDroppedWhileMessagesFlow)
{
    constexpr int droppers = 8;
    constexpr int rounds = 25;
    constexpr int burst = 5;
    RealLibrary library;
    Stream lasting = library.createConfirmedStream("scores", "s-1");
    std::atomic<bool> stop = false;
    int published = 0;
    std::vector<int> received;
    {
        // A burst waits for the one before, so that the messages never outrun those who work on them.
        std::jthread producer{[&] {
            while (!stop) {
                for (int each = 0; each < burst; ++each) {
                    library.publish("s-1", published++);
                }
                for (int each = 0; each < burst; ++each) {
                    received.push_back(numberOf(lasting.wait().value()));
                }
            }
        }};
        {
            std::vector<std::jthread> threads;
            for (int each = 0; each < droppers; ++each) {
                threads.emplace_back([&, each] {
                    for (int round = 0; round < rounds; ++round) {
                        Stream stream = library.createStream("scores");
                        std::optional<int> last;
                        for (int taken = 0; taken < (each + round) % 4; ++taken) {
                            const int number = numberOf(stream.wait().value());
                            EXPECT_TRUE(!last || number == *last + 1);
                            last = number;
                        }
                    }
                });
            }
        }
        stop = true;
    }
    EXPECT_EQ(received, upTo(published));
    library.terminate("s-1");
    EXPECT_EQ(numbersUntilTheEnd(lasting), (std::vector<int>{}));
    EXPECT_EQ(library.manager->anyListenersFor("scores", std::nullopt), (Ids{}));
    library.expectEachUnregisteredOnce(1 + droppers * rounds);
}

TEST(RealEngine, EndsAStreamOnceWhenBothEndsEndItAtTheSameMoment)
{
    constexpr int rounds = 100;
    RealLibrary library;
    for (int round = 1; round <= rounds; ++round) {
        const std::string topic = "scores " + std::to_string(round);
        std::optional<Stream> stream = library.createConfirmedStream(topic, topic);
        std::barrier start{2};
        std::jthread dropper{[&] {
            start.arrive_and_wait();
            stream.reset();
        }};
        start.arrive_and_wait();
        library.terminate(topic);
    }
    library.settle();
    for (int round = 1; round <= rounds; ++round) {
        EXPECT_EQ(library.manager->anyListenersFor("scores " + std::to_string(round), std::nullopt), (Ids{}));
    }
    library.expectEachUnregisteredOnce(rounds);
}

TEST(RealEngine, WakesAThreadThatWaitsWhenItsStreamIsCancelledElsewhere)
{
    RealLibrary library;
    for (int round = 0; round < 100; ++round) {
        Stream stream = library.createStream("scores");
        std::jthread canceller{[&] { stream.cancel(); }};
        EXPECT_FALSE(stream.wait().has_value());
        EXPECT_TRUE(stream.isExhausted());
    }
    library.expectEachUnregisteredOnce(100);
}

TEST(RealEngine, WakesAThreadThatWaitsWhenItIsAskedToStop)
{
    RealLibrary library;
    for (int round = 0; round < 100; ++round) {
        Stream stream = library.createStream("scores");
        std::jthread consumer{[&](const std::stop_token& stop) { EXPECT_FALSE(stream.wait(stop).has_value()); }};
        consumer.request_stop();
    }
    library.expectEachUnregisteredOnce(100);
}

} // namespace
} // namespace vexa
