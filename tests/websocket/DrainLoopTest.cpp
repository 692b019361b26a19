#include <host/websocket/DrainLoop.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

class DrainLoopTest : public ::testing::Test {
protected:
    /// Posts work that records `step` and then does `more`.
    template <class More>
    void post(int step, More more)
    {
        boost::asio::post(loop->executor(), [this, step, more] {
            steps.push_back(step);
            more();
        });
    }

    void post(int step)
    {
        post(step, [] {});
    }

    boost::asio::io_context context{1};
    std::optional<DrainLoop> loop{std::in_place, context, SystemPlatform::shared()};
    std::vector<int> steps;
};

TEST_F(DrainLoopTest, nothingRunsInsideAPost)
{
    post(1);
    EXPECT_TRUE(steps.empty());
    context.run();
    EXPECT_EQ(steps, std::vector<int>{1});
}

TEST_F(DrainLoopTest, workThatFollowsFromWorkRunsInOneHandlerOfTheContext)
{
    post(1, [this] {
        post(2, [this] { post(4); });
        post(3);
    });
    EXPECT_EQ(context.run_one(), 1U);
    EXPECT_EQ(steps, (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(context.run(), 0U);
}

TEST_F(DrainLoopTest, dispatchedWorkRunsAtOnceInsideTheLoop)
{
    post(1, [this] {
        post(3);
        boost::asio::dispatch(loop->executor(), [this] { steps.push_back(2); });
    });
    context.run();
    EXPECT_EQ(steps, (std::vector<int>{1, 2, 3}));
}

TEST_F(DrainLoopTest, anExceptionReachesWhoeverRunsTheContextAndTheRestStillRuns)
{
    post(1, [] { throw std::runtime_error{"a handler failed"}; });
    post(2);
    EXPECT_THROW(context.run(), std::runtime_error);
    context.run();
    EXPECT_EQ(steps, (std::vector<int>{1, 2}));
}

TEST_F(DrainLoopTest, whatHasNotRunIsDestroyedWithTheLoop)
{
    auto owned = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = owned;
    post(1, [owned] { static_cast<void>(owned); });
    owned.reset();
    loop.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_TRUE(steps.empty());
}

} // namespace
} // namespace vexa::host
