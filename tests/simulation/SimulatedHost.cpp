#include "tests/simulation/SimulatedHost.hpp"

#include <stdexcept>

namespace vexa::simulation {

void fail(Fault fault)
{
    switch (fault) {
    case Fault::none:
        return;
    case Fault::error:
        throw std::runtime_error{"the host fails"};
    case Fault::other:
        throw 7; // NOLINT(hicpp-exception-baseclass): what hosts throw need not be an exception
    }
}

void SimulatedLogger::consoleLog(std::string_view line)
{
    Observation call;
    call.what = Happening::consoleLog;
    call.source = number_;
    call.text = line;
    recorder_.hostCall(std::move(call), [this] {
        fail(fault);
        return 0;
    });
}

void SimulatedLogger::serverLog(std::string_view category, Dictionary blob, std::int64_t severity)
{
    Observation call;
    call.what = Happening::serverLog;
    call.source = number_;
    call.text = category;
    call.number = severity;
    call.dictionary = std::move(blob);
    recorder_.hostCall(std::move(call), [this] {
        fail(fault);
        return 0;
    });
}

Observation SimulatedTransport::call(Happening what) const
{
    Observation observation;
    observation.what = what;
    observation.source = number_;
    return observation;
}

void SimulatedTransport::failIfTold(Operation operation)
{
    fail(std::exchange(faults.at(static_cast<std::size_t>(operation)), Fault::none));
}

void SimulatedTransport::deliver(Message message)
{
    Observation observation = call(Happening::incoming);
    observation.message = message;
    recorder_.add(std::move(observation));
    messageListener_->handleMessage(std::move(message));
}

void SimulatedTransport::notifyOpened()
{
    recorder_.add(Happening::connectionOpened);
    connectionListener_->connectionOpened();
}

void SimulatedTransport::notifyClosed()
{
    recorder_.add(Happening::connectionClosed);
    connectionListener_->connectionClosed();
}

void SimulatedTransport::notifyRegistrationDropped()
{
    recorder_.add(Happening::listenerRegistrationDropped);
    messageListener_->messageListenerRemoved(1);
}

void SimulatedTransport::dropListeners() noexcept
{
    messageListener_.reset();
    connectionListener_.reset();
    onSend = nullptr;
}

std::shared_ptr<OruClientLogger> SimulatedTransport::logger()
{
    recorder_.hostCall(call(Happening::logger), [this] {
        failIfTold(Operation::logger);
        return currentLogger != nullptr ? currentLogger->number() : 0;
    });
    return currentLogger;
}

bool SimulatedTransport::isVisible()
{
    return recorder_.hostCall(call(Happening::isVisible), [this] {
        failIfTold(Operation::isVisible);
        return visible ? 1 : 0;
    }) != 0;
}

bool SimulatedTransport::isOpen()
{
    return recorder_.hostCall(call(Happening::isOpen), [this] {
        failIfTold(Operation::isOpen);
        return open ? 1 : 0;
    }) != 0;
}

std::int64_t SimulatedTransport::addConnectionListener(std::shared_ptr<OruClientConnectionListener> listener)
{
    return recorder_.hostCall(call(Happening::addConnectionListener), [&] {
        failIfTold(Operation::addConnectionListener);
        connectionListener_ = std::move(listener);
        if (open && tellsAtOnce) {
            notifyOpened();
        }
        return nextListenerId++;
    });
}

std::int64_t SimulatedTransport::addCategoryListener(std::string_view category,
                                                     std::shared_ptr<OruClientMessageListener> listener)
{
    Observation observation = call(Happening::addCategoryListener);
    observation.text = category;
    return recorder_.hostCall(std::move(observation), [&] {
        failIfTold(Operation::addCategoryListener);
        messageListener_ = std::move(listener);
        return nextListenerId++;
    });
}

void SimulatedTransport::send(Dictionary message)
{
    const Dictionary kept = message;
    Observation observation = call(Happening::send);
    observation.dictionary = std::move(message);
    recorder_.hostCall(std::move(observation), [&] {
        failIfTold(Operation::send);
        if (onSend) {
            onSend(kept);
        }
        return 0;
    });
}

SimulatedListener::SimulatedListener(Recorder& recorder, std::int64_t number, Census census,
                                     std::function<void()> onMessage)
    : recorder_{recorder}, number_{number}, census_{std::move(census)}, onMessage_{std::move(onMessage)}
{
    census_->insert(number_);
}

SimulatedListener::~SimulatedListener()
{
    census_->erase(census_->find(number_));
}

void SimulatedListener::messageReceived(const Message& message, bool isTerminating)
{
    Observation call;
    call.what = Happening::listener;
    call.source = number_;
    call.message = message;
    call.flag = isTerminating;
    recorder_.hostCall(std::move(call), [this] {
        onMessage_();
        return 0;
    });
}

SimulatedFeed::SimulatedFeed(Recorder& recorder, std::int64_t number, Census census, std::function<void()> onMessage)
    : recorder_{recorder}, number_{number}, census_{std::move(census)}, onMessage_{std::move(onMessage)}
{
    census_->insert(number_);
}

SimulatedFeed::~SimulatedFeed()
{
    census_->erase(census_->find(number_));
}

void SimulatedFeed::messageFeed(std::string_view hash, const Message& message, bool isTerminating)
{
    Observation call;
    call.what = Happening::feed;
    call.source = number_;
    call.text = hash;
    call.message = message;
    call.flag = isTerminating;
    recorder_.hostCall(std::move(call), [this] {
        onMessage_();
        return 0;
    });
}

} // namespace vexa::simulation
