#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/subscription_client/Md5.hpp>

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <array>
#include <memory>

namespace vexa {

namespace {

constexpr std::size_t digestSize = 16;
constexpr std::size_t base64Size = 24;

/// The algorithm, fetched once, in a library context of its own: a process that is confined to FIPS algorithms can
/// still tell its topics apart. Never freed, so that it can be used while the process exits.
const EVP_MD* algorithm()
{
    static const EVP_MD* const md5 = [] {
        OSSL_LIB_CTX* const library = OSSL_LIB_CTX_new();
        if (library == nullptr || OSSL_PROVIDER_load(library, "default") == nullptr) {
            fatal("OpenSSL's default provider cannot be loaded");
        }
        EVP_MD* const fetched = EVP_MD_fetch(library, "MD5", nullptr);
        if (fetched == nullptr) {
            fatal("OpenSSL offers no MD5");
        }
        return fetched;
    }();
    return md5;
}

struct FreeContext {
    void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

EVP_MD_CTX* threadContext()
{
    thread_local const std::unique_ptr<EVP_MD_CTX, FreeContext> context{EVP_MD_CTX_new()};
    return context.get();
}

void require(int result)
{
    if (result != 1) {
        fatal("OpenSSL's MD5 failed");
    }
}

} // namespace

Md5::Md5() : context_{threadContext()}
{
    require(context_ != nullptr ? EVP_DigestInit_ex2(context_, algorithm(), nullptr) : 0);
}

void Md5::update(std::string_view bytes)
{
    require(EVP_DigestUpdate(context_, bytes.data(), bytes.size()));
}

std::string Md5::finishBase64()
{
    std::array<unsigned char, digestSize> digest{};
    require(EVP_DigestFinal_ex(context_, digest.data(), nullptr));
    // EVP_EncodeBlock() writes a terminating zero behind the text.
    std::array<unsigned char, base64Size + 1> text{};
    EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(digest.size()));
    return {text.begin(), text.begin() + base64Size};
}

} // namespace vexa
