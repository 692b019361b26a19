#include <host/tool/display/LineDisplay.hpp>
#include <host/tool/display/SummaryText.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/json/serialize.hpp>

#include <fmt/format.h>

#include <cmath>
#include <string>
#include <utility>

namespace vexa::host {

namespace {

/// Times are told to the millisecond.
double toMillisecond(double seconds)
{
    return std::round(seconds * 1e3) / 1e3;
}

void printLine(std::FILE* out, std::string line)
{
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), out);
    std::fflush(out);
}

std::string_view nameOf(ConnectionState state)
{
    switch (state) {
    case ConnectionState::open:
        return "connected";
    case ConnectionState::catchingUp:
        return "catching up";
    case ConnectionState::closed:
        return "cut";
    }
    return "";
}

} // namespace

void LineDisplay::happened(const DemoEvent& event)
{
    printLine(out_, fmt::format("{:6.1f} s  {}", event.at, escapeControlCharacters(event.text)));
}

void LineDisplay::update(const DemoSnapshot& snapshot)
{
    const StreamTotals& totals = snapshot.totals;
    printLine(out_, fmt::format("{:6.1f} s  {:<12} published {}, delivered {}, replayed {}, missing {}", snapshot.at,
                                nameOf(snapshot.connection), totals.published, totals.delivered, totals.replayed,
                                totals.missing));
}

void LineDisplay::finish(const DemoSnapshot&, const DemoSummary& summary)
{
    printLine(out_, "");
    for (std::string& line : summaryText(summary, false)) {
        printLine(out_, std::move(line));
    }
}

void JsonDisplay::happened(const DemoEvent& event)
{
    print(event.at, event.name, event.details);
}

void JsonDisplay::update(const DemoSnapshot& snapshot)
{
    const StreamTotals& totals = snapshot.totals;
    print(snapshot.at, "sums",
          {{"connected", snapshot.connection != ConnectionState::closed},
           {"catchingUp", snapshot.connection == ConnectionState::catchingUp},
           {"published", totals.published},
           {"delivered", totals.delivered},
           {"replayed", totals.replayed},
           {"missing", totals.missing},
           {"duplicated", totals.duplicated},
           {"outOfOrder", totals.outOfOrder}});
}

void JsonDisplay::finish(const DemoSnapshot& last, const DemoSummary& summary)
{
    print(last.at, "summary", summary.asDictionary());
}

void JsonDisplay::print(double at, std::string_view name, Dictionary details)
{
    Dictionary line{{"at", toMillisecond(at)}, {"event", boost::json::string_view{name.data(), name.size()}}};
    for (auto& entry : details) {
        line[entry.key()] = std::move(entry.value());
    }
    printLine(out_, boost::json::serialize(line));
}

} // namespace vexa::host
