#include "ConnectionsLoad.hpp"

#include <boost/asio/post.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include <atomic>
#include <fstream>
#include <future>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

namespace vexa::host {

namespace {

namespace http = boost::beast::http;
using Tcp = boost::asio::ip::tcp;

constexpr double stretchOfHistograms = 0.1;

double residentBytesOfThisProcess()
{
    std::ifstream status{"/proc/self/status"};
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            constexpr double bytesPerKibibyte = 1024;
            return std::stod(line.substr(line.find_first_of("0123456789"))) * bytesPerKibibyte;
        }
    }
    return 0;
}

List listOf(const std::vector<std::uint64_t>& counts)
{
    return List(counts.begin(), counts.end());
}

/// The number that a metric has on a page of Prometheus text.
double metricOn(const std::string& page, const std::string& name)
{
    const std::size_t found = page.find("\n" + name + " ");
    if (found == std::string::npos) {
        throw std::runtime_error{"the service does not tell of " + name};
    }
    return std::stod(page.substr(found + name.size() + 2));
}

} // namespace

ConnectionsLoad::ConnectionsLoad(LoadOptions options)
    : options_{std::move(options)},
      service_{options_.service},
      surroundings_{context_,
                    platform_,
                    {boost::asio::ip::address_v4::loopback(), service_.port()},
                    R"({"category":"vexa","type":"subscribe","payload":{"operationId":"O-load",)"
                    R"("topics":[{"name":"scores"}]}})",
                    options_.reconnect,
                    [this](LoadEvent event) { happened(event); }}
{
    platform_.setLogSink([](std::string_view) {});
    for (std::size_t each = 0; each < options_.connections; ++each) {
        connections_.emplace_back(surroundings_);
    }
    next_ = connections_.begin();
    OruWebSocketClientOptions client;
    client.url = service_.url();
    transport_ = OruWebSocketClient::make(std::move(client), platform_);
    publisher_ = std::make_unique<Publisher>(transport_, PublisherOptions{}, platform_);
    transport_->start();
}

ConnectionsLoad::~ConnectionsLoad()
{
    publisher_.reset();
    transport_->stop();
}

void ConnectionsLoad::happened(LoadEvent event)
{
    times_.happened(event);
    if (event == LoadEvent::opened && next_ != connections_.end()) {
        (next_++)->connect();
    }
}

void ConnectionsLoad::runUntil(const std::function<bool()>& isDone)
{
    while (!isDone()) {
        context_.restart();
        if (context_.run_one_for(std::chrono::seconds{60}) == 0) {
            throw std::runtime_error{"nothing has happened for a minute"};
        }
    }
}

void ConnectionsLoad::runFor(double seconds)
{
    context_.restart();
    context_.run_for(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>{seconds}));
}

double ConnectionsLoad::serviceMemory()
{
    boost::asio::io_context context;
    Tcp::socket socket{context};
    socket.connect(surroundings_.service);
    http::request<http::empty_body> request{http::verb::get, "/metrics", 11};
    request.set(http::field::host, "127.0.0.1");
    request.set(http::field::connection, "close");
    http::write(socket, request);
    boost::beast::flat_buffer buffer;
    http::response<http::string_body> response;
    http::read(socket, buffer, response);
    return metricOn(response.body(), "process_resident_memory_bytes");
}

Dictionary ConnectionsLoad::run()
{
    Dictionary figures;
    figures["connections"] = options_.connections;
    const double before = serviceMemory();
    const double ownBefore = residentBytesOfThisProcess();
    figures["connect"] = connectAll();
    const double connected = serviceMemory();
    figures["subscribe"] = subscribeAll();
    const double subscribed = serviceMemory();
    figures["deliver"] = deliverToAll();
    const double delivered = serviceMemory();
    const auto each = static_cast<double>(options_.connections);
    figures["serviceMemory"] = Dictionary{{"bytesBefore", before},
                                          {"bytesWithAll", delivered},
                                          {"bytesPerConnection", (connected - before) / each},
                                          {"bytesPerSubscriber", (subscribed - before) / each},
                                          {"bytesPerSubscriberAfterAMessage", (delivered - before) / each}};
    figures["loadMemory"] = Dictionary{{"bytesPerConnection", (residentBytesOfThisProcess() - ownBefore) / each}};
    runFor(options_.settle);
    figures["comeBack"] = cutAndComeBack();
    figures["deliverAgain"] = deliverToAll();
    return figures;
}

Dictionary ConnectionsLoad::connectAll()
{
    times_.restart();
    for (std::size_t each = 0; each < options_.atOnce && next_ != connections_.end(); ++each) {
        (next_++)->connect();
    }
    runUntil([this] { return times_.count(LoadEvent::opened) == options_.connections; });
    return {{"seconds", times_.last(LoadEvent::opened)}, {"failures", times_.count(LoadEvent::failed)}};
}

Dictionary ConnectionsLoad::subscribeAll()
{
    times_.restart();
    for (SubscriberConnection& each : connections_) {
        each.subscribe();
    }
    runUntil([this] {
        return times_.count(LoadEvent::subscribed) + times_.count(LoadEvent::refused) == options_.connections;
    });
    return {{"seconds", times_.last(LoadEvent::subscribed)}, {"refusals", times_.count(LoadEvent::refused)}};
}

Dictionary ConnectionsLoad::deliverToAll()
{
    times_.restart();
    std::atomic<bool> isAccepted{false};
    publisher_->publish("scores", std::nullopt, {Dictionary{{"number", 1}}},
                        [&isAccepted](const PublishResult& result) { isAccepted = result.accepted == 1; });
    runUntil([&] { return times_.count(LoadEvent::received) >= options_.connections; });
    const double first = times_.first(LoadEvent::received);
    const double last = times_.last(LoadEvent::received);
    // One that came twice would come soon.
    runFor(1);
    return {{"first", first},
            {"last", last},
            {"isAccepted", isAccepted.load()},
            {"repetitions", times_.count(LoadEvent::received) - options_.connections},
            {"lost", times_.count(LoadEvent::lost)}};
}

Dictionary ConnectionsLoad::cutAndComeBack()
{
    times_.restart();
    double back = 0;
    // The connections notice and try again while the service goes and comes.
    auto restart = std::async(std::launch::async, [this, &back] {
        service_.kill();
        std::this_thread::sleep_for(std::chrono::duration<double>{options_.outage});
        service_.start();
        boost::asio::post(context_, [this, &back] { back = times_.now(); });
    });
    runUntil([&] { return back > 0 && times_.count(LoadEvent::subscribed) == options_.connections; });
    restart.get();
    return {{"lost", times_.count(LoadEvent::lost)},
            {"serviceBackAfter", back},
            {"attempts", times_.count(LoadEvent::attempted)},
            {"failedAttempts", times_.count(LoadEvent::failed)},
            {"firstSubscribed", times_.first(LoadEvent::subscribed)},
            {"lastSubscribed", times_.last(LoadEvent::subscribed)},
            {"secondsPerStretch", stretchOfHistograms},
            {"attemptsInEachStretch", listOf(times_.histogram(LoadEvent::attempted, stretchOfHistograms))},
            {"subscribedInEachStretch", listOf(times_.histogram(LoadEvent::subscribed, stretchOfHistograms))}};
}

} // namespace vexa::host
