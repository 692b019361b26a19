#include <host/tool/demo/EveryStyleFollowerMaker.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

/// A stream that the test feeds, and what its follower told.
struct FollowedStream {
    explicit FollowedStream(FollowStyle style)
        : follower{maker.follow(
              style, makeStream(),
              {[this](TopicElement element) { note(std::move(element)); }, [this] { ended.set_value(numbers); }})}
    {}

    TopicStream makeStream()
    {
        return TopicStream{Platform::system(),
                           [this](TopicStream::Continuation end) { continuation.emplace(std::move(end)); }};
    }

    void note(TopicElement element)
    {
        numbers.push_back(element.message->at("number").to_number<int>());
        if (numbers.size() == 100) {
            hundredth.set_value();
        }
    }

    void yield(int first, int last) const
    {
        for (int number = first; number <= last; ++number) {
            continuation->yield({std::make_shared<const Dictionary>(Dictionary{{"number", number}}), false});
        }
    }

    EveryStyleFollowerMaker maker;
    std::optional<TopicStream::Continuation> continuation;
    std::vector<int> numbers;
    std::promise<void> hundredth;
    std::promise<std::vector<int>> ended;
    std::unique_ptr<StreamFollower> follower;
};

class Followers : public ::testing::TestWithParam<FollowStyle> {};

std::vector<int> numbersTo(int last)
{
    std::vector<int> numbers;
    for (int number = 1; number <= last; ++number) {
        numbers.push_back(number);
    }
    return numbers;
}

TEST_P(Followers, TellEachElementAndThenTheEnd)
{
    FollowedStream followed{GetParam()};

    followed.yield(1, 200);
    followed.continuation->finish();

    EXPECT_EQ(followed.ended.get_future().get(), numbersTo(200));
}

TEST_P(Followers, EndWhenTheyAreCancelled)
{
    FollowedStream followed{GetParam()};
    followed.yield(1, 100);
    followed.hundredth.get_future().get();

    followed.follower->cancel();

    EXPECT_EQ(followed.ended.get_future().get(), numbersTo(100));
}

TEST_P(Followers, EndWhenTheyAreDropped)
{
    FollowedStream followed{GetParam()};
    followed.yield(1, 100);
    followed.hundredth.get_future().get();

    followed.follower.reset();

    EXPECT_EQ(followed.ended.get_future().get(), numbersTo(100));
}

INSTANTIATE_TEST_SUITE_P(Styles, Followers,
                         ::testing::Values(FollowStyle::coroutine, FollowStyle::asioCoroutine, FollowStyle::callback,
                                           FollowStyle::thread),
                         [](const auto& each) { return std::string{styleName(each.param)}; });

} // namespace
} // namespace vexa::host
