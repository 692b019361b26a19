#include <host/tool/top/MetricsText.hpp>

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

namespace vexa::host {

namespace {

constexpr std::string_view blanks = " \t\r";

/// The first word of a line, which is taken off it.
std::string_view takeWord(std::string_view& line)
{
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    const std::string_view word = line.substr(0, line.find_first_of(blanks));
    line.remove_prefix(word.size());
    return word;
}

} // namespace

TextTable<double> metricValues(std::string_view text)
{
    TextTable<double> values;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        const std::string_view name = takeWord(line);
        const std::string_view number = takeWord(line);
        double value = 0;
        const auto read = std::from_chars(number.data(), number.data() + number.size(), value);
        const bool isNumber = !number.empty() && read.ec == std::errc{} && read.ptr == number.data() + number.size();
        if (isNumber && !name.starts_with('#') && name.find('{') == std::string_view::npos) {
            values.insert_or_assign(std::string{name}, value);
        }
    }
    return values;
}

} // namespace vexa::host
