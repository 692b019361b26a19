#include <host/tool/top/DisplayText.hpp>
#include <host/tool/top/ServiceHeading.hpp>
#include <host/tool/top/TopView.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using Kind = Key::Kind;

constexpr TerminalSize usual{80, 24};

TopicSample topic(const std::string& name, double rate = 0)
{
    TopicSample made;
    made.name = name;
    made.messagesPerSecond = rate;
    return made;
}

ServiceSample sampleOf(std::vector<TopicSample> topics)
{
    ServiceSample sample;
    sample.isHealthy = true;
    sample.broker = "in this process";
    sample.at = 1000;
    sample.topicCount = topics.size();
    sample.topics = std::move(topics);
    return sample;
}

/// Topics topic-00, topic-01 and so on, of which the first are the busiest.
ServiceSample numbered(int count)
{
    std::vector<TopicSample> topics;
    for (int number = 0; number < count; ++number) {
        topics.push_back(topic((number < 10 ? "topic-0" : "topic-") + std::to_string(number), 100.0 - number));
    }
    return sampleOf(std::move(topics));
}

class TopViewTest : public ::testing::Test {
protected:
    TopView view{"ws://service", {}, true};

    std::vector<std::string> texts(const TerminalSize& size = usual)
    {
        std::vector<std::string> all;
        for (const ScreenLine& line : view.lines(size)) {
            std::string text;
            for (const ScreenPiece& piece : line) {
                text += piece.text;
            }
            all.push_back(text);
        }
        return all;
    }

    bool shows(std::string_view text, const TerminalSize& size = usual)
    {
        return std::ranges::any_of(texts(size),
                                   [text](const std::string& line) { return line.find(text) != std::string::npos; });
    }

    /// The places of two texts on the screen, one below the other.
    bool isAbove(std::string_view one, std::string_view other)
    {
        const auto lines = texts();
        const auto lineWith = [&lines](std::string_view text) {
            return std::ranges::find_if(lines,
                                        [text](const auto& line) { return line.find(text) != std::string::npos; });
        };
        return lineWith(one) < lineWith(other) && lineWith(other) != lines.end();
    }

    bool press(char32_t character) { return view.press({Kind::character, character}); }
    void press(Kind kind) { EXPECT_TRUE(view.press({kind, 0})); }
    void type(std::u32string_view text)
    {
        for (const char32_t each : text) {
            EXPECT_TRUE(press(each));
        }
    }
};

TEST_F(TopViewTest, showsTheServiceAndItsTopics)
{
    ServiceSample sample = numbered(2);
    sample.connections = 12;
    sample.subscriptions = 34;
    sample.published = 1000;
    sample.uptime = 10;
    view.sampled(sample);
    sample.published = 1050;
    sample.uptime = 12;
    sample.topics[0].subscribers = 17;
    sample.topics[0].medianDelay = 0.0125;
    view.sampled(sample);
    EXPECT_TRUE(shows("ws://service"));
    EXPECT_TRUE(shows("broker    in this process"));
    EXPECT_TRUE(shows("12 connections"));
    EXPECT_TRUE(shows("34 subscriptions"));
    EXPECT_TRUE(shows("1050 published (25.0 a second)"));
    EXPECT_TRUE(shows("topic-01"));
    EXPECT_TRUE(shows("1 to 2 of 2"));
    const auto lines = texts();
    const auto row = std::ranges::find_if(lines, [](const auto& line) { return line.starts_with(" topic-00"); });
    ASSERT_NE(row, lines.end());
    EXPECT_NE(row->find("   17    100"), std::string::npos) << *row;
    EXPECT_NE(row->find("12ms"), std::string::npos) << *row;
}

TEST_F(TopViewTest, fitsEveryScreen)
{
    ServiceSample sample = numbered(40);
    sample.topics[3].name = "温度計温度計温度計温度計温度計温度計温度計";
    view.sampled(sample);
    for (const bool hasFailed : {false, true}) {
        for (std::size_t width = 1; width < 130; width += 7) {
            for (std::size_t height = 1; height < 40; height += 5) {
                const auto lines = texts({width, height});
                EXPECT_EQ(lines.size(), height) << width;
                for (const std::string& line : lines) {
                    EXPECT_LE(displayColumns(line), width) << line;
                }
            }
        }
        if (!hasFailed) {
            view.failed("no answer from a place with a long name: reaching the host failed");
        }
    }
}

TEST_F(TopViewTest, scrollsWithinTheTopics)
{
    view.sampled(numbered(60));
    EXPECT_TRUE(shows("topic-00"));
    press(Kind::up);
    EXPECT_TRUE(shows("topic-00"));
    press(Kind::down);
    EXPECT_FALSE(shows("topic-00"));
    EXPECT_TRUE(shows("topic-01"));
    press(Kind::end);
    EXPECT_TRUE(shows("topic-59"));
    EXPECT_TRUE(shows("of 60"));
    press(Kind::down);
    EXPECT_TRUE(shows("topic-59"));
    const auto rows = [this] {
        return std::ranges::count_if(texts(), [](const auto& line) { return line.starts_with(" topic-"); });
    };
    const auto page = rows();
    press(Kind::pageUp);
    EXPECT_FALSE(shows("topic-59"));
    EXPECT_TRUE(shows("topic-" + std::to_string(59 - page)));
    press(Kind::home);
    EXPECT_TRUE(shows("topic-00"));
    press(Kind::pageDown);
    EXPECT_TRUE(shows("topic-" + std::to_string(page)));
    EXPECT_EQ(rows(), page);
}

TEST_F(TopViewTest, showsMoreOnAHigherScreen)
{
    view.sampled(numbered(60));
    EXPECT_FALSE(shows("topic-40", {80, 24}));
    EXPECT_TRUE(shows("topic-40", {80, 60}));
    press(Kind::end);
    EXPECT_TRUE(shows("topic-10", {80, 80})) << "no room is left empty";
}

TEST_F(TopViewTest, movesLongNames)
{
    view.sampled(sampleOf({topic("a-name-that-is-far-too-long-for-its-column-and-ends-here")}));
    EXPECT_FALSE(shows("ends-here"));
    for (int times = 0; times < 20; ++times) {
        press(Kind::right);
    }
    EXPECT_TRUE(shows("s-here"));
    for (int times = 0; times < 20; ++times) {
        press(Kind::left);
    }
    EXPECT_TRUE(shows("a-name"));
}

TEST_F(TopViewTest, ordersByTheChosenColumn)
{
    ServiceSample sample = sampleOf({topic("aaa", 1), topic("bbb", 9)});
    sample.topics[0].delivered = 5;
    view.sampled(sample);
    EXPECT_TRUE(isAbove("bbb", "aaa")) << "by the rate";
    EXPECT_TRUE(press(U's'));
    EXPECT_TRUE(isAbove("aaa", "bbb")) << "by what was delivered";
    EXPECT_TRUE(press(U'<'));
    EXPECT_TRUE(isAbove("bbb", "aaa"));
    EXPECT_TRUE(press(U'r'));
    EXPECT_TRUE(isAbove("aaa", "bbb"));
    EXPECT_TRUE(press(U'>'));
    EXPECT_TRUE(press(U'r'));
    EXPECT_TRUE(isAbove("bbb", "aaa"));
}

TEST_F(TopViewTest, filtersByAText)
{
    ServiceSample sample = sampleOf({topic("Scores"), topic("weather-größe"), topic("news")});
    sample.topics[2].parameters = Value("score");
    view.sampled(sample);
    type(U"/SCORE");
    EXPECT_TRUE(shows("filter: SCORE"));
    EXPECT_TRUE(shows("Scores"));
    EXPECT_TRUE(shows("news \"score\"")) << "in the parameters";
    EXPECT_FALSE(shows("weather"));
    EXPECT_TRUE(shows("1 filtered out"));
    press(Kind::escape);
    EXPECT_TRUE(shows("weather"));
    type(U"/größx");
    EXPECT_TRUE(shows("no topics"));
    press(Kind::erase);
    EXPECT_TRUE(shows("weather-größe"));
    press(Kind::enter);
    EXPECT_TRUE(shows("weather-größe"));
    EXPECT_FALSE(shows("news"));
    EXPECT_FALSE(press(U'q')) << "keys are keys again";
    press(Kind::escape);
    EXPECT_TRUE(shows("news"));
}

TEST_F(TopViewTest, keepsKeysAsTextWhileFiltering)
{
    view.sampled(sampleOf({topic("q s"), topic("other")}));
    type(U"/q s");
    EXPECT_TRUE(shows("filter: q s"));
    EXPECT_FALSE(shows("other"));
    EXPECT_FALSE(shows("[paused]"));
    for (int times = 0; times < 5; ++times) {
        press(Kind::erase);
    }
    EXPECT_TRUE(shows("other"));
}

TEST_F(TopViewTest, holdsStillWhilePaused)
{
    view.sampled(sampleOf({topic("before")}));
    EXPECT_TRUE(press(U' '));
    view.sampled(sampleOf({topic("after")}));
    EXPECT_TRUE(shows("[paused]"));
    EXPECT_TRUE(shows("before"));
    EXPECT_FALSE(shows("after"));
    EXPECT_TRUE(press(U' '));
    EXPECT_FALSE(shows("[paused]"));
    EXPECT_TRUE(shows("after"));
}

TEST_F(TopViewTest, saysWhyThereIsNoAnswerAndKeepsWhatItKnows)
{
    EXPECT_TRUE(shows("waiting for the service"));
    view.failed("no answer from ws://service: reaching the host failed: Connection refused; start a service with "
                "'vexa serve' or name another one with --url");
    EXPECT_TRUE(shows("Connection refused"));
    EXPECT_TRUE(shows("--url")) << "on as many lines as it takes";
    view.sampled(sampleOf({topic("scores")}));
    EXPECT_FALSE(shows("Connection refused"));
    view.failed("no answer");
    EXPECT_TRUE(shows("no answer"));
    EXPECT_TRUE(shows("scores"));
}

TEST_F(TopViewTest, explainsItsKeys)
{
    view.sampled(sampleOf({topic("scores")}));
    EXPECT_TRUE(press(U'h'));
    EXPECT_TRUE(shows("reverse the order", {80, 40}));
    EXPECT_TRUE(shows("subscriptions that clients reported as refused", {80, 40}));
    EXPECT_FALSE(shows("scores"));
    EXPECT_TRUE(press(U'h'));
    EXPECT_TRUE(shows("scores"));
    EXPECT_TRUE(press(U'h'));
    press(Kind::escape);
    EXPECT_TRUE(shows("scores"));
}

TEST_F(TopViewTest, letsNoNameDriveTheTerminal)
{
    ServiceSample sample = sampleOf({topic("evil\x1B[2J\u202E\xFF")});
    sample.broker = "broken\x07";
    view.sampled(sample);
    view.failed("because\x1B]0;title");
    for (const std::string& line : texts()) {
        EXPECT_TRUE(std::ranges::none_of(line, [](unsigned char each) { return each < 0x20 || each == 0x7F; })) << line;
    }
    EXPECT_TRUE(shows("evil\\u001b"));
}

TEST(PlainTable, cutsNothing)
{
    ServiceSample sample =
        sampleOf({topic("short", 1), topic("a-name-that-is-far-too-long-for-the-column-of-a-screen")});
    sample.topicCount = 5;
    const auto lines = plainTable("ws://service", sample, std::nullopt, {&sample.topics[0], &sample.topics[1]}, true);
    EXPECT_EQ(lines.front(), "service   ws://service");
    EXPECT_TRUE(lines[lines.size() - 2].starts_with("a-name-that-is-far-too-long-for-the-column-of-a-screen "));
    EXPECT_TRUE(lines[lines.size() - 3].starts_with("short  "));
    EXPECT_EQ(lines[lines.size() - 2].size(), lines[lines.size() - 3].size());
    EXPECT_EQ(lines.back(), "and 3 more topics");
}

} // namespace
} // namespace vexa::host
