#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace vexa::host {

/// Cuts bytes, as they come, into lines. A line ends at a line feed, which does not belong to it; what follows the last
/// one is a line too, unless it is empty. A line beyond a length is dropped and counted.
class InputLines {
public:
    /// \param longest  of a line, in bytes
    explicit InputLines(std::size_t longest) noexcept : longest_{longest} {}

    void add(std::string_view bytes);

    /// There are no more bytes.
    void end();

    /// The next whole line; nothing when there is none yet.
    [[nodiscard]] std::optional<std::string> take();

    [[nodiscard]] bool empty() const noexcept { return lines_.empty(); }

    /// How many lines were dropped.
    [[nodiscard]] std::uint64_t tooLong() const noexcept { return tooLong_; }

private:
    void append(std::string_view bytes);
    void finish();

    std::size_t longest_;
    std::deque<std::string> lines_;
    std::string unfinished_;
    bool isTooLong_ = false; ///< the unfinished one
    std::uint64_t tooLong_ = 0;
};

struct LineMessage {
    Dictionary payload;
    bool isRepaired = false; ///< bytes that are not UTF-8, which no message can carry, were replaced by U+FFFD
};

/// A line as {"text":…}.
[[nodiscard]] LineMessage textMessage(std::string_view line);

/// A line that is a JSON object as it stands, any other as {"text":…}.
[[nodiscard]] LineMessage messageOfLine(std::string_view line);

} // namespace vexa::host
