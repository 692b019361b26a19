#include <bench/roads/receive/VexaSender.hpp>
#include <bench/roads/shared/Feeder.hpp>
#include <bench/roads/shared/Sockets.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/Json.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <stdexcept>
#include <string>

#include <unistd.h>

namespace vexa::bench {

namespace {

using Socket = boost::asio::ip::tcp::socket;
using WebSocket = boost::beast::websocket::stream<Socket>;

/// The number that a topic's name ends with.
std::size_t numberOf(const Value& topic)
{
    const std::string name{topic.at("name").as_string()};
    return std::stoull(name.substr(name.find('-') + 1));
}

/// Confirms the topics of one subscribe request; returns how many.
std::size_t confirm(WebSocket& socket, const Dictionary& request)
{
    const Dictionary& payload = request.at("payload").as_object();
    List answers;
    for (const Value& topic : payload.at("topics").as_array()) {
        answers.emplace_back(Dictionary{{"success", true}, {"subscriptionId", subscriptionId(numberOf(topic))}});
    }
    const std::size_t count = answers.size();
    Dictionary response{
        {"category", "vexa"}, {"type", "subscriptionResponse"}, {"operationId", payload.at("operationId")}};
    response["topics"] = std::move(answers);
    socket.write(boost::asio::buffer(host::messageText(response)));
    return count;
}

} // namespace

void serveAndSend(const ListeningSocket& listening, int acknowledgements, const ReceiveOptions& options)
{
    boost::asio::io_context context;
    Socket accepted{context};
    // The stream closes its socket, and the descriptor closes its own.
    accepted.assign(boost::asio::ip::tcp::v4(), ::dup(listening.accept().number()));
    WebSocket socket{std::move(accepted)};
    socket.accept();
    std::size_t confirmed = 0;
    while (confirmed < options.topics) {
        boost::beast::flat_buffer buffer;
        socket.read(buffer);
        boost::system::error_code error;
        const Dictionary message = host::readMessage(boost::beast::buffers_to_string(buffer.data()), error);
        if (!error && message.at("type") == "subscribe") {
            confirmed += confirm(socket, message);
        }
    }
    Feeder{socket.next_layer().native_handle(), acknowledgements, webSocketFrames(options.topics, options.batch)}.run(
        options.total(), options.window);
}

} // namespace vexa::bench
