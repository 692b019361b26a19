#include <host/tool/machine/Fields.hpp>

#include <algorithm>
#include <cstddef>

namespace vexa::host {

std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::vector<std::string_view> fieldsOf(std::string_view line)
{
    constexpr std::string_view blanks = " \t\r";
    std::vector<std::string_view> fields;
    for (;;) {
        const std::size_t begin = line.find_first_not_of(blanks);
        if (begin == std::string_view::npos) {
            return fields;
        }
        line.remove_prefix(begin);
        const std::size_t end = std::min(line.find_first_of(blanks), line.size());
        fields.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
}

} // namespace vexa::host
