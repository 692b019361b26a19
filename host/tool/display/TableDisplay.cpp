#include <host/tool/display/SummaryText.hpp>
#include <host/tool/display/TableDisplay.hpp>
#include <host/tool/display/TableText.hpp>

#include <fmt/format.h>

#include <string>

namespace vexa::host {

namespace {

constexpr std::string_view hideCursor = "\x1b[?25l";
constexpr std::string_view clearScreen = "\x1b[2J\x1b[H";
constexpr std::string_view clearRestOfLine = "\x1b[K";
constexpr std::string_view clearRestOfScreen = "\x1b[J";

} // namespace

TableDisplay::TableDisplay(const TerminalTraits& traits) : traits_{traits}
{
    writeToTerminal(hideCursor);
}

TableDisplay::~TableDisplay()
{
    writeToTerminal(showCursor);
}

void TableDisplay::happened(const DemoEvent& event)
{
    events_.push_back(event);
}

void TableDisplay::update(const DemoSnapshot& snapshot)
{
    const TerminalSize size = terminalSize();
    std::string painting;
    if (paintedWidth_ != 0 && paintedWidth_ != size.width) {
        // The lines have been wrapped anew, so that nobody knows where the table begins.
        painting += clearScreen;
    } else if (paintedLines_ > 0) {
        painting += fmt::format("\x1b[{}A\r", paintedLines_);
    }
    const auto lines = tableText(snapshot, events_, traits_, size);
    for (const std::string& line : lines) {
        painting.append(line).append(clearRestOfLine).append("\n");
    }
    painting += clearRestOfScreen;
    writeToTerminal(painting);
    paintedLines_ = lines.size();
    paintedWidth_ = size.width;
}

void TableDisplay::finish(const DemoSnapshot& last, const DemoSummary& summary)
{
    update(last);
    std::string text = "\n";
    for (const std::string& line : summaryText(summary, traits_.hasColour)) {
        text.append(line).append("\n");
    }
    writeToTerminal(text);
}

} // namespace vexa::host
