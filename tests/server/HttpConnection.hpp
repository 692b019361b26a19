#pragma once

#include "TestClient.hpp"

#include <boost/asio/read.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>

#include <array>
#include <string>
#include <string_view>

namespace vexa::host {

/// A connection on which a test writes requests as it likes and reads responses.
class HttpConnection {
public:
    using Response = boost::beast::http::response<boost::beast::http::string_body>;

    explicit HttpConnection(unsigned short port) { socket_.connect({boost::asio::ip::address_v4::loopback(), port}); }

    void write(std::string_view bytes) { boost::asio::write(socket_, boost::asio::buffer(bytes.data(), bytes.size())); }

    /// Reads a response. One to HEAD has no body, whatever its fields say.
    Response read(bool isToHead = false)
    {
        boost::beast::http::response_parser<boost::beast::http::string_body> parser;
        parser.skip(isToHead);
        boost::beast::http::read(socket_, buffer_, parser);
        return parser.release();
    }

    Response ask(std::string_view request)
    {
        write(request);
        return read();
    }

    /// Asks for a page with a well-formed request.
    Response get(std::string_view target, std::string_view token = {})
    {
        std::string request = "GET " + std::string{target} + " HTTP/1.1\r\nHost: x\r\n";
        if (!token.empty()) {
            request += "Authorization: Bearer " + std::string{token} + "\r\n";
        }
        return ask(request + "\r\n");
    }

    /// Whether the server has ended the connection, with nothing more on it. Waits until it has or sends something.
    bool hasEnded()
    {
        std::array<char, 1> byte{};
        ErrorCode error;
        const std::size_t count = boost::asio::read(socket_, boost::asio::buffer(byte), error);
        return buffer_.size() == 0 && count == 0 && error;
    }

    [[nodiscard]] Tcp::socket& socket() { return socket_; }

private:
    boost::asio::io_context context_;
    Tcp::socket socket_{context_};
    boost::beast::flat_buffer buffer_;
};

} // namespace vexa::host
