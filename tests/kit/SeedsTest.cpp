#include <testing/Seeds.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace vexa::testing {
namespace {

/// Sets VEXA_SEED, and puts back at the end what it was.
class SeedVariable {
public:
    explicit SeedVariable(const char* text)
    {
        if (const char* before = std::getenv(name)) { // NOLINT(concurrency-mt-unsafe): the test has one thread
            before_ = before;
        }
        set(text);
    }
    ~SeedVariable() { set(before_ ? before_->c_str() : nullptr); }
    SeedVariable(const SeedVariable&) = delete;
    SeedVariable& operator=(const SeedVariable&) = delete;

private:
    static constexpr auto name = "VEXA_SEED";

    static void set(const char* text)
    {
        if (text != nullptr) {
            ::setenv(name, text, 1); // NOLINT(concurrency-mt-unsafe): the test has one thread
        } else {
            ::unsetenv(name); // NOLINT(concurrency-mt-unsafe): the test has one thread
        }
    }

    std::optional<std::string> before_;
};

TEST(Seeds, comeFromTheEnvironment)
{
    const SeedVariable variable{"18446744073709551615"};
    EXPECT_EQ(defaultSeed(), 18446744073709551615U);
    EXPECT_EQ(seeds(100), std::vector<std::uint64_t>{18446744073709551615U});
    EXPECT_EQ(VirtualPlatform{}.seed(), 18446744073709551615U);
}

TEST(Seeds, areTheFirstNumbersOtherwise)
{
    const SeedVariable variable{nullptr};
    EXPECT_EQ(defaultSeed(), 1U);
    EXPECT_EQ(seeds(3), (std::vector<std::uint64_t>{1, 2, 3}));
    EXPECT_TRUE(seeds(0).empty());
}

TEST(Seeds, whatIsNoNumberIsNoSeed)
{
    for (const char* text : {"", "abc", "12x", "-1", " 5", "18446744073709551616", "1.5"}) {
        const SeedVariable variable{text};
        EXPECT_EQ(defaultSeed(), 1U) << text;
        EXPECT_EQ(seeds(2).size(), 2U) << text;
    }
}

TEST(Seeds, aHintSaysHowToRepeatTheRun)
{
    EXPECT_EQ(replayHint(17), "VEXA_SEED=17");
}

} // namespace
} // namespace vexa::testing
