#include <host/service/ServiceMessages.hpp>
#include <host/websocket/SteadyDuration.hpp>
#include <host/websocket/TlsContext.hpp>
#include <host/websocket/WebSocketEngine.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/asio/post.hpp>

#include <cmath>
#include <exception>
#include <thread>
#include <utility>
#include <variant>

namespace vexa::host {

namespace {

constexpr double secondsBetweenLines = 60;

void increase(std::atomic<std::uint64_t>& counter, std::uint64_t by = 1) noexcept
{
    // One thread alone writes it.
    counter.store(counter.load(std::memory_order_relaxed) + by, std::memory_order_relaxed);
}

WhileClosed ruleFor(const Dictionary& message)
{
    const MessageKind kind = kindOf(message);
    return kind == MessageKind::serverLog || kind == MessageKind::echo ? WhileClosed::keep : WhileClosed::drop;
}

} // namespace

WebSocketEngine::WebSocketEngine(OruWebSocketClientOptions options, Platform& platform)
    : options_{std::move(options)},
      address_{webSocketAddress(options_.url)},
      platform_{platform},
      reactor_{std::make_unique<Reactor>(platform)},
      outgoing_{options_.outgoing},
      unsendableLine_{secondsBetweenLines},
      bearerToken_{options_.bearerToken},
      schedule_{options_.reconnect},
      decoder_{options_.incoming},
      faultLines_(frameFaultCount, OccasionalLine{secondsBetweenLines})
{
    if (address_.isSecure) {
        tlsContext_.emplace(makeTlsContext(options_.tls));
    }
}

WebSocketEngine::~WebSocketEngine() = default;

void WebSocketEngine::run()
{
    ownThread_ = std::this_thread::get_id();
    // Behind what was asked of the engine before it had a thread.
    postToOwnThread(&WebSocketEngine::connect);
    while (!reactor_->context.stopped()) {
        // Nothing but a lack of memory throws here; the connection that it hit ends by its time limits.
        callGuarded(platform_, "the WebSocket transport", [this] { reactor_->context.run(); });
    }
    // Its end is also that of the thread on which it has looked up hosts.
    std::unique_ptr<Reactor> ended;
    {
        const std::lock_guard lock{mutex_};
        ended.swap(reactor_);
    }
    ended.reset();
    ownThread_ = std::thread::id{};
}

void WebSocketEngine::requestStop()
{
    if (!isStopping_.exchange(true)) {
        postToOwnThread(&WebSocketEngine::beginToStop);
    }
}

bool WebSocketEngine::isOwnThread() const noexcept
{
    return ownThread_.load() == std::this_thread::get_id();
}

void WebSocketEngine::postToOwnThread(void (WebSocketEngine::*operation)())
{
    const std::lock_guard lock{mutex_};
    if (reactor_ != nullptr) {
        boost::asio::post(reactor_->context, [this, operation] { (this->*operation)(); });
    }
}

void WebSocketEngine::send(const Dictionary& message)
{
    const WhileClosed rule = ruleFor(message);
    std::string text = messageText(message);
    if (!isUtf8(text)) {
        refuseToSend();
        return;
    }
    {
        const std::lock_guard lock{mutex_};
        if (!outgoing_.add(std::move(text), rule) || !outgoing_.isOpen() || isWriteRequested_) {
            return;
        }
        isWriteRequested_ = true;
    }
    postToOwnThread(&WebSocketEngine::writeNext);
}

void WebSocketEngine::refuseToSend()
{
    std::optional<std::uint64_t> count;
    {
        const std::lock_guard lock{mutex_};
        ++unsendable_;
        count = unsendableLine_.happened(platform_.monotonicNow());
    }
    if (count) {
        log(joined({"WebSocket: did not send a message with text that is not UTF-8; ", std::to_string(*count),
                    " of the kind since the last such line"}));
    }
}

void WebSocketEngine::bearerToken(std::string token)
{
    const std::lock_guard lock{mutex_};
    bearerToken_ = std::move(token);
}

void WebSocketEngine::networkAvailable(bool isAvailable)
{
    postToOwnThread(isAvailable ? &WebSocketEngine::networkFound : &WebSocketEngine::networkLost);
}

OruWebSocketFigures WebSocketEngine::figures() const
{
    OruWebSocketFigures figures;
    figures.attempts = counters_.attempts;
    figures.connects = counters_.connects;
    figures.reconnects = figures.connects - (figures.connects > 0 ? 1 : 0);
    figures.received = {counters_.framesReceived, counters_.bytesReceived};
    figures.sent = {counters_.framesSent, counters_.bytesSent};
    figures.unrouted = counters_.unrouted;
    for (std::size_t i = 0; i < frameFaultCount; ++i) {
        figures.faults[i] = counters_.faults[i];
    }
    const std::lock_guard lock{mutex_};
    figures.unsendable = unsendable_;
    figures.drops = outgoing_.drops();
    return figures;
}

std::string WebSocketEngine::lastError() const
{
    const std::lock_guard lock{mutex_};
    return lastError_;
}

void WebSocketEngine::log(std::string_view line)
{
    if (options_.console) {
        callHost(platform_, "the sink of the console log", [&] { options_.console(line); });
    }
}

void WebSocketEngine::connect()
{
    // The wait for a retry may have ended just when the network was lost or found.
    if (isStopping_ || !hasNetwork_ || connection_ != nullptr) {
        return;
    }
    increase(counters_.attempts);
    try {
        beginAttempt();
    } catch (const std::exception& error) {
        // Whatever the system lacks now, it may have at the next attempt.
        closed(joined({"the attempt could not begin: ", error.what()}));
    }
}

void WebSocketEngine::beginAttempt()
{
    const WebSocketSurroundings surroundings{reactor_->context, reactor_->drainLoop,
                                             tlsContext_ ? &*tlsContext_ : nullptr, address_, options_};
    std::string token;
    {
        const std::lock_guard lock{mutex_};
        token = bearerToken_;
    }
    connection_ = tlsContext_ ? makeTlsConnection(surroundings) : makePlainConnection(surroundings);
    connection_->open(*this, token);
}

void WebSocketEngine::connectIn(double seconds)
{
    reactor_->retryTimer.expires_after(steadyDuration(seconds));
    reactor_->retryTimer.async_wait([this](const boost::system::error_code& error) {
        if (!error) {
            connect();
        }
    });
}

void WebSocketEngine::networkLost()
{
    if (!std::exchange(hasNetwork_, false) || isStopping_) {
        return;
    }
    reactor_->retryTimer.cancel();
    if (connection_ != nullptr) {
        connection_->abort("there is no network");
    }
}

void WebSocketEngine::networkFound()
{
    if (std::exchange(hasNetwork_, true) || isStopping_) {
        return;
    }
    // What failed on the old network says nothing about the new one.
    schedule_ = ReconnectSchedule{options_.reconnect};
    connect();
}

void WebSocketEngine::opened()
{
    increase(counters_.connects);
    schedule_.opened(platform_.monotonicNow());
    isOpen_ = true;
    log(joined({"WebSocket: connected to ", address_.authority}));
    tellOpened();
    writeNext();
}

void WebSocketEngine::tellOpened()
{
    {
        // Whoever finds the transport open must be able to send.
        const std::lock_guard lock{mutex_};
        outgoing_.open();
    }
    for (const auto& listener : listeners_.setOpen(true)) {
        callHost(platform_, "a connection listener", [&] { listener->connectionOpened(); });
    }
}

void WebSocketEngine::closed(const std::string& reason)
{
    connection_.reset();
    isWriting_ = false;
    const bool wasOpen = std::exchange(isOpen_, false);
    if (wasOpen) {
        tellClosed();
    }
    if (isStopping_) {
        reactor_->stopTimer.cancel();
        reactor_->work.reset();
        return;
    }
    rememberError(reason);
    if (!hasNetwork_) {
        log(joined({"WebSocket: not connected to ", address_.authority, ": ", escapeControlCharacters(reason)}));
        return;
    }
    const double delay = schedule_.nextDelay(platform_.monotonicNow(), platform_);
    log(joined({wasOpen ? "WebSocket: lost the connection to " : "WebSocket: cannot connect to ", address_.authority,
                ": ", escapeControlCharacters(reason), "; trying again in ",
                plainDecimal(std::round(delay * 1e3) / 1e3), " s"}));
    connectIn(delay);
}

void WebSocketEngine::tellClosed()
{
    const auto followers = listeners_.setOpen(false);
    {
        const std::lock_guard lock{mutex_};
        outgoing_.close();
    }
    for (const auto& listener : followers) {
        callHost(platform_, "a connection listener", [&] { listener->connectionClosed(); });
    }
}

void WebSocketEngine::rememberError(const std::string& reason)
{
    const std::lock_guard lock{mutex_};
    lastError_ = escapeControlCharacters(reason);
}

void WebSocketEngine::beginToStop()
{
    {
        const std::lock_guard lock{mutex_};
        outgoing_.end();
    }
    reactor_->retryTimer.cancel();
    if (connection_ == nullptr) {
        reactor_->work.reset();
    } else if (!isOpen_) {
        connection_->abort("stopped");
    } else {
        reactor_->stopTimer.expires_after(steadyDuration(options_.timeLimits.close));
        reactor_->stopTimer.async_wait([this](const boost::system::error_code& error) {
            if (!error && connection_ != nullptr) {
                connection_->abort("stopped before the service had closed the connection");
            }
        });
        writeNext();
    }
}

void WebSocketEngine::writeNext()
{
    std::optional<std::string> next;
    {
        const std::lock_guard lock{mutex_};
        isWriteRequested_ = false;
        if (!isOpen_ || isWriting_ || isClosing_) {
            return;
        }
        next = outgoing_.take();
    }
    if (next) {
        isWriting_ = true;
        bytesBeingWritten_ = next->size();
        connection_->write(std::move(*next));
    } else if (isStopping_) {
        isClosing_ = true;
        connection_->close();
    }
}

void WebSocketEngine::written()
{
    isWriting_ = false;
    increase(counters_.framesSent);
    increase(counters_.bytesSent, bytesBeingWritten_);
    writeNext();
}

void WebSocketEngine::received(std::string_view text)
{
    increase(counters_.framesReceived);
    increase(counters_.bytesReceived, text.size());
    if (isStopping_) {
        return;
    }
    const auto decoded = decoder_.decode(text);
    if (const auto* fault = std::get_if<FrameFault>(&decoded)) {
        refused(*fault);
        return;
    }
    deliver(std::get<Message>(decoded));
}

void WebSocketEngine::deliver(const Message& message)
{
    const auto category = stringAt(*message, "category");
    const auto listeners = category ? listeners_.listenersOf(*category) : nullptr;
    if (listeners == nullptr) {
        increase(counters_.unrouted);
        return;
    }
    for (const auto& each : *listeners) {
        if (isStopping_) {
            return;
        }
        each.deliver(message, platform_);
    }
}

void WebSocketEngine::refused(FrameFault fault)
{
    const auto index = static_cast<std::size_t>(fault);
    increase(counters_.faults[index]);
    if (const auto count = faultLines_[index].happened(platform_.monotonicNow())) {
        log(joined({"WebSocket: received a frame that ", description(fault), "; ", std::to_string(*count),
                    " of the kind since the last such line"}));
    }
}

} // namespace vexa::host
