#include "Certificates.hpp"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace vexa::host {

namespace {

template <class Type, void (*release)(Type*)>
struct Releaser {
    void operator()(Type* object) const { release(object); }
};
using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY, EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Releaser<X509, X509_free>>;

void require(bool holds)
{
    if (!holds) {
        throw std::runtime_error{"a certificate for the tests could not be made"};
    }
}

void addExtension(X509* certificate, X509* issuer, int kind, const char* value)
{
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
    require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
    X509_EXTENSION_free(extension);
}

/// A certificate for `key`, issued by `issuer`, or by itself when that is null, and good for an hour.
Certificate issue(const char* name, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey, const char* alternativeNames)
{
    constexpr long hour = 3600;
    Certificate made{X509_new()};
    X509* const certificate = made.get();
    require(certificate != nullptr && X509_set_version(certificate, 2) == 1);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), issuer == nullptr ? 1 : static_cast<long>(name[0]));
    X509_gmtime_adj(X509_getm_notBefore(certificate), -hour);
    X509_gmtime_adj(X509_getm_notAfter(certificate), hour);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
    X509* const signer = issuer != nullptr ? issuer : certificate;
    X509_set_issuer_name(certificate, X509_get_subject_name(signer));
    X509_set_pubkey(certificate, key);
    addExtension(certificate, signer, NID_basic_constraints, issuer == nullptr ? "critical,CA:TRUE" : "CA:FALSE");
    if (alternativeNames != nullptr) {
        addExtension(certificate, signer, NID_subject_alt_name, alternativeNames);
    }
    require(X509_sign(certificate, issuerKey, EVP_sha256()) > 0);
    return made;
}

template <class Write>
void writeFile(const std::string& path, Write write)
{
    std::FILE* const file = std::fopen(path.c_str(), "w");
    require(file != nullptr);
    const bool isWritten = write(file) == 1;
    require(std::fclose(file) == 0 && isWritten);
}

void writeCertificate(const std::string& path, X509* certificate)
{
    writeFile(path, [certificate](std::FILE* file) { return PEM_write_X509(file, certificate); });
}

void writeKey(const std::string& path, EVP_PKEY* key)
{
    writeFile(path, [key](std::FILE* file) {
        return PEM_write_PrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

} // namespace

Certificates::Certificates()
{
    std::string pattern = std::filesystem::temp_directory_path() / "vexa-certificates-XXXXXX";
    require(::mkdtemp(pattern.data()) != nullptr);
    folder_ = pattern;
    const Key authorityKey{EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256")};
    const Certificate authority = issue("authority", authorityKey.get(), nullptr, authorityKey.get(), nullptr);
    writeCertificate(file("authority.pem"), authority.get());
    const auto add = [&](const std::string& name, const char* alternativeNames) {
        const Key key{EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256")};
        const Certificate made = issue(name.c_str(), key.get(), authority.get(), authorityKey.get(), alternativeNames);
        writeCertificate(file(name + ".pem"), made.get());
        writeKey(file(name + ".key"), key.get());
    };
    add("server", "DNS:localhost,IP:127.0.0.1");
    add("client", "DNS:client");
}

Certificates::~Certificates()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

} // namespace vexa::host
