#include <host/tool/display/StyledLine.hpp>
#include <host/tool/display/SummaryText.hpp>

#include <fmt/format.h>

#include <limits>
#include <string_view>
#include <utility>

namespace vexa::host {

namespace {

std::string entry(std::string_view name, const std::string& value)
{
    return fmt::format("  {:<20}{}", name, value);
}

std::string styled(std::string_view text, Colour colour, bool hasColour)
{
    return StyledLine{std::numeric_limits<std::size_t>::max(), hasColour}.add(text, colour).text();
}

std::string milliseconds(double seconds)
{
    return fmt::format("{:.2f} ms", seconds * 1e3);
}

} // namespace

std::vector<std::string> summaryText(const DemoSummary& summary, bool hasColour)
{
    const StreamTotals& totals = summary.totals;
    std::vector<std::string> lines;
    lines.push_back(entry("published", fmt::format("{} messages in {:.1f} s", totals.published, summary.seconds)));
    lines.push_back(entry("delivered", fmt::format("{} to {} streams", totals.delivered, totals.streams)));
    lines.push_back(entry("replayed", fmt::format("{} of them", totals.replayed)));
    lines.push_back(entry("lost", std::to_string(totals.missing)));
    lines.push_back(entry("duplicated", std::to_string(totals.duplicated)));
    lines.push_back(entry("out of order", std::to_string(totals.outOfOrder)));
    lines.push_back(entry("streams ended", fmt::format("{} by the service, {} by their consumers",
                                                       summary.ends.byService, summary.ends.byConsumer)));
    if (summary.medianDelay && summary.slowDelay) {
        lines.push_back(entry("publisher to stream",
                              fmt::format("{} in the middle, 99 % within {}", milliseconds(*summary.medianDelay),
                                          milliseconds(*summary.slowDelay))));
    }
    if (summary.echoes && summary.diagnosticReports) {
        lines.push_back(entry("at the service", fmt::format("{} echo, {} diagnostic reports (sent 5 to 300 s late)",
                                                            *summary.echoes, *summary.diagnosticReports)));
    }
    lines.emplace_back();
    const auto complaints = summary.complaints();
    if (summary.wasInterrupted) {
        lines.push_back(styled("  interrupted", Colour::yellow, hasColour));
    }
    if (complaints.empty() && !summary.wasInterrupted) {
        lines.push_back(styled("  everything arrived, once and in order", Colour::green, hasColour));
    }
    for (const std::string& complaint : complaints) {
        lines.push_back(styled("  wrong: " + complaint, Colour::red, hasColour));
    }
    return lines;
}

} // namespace vexa::host
