#include <VexaClient/protocols/NotificationName.hpp>

#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <thread>
#include <vector>

namespace vexa::testing {

namespace {

TEST(NotificationNameOfACreatedSubscription, ReadsVexaSubscriptionCreated)
{
    EXPECT_EQ(NotificationName::vexaSubscriptionCreated().text(), "VexaSubscriptionCreated");
    EXPECT_EQ(NotificationName::vexaSubscriptionCreated(), NotificationName{"VexaSubscriptionCreated"});
}

TEST(NotificationNameOfACreatedSubscription, IsOneAndTheSameNameForThreadsThatReadItAtOnce)
{
    std::array<const NotificationName*, 8> names{};
    std::barrier start{static_cast<std::ptrdiff_t>(names.size())};
    std::vector<std::thread> readers;
    readers.reserve(names.size());
    for (const NotificationName*& name : names) {
        readers.emplace_back([&name, &start] {
            start.arrive_and_wait();
            name = &NotificationName::vexaSubscriptionCreated();
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }

    for (const NotificationName* name : names) {
        EXPECT_EQ(name, &NotificationName::vexaSubscriptionCreated());
        EXPECT_EQ(name->text(), "VexaSubscriptionCreated");
    }
}

TEST(NotificationName, EqualsOnlyANameOfTheSameText)
{
    EXPECT_EQ(NotificationName{"opened"}, NotificationName{"opened"});
    EXPECT_NE(NotificationName{"opened"}, NotificationName{"Opened"});
}

} // namespace

} // namespace vexa::testing
