#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace vexa {

/// Lets tables keyed by text be searched with a view of it.
struct TextHash {
    using is_transparent = void;

    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
};

template <class Entry>
using TextTable = std::unordered_map<std::string, Entry, TextHash, std::equal_to<>>;

using TextSet = std::unordered_set<std::string, TextHash, std::equal_to<>>;

} // namespace vexa
