#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vexa::host {

/// How a piece of text looks on a screen.
enum class ScreenStyle : std::uint8_t { plain, strong, faint, bar, chosen, good, bad };

struct ScreenPiece {
    std::string text; ///< as displayText() makes it
    ScreenStyle style = ScreenStyle::plain;
};

/// One line of a screen, no wider than it.
using ScreenLine = std::vector<ScreenPiece>;

/// A key that was pressed.
struct Key {
    enum class Kind : std::uint8_t {
        character,
        up,
        down,
        left,
        right,
        pageUp,
        pageDown,
        home,
        end,
        enter,
        escape,
        erase, ///< the character before the cursor
        other
    };

    Kind kind = Kind::other;
    char32_t character = 0; ///< of the kind `character`
};

} // namespace vexa::host
