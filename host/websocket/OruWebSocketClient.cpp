#include <host/service/ServiceMessages.hpp>
#include <host/websocket/OruWebSocketClient.hpp>
#include <host/websocket/WebSocketEngine.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include <pthread.h>

namespace vexa::host {

namespace {

void requireTimeLimit(double seconds, std::string_view name)
{
    constexpr double longest = 1e6;
    if (!(seconds > 0 && seconds <= longest)) {
        throw std::invalid_argument{
            joined({"the time limit '", name, "' is ", plainDecimal(seconds), " s; it must be more than 0"})};
    }
}

void requireDelay(double seconds, std::string_view name)
{
    if (!(seconds >= 0 && std::isfinite(seconds))) {
        throw std::invalid_argument{
            joined({"the reconnect option '", name, "' is ", plainDecimal(seconds), " s; it must be 0 or more"})};
    }
}

void requireToken(std::string_view token)
{
    constexpr std::string_view others = "-._~+/=";
    const bool isToken = std::ranges::all_of(token, [&](char each) {
        return (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z') || (each >= '0' && each <= '9') ||
               others.find(each) != std::string_view::npos;
    });
    if (!isToken) {
        throw std::invalid_argument{"the bearer token holds a character that no bearer token may hold"};
    }
}

void requireUsable(const OruWebSocketClientOptions& options)
{
    requireToken(options.bearerToken);
    requireTimeLimit(options.timeLimits.connect, "connect");
    requireTimeLimit(options.timeLimits.handshake, "handshake");
    requireTimeLimit(options.timeLimits.write, "write");
    requireTimeLimit(options.timeLimits.idle, "idle");
    requireTimeLimit(options.timeLimits.close, "close");
    requireDelay(options.reconnect.firstCeiling, "firstCeiling");
    requireDelay(options.reconnect.lastCeiling, "lastCeiling");
    requireDelay(options.reconnect.stableAfter, "stableAfter");
}

} // namespace

/// Outlives the client, since a diagnostic record holds it for minutes.
class OruWebSocketClient::Logger final : public OruClientLogger {
public:
    explicit Logger(std::weak_ptr<WebSocketEngine> engine) noexcept : engine_{std::move(engine)} {}

    void consoleLog(std::string_view line) override
    {
        if (const auto engine = engine_.lock()) {
            engine->log(line);
        }
    }

    void serverLog(std::string_view category, Dictionary blob, std::int64_t severity) override
    {
        if (const auto engine = engine_.lock()) {
            engine->send(serverLogMessage(category, std::move(blob), severity));
        }
    }

private:
    const std::weak_ptr<WebSocketEngine> engine_;
};

std::shared_ptr<OruWebSocketClient> OruWebSocketClient::make(OruWebSocketClientOptions options, Platform& platform)
{
    requireUsable(options);
    return std::shared_ptr<OruWebSocketClient>{
        new OruWebSocketClient{std::make_shared<WebSocketEngine>(std::move(options), platform)}};
}

OruWebSocketClient::OruWebSocketClient(std::shared_ptr<WebSocketEngine> engine)
    : engine_{std::move(engine)}, logger_{std::make_shared<Logger>(engine_)}
{}

OruWebSocketClient::~OruWebSocketClient()
{
    stop();
    // Only the thread itself is not waited for, when a callback drops the client.
    const std::lock_guard lock{threadMutex_};
    if (thread_.joinable()) {
        thread_.detach();
    }
}

void OruWebSocketClient::start()
{
    if (engine_->isOwnThread()) {
        return;
    }
    const std::lock_guard lock{threadMutex_};
    if (thread_.joinable() || engine_->isStopping()) {
        return;
    }
    thread_ = std::thread{[engine = engine_] {
        pthread_setname_np(pthread_self(), "vexawebsocket");
        engine->run();
    }};
}

void OruWebSocketClient::stop()
{
    engine_->requestStop();
    if (engine_->isOwnThread()) {
        return;
    }
    const std::lock_guard lock{threadMutex_};
    if (thread_.joinable()) {
        thread_.join();
    }
}

void OruWebSocketClient::setBearerToken(std::string token)
{
    requireToken(token);
    engine_->bearerToken(std::move(token));
}

void OruWebSocketClient::setNetworkAvailable(bool isAvailable)
{
    engine_->networkAvailable(isAvailable);
}

OruWebSocketFigures OruWebSocketClient::figures() const
{
    return engine_->figures();
}

std::string OruWebSocketClient::lastError() const
{
    return engine_->lastError();
}

bool OruWebSocketClient::isOpen()
{
    return engine_->listeners().isOpen();
}

std::int64_t OruWebSocketClient::addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener)
{
    return engine_->listeners().addConnectionListener(std::move(listener));
}

std::int64_t OruWebSocketClient::addCategoryListener(std::string_view category,
                                                     std::shared_ptr<OruClientMessageListener> listener)
{
    return engine_->listeners().addCategoryListener(category, std::move(listener));
}

void OruWebSocketClient::send(Dictionary message)
{
    engine_->send(message);
}

} // namespace vexa::host
