#include "ClientUnderTest.hpp"
#include "Prepared.hpp"
#include "TestService.hpp"

#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <functional>
#include <string>
#include <utility>

namespace vexa::host {
namespace {

using Entries = Happenings::Entries;
using Context = boost::asio::ssl::context;

/// A TLS service that sends one message to each client and then reads.
class TlsService {
public:
    explicit TlsService(const std::string& certificate)
    {
        context_.use_certificate_chain_file(certificateFile(certificate + ".pem"));
        context_.use_private_key_file(certificateFile(certificate + ".key"), Context::pem);
    }

    /// Must be called before the first client comes.
    [[nodiscard]] Context& context() { return context_; }

    [[nodiscard]] std::string url() const { return service_.url("wss"); }

    Happenings names; ///< the server name that each client announced

private:
    void treat(TestService::Socket& socket)
    {
        boost::beast::websocket::stream<boost::asio::ssl::stream<TestService::Socket&>> stream{socket, context_};
        stream.next_layer().handshake(boost::asio::ssl::stream_base::server);
        const char* name = SSL_get_servername(stream.next_layer().native_handle(), TLSEXT_NAMETYPE_host_name);
        names.add(name != nullptr ? name : "");
        stream.accept();
        stream.write(boost::asio::buffer(numbered(1)));
        boost::beast::flat_buffer buffer;
        for (;;) {
            stream.read(buffer);
        }
    }

    Context context_{Context::tls_server};
    TestService service_{[this](TestService::Socket& socket, int /*number*/) { treat(socket); }};
};

OruWebSocketClientOptions trusting(const std::string& authority, std::string url)
{
    OruWebSocketClientOptions options = optionsFor(std::move(url));
    options.tls.authoritiesFile = certificateFile(authority + ".pem");
    return options;
}

TEST(WebSocketTlsTest, aServiceWithTheRightCertificateIsTrusted)
{
    TlsService service{"localhost"};
    ClientUnderTest under{trusting("authority", service.url())};
    under.client->start();
    EXPECT_EQ(under.happenings().await(2), (Entries{"opened", numbered(1)}));
    EXPECT_EQ(service.names.entries(), Entries{"localhost"});
    under.client->stop();
    EXPECT_EQ(under.happenings().entries(), (Entries{"opened", numbered(1), "closed"}));
}

TEST(WebSocketTlsTest, aCertificateForTheAddressIsTrustedAndTheAddressNotAnnounced)
{
    TlsService service{"localhost"};
    std::string url = service.url();
    url.replace(url.find("localhost"), 9, "127.0.0.1");
    ClientUnderTest under{trusting("authority", url)};
    under.client->start();
    under.happenings().awaitEntry("opened");
    EXPECT_EQ(service.names.entries(), Entries{""});
}

TEST(WebSocketTlsTest, theSystemDoesNotTrustAnUnknownAuthority)
{
    TlsService service{"localhost"};
    ClientUnderTest under{optionsFor(service.url())};
    under.client->start();
    under.console->awaitPart("certificate is not accepted: unable to get local issuer certificate");
    EXPECT_TRUE(under.happenings().entries().empty());
}

TEST(WebSocketTlsTest, aCertificateOfAnotherAuthorityIsNotTrusted)
{
    TlsService service{"imposter"};
    ClientUnderTest under{trusting("authority", service.url())};
    under.client->start();
    under.console->awaitPart("certificate is not accepted: unable to get local issuer certificate");
    EXPECT_TRUE(under.happenings().entries().empty());
}

TEST(WebSocketTlsTest, aCertificateForAnotherHostIsNotTrusted)
{
    TlsService service{"elsewhere"};
    ClientUnderTest under{trusting("authority", service.url())};
    under.client->start();
    under.console->awaitPart("certificate is not accepted: hostname mismatch");
    EXPECT_TRUE(under.happenings().entries().empty());
}

TEST(WebSocketTlsTest, aCertificateForAnotherAddressIsNotTrusted)
{
    TlsService service{"elsewhere"};
    std::string url = service.url();
    url.replace(url.find("localhost"), 9, "127.0.0.1");
    ClientUnderTest under{trusting("authority", url)};
    under.client->start();
    under.console->awaitPart("certificate is not accepted: IP address mismatch");
    EXPECT_TRUE(under.happenings().entries().empty());
}

TEST(WebSocketTlsTest, aNameOutsideTheListOfNamesDoesNotCount)
{
    TlsService service{"unlisted"};
    ClientUnderTest under{trusting("authority", service.url())};
    under.client->start();
    under.console->awaitPart("certificate is not accepted: hostname mismatch");
    EXPECT_TRUE(under.happenings().entries().empty());
}

TEST(WebSocketTlsTest, withoutVerificationAnyCertificateWillDo)
{
    TlsService service{"elsewhere"};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.tls.verifiesPeer = false;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    EXPECT_EQ(under.happenings().await(2), (Entries{"opened", numbered(1)}));
}

TEST(WebSocketTlsTest, aServiceThatAsksForACertificateGetsIt)
{
    TlsService service{"localhost"};
    service.context().set_verify_mode(boost::asio::ssl::verify_peer | boost::asio::ssl::verify_fail_if_no_peer_cert);
    service.context().load_verify_file(certificateFile("authority.pem"));

    OruWebSocketClientOptions options = trusting("authority", service.url());
    ClientUnderTest without{options};
    without.client->start();
    without.console->awaitPart("cannot connect to");
    EXPECT_TRUE(without.happenings().entries().empty());

    options.tls.certificateFile = certificateFile("client.pem");
    options.tls.privateKeyFile = certificateFile("client.key");
    ClientUnderTest with{options};
    with.client->start();
    EXPECT_EQ(with.happenings().await(2), (Entries{"opened", numbered(1)}));
}

TEST(WebSocketTlsTest, anOldVersionIsRefused)
{
    TlsService service{"localhost"};
    // OpenSSL itself refuses such versions at its usual level of security.
    SSL_CTX_set_security_level(service.context().native_handle(), 0);
    SSL_CTX_set_max_proto_version(service.context().native_handle(), TLS1_1_VERSION);
    ClientUnderTest under{trusting("authority", service.url())};
    under.client->start();
    under.console->awaitPart("the TLS handshake failed");
    EXPECT_TRUE(under.happenings().entries().empty());
}

} // namespace
} // namespace vexa::host
