#include <host/websocket/TlsContext.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/asio/ip/address.hpp>

#include <openssl/ssl.h>
#include <openssl/tls1.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

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

boost::asio::ssl::context makeTlsContext(const TlsOptions& options)
{
    Context context{Context::tls_client};
    SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
    context.set_verify_mode(options.verifiesPeer ? boost::asio::ssl::verify_peer : boost::asio::ssl::verify_none);

    boost::system::error_code error;
    if (options.authoritiesFile.empty()) {
        context.set_default_verify_paths(error);
        require(error, "the certificates of", "the system");
    } else {
        context.load_verify_file(options.authoritiesFile, error);
        require(error, "the file of authorities", options.authoritiesFile);
    }
    if (options.certificateFile.empty() != options.privateKeyFile.empty()) {
        throw std::invalid_argument{"a client certificate and its private key are given together or not at all"};
    }
    if (!options.certificateFile.empty()) {
        context.use_certificate_chain_file(options.certificateFile, error);
        require(error, "the client certificate", options.certificateFile);
        context.use_private_key_file(options.privateKeyFile, Context::pem, error);
        require(error, "the private key", options.privateKeyFile);
    }
    return context;
}

bool tieToHost(SSL* connection, const std::string& host)
{
    boost::system::error_code isNoAddress;
    boost::asio::ip::make_address(host, isNoAddress);
    if (!isNoAddress) {
        return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(connection), host.c_str()) == 1;
    }
    // RFC 9525 knows neither names outside the list of alternative names nor wildcards for a part of a label.
    SSL_set_hostflags(connection, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    std::string announced = host;
    return SSL_set1_host(connection, host.c_str()) == 1 &&
           SSL_ctrl(connection, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, announced.data()) == 1;
}

std::string certificateTrouble(const SSL* connection)
{
    const long verdict = SSL_get_verify_result(connection);
    return verdict == X509_V_OK ? std::string{} : std::string{X509_verify_cert_error_string(verdict)};
}

} // namespace vexa::host
