#include <host/server/ServerTls.hpp>
#include <VexaClient/platform/Text.hpp>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <stdexcept>
#include <string_view>

namespace vexa::host {

namespace {

using Context = boost::asio::ssl::context;

void require(const boost::system::error_code& error, std::string_view what, std::string_view file)
{
    if (error) {
        throw std::invalid_argument{joined({"cannot use ", what, " '", file, "': ", error.message()})};
    }
}

} // namespace

boost::asio::ssl::context makeServerTls(const ServerTlsFiles& files)
{
    if (files.certificateChain.empty() || files.privateKey.empty()) {
        throw std::invalid_argument{"TLS needs both a certificate and its private key"};
    }
    Context context{Context::tls_server};
    SSL_CTX* const native = context.native_handle();
    SSL_CTX_set_min_proto_version(native, TLS1_2_VERSION);
    // An idle connection then gives back its buffers of 34 KiB.
    SSL_CTX_set_mode(native, SSL_MODE_RELEASE_BUFFERS);

    boost::system::error_code error;
    context.use_certificate_chain_file(files.certificateChain, error);
    require(error, "the certificate", files.certificateChain);
    context.use_private_key_file(files.privateKey, Context::pem, error);
    require(error, "the private key", files.privateKey);
    if (!files.clientAuthorities.empty()) {
        context.load_verify_file(files.clientAuthorities, error);
        require(error, "the file of client authorities", files.clientAuthorities);
        SSL_CTX_set_client_CA_list(native, SSL_load_client_CA_file(files.clientAuthorities.c_str()));
        context.set_verify_mode(boost::asio::ssl::verify_peer | boost::asio::ssl::verify_fail_if_no_peer_cert);
        constexpr unsigned char sessionContext[] = "vexa";
        SSL_CTX_set_session_id_context(native, sessionContext, sizeof(sessionContext) - 1);
    }
    ERR_clear_error();
    return context;
}

} // namespace vexa::host
