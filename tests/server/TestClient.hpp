#pragma once

#include "ServerUnderTest.hpp"
#include <host/wire/MessageText.hpp>
#include <testing/ServiceMessages.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/stream_traits.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/json/serialize.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::host {

using Tcp = boost::asio::ip::tcp;
using ErrorCode = boost::system::error_code;

/// A client of a server under test, with blocking calls: a WebSocket over `Layer`.
template <class Layer = Tcp::socket>
class BasicTestClient {
public:
    using Stream = boost::beast::websocket::stream<Layer>;

    /// A client that is connected, but has not shaken hands. What follows the first argument goes to the layer.
    template <class... Arguments>
    explicit BasicTestClient(unsigned short port, Arguments&&... arguments)
        : stream_{context_, std::forward<Arguments>(arguments)...}, port_{port}
    {
        stream_.read_message_max(0);
    }

    /// Connects. A receive buffer that is set here, in bytes, stays as small as it is.
    void connect(int receiveBuffer = 0)
    {
        Tcp::socket& socket = this->socket();
        socket.open(Tcp::v4());
        if (receiveBuffer > 0) {
            socket.set_option(Tcp::socket::receive_buffer_size{receiveBuffer});
        }
        socket.connect({boost::asio::ip::address_v4::loopback(), port_});
    }

    /// Opens the WebSocket; the answer's status, 101 when it is open.
    unsigned shakeHands(const std::string& token = {}, const std::string& target = "/")
    {
        stream_.set_option(boost::beast::websocket::stream_base::decorator([token](auto& request) {
            if (!token.empty()) {
                request.set(boost::beast::http::field::authorization, "Bearer " + token);
            }
        }));
        boost::beast::websocket::response_type response;
        ErrorCode error;
        stream_.handshake(response, "127.0.0.1:" + std::to_string(port_), target, error);
        return response.result_int();
    }

    [[nodiscard]] Stream& stream() { return stream_; }
    [[nodiscard]] Tcp::socket& socket() { return boost::beast::get_lowest_layer(stream_); }

    void send(std::string_view text) { stream_.write(boost::asio::buffer(text.data(), text.size())); }
    void send(const Dictionary& message) { send(messageText(message)); }

    /// The next text; nothing when the server has closed the connection.
    std::optional<std::string> receiveText()
    {
        boost::beast::flat_buffer buffer;
        stream_.read(buffer, end_);
        if (end_) {
            return std::nullopt;
        }
        return boost::beast::buffers_to_string(buffer.data());
    }

    /// The next message. Throws when the server has closed the connection.
    Dictionary receive()
    {
        const auto text = receiveText();
        if (!text) {
            throw std::runtime_error{"the connection has ended: " + end_.message()};
        }
        ErrorCode error;
        Dictionary message = readMessage(*text, error);
        EXPECT_FALSE(error) << *text;
        return message;
    }

    /// Reads to the end of the connection; the code with which the server closed it, 0 without one.
    unsigned closeCode()
    {
        while (receiveText()) {
        }
        return stream_.reason().code;
    }

    /// Subscribes to a topic and returns the subscription id; the answer must come first.
    std::string subscribe(std::string_view name, double since = 0)
    {
        send(testing::subscribeRequest("O-001", {testing::topic(name, std::nullopt, since)}));
        const Dictionary answer = receive();
        EXPECT_EQ(answer.at("type"), "subscriptionResponse");
        return std::string{answer.at("topics").at(0).at("subscriptionId").as_string()};
    }

    /// The entries of the next data message.
    List receiveEntries()
    {
        Dictionary message = receive();
        EXPECT_EQ(message.at("type"), "data") << boost::json::serialize(message);
        return message.at("messages").as_array();
    }

    /// The numbers of the next entries, until `count` have come.
    std::vector<int> receiveNumbers(std::size_t count)
    {
        std::vector<int> numbers;
        while (numbers.size() < count) {
            for (const Value& each : receiveEntries()) {
                numbers.push_back(each.at("payload").at("number").template to_number<int>());
            }
        }
        return numbers;
    }

    /// Shows that the connection works and that all that was sent before has been read: asks for nothing and waits for
    /// the answer.
    void exchange()
    {
        send(testing::subscribeRequest("O-exchange", {}));
        EXPECT_EQ(receive().at("operationId"), "O-exchange");
    }

private:
    boost::asio::io_context context_;
    Stream stream_;
    unsigned short port_;
    ErrorCode end_;
};

/// An open one over TCP.
class TestClient : public BasicTestClient<> {
public:
    explicit TestClient(const ServerUnderTest& under, int receiveBuffer = 0) : BasicTestClient<>{under.port()}
    {
        connect(receiveBuffer);
        EXPECT_EQ(shakeHands(), 101U);
    }

    /// Writes bytes as they are.
    void sendRaw(std::string_view bytes)
    {
        boost::asio::write(socket(), boost::asio::buffer(bytes.data(), bytes.size()));
    }

    /// Cuts the connection as by a crash.
    void reset()
    {
        socket().set_option(Tcp::socket::linger{true, 0});
        socket().close();
    }
};

/// The numbers from one to another.
inline std::vector<int> numbersFrom(int first, int last)
{
    std::vector<int> numbers;
    for (int number = first; number <= last; ++number) {
        numbers.push_back(number);
    }
    return numbers;
}

/// {"category":"vexa","type":"publish",…} on the topic "scores".
inline Dictionary publishRequest(std::string_view requestId, std::vector<Dictionary> payloads)
{
    Dictionary request = json(R"({"category":"vexa","type":"publish","payload":{"topic":{"name":"scores"}}})");
    Dictionary& payload = request["payload"].as_object();
    payload["requestId"] = boost::json::string_view{requestId.data(), requestId.size()};
    List messages;
    for (Dictionary& each : payloads) {
        messages.push_back(std::move(each));
    }
    payload["messages"] = std::move(messages);
    return request;
}

} // namespace vexa::host
