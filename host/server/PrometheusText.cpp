#include <host/server/PrometheusText.hpp>

#include <array>
#include <charconv>
#include <cmath>

namespace vexa::host {

namespace {

void appendEscaped(std::string& out, std::string_view text, bool isLabel)
{
    for (const char character : text) {
        if (character == '\\') {
            out += "\\\\";
        } else if (character == '\n') {
            out += "\\n";
        } else if (character == '"' && isLabel) {
            out += "\\\"";
        } else {
            out += character;
        }
    }
}

template <class Number>
void appendDigits(std::string& out, Number number)
{
    std::array<char, 32> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    out.append(digits.data(), written.ptr);
}

} // namespace

void PrometheusText::begin(std::string_view name, std::string_view type, std::string_view help)
{
    name_ = name;
    text_.append("# HELP ").append(name).append(" ");
    appendEscaped(text_, help, false);
    text_.append("\n# TYPE ").append(name).append(" ").append(type).append("\n");
}

void PrometheusText::value(std::uint64_t number, Labels labels)
{
    beginValue(labels);
    appendDigits(text_, number);
    text_ += '\n';
}

void PrometheusText::value(double number, Labels labels)
{
    beginValue(labels);
    if (std::isfinite(number)) {
        appendDigits(text_, number);
    } else if (std::isnan(number)) {
        text_ += "NaN";
    } else {
        text_ += number > 0 ? "+Inf" : "-Inf";
    }
    text_ += '\n';
}

void PrometheusText::beginValue(Labels labels)
{
    text_ += name_;
    char separator = '{';
    for (const auto& [name, value] : labels) {
        text_ += separator;
        text_.append(name).append("=\"");
        appendEscaped(text_, value, true);
        text_ += '"';
        separator = ',';
    }
    text_ += labels.size() > 0 ? "} " : " ";
}

} // namespace vexa::host
