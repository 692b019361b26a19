#include <host/tool/client/HttpClient.hpp>
#include <host/websocket/SteadyDuration.hpp>
#include <host/websocket/TlsContext.hpp>

#include <boost/asio/error.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include <utility>

namespace vexa::host {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

auto into(boost::system::error_code& error)
{
    return asio::redirect_error(asio::use_awaitable, error);
}

/// Whether the other side has closed the connection before it answered.
bool isClosed(const boost::system::error_code& error)
{
    return error == http::error::end_of_stream || error == asio::error::eof || error == asio::error::connection_reset ||
           error == asio::error::connection_aborted || error == asio::error::broken_pipe ||
           error == asio::ssl::error::stream_truncated;
}

HttpTrouble troubleOf(const boost::system::error_code& error)
{
    if (error == boost::beast::error::timeout) {
        return HttpTrouble::late;
    }
    const bool isOfHttp = error.category() == make_error_code(http::error::bad_method).category();
    return isOfHttp && !isClosed(error) && error != http::error::partial_message ? HttpTrouble::unreadable
                                                                                 : HttpTrouble::unreachable;
}

/// An interim answer, behind which the final one comes (RFC 9110, section 15.2).
bool isInterim(unsigned status)
{
    constexpr unsigned switchingProtocols = 101;
    constexpr unsigned firstFinal = 200;
    return status < firstFinal && status != switchingProtocols;
}

} // namespace

HttpClient::HttpClient(asio::io_context& context, HttpClientOptions options)
    : context_{context}, options_{std::move(options)}
{
    if (options_.address.isSecure) {
        tlsContext_.emplace(makeTlsContext(options_.tls));
    }
}

HttpClient::~HttpClient() = default;

void HttpClient::close() noexcept
{
    plain_.reset();
    tls_.reset();
    buffer_.clear();
}

void HttpClient::fail(const std::string& step, const ErrorCode& error) const
{
    const HttpTrouble trouble = troubleOf(error);
    throw HttpFailure{trouble,
                      trouble == HttpTrouble::late ? step + " took too long" : step + " failed: " + error.message()};
}

asio::awaitable<HttpReply> HttpClient::get(std::string target)
{
    deadline_ = std::chrono::steady_clock::now() + steadyDuration(options_.timeLimit);
    ErrorCode error;
    if (isOpen()) {
        HttpReply reply = co_await exchange(target, error);
        if (!error) {
            co_return reply;
        }
        close();
        if (!isClosed(error)) {
            fail("asking for " + target, error);
        }
    }
    co_await open();
    error = {};
    HttpReply reply = co_await exchange(target, error);
    if (error) {
        close();
        fail("asking for " + target, error);
    }
    co_return reply;
}

asio::awaitable<HttpClient::Endpoints> HttpClient::lookUp()
{
    struct LookUp {
        ErrorCode error = boost::beast::error::timeout;
        Endpoints endpoints;
        asio::ip::tcp::resolver resolver;
        asio::steady_timer timer;
    };
    // The system's look-up cannot be stopped: what it finds too late is left behind.
    const auto lookUp = std::make_shared<LookUp>(LookUp{
        boost::beast::error::timeout, {}, asio::ip::tcp::resolver{context_}, asio::steady_timer{context_, deadline_}});
    lookUp->resolver.async_resolve(options_.address.host, options_.address.port,
                                   [lookUp](const ErrorCode& error, Endpoints found) {
                                       lookUp->error = error;
                                       lookUp->endpoints = std::move(found);
                                       lookUp->timer.cancel();
                                   });
    ErrorCode ignored;
    co_await lookUp->timer.async_wait(into(ignored));
    if (lookUp->error) {
        fail("the look-up of the host", lookUp->error);
    }
    co_return lookUp->endpoints;
}

asio::awaitable<void> HttpClient::open()
{
    const Endpoints endpoints = co_await lookUp();
    auto plain = std::make_unique<PlainStream>(context_);
    plain->expires_at(deadline_);
    ErrorCode error;
    co_await plain->async_connect(endpoints, into(error));
    if (error) {
        fail("reaching the host", error);
    }
    if (!tlsContext_) {
        plain_ = std::move(plain);
        co_return;
    }
    auto tls = std::make_unique<TlsStream>(std::move(*plain), *tlsContext_);
    if (!tieToHost(tls->native_handle(), options_.address.host)) {
        throw HttpFailure{HttpTrouble::untrusted, "OpenSSL cannot use the name of the host"};
    }
    co_await tls->async_handshake(asio::ssl::stream_base::client, into(error));
    if (error) {
        const std::string trouble = certificateTrouble(tls->native_handle());
        if (options_.tls.verifiesPeer && !trouble.empty() && error != boost::beast::error::timeout) {
            throw HttpFailure{HttpTrouble::untrusted, "the service's certificate is not accepted: " + trouble};
        }
        fail("the TLS handshake", error);
    }
    tls_ = std::move(tls);
}

asio::awaitable<HttpReply> HttpClient::exchange(const std::string& target, ErrorCode& error)
{
    if (tls_ != nullptr) {
        tls_->next_layer().expires_at(deadline_);
        co_return co_await exchangeOver(*tls_, target, error);
    }
    plain_->expires_at(deadline_);
    co_return co_await exchangeOver(*plain_, target, error);
}

template <class Stream>
asio::awaitable<HttpReply> HttpClient::exchangeOver(Stream& stream, const std::string& target, ErrorCode& error)
{
    constexpr unsigned version = 11;
    http::request<http::empty_body> request{http::verb::get, target, version};
    request.set(http::field::host, options_.address.authority);
    request.set(http::field::user_agent, "vexa");
    if (!options_.bearerToken.empty()) {
        request.set(http::field::authorization, "Bearer " + options_.bearerToken);
    }
    HttpReply reply;
    co_await http::async_write(stream, request, into(error));
    if (error) {
        co_return reply;
    }
    std::optional<http::response_parser<http::string_body>> parser;
    do {
        parser.emplace();
        parser->header_limit(options_.headBytes);
        parser->body_limit(options_.bodyBytes);
        co_await http::async_read(stream, buffer_, *parser, into(error));
        if (error) {
            co_return reply;
        }
    } while (isInterim(parser->get().result_int()));
    const bool isKept = parser->keep_alive();
    reply.status = parser->get().result_int();
    reply.reason = std::string{parser->get().reason()};
    reply.body = std::move(parser->get().body());
    if (!isKept) {
        close();
    }
    co_return reply;
}

} // namespace vexa::host
