#include <VexaClient/platform/Text.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <optional>

namespace vexa {

namespace {

/// The longest plain notation of a double: the smallest numbers have 323 zeros before their up to 17 digits.
constexpr std::size_t longestPlainDecimal = 400;

void appendEscape(std::string& out, unsigned char control)
{
    switch (control) {
    case '\n':
        out += "\\n";
        return;
    case '\r':
        out += "\\r";
        return;
    case '\t':
        out += "\\t";
        return;
    default:
        constexpr std::string_view digits = "0123456789abcdef";
        out += "\\u00";
        out += digits[control >> 4U];
        out += digits[control & 0xFU];
    }
}

/// How a UTF-8 sequence goes on after its first byte: how many bytes follow, and the range of the next one.
struct Sequence {
    std::size_t following;
    unsigned char lowest;
    unsigned char highest;
};

/// The sequence that `first` begins, none when it begins none.
std::optional<Sequence> sequenceAfter(unsigned char first) noexcept
{
    if (first < 0x80) {
        return Sequence{0, 0, 0};
    }
    if (first >= 0xC2 && first <= 0xDF) {
        return Sequence{1, 0x80, 0xBF};
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return Sequence{2, static_cast<unsigned char>(first == 0xE0 ? 0xA0 : 0x80),
                        static_cast<unsigned char>(first == 0xED ? 0x9F : 0xBF)};
    }
    if (first >= 0xF0 && first <= 0xF4) {
        return Sequence{3, static_cast<unsigned char>(first == 0xF0 ? 0x90 : 0x80),
                        static_cast<unsigned char>(first == 0xF4 ? 0x8F : 0xBF)};
    }
    return std::nullopt;
}

} // namespace

bool isUtf8(std::string_view text) noexcept
{
    for (std::size_t i = 0; i < text.size();) {
        std::optional<Sequence> sequence = sequenceAfter(static_cast<unsigned char>(text[i++]));
        if (!sequence || text.size() - i < sequence->following) {
            return false;
        }
        for (; sequence->following > 0; --sequence->following) {
            const auto byte = static_cast<unsigned char>(text[i++]);
            if (byte < sequence->lowest || byte > sequence->highest) {
                return false;
            }
            sequence->lowest = 0x80;
            sequence->highest = 0xBF;
        }
    }
    return true;
}

std::string joined(std::initializer_list<std::string_view> parts)
{
    std::size_t size = 0;
    for (std::string_view part : parts) {
        size += part.size();
    }
    std::string text;
    text.reserve(size);
    for (std::string_view part : parts) {
        text += part;
    }
    return text;
}

std::string plainDecimal(double number)
{
    if (std::isnan(number)) {
        return "nan";
    }
    std::array<char, longestPlainDecimal> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed);
    std::string text{buffer.data(), result.ptr};
    if (std::isfinite(number) && text.find('.') == std::string::npos) {
        text += ".0";
    }
    return text;
}

std::string decimal(std::int64_t number)
{
    return std::to_string(number);
}

std::string optionalDisplay(std::string_view text)
{
    return joined({"Optional(", text, ")"});
}

void appendWithEscapes(std::string& out, std::string_view text)
{
    // What needs no escape, which is nearly everything, is appended in one piece.
    std::size_t begin = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) {
            out += text.substr(begin, i - begin);
            appendEscape(out, byte);
            begin = i + 1;
            continue;
        }
        const auto following = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0U;
        if (byte == 0xC2 && following >= 0x80 && following <= 0x9F) {
            out += text.substr(begin, i - begin);
            appendEscape(out, static_cast<unsigned char>(following));
            begin = i + 2;
            ++i;
        }
    }
    out += text.substr(begin);
}

std::string escapeControlCharacters(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    appendWithEscapes(out, text);
    return out;
}

} // namespace vexa
