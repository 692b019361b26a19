#include <host/tool/top/DisplayText.hpp>
#include <host/tool/top/ServiceHeading.hpp>
#include <host/tool/top/TopView.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace vexa::host {

namespace {

constexpr std::size_t fewestNameColumns = 12;
constexpr std::size_t nameShift = 8;

ScreenPiece piece(std::string_view text, std::size_t width, ScreenStyle style = ScreenStyle::plain)
{
    return {std::string{firstColumns(text, width)}, style};
}

/// A line of one style, in all columns.
ScreenLine bar(std::string_view text, std::size_t width, ScreenStyle style)
{
    return {{atLeft(text, width), style}};
}

/// A text in which letters of ASCII are small, so that texts can be compared whatever their case.
std::string folded(std::string_view text)
{
    std::string small{text};
    for (char& each : small) {
        each = each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each;
    }
    return small;
}

std::string utf8(char32_t character)
{
    const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
    const auto tail = [&](unsigned shift) { return byte(0x80U | ((character >> shift) & 0x3FU)); };
    if (character < 0x80U) {
        return {byte(character)};
    }
    if (character < 0x800U) {
        return {byte(0xC0U | (character >> 6U)), tail(0)};
    }
    if (character < 0x10000U) {
        return {byte(0xE0U | (character >> 12U)), tail(6), tail(0)};
    }
    return {byte(0xF0U | (character >> 18U)), tail(12), tail(6), tail(0)};
}

/// The beginning of a text that fits into so many columns, up to a blank if there is one; it is taken off the text.
std::string_view takeLine(std::string_view& text, std::size_t columns)
{
    std::string_view line = firstColumns(text, columns);
    if (line.empty()) {
        // Not even one character fits.
        return std::exchange(text, {});
    }
    if (line.size() < text.size()) {
        const std::size_t blank = line.rfind(' ');
        line = line.substr(0, blank == std::string_view::npos || blank == 0 ? line.size() : blank);
    }
    text.remove_prefix(line.size());
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return line;
}

void eraseLastCharacter(std::string& text)
{
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0U) == 0x80U) {
        text.pop_back();
    }
    if (!text.empty()) {
        text.pop_back();
    }
}

} // namespace

TopView::TopView(std::string url, TopicOrder order, bool hasUnicode)
    : url_{std::move(url)}, hasUnicode_{hasUnicode}, order_{order}
{}

void TopView::sampled(ServiceSample sample)
{
    failure_.clear();
    auto next = std::make_shared<Shown>(Shown{std::move(sample), std::nullopt});
    if (latest_ != nullptr) {
        next->rates = ratesBetween(latest_->sample, next->sample);
    }
    latest_ = std::move(next);
    if (!isPaused_) {
        shown_ = latest_;
        arrange();
    }
}

void TopView::failed(std::string reason)
{
    failure_ = std::move(reason);
}

bool TopView::press(const Key& key)
{
    if (isFiltering_) {
        pressWhileFiltering(key);
        return true;
    }
    if (key.kind == Key::Kind::character) {
        return pressCharacter(key.character);
    }
    showsKeys_ = false;
    if (key.kind == Key::Kind::escape && !filter_.empty()) {
        filter_.clear();
        arrange();
    }
    scroll(key);
    return true;
}

void TopView::pressWhileFiltering(const Key& key)
{
    switch (key.kind) {
    case Key::Kind::character:
        filter_ += utf8(key.character);
        break;
    case Key::Kind::erase:
        eraseLastCharacter(filter_);
        break;
    case Key::Kind::escape:
        filter_.clear();
        isFiltering_ = false;
        break;
    case Key::Kind::enter:
        isFiltering_ = false;
        return;
    default:
        scroll(key);
        return;
    }
    firstRow_ = 0;
    arrange();
}

bool TopView::pressCharacter(char32_t character)
{
    const bool closesKeys = std::exchange(showsKeys_, false);
    const auto place = static_cast<std::size_t>(order_.column);
    switch (character) {
    case U'q':
        return false;
    case U'h':
    case U'?':
        showsKeys_ = !closesKeys;
        break;
    case U'/':
        isFiltering_ = true;
        break;
    case U's':
    case U'>':
        orderBy((place + 1) % topicColumns.size());
        break;
    case U'<':
        orderBy((place + topicColumns.size() - 1) % topicColumns.size());
        break;
    case U'r':
        order_.isReversed = !order_.isReversed;
        arrange();
        break;
    case U' ':
        togglePause();
        break;
    default:
        break;
    }
    return true;
}

void TopView::scroll(const Key& key)
{
    const auto back = [](std::size_t from, std::size_t by) { return from > by ? from - by : 0; };
    switch (key.kind) {
    case Key::Kind::up:
        firstRow_ = back(firstRow_, 1);
        break;
    case Key::Kind::down:
        ++firstRow_;
        break;
    case Key::Kind::pageUp:
        firstRow_ = back(firstRow_, visibleRows_);
        break;
    case Key::Kind::pageDown:
        firstRow_ += visibleRows_;
        break;
    case Key::Kind::home:
        firstRow_ = 0;
        break;
    case Key::Kind::end:
        firstRow_ = rows_.size();
        break;
    case Key::Kind::left:
        firstNameColumn_ = back(firstNameColumn_, nameShift);
        break;
    case Key::Kind::right:
        firstNameColumn_ += nameShift;
        break;
    default:
        break;
    }
    clampScroll(visibleRows_);
}

void TopView::orderBy(std::size_t place)
{
    order_ = {topicColumns[place].column, false};
    arrange();
}

void TopView::togglePause()
{
    isPaused_ = !isPaused_;
    if (!isPaused_ && shown_ != latest_) {
        shown_ = latest_;
        arrange();
    }
}

void TopView::arrange()
{
    rows_.clear();
    if (shown_ == nullptr) {
        return;
    }
    const std::string wanted = folded(filter_);
    for (const TopicSample& topic : shown_->sample.topics) {
        if (wanted.empty() || folded(titleOf(topic)).find(wanted) != std::string::npos) {
            rows_.push_back(&topic);
        }
    }
    sortTopics(rows_, order_);
}

void TopView::clampScroll(std::size_t rows)
{
    firstRow_ = std::min(firstRow_, rows_.size() > rows ? rows_.size() - rows : 0);
    std::size_t widest = 0;
    for (std::size_t place = firstRow_; place < std::min(firstRow_ + rows, rows_.size()); ++place) {
        widest = std::max(widest, displayColumns(displayText(titleOf(*rows_[place]), hasUnicode_)));
    }
    firstNameColumn_ = std::min(firstNameColumn_, widest > nameShift ? widest - nameShift : 0);
}

std::vector<ScreenLine> TopView::lines(const TerminalSize& size)
{
    std::vector<ScreenLine> lines{titleLine(size.width)};
    if (showsKeys_) {
        addKeys(lines, size);
    } else {
        addHeading(lines, size.width);
        addState(lines, size.width);
        lines.push_back(headsLine(size.width));
        const std::size_t used = lines.size() + 1;
        visibleRows_ = size.height > used ? size.height - used : 1;
        clampScroll(visibleRows_);
        const std::size_t end = std::min(firstRow_ + visibleRows_, rows_.size());
        for (std::size_t place = firstRow_; place < end; ++place) {
            lines.push_back(rowLine(*rows_[place], size.width));
        }
        lines.resize(std::max(lines.size(), size.height > 0 ? size.height - 1 : 0));
        lines.push_back(footLine(size.width, end));
    }
    if (lines.size() > size.height) {
        lines.resize(size.height);
    }
    return lines;
}

ScreenLine TopView::titleLine(std::size_t width) const
{
    std::string text = " vexa top  " + displayText(url_, hasUnicode_);
    if (isPaused_) {
        text += "  [paused]";
    }
    return bar(text, width, ScreenStyle::bar);
}

void TopView::addHeading(std::vector<ScreenLine>& lines, std::size_t width) const
{
    if (shown_ == nullptr) {
        return;
    }
    const std::vector<std::string> heading = serviceHeading(shown_->sample, shown_->rates);
    for (std::size_t place = 0; place < heading.size(); ++place) {
        ScreenStyle style = ScreenStyle::plain;
        if (place == brokerLine) {
            style = shown_->sample.isHealthy ? ScreenStyle::good : ScreenStyle::bad;
        }
        lines.push_back({piece(" " + displayText(heading[place], hasUnicode_), width, style)});
    }
}

void TopView::addState(std::vector<ScreenLine>& lines, std::size_t width) const
{
    if (isFiltering_) {
        lines.push_back({piece(" filter: " + displayText(filter_, hasUnicode_) + "_", width, ScreenStyle::strong)});
    } else if (!failure_.empty()) {
        const std::string text = displayText(failure_, hasUnicode_);
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view line = takeLine(rest, width > 1 ? width - 1 : 1);
            lines.push_back({piece(" " + std::string{line}, width, ScreenStyle::bad)});
        }
    } else if (!filter_.empty()) {
        lines.push_back({piece(" filter: " + displayText(filter_, hasUnicode_) + "  (Escape clears it)", width)});
    } else if (latest_ == nullptr) {
        lines.push_back({piece(" waiting for the service", width, ScreenStyle::faint)});
    } else {
        lines.emplace_back();
    }
}

std::size_t TopView::nameColumns(std::size_t width) const
{
    std::size_t others = 1;
    for (const TopicColumnTraits& each : topicColumns) {
        others += each.width > 0 ? each.width + 1 : 0;
    }
    return std::max(width > others ? width - others : 0, fewestNameColumns);
}

ScreenLine TopView::headsLine(std::size_t width) const
{
    ScreenLine line;
    std::size_t left = width;
    const auto add = [&line, &left](std::string_view text, ScreenStyle style) {
        line.push_back(piece(text, left, style));
        left -= displayColumns(line.back().text);
    };
    for (const TopicColumnTraits& each : topicColumns) {
        const ScreenStyle style = each.column == order_.column ? ScreenStyle::chosen : ScreenStyle::bar;
        add(" ", ScreenStyle::bar);
        add(each.width == 0 ? atLeft(each.heading, nameColumns(width)) : atRight(each.heading, each.width), style);
    }
    add(std::string(left, ' '), ScreenStyle::bar);
    return line;
}

ScreenLine TopView::rowLine(const TopicSample& topic, std::size_t width) const
{
    const std::string title = displayText(titleOf(topic), hasUnicode_);
    std::string text = " " + atLeft(behindColumns(title, firstNameColumn_), nameColumns(width));
    for (const TopicColumnTraits& each : topicColumns) {
        if (each.width > 0) {
            text += " " + atRight(figureOf(topic, each.column, shown_->sample.at), each.width);
        }
    }
    const bool isIdle = topic.subscribers == 0 && topic.messagesPerSecond <= 0;
    return {piece(text, width, isIdle ? ScreenStyle::faint : ScreenStyle::plain)};
}

ScreenLine TopView::footLine(std::size_t width, std::size_t rows) const
{
    std::string text = " q ends  h keys  / filter  s sort  space pause";
    if (shown_ != nullptr) {
        text += rows_.empty() ? "   no topics" : fmt::format("   {} to {} of {}", firstRow_ + 1, rows, rows_.size());
        if (rows_.size() < shown_->sample.topics.size()) {
            text += fmt::format(", {} filtered out", shown_->sample.topics.size() - rows_.size());
        }
        if (shown_->sample.topics.size() < shown_->sample.topicCount) {
            text += fmt::format(" ({} topics in all)", shown_->sample.topicCount);
        }
    }
    return bar(text, width, ScreenStyle::bar);
}

void TopView::addKeys(std::vector<ScreenLine>& lines, const TerminalSize& size) const
{
    constexpr std::array<std::pair<std::string_view, std::string_view>, 10> keys{
        {{"q, Ctrl-C", "end"},
         {"h, ?", "show the keys; any other key goes back"},
         {"arrows, page keys", "scroll; left and right move long names"},
         {"Home, End", "go to the first and the last topic"},
         {"s, >, <", "order by the next or the previous column"},
         {"r", "reverse the order"},
         {"/", "show only topics whose name or parameters contain a text"},
         {"Escape", "show all topics again"},
         {"space", "hold the figures still, and let them go"},
         {"Ctrl-L", "draw the screen anew"}}};
    constexpr std::size_t keyColumns = 20;
    constexpr std::size_t headingColumns = 9;
    const auto add = [&](std::string_view term, std::size_t columns, std::string_view meaning) {
        lines.push_back({piece(" " + atLeft(term, columns), size.width, ScreenStyle::strong),
                         piece(meaning, size.width > columns + 1 ? size.width - columns - 1 : 0)});
    };
    lines.emplace_back();
    for (const auto& [key, meaning] : keys) {
        add(key, keyColumns, meaning);
    }
    lines.emplace_back();
    for (const TopicColumnTraits& each : topicColumns) {
        add(each.heading, headingColumns, each.meaning);
    }
}

} // namespace vexa::host
