// The least that a client of the service has to do for its topics: a bare WebSocket of Boost.Beast, a JSON request for
// each topic, and its JSON answer, of which the subscription id is kept.

#include <bench/roads/shared/JsonReader.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/shared/VexaServe.hpp>
#include <bench/roads/subscribe/SubscribeFigures.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/json/serialize.hpp>
#include <boost/system/system_error.hpp>

#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace {

using namespace vexa::bench;
using Tcp = boost::asio::ip::tcp;
using ErrorCode = boost::system::error_code;

class BareClient {
public:
    explicit BareClient(std::uint16_t port) : socket_{context_}
    {
        socket_.next_layer().connect({boost::asio::ip::address_v4::loopback(), port});
        socket_.next_layer().set_option(Tcp::no_delay{true});
        socket_.handshake("127.0.0.1", "/");
    }

    /// Subscribes to the topics and returns when all are confirmed.
    void subscribe(std::uint64_t topics)
    {
        topics_ = topics;
        writeNext();
        read();
        context_.run();
        if (confirmed_.size() != topics) {
            throw std::runtime_error{"not every topic was confirmed"};
        }
    }

private:
    static void check(const ErrorCode& error)
    {
        if (error) {
            throw boost::system::system_error{error};
        }
    }

    void writeNext()
    {
        if (requested_ == topics_) {
            return;
        }
        std::string operation = "O-" + std::to_string(requested_);
        std::string name = topicName(requested_++);
        vexa::List topics;
        topics.emplace_back(vexa::Dictionary{{"name", name}});
        vexa::Dictionary payload{{"operationId", operation}};
        payload["topics"] = std::move(topics);
        vexa::Dictionary request{{"category", "vexa"}, {"type", "subscribe"}};
        request["payload"] = std::move(payload);
        outgoing_ = boost::json::serialize(request);
        pending_.emplace(std::move(operation), std::move(name));
        socket_.async_write(boost::asio::buffer(outgoing_), [this](const ErrorCode& error, std::size_t /*count*/) {
            check(error);
            writeNext();
        });
    }

    void read()
    {
        socket_.async_read(incoming_, [this](const ErrorCode& error, std::size_t /*count*/) {
            check(error);
            const auto data = incoming_.cdata();
            reader_.read(static_cast<const char*>(data.data()), data.size(),
                         [this](const vexa::Value& answer) { take(answer.get_object()); });
            incoming_.clear();
            if (confirmed_.size() < topics_) {
                read();
            }
        });
    }

    void take(const vexa::Dictionary& answer)
    {
        const auto pending = pending_.find(std::string{answer.at("operationId").as_string()});
        if (pending == pending_.end()) {
            throw std::runtime_error{"an answer to no request has come"};
        }
        const vexa::Dictionary& topic = answer.at("topics").as_array().at(0).as_object();
        confirmed_.emplace(topic.at("subscriptionId").as_string(), std::move(pending->second));
        pending_.erase(pending);
    }

    boost::asio::io_context context_;
    boost::beast::websocket::stream<Tcp::socket> socket_;
    boost::beast::flat_buffer incoming_;
    std::string outgoing_;
    JsonReader reader_;
    std::uint64_t topics_ = 0;
    std::uint64_t requested_ = 0;
    std::unordered_map<std::string, std::string> pending_;   ///< topics by operation id
    std::unordered_map<std::string, std::string> confirmed_; ///< topics by subscription id
};

vexa::Dictionary subscribe(std::uint64_t topics, const std::string& /*mode*/)
{
    const VexaServe service = VexaServe::start();
    BareClient client{service.port()};
    const SubscribeMeter meter{topics};
    client.subscribe(topics);
    return meter.figures("beast");
}

} // namespace

int main(int count, char** words)
{
    return subscribeMain(count, words, {"asynchronous"}, subscribe);
}
