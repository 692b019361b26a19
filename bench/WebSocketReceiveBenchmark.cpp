// What a message over a WebSocket costs its receiver: processor time of the receiving thread alone, for messages of 200
// bytes from a service that sends as fast as it can. A client that asks Boost.Beast for one message after the other
// stands beside the transport client, which reads as much as there is.

#include <host/websocket/MessageDecoder.hpp>
#include <host/websocket/OruWebSocketClient.hpp>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstddef>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <utility>
#include <variant>

namespace vexa::bench {

namespace {

using Tcp = boost::asio::ip::tcp;

constexpr std::int64_t messages = 200000;

/// The processor time that the calling thread has used, in seconds.
double threadTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// A data message of exactly 200 bytes.
std::string messageOf200Bytes()
{
    const std::string begin =
        R"({"category":"vexa","type":"data","sentAt":1700000000.25,"messages":[{"subscriptionId":)"
        R"("s-0","payload":{"updatedAt":1700000001.5,"score":123456,"position":[12.5,88.25],"text":")";
    const std::string end = R"("}}]})";
    return begin + std::string(200 - begin.size() - end.size(), 'x') + end;
}

/// The message in a frame of its own (RFC 6455, section 5.2), many times over.
std::string manyFrames(std::int64_t count)
{
    const std::string message = messageOf200Bytes();
    std::string frames;
    for (std::int64_t i = 0; i < count; ++i) {
        frames += std::string{'\x81', '\x7E', '\0', static_cast<char>(message.size())};
        frames += message;
    }
    return frames;
}

/// Sends all messages to the one client that it takes, and then waits until that has gone.
class Sender {
public:
    Sender() : thread_{[this] { run(); }} {}
    ~Sender() { thread_.join(); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    [[nodiscard]] Tcp::endpoint endpoint() const { return acceptor_.local_endpoint(); }

private:
    void run()
    {
        constexpr std::int64_t atOnce = 2000;
        static const std::string frames = manyFrames(atOnce);
        boost::beast::websocket::stream<Tcp::socket> stream{acceptor_.accept()};
        stream.accept();
        for (std::int64_t sent = 0; sent < messages; sent += atOnce) {
            boost::asio::write(stream.next_layer(), boost::asio::buffer(frames));
        }
        boost::beast::flat_buffer ignored;
        boost::system::error_code error;
        while (!error) {
            stream.read(ignored, error);
        }
    }

    boost::asio::io_context context_;
    Tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
    std::thread thread_;
};

/// Reads one message after the other with async_read.
class OneByOne {
public:
    explicit OneByOne(bool parses) : parses_{parses} {}

    /// The time that the messages took.
    double receiveFrom(const Tcp::endpoint& endpoint)
    {
        stream_.next_layer().connect(endpoint);
        stream_.handshake("localhost", "/");
        const double begin = threadTime();
        read();
        context_.run();
        return threadTime() - begin;
    }

private:
    void read()
    {
        stream_.async_read(buffer_, [this](const boost::system::error_code& error, std::size_t) {
            if (error) {
                return;
            }
            if (parses_) {
                benchmark::DoNotOptimize(
                    decoder_.decode({static_cast<const char*>(buffer_.data().data()), buffer_.size()}));
            }
            buffer_.clear();
            if (++received_ < messages) {
                read();
            }
        });
    }

    const bool parses_;
    boost::asio::io_context context_{1};
    boost::beast::websocket::stream<Tcp::socket> stream_{context_};
    boost::beast::flat_buffer buffer_;
    host::MessageDecoder decoder_{{}};
    std::int64_t received_ = 0;
};

void oneByOne(benchmark::State& state, bool parses)
{
    for (auto _ : state) {
        Sender sender;
        OneByOne receiver{parses};
        state.SetIterationTime(receiver.receiveFrom(sender.endpoint()) / static_cast<double>(messages));
    }
}

/// Tells, once all messages have come, how much time of its thread they took.
class TimingListener final : public OruClientMessageListener {
public:
    void handleMessage(Message /*message*/) override
    {
        if (received_++ == 0) {
            begin_ = threadTime();
        }
        if (received_ == messages) {
            taken_.set_value(threadTime() - begin_);
        }
    }
    void messageListenerRemoved(std::int64_t /*listenerId*/) override {}

    [[nodiscard]] double taken() { return taken_.get_future().get(); }

private:
    std::int64_t received_ = 0;
    double begin_ = 0;
    std::promise<double> taken_;
};

void transportClient(benchmark::State& state)
{
    for (auto _ : state) {
        Sender sender;
        const auto listener = std::make_shared<TimingListener>();
        host::OruWebSocketClientOptions options;
        options.url = "ws://127.0.0.1:" + std::to_string(sender.endpoint().port());
        const auto client = host::OruWebSocketClient::make(std::move(options));
        client->addCategoryListener("vexa", listener);
        client->start();
        state.SetIterationTime(listener->taken() / static_cast<double>(messages));
        client->stop();
    }
}

BENCHMARK_CAPTURE(oneByOne, withoutParsing, false)->UseManualTime()->Iterations(1)->Repetitions(5);
BENCHMARK_CAPTURE(oneByOne, parsed, true)->UseManualTime()->Iterations(1)->Repetitions(5);
BENCHMARK(transportClient)->UseManualTime()->Iterations(1)->Repetitions(5);

} // namespace
} // namespace vexa::bench
