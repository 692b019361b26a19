#include <host/tool/client/MessageLines.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <fmt/format.h>

#include <cmath>
#include <ctime>

namespace vexa::host {

namespace {

/// The local time of day of a message, as hours, minutes, seconds and milliseconds; nothing when no calendar has it.
std::optional<std::string> timeOfDay(double secondsSince1970)
{
    constexpr double beyondCalendars = 0x1.0p53;
    if (std::abs(secondsSince1970) >= beyondCalendars) {
        return std::nullopt;
    }
    const double whole = std::floor(secondsSince1970);
    const auto milliseconds = static_cast<int>((secondsSince1970 - whole) * 1000);
    const auto seconds = static_cast<std::time_t>(whole);
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    return fmt::format("{:02}:{:02}:{:02}.{:03}", parts.tm_hour, parts.tm_min, parts.tm_sec, milliseconds);
}

/// A payload without what the service adds to it.
Dictionary content(const Dictionary& payload)
{
    Dictionary content = payload;
    content.erase("updatedAt");
    content.erase("isTerminating");
    return content;
}

} // namespace

std::string jsonLine(std::string_view topic, const VexaSubscriptionStream::Element& element)
{
    Dictionary line;
    line.emplace("topic", boost::json::string_view{topic.data(), topic.size()});
    line.emplace("message", *element.message);
    line.emplace("isTerminating", element.isTerminating);
    return messageText(line);
}

std::string plainLine(std::string_view topic, const VexaSubscriptionStream::Element& element)
{
    const Dictionary* payload = dictionaryAt(*element.message, "payload");
    std::string line;
    if (const auto updatedAt = payload != nullptr ? doubleAt(*payload, "updatedAt") : std::nullopt) {
        if (const auto time = timeOfDay(*updatedAt)) {
            line = *time + "  ";
        }
    }
    line += escapeControlCharacters(topic);
    if (payload != nullptr) {
        const Dictionary shown = content(*payload);
        const auto text = stringAt(shown, "text");
        if (text && shown.size() == 1) {
            line += "  " + escapeControlCharacters(*text);
        } else if (!shown.empty()) {
            line += "  " + escapeControlCharacters(messageText(shown));
        }
    }
    if (boolAt(*element.message, "replayed").value_or(false)) {
        line += "  (replayed)";
    }
    if (element.isTerminating) {
        line += "  (the topic has ended)";
    }
    return line;
}

std::optional<std::string> textLine(const VexaSubscriptionStream::Element& element)
{
    const Dictionary* payload = dictionaryAt(*element.message, "payload");
    const auto text = payload != nullptr ? stringAt(*payload, "text") : std::nullopt;
    return text ? std::optional{std::string{*text}} : std::nullopt;
}

} // namespace vexa::host
