#include "Certificates.hpp"
#include "ServerUnderTest.hpp"
#include "TestClient.hpp"

#include <boost/asio/read.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/ssl.hpp>

#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <array>
#include <list>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {
namespace {

using TlsLayer = boost::asio::ssl::stream<Tcp::socket>;
using TlsContext = boost::asio::ssl::context;

VexaServerOptions secured(const Certificates& certificates)
{
    VexaServerOptions options = loopback();
    options.tls.certificateChain = certificates.file("server.pem");
    options.tls.privateKey = certificates.file("server.key");
    return options;
}

TlsContext trusting(const Certificates& certificates)
{
    TlsContext context{TlsContext::tls_client};
    context.load_verify_file(certificates.file("authority.pem"));
    context.set_verify_mode(boost::asio::ssl::verify_peer);
    return context;
}

class TlsClient : public BasicTestClient<TlsLayer> {
public:
    TlsClient(const ServerUnderTest& under, TlsContext& context) : BasicTestClient<TlsLayer>{under.port(), context}
    {
        connect();
    }

    void secure() { stream().next_layer().handshake(TlsLayer::client); }
};

TEST(Tls, CarriesTheWebSocket)
{
    const Certificates certificates;
    ServerUnderTest under{secured(certificates)};
    EXPECT_EQ(under.server.url().substr(0, 16), "wss://127.0.0.1:");
    TlsContext context = trusting(certificates);
    std::list<TlsClient> clients;
    for (int number = 0; number < 20; ++number) {
        TlsClient& client = clients.emplace_back(under, context);
        client.secure();
        ASSERT_EQ(client.shakeHands(), 101U);
        static_cast<void>(client.subscribe("scores"));
    }
    clients.front().send(publishRequest("P-1", {Dictionary{{"number", 1}, {"text", std::string(100'000, 'x')}}}));
    for (int number = 2; number <= 10; ++number) {
        under.publish(number);
    }
    for (TlsClient& client : clients) {
        std::vector<int> numbers;
        while (numbers.size() < 10) {
            const Dictionary message = client.receive();
            if (message.at("type") == "data") {
                for (const Value& each : message.at("messages").as_array()) {
                    numbers.push_back(each.at("payload").at("number").to_number<int>());
                }
            }
        }
        std::sort(numbers.begin(), numbers.end());
        EXPECT_EQ(numbers, numbersFrom(1, 10));
    }
    std::thread stopper{[&under] { under.server.stop(); }};
    for (TlsClient& client : clients) {
        EXPECT_EQ(client.closeCode(), 1001U);
    }
    stopper.join();
}

TEST(Tls, CarriesHttp)
{
    const Certificates certificates;
    ServerUnderTest under{secured(certificates)};
    TlsContext context = trusting(certificates);
    TlsClient client{under, context};
    client.secure();
    namespace http = boost::beast::http;
    boost::beast::flat_buffer buffer;
    for (const bool isLast : {false, true}) {
        http::request<http::string_body> request{http::verb::get, "/healthz", 11};
        request.set(http::field::host, "localhost");
        request.keep_alive(!isLast);
        http::write(client.stream().next_layer(), request);
        http::response<http::string_body> response;
        http::read(client.stream().next_layer(), buffer, response);
        EXPECT_EQ(response.result_int(), 200U);
    }
    ErrorCode error;
    client.stream().next_layer().read_some(buffer.prepare(1), error);
    EXPECT_EQ(error, boost::asio::error::eof) << "the server has said that it ends: " << error.message();
}

TEST(Tls, AsksForACertificateOfTheClient)
{
    const Certificates certificates;
    VexaServerOptions options = secured(certificates);
    options.tls.clientAuthorities = certificates.file("authority.pem");
    ServerUnderTest under{options};

    TlsContext context = trusting(certificates);
    TlsClient without{under, context};
    EXPECT_THROW(
        {
            without.secure();
            without.shakeHands();
            without.exchange();
        },
        boost::system::system_error);

    context.use_certificate_chain_file(certificates.file("client.pem"));
    context.use_private_key_file(certificates.file("client.key"), TlsContext::pem);
    TlsClient with{under, context};
    with.secure();
    EXPECT_EQ(with.shakeHands(), 101U);
    with.exchange();
    EXPECT_EQ(under.server.figures().webSocketsOpened, 1U);
}

TEST(Tls, RefusesOldVersions)
{
    const Certificates certificates;
    ServerUnderTest under{secured(certificates)};
    TlsContext context = trusting(certificates);
    SSL_CTX_set_security_level(context.native_handle(), 0);
    SSL_CTX_set_max_proto_version(context.native_handle(), TLS1_1_VERSION);
    TlsClient old{under, context};
    EXPECT_THROW(old.secure(), boost::system::system_error);

    SSL_CTX_set_max_proto_version(context.native_handle(), TLS1_2_VERSION);
    TlsClient recent{under, context};
    recent.secure();
    EXPECT_EQ(recent.shakeHands(), 101U);
}

TEST(Tls, ClosesAConnectionThatIsNotSecured)
{
    const Certificates certificates;
    VexaServerOptions options = secured(certificates);
    options.timeLimits.request = 0.1;
    ServerUnderTest under{options};
    BasicTestClient<> plain{under.port()};
    plain.connect();
    EXPECT_NE(plain.shakeHands(), 101U);
    BasicTestClient<> silent{under.port()};
    silent.connect();
    await([&under] { return under.server.figures().accepted == 2 && under.server.figures().connections == 0; });
}

TEST(Tls, SaysWhichFileCannotBeUsed)
{
    const Certificates certificates;
    const auto complaintAbout = [](const VexaServerOptions& options) -> std::string {
        try {
            const ServerUnderTest under{options};
            return "none";
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
    };
    VexaServerOptions options = secured(certificates);
    options.tls.certificateChain = "/nowhere/server.pem";
    EXPECT_NE(complaintAbout(options).find("cannot use the certificate '/nowhere/server.pem'"), std::string::npos);
    options = secured(certificates);
    options.tls.privateKey = certificates.file("client.key");
    EXPECT_NE(complaintAbout(options).find("cannot use the private key"), std::string::npos);
    options = secured(certificates);
    options.tls.clientAuthorities = "/nowhere/authority.pem";
    EXPECT_NE(complaintAbout(options).find("cannot use the file of client authorities"), std::string::npos);
    options = secured(certificates);
    options.tls.privateKey.clear();
    EXPECT_NE(complaintAbout(options).find("both a certificate and its private key"), std::string::npos);
}

TEST(Tls, KnowsWhyItClosedAConnectionWhoseClientLeavesWithoutAWord)
{
    const Certificates certificates;
    ServerUnderTest under{secured(certificates)};
    TlsContext context = trusting(certificates);
    TlsClient client{under, context};
    client.secure();
    ASSERT_EQ(client.shakeHands(), 101U);
    client.send("{\"a\":\"\xC3\x28\"}");

    // A closing frame with the code 1007 is all that comes, and TLS is not ended after it.
    std::array<unsigned char, 4> frame{};
    boost::asio::read(client.stream().next_layer(), boost::asio::buffer(frame));
    EXPECT_EQ(frame, (std::array<unsigned char, 4>{0x88, 0x02, 0x03, 0xEF}));
    client.socket().close();

    await([&under] { return under.closed(CloseReason::protocol) == 1; });
    EXPECT_EQ(under.bad(FrameFault::notUtf8), 1U);
}

} // namespace
} // namespace vexa::host
