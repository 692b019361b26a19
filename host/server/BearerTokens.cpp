#include <host/server/BearerTokens.hpp>
#include <VexaClient/platform/Text.hpp>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace vexa::host {

namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool isTokenCharacter(char character)
{
    constexpr std::string_view others = "-._~+/=";
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || others.find(character) != std::string_view::npos;
}

bool isScheme(std::string_view scheme)
{
    constexpr std::string_view bearer = "bearer";
    return std::equal(scheme.begin(), scheme.end(), bearer.begin(), bearer.end(), [](char one, char other) {
        return one == other || (one >= 'A' && one <= 'Z' && one - 'A' + 'a' == other);
    });
}

} // namespace

BearerTokens BearerTokens::read(std::string_view text)
{
    BearerTokens tokens;
    std::size_t line = 0;
    while (!text.empty()) {
        ++line;
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view token = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (token.empty() || token.starts_with('#')) {
            continue;
        }
        if (!std::all_of(token.begin(), token.end(), isTokenCharacter)) {
            throw std::invalid_argument{joined({"line ", decimal(static_cast<std::int64_t>(line)),
                                                " holds no token: one is made of letters, digits and -._~+/="})};
        }
        tokens.digests_.push_back(digestOf(token));
    }
    if (tokens.digests_.empty()) {
        throw std::invalid_argument{"there is no token; write one a line"};
    }
    return tokens;
}

BearerTokens BearerTokens::readFile(const std::string& path)
{
    std::ifstream file{path, std::ios::binary};
    const std::string text{std::istreambuf_iterator<char>{file}, {}};
    if (!file) {
        throw std::invalid_argument{
            joined({"cannot read the token file '", path, "': ", std::generic_category().message(errno)})};
    }
    try {
        return read(text);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument{joined({"the token file '", path, "' cannot be used: ", error.what()})};
    }
}

bool BearerTokens::allow(std::string_view authorization) const
{
    const std::size_t space = authorization.find(' ');
    if (space == std::string_view::npos || !isScheme(authorization.substr(0, space))) {
        return false;
    }
    const Digest given = digestOf(trimmed(authorization.substr(space)));
    int matches = 0;
    for (const Digest& each : digests_) {
        matches |= static_cast<int>(CRYPTO_memcmp(each.data(), given.data(), given.size()) == 0);
    }
    return matches != 0;
}

BearerTokens::Digest BearerTokens::digestOf(std::string_view token)
{
    Digest digest{};
    if (EVP_Digest(token.data(), token.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error{"OpenSSL cannot make a digest of a token"};
    }
    return digest;
}

} // namespace vexa::host
