#include "ServiceClient.hpp"
#include <host/tool/display/Bars.hpp>
#include <host/tool/display/LineDisplay.hpp>
#include <host/tool/display/Numbers.hpp>
#include <host/tool/display/StyledLine.hpp>
#include <host/tool/display/SummaryText.hpp>
#include <host/tool/display/TableText.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Lines = std::vector<std::string>;

TEST(Bars, FillTheShareOfTheirWidth)
{
    EXPECT_EQ(bar(0, 4, true), "    ");
    EXPECT_EQ(bar(0.5, 4, true), "██  ");
    EXPECT_EQ(bar(1, 4, true), "████");
    EXPECT_EQ(bar(0.28125, 4, true), "█▏  ");
    EXPECT_EQ(bar(0.5, 4, false), "##..");
    EXPECT_EQ(bar(7, 2, true), "██");
    EXPECT_EQ(bar(-1, 2, true), "  ");
    EXPECT_EQ(bar(std::nan(""), 2, true), "  ");
    EXPECT_EQ(bar(0.5, 0, true), "");
}

TEST(SparkLine, DrawsTheNewestValuesAtTheRight)
{
    EXPECT_EQ(sparkLine({1, 2, 4, 8}, 6, true), "  ▁▂▄█");
    EXPECT_EQ(sparkLine({100, 1, 2, 4, 8}, 4, true), "▁▂▄█") << "scaled to what is shown";
    EXPECT_EQ(sparkLine({0, 0}, 2, true), "▁▁");
    EXPECT_EQ(sparkLine({}, 3, true), "   ");
    EXPECT_EQ(sparkLine({-3, 5}, 2, true), "▁█");
    EXPECT_EQ(sparkLine({1, 2, 4, 8}, 4, false), "..-#");
    EXPECT_EQ(sparkLine({1, 2}, 0, true), "");
}

TEST(Numbers, AreShownWithTheirUnits)
{
    EXPECT_EQ(displayed(42.04, Unit::percent), "42.0 %");
    EXPECT_EQ(displayed(0.525, Unit::tasks), "0.53");
    EXPECT_EQ(displayed(0, Unit::bytesPerSecond), "0 B/s");
    EXPECT_EQ(displayed(999, Unit::bytesPerSecond), "999 B/s");
    EXPECT_EQ(displayed(1500, Unit::bytesPerSecond), "1.5 kB/s");
    EXPECT_EQ(displayed(999'990, Unit::bytesPerSecond), "1.0 MB/s") << "not 1000.0 kB/s";
    EXPECT_EQ(displayed(2.5e9, Unit::bytesPerSecond), "2.5 GB/s");
    EXPECT_EQ(displayed(7e15, Unit::bytesPerSecond), "7000.0 TB/s");
}

TEST(StyledLine, NeverGrowsBeyondItsWidth)
{
    StyledLine line{6, false};

    line.add("ab").addRight("1", 3).add("cdefg");

    EXPECT_EQ(line.text(), "ab  1c");
    EXPECT_EQ(line.columnsLeft(), 0U);
}

TEST(StyledLine, CountsCharactersInsteadOfBytes)
{
    StyledLine line{4, false};

    EXPECT_EQ(line.add("█é").addLeft("ü", 3).text(), "█éü ");
    EXPECT_EQ(cutTo("█éü", 2), "█é");
    EXPECT_EQ(columnsOf("█éü"), 3U);
}

TEST(StyledLine, ColoursOnlyWhereItMay)
{
    EXPECT_EQ((StyledLine{9, true}.add("ok", Colour::green).text()), "\x1b[32mok\x1b[0m");
    EXPECT_EQ((StyledLine{9, false}.add("ok", Colour::green).text()), "ok");
}

TEST(StyledLine, LetsNoTextDriveTheTerminal)
{
    EXPECT_EQ((StyledLine{20, false}.add("a\x1b[2Jb").text()), "a\\u001b[2Jb");
}

DemoSnapshot snapshotOf(std::size_t rows)
{
    DemoSnapshot snapshot;
    snapshot.at = 12.34;
    snapshot.duration = 20;
    snapshot.connection = ConnectionState::open;
    for (std::size_t row = 0; row < rows; ++row) {
        snapshot.rows.push_back(
            {"processor", "core " + std::to_string(row), Unit::percent, 42.0, {1, 2, 3}, 10, 1, 124, 120, 7, false});
    }
    snapshot.totals = {rows, 124, 120, 7, 4, 0, 0};
    return snapshot;
}

Lines tableOf(const DemoSnapshot& snapshot, const TerminalTraits& traits, const TerminalSize& size,
              const std::vector<DemoEvent>& events = {})
{
    return tableText(snapshot, events, traits, size);
}

std::string joinedLines(const Lines& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text.append(line).append("\n");
    }
    return text;
}

std::string withoutColours(const std::string& text)
{
    std::string plain;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t escape = std::min(text.find('\x1b', begin), text.size());
        plain += text.substr(begin, escape - begin);
        begin = escape < text.size() ? text.find('m', escape) + 1 : escape;
    }
    return plain;
}

const std::vector<DemoEvent> sixEvents{{0, "a", "first", {}},  {1, "b", "second", {}}, {2, "c", "third", {}},
                                       {3, "d", "fourth", {}}, {4, "e", "fifth", {}},  {5, "f", "sixth", {}}};

TEST(TableText, ShowsEachTopicOnALine)
{
    DemoSnapshot snapshot = snapshotOf(2);
    snapshot.rows[1].hasEnded = true;

    const Lines lines = tableOf(snapshot, {true, false, false}, {100, 40}, sixEvents);

    ASSERT_EQ(lines.size(), 12U);
    EXPECT_EQ(lines[0], " vexa demo  * connected   ############........  12.3 s of 20");
    EXPECT_EQ(lines[3],
              " processor core 0           ##############....................     42.0 %   10/s       120         7");
    EXPECT_NE(lines[4].find("ended"), std::string::npos);
    EXPECT_EQ(lines[5], " 2 streams   published 124   delivered 120   replayed 7");
    EXPECT_EQ(lines[6], " missing 4   duplicated 0   out of order 0");
    EXPECT_EQ(lines[8], "    2.0 s  third") << "the newest four";
    EXPECT_EQ(lines[11], "    5.0 s  sixth");
}

TEST(TableText, FitsTheTerminalWhateverItsSize)
{
    for (const std::size_t width : {1U, 10U, 40U, 60U, 79U, 80U, 120U, 400U}) {
        for (const std::size_t height : {1U, 2U, 5U, 8U, 12U, 24U, 60U}) {
            for (const bool hasColour : {false, true}) {
                const Lines lines = tableOf(snapshotOf(30), {true, hasColour, true}, {width, height}, sixEvents);
                EXPECT_LE(lines.size(), std::max<std::size_t>(1, height - 1)) << width << " x " << height;
                for (const std::string& line : lines) {
                    EXPECT_LE(columnsOf(withoutColours(line)), width) << line;
                }
            }
        }
    }
}

TEST(TableText, CountsTheTopicsThatFindNoPlace)
{
    const Lines lines = tableOf(snapshotOf(30), {true, false, false}, {100, 24}, sixEvents);

    EXPECT_EQ(lines.size(), 23U);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.starts_with(" processor core"); }),
              12);
    EXPECT_NE(joinedLines(lines).find(" and 18 more"), std::string::npos);
}

TEST(TableText, HasNoEscapesWithoutColour)
{
    EXPECT_EQ(joinedLines(tableOf(snapshotOf(3), {true, false, true}, {100, 40}, sixEvents)).find('\x1b'),
              std::string::npos);
    EXPECT_NE(joinedLines(tableOf(snapshotOf(3), {true, true, true}, {100, 40}, sixEvents)).find('\x1b'),
              std::string::npos);
}

TEST(TableText, HasNothingButAsciiWithoutUnicode)
{
    const std::string text = joinedLines(tableOf(snapshotOf(3), {true, true, false}, {100, 40}, sixEvents));

    EXPECT_TRUE(
        std::all_of(text.begin(), text.end(), [](char byte) { return static_cast<unsigned char>(byte) < 128; }));
}

TEST(TableText, TellsTheStateOfTheConnection)
{
    DemoSnapshot snapshot = snapshotOf(1);
    const auto headOf = [&snapshot](ConnectionState state) {
        snapshot.connection = state;
        return tableOf(snapshot, {true, true, true}, {100, 40}).at(0);
    };

    EXPECT_NE(headOf(ConnectionState::open).find("\x1b[32m● connected"), std::string::npos);
    EXPECT_NE(headOf(ConnectionState::closed).find("\x1b[31m○ cut"), std::string::npos);
    EXPECT_NE(headOf(ConnectionState::catchingUp).find("\x1b[33m◐ catching up"), std::string::npos);
}

/// A temporary file for what a display prints.
class Paper {
public:
    [[nodiscard]] std::FILE* file() const noexcept { return file_.get(); }

    [[nodiscard]] Lines lines() const
    {
        std::rewind(file_.get());
        std::string text;
        for (int character = std::fgetc(file_.get()); character != EOF; character = std::fgetc(file_.get())) {
            text += static_cast<char>(character);
        }
        Lines lines;
        for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
            lines.push_back(text.substr(0, end));
            text.erase(0, end + 1);
        }
        EXPECT_EQ(text, "") << "behind the last end of line";
        return lines;
    }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{std::tmpfile(), &std::fclose};
};

TEST(LineDisplay, PrintsALineForEachEventAndUpdate)
{
    const Paper paper;
    LineDisplay display{paper.file()};

    display.happened({0.5, "echoSent", "an echo\nmessage", {}});
    display.update(snapshotOf(2));

    EXPECT_EQ(paper.lines(), (Lines{"   0.5 s  an echo\\nmessage",
                                    "  12.3 s  connected    published 124, delivered 120, replayed 7, missing 4"}));
}

TEST(LineDisplay, EndsWithTheSummary)
{
    const Paper paper;
    LineDisplay display{paper.file()};
    DemoSummary summary;
    summary.totals = {2, 10, 19, 3, 1, 0, 0};

    display.finish(snapshotOf(2), summary);

    const std::string text = joinedLines(paper.lines());
    for (const char* part :
         {"published           10 messages", "delivered           19 to 2 streams", "replayed            3",
          "lost                1", "duplicated          0", "out of order        0", "wrong: 1 lost"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part;
    }
}

TEST(SummaryText, SaysThatAllWentWellOnlyWhenItDid)
{
    DemoSummary summary;
    summary.totals = {1, 10, 10, 3, 0, 0, 0};
    summary.ends = {1, 0, 0};
    summary.topicWasEnded = true;
    summary.openings = 2;
    summary.echoes = 1;
    const auto saysSo = [&summary] {
        return joinedLines(summaryText(summary, false)).find("everything arrived") != std::string::npos;
    };
    EXPECT_TRUE(saysSo());

    summary.wasInterrupted = true;
    EXPECT_FALSE(saysSo());

    summary.wasInterrupted = false;
    summary.totals.duplicated = 1;
    EXPECT_FALSE(saysSo());
}

TEST(JsonDisplay, PrintsOneObjectOnEachLine)
{
    const Paper paper;
    JsonDisplay display{paper.file()};
    DemoSummary summary;
    summary.totals.published = 10;

    display.happened({0.5, "echoSent", "an echo", {{"size", 7}}});
    display.update(snapshotOf(2));
    display.finish(snapshotOf(2), summary);

    const Lines lines = paper.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(json(lines[0]), (Dictionary{{"at", 0.5}, {"event", "echoSent"}, {"size", 7}}));
    EXPECT_EQ(json(lines[1]).at("event"), "sums");
    EXPECT_EQ(json(lines[1]).at("at"), 12.34);
    EXPECT_EQ(json(lines[1]).at("connected"), true);
    EXPECT_EQ(json(lines[1]).at("missing"), 4);
    EXPECT_EQ(json(lines[2]).at("event"), "summary");
    EXPECT_EQ(json(lines[2]).at("published"), 10);
    EXPECT_EQ(json(lines[2]).at("passed"), false);
}

} // namespace
} // namespace vexa::host
