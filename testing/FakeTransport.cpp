#include <testing/FakeTransport.hpp>

#include <boost/json/parse.hpp>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vexa::testing {

namespace {

std::size_t indexOf(FakeTransport::Operation operation) noexcept
{
    return static_cast<std::size_t>(operation);
}

} // namespace

FakeTransport::FakeTransport(Platform& platform, Hold hold)
    : hold_{hold}, fakeLogger_{std::make_shared<FakeLogger>(platform)}, logger_{fakeLogger_}
{}

void FakeTransport::setNextListenerId(std::int64_t id)
{
    const std::lock_guard lock{mutex_};
    nextListenerId_ = id;
}

void FakeTransport::setLogger(std::shared_ptr<OruClientLogger> logger)
{
    const std::lock_guard lock{mutex_};
    logger_.swap(logger);
}

void FakeTransport::throwFrom(Operation operation, std::size_t times)
{
    const std::lock_guard lock{mutex_};
    faults_.at(indexOf(operation)) = times;
}

void FakeTransport::heal()
{
    const std::lock_guard lock{mutex_};
    faults_.fill(0);
}

Message FakeTransport::deliver(Dictionary message, std::string_view category)
{
    auto shared = std::make_shared<const Dictionary>(std::move(message));
    deliverMessage(shared, category);
    return shared;
}

void FakeTransport::deliverMessage(const Message& message, std::string_view category)
{
    // Called outside the mutex, since a listener may use the transport.
    for (const Registration& each : registrations()) {
        if (each.messageListener != nullptr && each.category == category) {
            each.messageListener->handleMessage(message);
        }
    }
}

Message FakeTransport::deliverJson(std::string_view text, std::string_view category)
{
    boost::json::error_code error;
    Value value = boost::json::parse(boost::json::string_view{text.data(), text.size()}, error);
    if (error || !value.is_object()) {
        throw std::invalid_argument{"no JSON object: " + std::string{text}};
    }
    return deliver(std::move(value.get_object()), category);
}

void FakeTransport::notifyOpened()
{
    for (const auto& listener : connectionListeners()) {
        listener->connectionOpened();
    }
}

void FakeTransport::notifyClosed()
{
    for (const auto& listener : connectionListeners()) {
        listener->connectionClosed();
    }
}

void FakeTransport::dropRegistration(std::int64_t id)
{
    Held dropped{};
    {
        const std::lock_guard lock{mutex_};
        const auto found = std::ranges::find_if(registrations_, [id](const Held& each) { return each.id == id; });
        if (found == registrations_.end()) {
            return;
        }
        dropped = std::move(*found);
        registrations_.erase(found);
    }
    if (const auto messageListener = dropped.messageListener.lock()) {
        messageListener->messageListenerRemoved(id);
    }
}

std::vector<Dictionary> FakeTransport::sent() const
{
    const std::lock_guard lock{mutex_};
    return sent_;
}

std::vector<Dictionary> FakeTransport::takeSent()
{
    const std::lock_guard lock{mutex_};
    const auto first = sent_.begin() + static_cast<std::ptrdiff_t>(std::exchange(takenSent_, sent_.size()));
    return {first, sent_.end()};
}

std::vector<FakeTransport::Operation> FakeTransport::calls() const
{
    const std::lock_guard lock{mutex_};
    return calls_;
}

std::size_t FakeTransport::count(Operation operation) const
{
    const std::lock_guard lock{mutex_};
    return static_cast<std::size_t>(std::ranges::count(calls_, operation));
}

std::vector<FakeTransport::Registration> FakeTransport::registrations() const
{
    const std::lock_guard lock{mutex_};
    std::vector<Registration> standing;
    standing.reserve(registrations_.size());
    for (const Held& each : registrations_) {
        standing.push_back({each.id, each.category, each.messageListener.lock(), each.connectionListener.lock()});
    }
    return standing;
}

std::shared_ptr<OruClientLogger> FakeTransport::logger()
{
    const std::lock_guard lock{mutex_};
    note(Operation::logger);
    return logger_;
}

bool FakeTransport::isVisible()
{
    const std::lock_guard lock{mutex_};
    note(Operation::isVisible);
    return visible;
}

bool FakeTransport::isOpen()
{
    const std::lock_guard lock{mutex_};
    note(Operation::isOpen);
    return open;
}

std::int64_t FakeTransport::addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener)
{
    const std::lock_guard lock{mutex_};
    note(Operation::addConnectionListener);
    return registerHeld({0, std::nullopt, {}, listener, listener});
}

std::int64_t FakeTransport::addCategoryListener(std::string_view category,
                                                std::shared_ptr<OruClientMessageListener> listener)
{
    const std::lock_guard lock{mutex_};
    note(Operation::addCategoryListener);
    return registerHeld({0, std::string{category}, listener, {}, listener});
}

void FakeTransport::send(Dictionary message)
{
    const std::lock_guard lock{mutex_};
    note(Operation::send);
    sent_.push_back(std::move(message));
}

void FakeTransport::note(Operation operation)
{
    calls_.push_back(operation);
    std::size_t& faults = faults_.at(indexOf(operation));
    if (faults > 0) {
        --faults;
        throw std::runtime_error{"the fake transport fails"};
    }
}

std::int64_t FakeTransport::registerHeld(Held held)
{
    held.id = nextListenerId_;
    // Behind the largest id comes the smallest: what a transport numbers its registrations with is its own affair.
    nextListenerId_ = static_cast<std::int64_t>(static_cast<std::uint64_t>(nextListenerId_) + 1);
    if (hold_ == Hold::weakly) {
        held.owner = nullptr;
    }
    registrations_.push_back(std::move(held));
    return registrations_.back().id;
}

std::vector<std::shared_ptr<OruClientConnectionListener>> FakeTransport::connectionListeners() const
{
    std::vector<std::shared_ptr<OruClientConnectionListener>> listeners;
    for (Registration& each : registrations()) {
        if (each.connectionListener != nullptr) {
            listeners.push_back(std::move(each.connectionListener));
        }
    }
    return listeners;
}

} // namespace vexa::testing
