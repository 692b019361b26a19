#include <bench/roads/peers/MosquittoClient.hpp>

#include <mosquitto.h>

#include <chrono>
#include <stdexcept>

namespace vexa::bench {

namespace {

void check(int status)
{
    if (status != MOSQ_ERR_SUCCESS) {
        throw std::runtime_error{std::string{"mosquitto: "} + mosquitto_strerror(status)};
    }
}

/// The library counts how often it is made ready, and is so for the rest of the process.
mosquitto* makeClient(void* object)
{
    static const int ready = mosquitto_lib_init();
    check(ready);
    mosquitto* const client = mosquitto_new(nullptr, true, object);
    if (client == nullptr) {
        throw std::runtime_error{"mosquitto: there can be no client"};
    }
    return client;
}

} // namespace

MosquittoClient::MosquittoClient(std::uint16_t port) : client_{makeClient(this)}
{
    constexpr int keepAliveSeconds = 600;
    mosquitto_connect_callback_set(client_, [](mosquitto*, void* self, int code) {
        static_cast<MosquittoClient*>(self)->isConnected_ = code == 0;
    });
    mosquitto_subscribe_callback_set(client_, [](mosquitto*, void* self, int, int, const int*) {
        ++static_cast<MosquittoClient*>(self)->confirmed_;
    });
    mosquitto_message_callback_set(client_, [](mosquitto*, void* object, const mosquitto_message* message) {
        auto& self = *static_cast<MosquittoClient*>(object);
        ++self.received_;
        if (self.onMessage_) {
            self.onMessage_(*message);
        }
    });
    check(mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1));
    check(mosquitto_connect(client_, "127.0.0.1", port, keepAliveSeconds));
    awaitConnection();
}

MosquittoClient::~MosquittoClient()
{
    mosquitto_destroy(client_);
}

void MosquittoClient::subscribe(const std::string& topic)
{
    check(mosquitto_subscribe(client_, nullptr, topic.c_str(), 0));
}

void MosquittoClient::publish(const std::string& topic, const std::string& text)
{
    check(mosquitto_publish(client_, nullptr, topic.c_str(), static_cast<int>(text.size()), text.data(), 0, false));
}

void MosquittoClient::runUntil(const std::function<bool()>& isDone, bool mayEnd)
{
    constexpr int pauseMilliseconds = 1'000;
    constexpr std::chrono::minutes patience{2};
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!isDone()) {
        const int status = mosquitto_loop(client_, pauseMilliseconds, 1);
        if (status != MOSQ_ERR_SUCCESS && mayEnd) {
            return;
        }
        check(status);
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error{"mosquitto: nothing comes any more"};
        }
    }
}

void MosquittoClient::reconnect()
{
    isConnected_ = false;
    confirmed_ = 0;
    check(mosquitto_reconnect(client_));
    awaitConnection();
}

void MosquittoClient::awaitConnection()
{
    runUntil([this] { return isConnected_; });
}

} // namespace vexa::bench
