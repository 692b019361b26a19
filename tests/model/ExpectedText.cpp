#include "tests/model/ExpectedText.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace vexa::model {

namespace {

std::string escaped(unsigned int code)
{
    if (code == '\n') {
        return "\\n";
    }
    if (code == '\r') {
        return "\\r";
    }
    if (code == '\t') {
        return "\\t";
    }
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "\\u%04x", code);
    return text.data();
}

} // namespace

std::string withoutControlCharacters(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned int byte = static_cast<unsigned char>(text[i]);
        const unsigned int second = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if (byte < 32 || byte == 127) {
            result += escaped(byte);
        } else if (byte == 0xC2 && second >= 0x80 && second < 0xA0) {
            result += escaped(second);
            ++i;
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string plainNumber(double number)
{
    // As few digits as read back the same; "%.*e" gives the digits and where the point stands.
    std::array<char, 40> text{};
    for (int digits = 0; digits < 17; ++digits) {
        std::snprintf(text.data(), text.size(), "%.*e", digits, number);
        if (std::strtod(text.data(), nullptr) == number) {
            break;
        }
    }
    std::string significant;
    const char* place = text.data();
    const bool isNegative = *place == '-';
    for (; *place != 'e'; ++place) {
        if (*place >= '0' && *place <= '9') {
            significant += *place;
        }
    }
    const int exponent = std::atoi(place + 1);
    while (significant.size() > 1 && significant.back() == '0') {
        significant.pop_back();
    }
    std::string whole;
    std::string fraction;
    for (int i = 0; i <= exponent; ++i) {
        const auto index = static_cast<std::size_t>(i);
        whole += index < significant.size() ? significant[index] : '0';
    }
    if (exponent < 0) {
        fraction.append(static_cast<std::size_t>(-exponent - 1), '0');
        fraction += significant;
    } else if (significant.size() > static_cast<std::size_t>(exponent) + 1) {
        fraction = significant.substr(static_cast<std::size_t>(exponent) + 1);
    }
    return (isNegative ? "-" : "") + (whole.empty() ? "0" : whole) + "." + (fraction.empty() ? "0" : fraction);
}

std::string operationName(std::int64_t number)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "O-%03lld", static_cast<long long>(number));
    return text.data();
}

} // namespace vexa::model
