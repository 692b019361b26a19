#include <host/tool/top/DisplayText.hpp>
#include <VexaClient/platform/Text.hpp>

#include <fmt/format.h>
#include <locale.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cwchar>

namespace vexa::host {

namespace {

/// Makes the calling thread measure by UTF-8 while it lives.
class Utf8Measure {
public:
    Utf8Measure() : before_{::uselocale(utf8())} {}
    ~Utf8Measure() { ::uselocale(before_); }
    Utf8Measure(const Utf8Measure&) = delete;
    Utf8Measure& operator=(const Utf8Measure&) = delete;

    /// The columns of a character; below 0 for one that has no form.
    static int columnsOf(char32_t character) { return ::wcwidth(static_cast<wchar_t>(character)); }

private:
    /// Made once and kept; where the system has none, the locale of the thread stays.
    static locale_t utf8()
    {
        static const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale;
    }

    locale_t before_;
};

struct Character {
    char32_t code;
    std::size_t bytes;
};

constexpr char32_t replacement = 0xFFFD;

/// The character that a text begins with; a byte that begins none is the replacement character.
Character firstOf(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80U) {
        return {first, 1};
    }
    std::size_t size = 1;
    char32_t code = 0;
    if ((first & 0xE0U) == 0xC0U) {
        size = 2;
        code = first & 0x1FU;
    } else if ((first & 0xF0U) == 0xE0U) {
        size = 3;
        code = first & 0x0FU;
    } else if ((first & 0xF8U) == 0xF0U) {
        size = 4;
        code = first & 0x07U;
    }
    if (size == 1 || !isUtf8(text.substr(0, size))) {
        return {replacement, 1};
    }
    for (const char next : text.substr(1, size - 1)) {
        code = (code << 6U) | (static_cast<unsigned char>(next) & 0x3FU);
    }
    return {code, size};
}

/// Whether a character is no part of a word, but says how what follows is to be arranged (Unicode's format characters
/// and separators).
bool arranges(char32_t code)
{
    struct Range {
        char32_t first;
        char32_t last;
    };
    constexpr std::array<Range, 9> ranges{{{0xAD, 0xAD},
                                           {0x61C, 0x61C},
                                           {0x180E, 0x180E},
                                           {0x200B, 0x200F},
                                           {0x2028, 0x202E},
                                           {0x2060, 0x206F},
                                           {0xFEFF, 0xFEFF},
                                           {0xFFF9, 0xFFFB},
                                           {0xE0000, 0xE007F}}};
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const Range& range) { return code >= range.first && code <= range.last; });
}

/// The bytes of a text's beginning that takes up to `columns`, and the columns that it does take.
struct Beginning {
    std::size_t bytes = 0;
    std::size_t columns = 0;
};

Beginning beginning(std::string_view text, std::size_t columns)
{
    const Utf8Measure measure;
    Beginning found;
    while (found.bytes < text.size()) {
        const Character next = firstOf(text.substr(found.bytes));
        const auto width = static_cast<std::size_t>(std::max(0, Utf8Measure::columnsOf(next.code)));
        if (found.columns + width > columns) {
            break;
        }
        found.bytes += next.bytes;
        found.columns += width;
    }
    return found;
}

} // namespace

std::string displayText(std::string_view text, bool hasUnicode)
{
    const Utf8Measure measure;
    const std::string safe = escapeControlCharacters(text);
    std::string shown;
    shown.reserve(safe.size());
    for (std::string_view rest = safe; !rest.empty();) {
        const Character next = firstOf(rest);
        const std::string_view bytes = rest.substr(0, next.bytes);
        rest.remove_prefix(next.bytes);
        const int width = Utf8Measure::columnsOf(next.code);
        const bool isAscii = next.code < 0x80U;
        if (!isAscii && arranges(next.code)) {
            shown += fmt::format("\\u{:04x}", static_cast<std::uint32_t>(next.code));
        } else if (!isAscii && !hasUnicode) {
            shown.append(static_cast<std::size_t>(std::max(1, width)), '?');
        } else if (!isAscii && (width < 0 || next.code == replacement)) {
            shown += "\xEF\xBF\xBD";
        } else {
            shown += bytes;
        }
    }
    return shown;
}

std::size_t displayColumns(std::string_view text)
{
    return beginning(text, static_cast<std::size_t>(-1)).columns;
}

std::string_view firstColumns(std::string_view text, std::size_t columns)
{
    return text.substr(0, beginning(text, columns).bytes);
}

std::string_view behindColumns(std::string_view text, std::size_t columns)
{
    const Beginning before = beginning(text, columns);
    if (before.columns < columns && before.bytes < text.size()) {
        return text.substr(before.bytes + firstOf(text.substr(before.bytes)).bytes);
    }
    return text.substr(before.bytes);
}

std::string atLeft(std::string_view text, std::size_t columns)
{
    const Beginning shown = beginning(text, columns);
    return std::string{text.substr(0, shown.bytes)} + std::string(columns - shown.columns, ' ');
}

std::string atRight(std::string_view text, std::size_t columns)
{
    const Beginning shown = beginning(text, columns);
    return std::string(columns - shown.columns, ' ') + std::string{text.substr(0, shown.bytes)};
}

} // namespace vexa::host
