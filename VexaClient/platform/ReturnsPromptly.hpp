#pragma once

namespace vexa {

/// Marks a class whose operations only pass work on and never run code that may block. Its callers can then go on
/// without making room for a long stay.
class ReturnsPromptly {
public:
    virtual ~ReturnsPromptly() = default;
};

} // namespace vexa
