#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace vexa::simulation {

/// What the library is held against.
enum class Profile : std::uint8_t {
    rules,  ///< the model, with a service that is made up and does anything
    service ///< its promises from end to end, with the real service
};

inline constexpr std::array<std::string_view, 2> profileNames{"rules", "service"};

} // namespace vexa::simulation
