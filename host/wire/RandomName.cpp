#include <host/wire/RandomName.hpp>

#include <cstdint>

namespace vexa::host {

std::string randomName(Platform& platform)
{
    constexpr std::size_t digits = 16;
    constexpr unsigned bitsOfADigit = 4;
    std::string name(digits, '0');
    std::uint64_t bits = platform.randomBits();
    for (auto digit = name.rbegin(); digit != name.rend(); ++digit, bits >>= bitsOfADigit) {
        *digit = "0123456789abcdef"[bits & 0xf];
    }
    return name;
}

} // namespace vexa::host
