#include <host/broker/nats/HexadecimalDigest.hpp>
#include <VexaClient/platform/Fatal.hpp>

#include <openssl/evp.h>

#include <array>
#include <cstddef>

namespace vexa::host {

namespace {

constexpr std::string_view digits = "0123456789abcdef";
constexpr std::size_t digestBytes = 32;

} // namespace

std::string hexadecimalDigest(std::string_view text)
{
    std::array<unsigned char, digestBytes> digest{};
    unsigned int length = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
        fatal("The SHA-256 digest of a text could not be computed");
    }
    std::string hexadecimal;
    hexadecimal.reserve(2 * digestBytes);
    for (const unsigned char byte : digest) {
        hexadecimal += digits[byte >> 4U];
        hexadecimal += digits[byte & 0xFU];
    }
    return hexadecimal;
}

} // namespace vexa::host
