#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

struct mosquitto;
struct mosquitto_message;

namespace vexa::bench {

/// A client of mosquitto on loopback with libmosquitto, on the calling thread. What fails throws std::runtime_error.
class MosquittoClient {
public:
    /// Connects.
    explicit MosquittoClient(std::uint16_t port);
    ~MosquittoClient();
    MosquittoClient(const MosquittoClient&) = delete;
    MosquittoClient& operator=(const MosquittoClient&) = delete;

    /// What is called with each message; without one they are counted alone.
    void onMessage(std::function<void(const mosquitto_message& message)> call) { onMessage_ = std::move(call); }

    void subscribe(const std::string& topic);
    void publish(const std::string& topic, const std::string& text);

    /// Does what the connection asks for until something holds. A connection that is lost meanwhile counts as done when
    /// `mayEnd`, and is a failure else.
    void runUntil(const std::function<bool()>& isDone, bool mayEnd = false);

    /// Connects again after the connection was lost.
    void reconnect();

    /// How many topics the broker has confirmed since the last connection, and how many messages have come in all.
    [[nodiscard]] std::uint64_t confirmed() const noexcept { return confirmed_; }
    [[nodiscard]] std::uint64_t received() const noexcept { return received_; }

private:
    void awaitConnection();

    mosquitto* client_;
    std::function<void(const mosquitto_message& message)> onMessage_;
    std::uint64_t confirmed_ = 0;
    std::uint64_t received_ = 0;
    bool isConnected_ = false;
};

} // namespace vexa::bench
