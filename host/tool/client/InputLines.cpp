#include <host/tool/client/InputLines.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <limits>
#include <utility>

namespace vexa::host {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// How many bytes a well-formed character at the front of `text` has; 0 when there is none.
std::size_t characterLength(std::string_view text)
{
    constexpr std::size_t longest = 4;
    for (std::size_t length = 1; length <= std::min(longest, text.size()); ++length) {
        if (isUtf8(text.substr(0, length))) {
            return length;
        }
    }
    return 0;
}

/// `text` with every byte that belongs to no character replaced.
std::string repaired(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        result.append(length > 0 ? text.substr(0, length) : replacementCharacter);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

} // namespace

void InputLines::add(std::string_view bytes)
{
    for (std::size_t end = bytes.find('\n'); end != std::string_view::npos; end = bytes.find('\n')) {
        append(bytes.substr(0, end));
        finish();
        bytes.remove_prefix(end + 1);
    }
    append(bytes);
}

void InputLines::end()
{
    if (!unfinished_.empty() || isTooLong_) {
        finish();
    }
}

void InputLines::append(std::string_view bytes)
{
    if (isTooLong_ || bytes.size() > longest_ - unfinished_.size()) {
        isTooLong_ = true;
        unfinished_ = {};
    } else {
        unfinished_.append(bytes);
    }
}

void InputLines::finish()
{
    if (std::exchange(isTooLong_, false)) {
        ++tooLong_;
    } else {
        lines_.push_back(std::exchange(unfinished_, {}));
    }
}

std::optional<std::string> InputLines::take()
{
    if (lines_.empty()) {
        return std::nullopt;
    }
    std::string line = std::move(lines_.front());
    lines_.pop_front();
    return line;
}

LineMessage textMessage(std::string_view line)
{
    const bool isText = isUtf8(line);
    const std::string text = isText ? std::string{line} : repaired(line);
    Dictionary payload;
    payload.emplace("text", boost::json::string_view{text.data(), text.size()});
    return {std::move(payload), !isText};
}

LineMessage messageOfLine(std::string_view line)
{
    if (line.find('{') != std::string_view::npos) {
        boost::system::error_code error;
        MessageTextLimits limits;
        limits.bytes = std::numeric_limits<std::size_t>::max();
        Dictionary object = readMessage(line, error, limits);
        if (!error) {
            return {std::move(object), false};
        }
    }
    return textMessage(line);
}

} // namespace vexa::host
