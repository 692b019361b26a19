#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vexa {

/// The id of a subscribe request: "O-" and the number with at least three digits, O-001, O-999, O-1000.
[[nodiscard]] std::string operationId(std::int64_t number);

/// Orders operation ids by their numbers, the oldest operation first.
struct OperationOrder {
    using is_transparent = void;

    bool operator()(std::string_view a, std::string_view b) const noexcept
    {
        return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
};

} // namespace vexa
