#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// The tokens that open a server to clients (RFC 6750). Immutable.
///
/// Only digests of them are kept. A token is compared with every one of them, each in a time that does not depend on
/// where they differ, so that the time of an answer tells nothing about a token.
class BearerTokens {
public:
    /// Reads tokens, one a line. Blanks around them, empty lines and lines that begin with '#' do not count. Throws
    /// std::invalid_argument, with a sentence that says what is wrong, when a line holds more than one word or
    /// characters that no token has (RFC 6750, section 2.1), and when there is no token at all: a server that was told
    /// to ask for one would let nobody in.
    [[nodiscard]] static BearerTokens read(std::string_view text);

    /// Reads a file of tokens. Throws std::invalid_argument as read() does, naming the file.
    [[nodiscard]] static BearerTokens readFile(const std::string& path);

    /// Whether the value of an Authorization field brings one of the tokens.
    [[nodiscard]] bool allow(std::string_view authorization) const;

    [[nodiscard]] std::size_t count() const noexcept { return digests_.size(); }

private:
    using Digest = std::array<unsigned char, 32>;

    [[nodiscard]] static Digest digestOf(std::string_view token);

    std::vector<Digest> digests_;
};

} // namespace vexa::host
