#include "ClientUnderTest.hpp"
#include <testing/FakeTransport.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/transport/OruClientKey.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace vexa::testing {

namespace {

struct RegionKey {
    using Value = std::string;
};

struct CapacityKey {
    using Value = int;
};

struct SharedCounterKey {
    using Value = std::shared_ptr<const std::vector<int>>;
};

struct NoKey {};

const char* const missingTransport = "^VEXA: no transport client is registered; call "
                                     "vexa::Dependencies::shared\\(\\).oruClient\\(yourClient\\) before the library is "
                                     "first used\n";

TEST(Dependencies, KeepOneValueForEachKeyType)
{
    Dependencies container;
    container.set<RegionKey>("north");
    container.set<CapacityKey>(7);

    EXPECT_EQ(container.get<RegionKey>(), "north");
    EXPECT_EQ(container.get<CapacityKey>(), 7);
}

TEST(Dependencies, GiveADefaultValueUnderAKeyThatWasNeverSet)
{
    Dependencies container;

    EXPECT_EQ(container.get<RegionKey>(), "");
    EXPECT_EQ(container.get<CapacityKey>(), 0);
    container.set<CapacityKey>(7);
    EXPECT_EQ(container.get<RegionKey>(), "");
}

TEST(Dependencies, GiveTheValueThatWasSetLast)
{
    Dependencies container;
    container.set<RegionKey>("north");
    container.set<RegionKey>("south");

    EXPECT_EQ(container.get<RegionKey>(), "south");
}

TEST(Dependencies, HoldNothingOfEachOther)
{
    Dependencies first;
    Dependencies second;
    first.set<RegionKey>("north");

    EXPECT_EQ(second.get<RegionKey>(), "");
}

TEST(Dependencies, AcceptOnlyKeysThatNameAValueType)
{
    EXPECT_TRUE(DependencyKey<RegionKey>);
    EXPECT_TRUE(DependencyKey<OruClientKey>);
    EXPECT_FALSE(DependencyKey<NoKey>);
    EXPECT_TRUE((std::is_same_v<OruClientKey::Value, std::shared_ptr<OruClient>>));
}

TEST(Dependencies, ReleaseAReplacedValueOnceItsReadersHaveDroppedIt)
{
    Dependencies container;
    container.set<SharedCounterKey>(std::make_shared<const std::vector<int>>(3, 1));
    SharedCounterKey::Value held = container.get<SharedCounterKey>();
    const std::weak_ptr<const std::vector<int>> replaced = held;

    container.set<SharedCounterKey>(nullptr);
    EXPECT_FALSE(replaced.expired());
    held.reset();
    EXPECT_TRUE(replaced.expired());
}

TEST(Dependencies, GiveWholeValuesWhileTheyAreReplacedOnOtherThreads)
{
    constexpr int replacements = 2000;
    Dependencies container;
    container.set<SharedCounterKey>(std::make_shared<const std::vector<int>>(100, 0));
    std::atomic<int> torn{0};
    std::atomic<int> backwards{0};

    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            for (int newest = 0; newest < replacements;) {
                const auto values = container.get<SharedCounterKey>();
                torn += *values == std::vector<int>(100, values->front()) ? 0 : 1;
                backwards += values->front() < newest ? 1 : 0;
                newest = values->front();
            }
        });
    }
    for (int i = 1; i <= replacements; ++i) {
        container.set<SharedCounterKey>(std::make_shared<const std::vector<int>>(100, i));
    }
    for (std::thread& reader : readers) {
        reader.join();
    }

    EXPECT_EQ(torn, 0);
    EXPECT_EQ(backwards, 0);
}

TEST(Dependencies, KeepTheTransportClientUnderItsKey)
{
    VirtualPlatform platform;
    const auto first = std::make_shared<FakeTransport>(platform);
    const auto second = std::make_shared<FakeTransport>(platform);
    Dependencies container;

    container.oruClient(first);
    EXPECT_EQ(container.get<OruClientKey>(), first);
    container.set<OruClientKey>(second);
    EXPECT_EQ(container.oruClient(), second);
}

TEST(Dependencies, AreOneContainerForTheProcess)
{
    EXPECT_EQ(&Dependencies::shared(), &Dependencies::shared());
    Dependencies::shared().set<RegionKey>("north");
    EXPECT_EQ(Dependencies::shared().get<RegionKey>(), "north");
}

TEST(DependencyHandle, ResolvesAfreshAtEveryRead)
{
    Dependencies container;
    container.set<RegionKey>("north");
    const Dependency<std::string> handle{&Dependencies::get<RegionKey>, container};

    EXPECT_EQ(handle.wrappedValue(), "north");
    container.set<RegionKey>("south");
    EXPECT_EQ(handle.wrappedValue(), "south");
}

TEST(DependencyHandle, HoldsItsKeyPathAndNoValue)
{
    VirtualPlatform platform;
    auto transport = std::make_shared<FakeTransport>(platform);
    Dependencies container;
    container.oruClient(transport);
    using Handle = Dependency<std::shared_ptr<OruClient>>;
    const Handle handle{&Dependencies::oruClient, container};

    EXPECT_EQ(handle.wrappedValue(), transport);
    EXPECT_EQ(transport.use_count(), 2) << "the test's reference and the container's";
    EXPECT_TRUE(std::is_trivially_copyable_v<Handle>);
    EXPECT_EQ(sizeof(Handle), sizeof(Handle::KeyPath) + sizeof(Dependencies*));
}

TEST(DependencyHandle, DoesNotAskTheContainerWhenItIsMade)
{
    Dependencies container;
    const Dependency<std::shared_ptr<OruClient>> handle{&Dependencies::oruClient, container};
    VirtualPlatform platform;
    const auto transport = std::make_shared<FakeTransport>(platform);

    container.oruClient(transport);
    EXPECT_EQ(handle.wrappedValue(), transport);
}

TEST(DependencyHandle, ReadsTheSharedContainerUnlessItIsGivenAnother)
{
    Dependencies::shared().set<CapacityKey>(9);
    const Dependency<int> handle{&Dependencies::get<CapacityKey>};

    EXPECT_EQ(handle.wrappedValue(), 9);
}

TEST(MissingTransportDeathTest, ReadingItStopsTheProcessAndSaysHowToRegisterOne)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const Dependencies container;

    EXPECT_DEATH(static_cast<void>(container.oruClient()), missingTransport);
}

TEST(MissingTransportDeathTest, SubscribingWithoutOneStopsTheProcessAndSaysHowToRegisterOne)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    VirtualPlatform platform;
    Dependencies container;
    const auto client = VexaOruClient::make(platform, container);

    EXPECT_DEATH(client->createSubscription("scores", std::nullopt, 0.0), missingTransport);
}

TEST(MissingTransport, IsNoMatterUntilTheFirstSubscription)
{
    VirtualPlatform platform;
    Dependencies container;
    const auto client = VexaOruClient::make(platform, container);
    const std::string hash = client->subscriptionHash("scores", std::nullopt);
    client->removeSubscription(hash);
    client->setMessageFeedDelegate(nullptr);
    platform.runUntilIdle();
    EXPECT_EQ(platform.takeLogLines(), Lines{"VEXA: Removed " + hash});

    const auto transport = std::make_shared<FakeTransport>(platform);
    container.oruClient(transport);
    client->createSubscription("scores", std::nullopt, 0.0);
    platform.runUntilIdle();
    EXPECT_EQ(listOf(transport->takeSent()), listOf({subscribeRequest("O-001", {topic("scores")})}));
}

} // namespace

} // namespace vexa::testing
