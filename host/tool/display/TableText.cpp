#include <host/tool/display/Bars.hpp>
#include <host/tool/display/Numbers.hpp>
#include <host/tool/display/StyledLine.hpp>
#include <host/tool/display/TableText.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace vexa::host {

namespace {

// The widths of the columns; the drawing takes what the others leave.
constexpr std::size_t topicColumns = 10;
constexpr std::size_t parametersColumns = 17;
constexpr std::size_t valueColumns = 11;
constexpr std::size_t rateColumns = 7;
constexpr std::size_t countColumns = 10;
constexpr std::size_t fewestDrawingColumns = 8;
constexpr std::size_t mostDrawingColumns = 40;

constexpr std::size_t shownEvents = 4;
constexpr std::size_t shownEventsOfLowTerminals = 1;
constexpr std::size_t lowTerminal = 20;
constexpr std::size_t linesAroundRows = 6; ///< heading, blank, column heads, two of sums, blank
constexpr double fullShare = 100.0;

struct Painter {
    const TerminalTraits& traits;
    const TerminalSize& size;

    [[nodiscard]] StyledLine line() const { return {size.width, traits.hasColour}; }

    /// The columns for a bar or a spark line; 0 on a terminal that is too narrow for any.
    [[nodiscard]] std::size_t drawingColumns() const
    {
        constexpr std::size_t others =
            1 + topicColumns + parametersColumns + valueColumns + rateColumns + 2 * countColumns;
        const std::size_t left = size.width > others ? size.width - others : 0;
        return left < fewestDrawingColumns ? 0 : std::min(left, mostDrawingColumns);
    }
};

std::string heading(const Painter& painter, const DemoSnapshot& snapshot)
{
    const bool hasUnicode = painter.traits.hasUnicode;
    StyledLine line = painter.line();
    line.add(" vexa demo  ", Colour::bold);
    switch (snapshot.connection) {
    case ConnectionState::open:
        line.addLeft(hasUnicode ? "● connected" : "* connected", 14, Colour::green);
        break;
    case ConnectionState::catchingUp:
        line.addLeft(hasUnicode ? "◐ catching up" : "+ catching up", 14, Colour::yellow);
        break;
    case ConnectionState::closed:
        line.addLeft(hasUnicode ? "○ cut" : "- cut", 14, Colour::red);
        break;
    }
    constexpr std::size_t progressColumns = 20;
    const double share = snapshot.duration > 0 ? snapshot.at / snapshot.duration : 0;
    line.add(bar(share, progressColumns, hasUnicode), Colour::cyan);
    line.add(fmt::format("  {:.1f} s of {:g}", std::min(snapshot.at, snapshot.duration), snapshot.duration));
    return line.text();
}

std::string columnHeads(const Painter& painter)
{
    StyledLine line = painter.line();
    line.add(" ").addLeft("topic", topicColumns, Colour::dim).addLeft("parameters", parametersColumns, Colour::dim);
    line.addLeft("", painter.drawingColumns()).addRight("last", valueColumns, Colour::dim);
    line.addRight("rate", rateColumns, Colour::dim).addRight("delivered", countColumns, Colour::dim);
    line.addRight("replayed", countColumns, Colour::dim);
    return line.text();
}

std::string drawing(const Painter& painter, const TopicRow& row)
{
    const std::size_t columns = painter.drawingColumns();
    if (row.unit == Unit::percent) {
        return bar(row.value.value_or(0) / fullShare, columns, painter.traits.hasUnicode);
    }
    return sparkLine(row.recent, columns, painter.traits.hasUnicode);
}

Colour drawingColour(const TopicRow& row)
{
    constexpr double high = 80;
    constexpr double middle = 50;
    if (row.unit != Unit::percent) {
        return Colour::cyan;
    }
    const double value = row.value.value_or(0);
    if (value >= high) {
        return Colour::red;
    }
    return value >= middle ? Colour::yellow : Colour::green;
}

std::string topicLine(const Painter& painter, const TopicRow& row)
{
    StyledLine line = painter.line();
    line.add(" ").addLeft(row.topic, topicColumns - 1).add(" ");
    line.addLeft(row.parameters, parametersColumns - 1, Colour::dim).add(" ");
    line.add(drawing(painter, row), row.hasEnded ? Colour::dim : drawingColour(row));
    line.addRight(row.value ? displayed(*row.value, row.unit) : "", valueColumns, Colour::bold);
    if (row.hasEnded) {
        line.addRight("ended", rateColumns, Colour::dim);
    } else {
        line.addRight(row.streams > 0 ? fmt::format("{:.0f}/s", row.perSecond) : "-", rateColumns);
    }
    line.addRight(std::to_string(row.delivered), countColumns);
    return line.addRight(std::to_string(row.replayed), countColumns, row.replayed > 0 ? Colour::yellow : Colour::dim)
        .text();
}

std::string sumsOfTraffic(const Painter& painter, const StreamTotals& totals)
{
    StyledLine line = painter.line();
    line.add(fmt::format(" {} streams", totals.streams), Colour::bold);
    return line
        .add(fmt::format("   published {}   delivered {}   replayed {}", totals.published, totals.delivered,
                         totals.replayed))
        .text();
}

std::string sumsOfFaults(const Painter& painter, const StreamTotals& totals)
{
    StyledLine line = painter.line();
    line.add(fmt::format(" missing {}   ", totals.missing), totals.missing > 0 ? Colour::yellow : Colour::green);
    line.add(fmt::format("duplicated {}   ", totals.duplicated), totals.duplicated > 0 ? Colour::red : Colour::green);
    const Colour colour = totals.outOfOrder > 0 ? Colour::red : Colour::green;
    return line.add(fmt::format("out of order {}", totals.outOfOrder), colour).text();
}

std::string eventLine(const Painter& painter, const DemoEvent& event)
{
    return painter.line().add(fmt::format(" {:6.1f} s  ", event.at), Colour::dim).add(event.text).text();
}

} // namespace

std::vector<std::string> tableText(const DemoSnapshot& snapshot, const std::vector<DemoEvent>& events,
                                   const TerminalTraits& traits, const TerminalSize& size)
{
    const Painter painter{traits, size};
    const std::size_t eventLines =
        std::min(events.size(), size.height < lowTerminal ? shownEventsOfLowTerminals : shownEvents);
    const std::size_t taken = linesAroundRows + eventLines + 1;
    const std::size_t room = size.height > taken ? size.height - taken : 0;
    const bool allFit = snapshot.rows.size() <= room;
    const std::size_t shownRows = allFit ? snapshot.rows.size() : room - std::min<std::size_t>(room, 1);

    std::vector<std::string> lines{heading(painter, snapshot), "", columnHeads(painter)};
    for (std::size_t row = 0; row < shownRows; ++row) {
        lines.push_back(topicLine(painter, snapshot.rows[row]));
    }
    if (!allFit && room > 0) {
        lines.push_back(
            painter.line().add(fmt::format(" and {} more", snapshot.rows.size() - shownRows), Colour::dim).text());
    }
    lines.push_back(sumsOfTraffic(painter, snapshot.totals));
    lines.push_back(sumsOfFaults(painter, snapshot.totals));
    lines.emplace_back();
    for (std::size_t event = events.size() - eventLines; event < events.size(); ++event) {
        lines.push_back(eventLine(painter, events[event]));
    }
    // A terminal lower than the frame itself scrolls unless lines are given up.
    lines.resize(std::min(lines.size(), size.height > 1 ? size.height - 1 : 1));
    return lines;
}

} // namespace vexa::host
