#include "Journal.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

namespace vexa {
namespace {

constexpr std::size_t producers = 8;
constexpr std::size_t itemsEach = 3000;

/// What the items of a queue saw; the queue alone touches it.
struct Sequence {
    std::vector<std::size_t> next = std::vector<std::size_t>(producers, 0);
    std::size_t outOfOrder = 0;

    void note(std::size_t producer, std::size_t number)
    {
        outOfOrder += next[producer] == number ? 0U : 1U;
        next[producer] = number + 1;
    }
};

template <class Produce>
void produceInParallel(Produce&& produce)
{
    std::vector<std::thread> threads;
    threads.reserve(producers);
    for (std::size_t producer = 0; producer < producers; ++producer) {
        threads.emplace_back([&produce, producer] {
            for (std::size_t number = 0; number < itemsEach; ++number) {
                produce(producer, number);
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
}

void expectInOrder(SerialQueue& queue, const Sequence& sequence)
{
    queue.sync([&] {
        EXPECT_EQ(sequence.outOfOrder, 0U);
        EXPECT_EQ(sequence.next, std::vector<std::size_t>(producers, itemsEach));
    });
}

class ManyProducers : public ::testing::TestWithParam<QueueWork> {
protected:
    SystemPlatform platform{3};
    Sequence sequence;
    const SerialQueueHandle queue = platform.makeQueue("shared", GetParam());
};

TEST_P(ManyProducers, theItemsOfEachKeepTheirOrder)
{
    produceInParallel([this](std::size_t producer, std::size_t number) {
        queue->async([this, producer, number] { sequence.note(producer, number); });
    });
    expectInOrder(*queue, sequence);
}

TEST_P(ManyProducers, theItemsOfEachKeepTheirOrderWhenSomeAreWaitedFor)
{
    produceInParallel([this](std::size_t producer, std::size_t number) {
        const auto note = [this, producer, number] { sequence.note(producer, number); };
        if ((number + producer) % 7 == 0) {
            queue->sync(note);
        } else {
            queue->async(note);
        }
    });
    expectInOrder(*queue, sequence);
}

TEST_P(ManyProducers, onlyWaitingKeepsTheOrderToo)
{
    produceInParallel([this](std::size_t producer, std::size_t number) {
        queue->sync([this, producer, number] { sequence.note(producer, number); });
    });
    expectInOrder(*queue, sequence);
}

TEST_P(ManyProducers, delayedItemsOfEachKeepTheirOrder)
{
    produceInParallel([this](std::size_t producer, std::size_t number) {
        queue->asyncAfter(0.001, [this, producer, number] { sequence.note(producer, number); });
    });
    Journal<bool> done{platform};
    queue->asyncAfter(0.002, [&] { done.add(true); });
    done.await(1);
    expectInOrder(*queue, sequence);
}

TEST_P(ManyProducers, aChainOfQueuesKeepsTheOrder)
{
    std::vector<SerialQueueHandle> chain;
    chain.reserve(4);
    for (int i = 0; i < 4; ++i) {
        chain.push_back(platform.makeQueue("hop", GetParam()));
    }
    produceInParallel([&](std::size_t producer, std::size_t number) {
        chain[0]->async([&, producer, number] {
            chain[1]->async([&, producer, number] {
                chain[2]->async([&, producer, number] {
                    chain[3]->async([&, producer, number] { sequence.note(producer, number); });
                });
            });
        });
    });
    for (const SerialQueueHandle& each : chain) {
        each->sync([] {});
    }
    expectInOrder(*chain[3], sequence);
}

TEST_P(ManyProducers, itemsThatWaitForOtherQueuesHoldUpNobody)
{
    const SerialQueueHandle other = platform.makeQueue("other", GetParam());
    std::size_t visits = 0;
    produceInParallel([&](std::size_t producer, std::size_t number) {
        queue->async([&, producer, number] {
            sequence.note(producer, number);
            if (number % 10 == 0) {
                other->sync([&visits] { ++visits; });
            }
        });
        if (number % 10 == 0) {
            other->async([&visits] { ++visits; });
        }
    });
    expectInOrder(*queue, sequence);
    EXPECT_EQ(other->sync([&] { return visits; }), 2 * producers * itemsEach / 10);
}

INSTANTIATE_TEST_SUITE_P(Work, ManyProducers, ::testing::Values(QueueWork::prompt, QueueWork::mayBlock));

} // namespace
} // namespace vexa
