#pragma once

#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace vexa {

/// An MD5 digest (RFC 1321) in the making. It identifies things within a process and protects nothing.
///
/// A thread makes one digest at a time: the context is the thread's, kept from one digest to the next.
class Md5 {
public:
    Md5();

    void update(std::string_view bytes);

    /// Ends the digest and gives its 16 bytes in standard base64 (RFC 4648): 24 characters.
    [[nodiscard]] std::string finishBase64();

private:
    evp_md_ctx_st* context_;
};

} // namespace vexa
