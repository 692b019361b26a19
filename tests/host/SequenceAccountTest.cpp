#include <host/tool/demo/SequenceAccount.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <random>
#include <vector>

namespace vexa::host {
namespace {

SequenceAccount accountOf(std::initializer_list<std::uint64_t> numbers)
{
    SequenceAccount account;
    for (const std::uint64_t number : numbers) {
        account.arrived(number);
    }
    return account;
}

TEST(SequenceAccount, FindsNothingWrongWithAWholeSequence)
{
    const auto account = accountOf({1, 2, 3, 4});

    EXPECT_EQ(account.count(), 4U);
    EXPECT_EQ(account.missing(4), 0U);
    EXPECT_EQ(account.duplicated(), 0U);
    EXPECT_EQ(account.outOfOrder(), 0U);
}

TEST(SequenceAccount, FindsWhatIsMissingInTheMiddle)
{
    const auto account = accountOf({1, 2, 5, 8});

    EXPECT_EQ(account.missing(8), 4U);
    EXPECT_EQ(account.missing(7), 4U) << "3, 4, 6 and 7";
    EXPECT_EQ(account.missing(6), 3U);
    EXPECT_EQ(account.missing(3), 1U);
    EXPECT_EQ(account.missing(2), 0U);
    EXPECT_EQ(account.duplicated(), 0U);
    EXPECT_EQ(account.outOfOrder(), 0U);
}

TEST(SequenceAccount, FindsWhatIsMissingAtTheEnds)
{
    EXPECT_EQ(SequenceAccount{}.missing(3), 3U);
    EXPECT_EQ(accountOf({3, 4}).missing(4), 2U);
    EXPECT_EQ(accountOf({1, 2}).missing(6), 4U);
}

TEST(SequenceAccount, FindsRepetitions)
{
    const auto account = accountOf({1, 2, 2, 3, 1, 3});

    EXPECT_EQ(account.duplicated(), 3U);
    EXPECT_EQ(account.outOfOrder(), 0U);
    EXPECT_EQ(account.missing(3), 0U);
    EXPECT_EQ(account.count(), 6U);
}

TEST(SequenceAccount, FindsWhatComesLate)
{
    const auto account = accountOf({1, 5, 3, 2, 4});

    EXPECT_EQ(account.outOfOrder(), 3U);
    EXPECT_EQ(account.duplicated(), 0U);
    EXPECT_EQ(account.missing(5), 0U);
}

TEST(SequenceAccount, TakesALateOneThatComesTwiceForARepetition)
{
    const auto account = accountOf({1, 4, 2, 2, 3, 3});

    EXPECT_EQ(account.outOfOrder(), 2U);
    EXPECT_EQ(account.duplicated(), 2U);
}

TEST(SequenceAccount, TakesAMessageWithoutANumberForARepetition)
{
    const auto account = accountOf({0, 1});

    EXPECT_EQ(account.duplicated(), 1U);
    EXPECT_EQ(account.missing(1), 0U);
}

TEST(SequenceAccount, AgreesWithAPlainCountOfAnyShuffledTraffic)
{
    constexpr std::uint64_t published = 60;
    for (std::uint64_t seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 bits{seed};
        std::vector<std::uint64_t> traffic;
        for (std::uint64_t number = 1; number <= published; ++number) {
            traffic.insert(traffic.end(), bits() % 4 == 0 ? bits() % 3 : 1, number);
        }
        for (std::uint64_t swaps = bits() % 10; swaps > 0 && !traffic.empty(); --swaps) {
            std::swap(traffic[bits() % traffic.size()], traffic[bits() % traffic.size()]);
        }
        SequenceAccount account;
        std::map<std::uint64_t, int> seen;
        std::uint64_t highest = 0;
        std::uint64_t duplicated = 0;
        std::uint64_t outOfOrder = 0;
        for (const std::uint64_t number : traffic) {
            account.arrived(number);
            const bool isNew = seen[number]++ == 0;
            duplicated += isNew ? 0 : 1;
            outOfOrder += isNew && number < highest ? 1 : 0;
            highest = std::max(highest, number);
        }

        EXPECT_EQ(account.missing(published), published - seen.size());
        EXPECT_EQ(account.duplicated(), duplicated);
        EXPECT_EQ(account.outOfOrder(), outOfOrder);
        EXPECT_EQ(account.count(), traffic.size());
    }
}

} // namespace
} // namespace vexa::host
