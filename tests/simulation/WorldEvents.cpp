#include "tests/simulation/World.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace vexa::simulation {

namespace {

/// How deep callbacks may call each other.
constexpr std::size_t deepestReaction = 2;

/// How many streams there may be.
constexpr std::size_t mostStreams = 8;

struct Depth {
    explicit Depth(std::size_t& depth) noexcept : value{depth} { ++value; }
    ~Depth() { --value; }
    Depth(const Depth&) = delete;
    Depth& operator=(const Depth&) = delete;
    std::size_t& value;
};

} // namespace

bool World::makeStream(Draws& draws)
{
    if (library_.streams().size() >= mostStreams) {
        return false;
    }
    const Topic& chosen = topic(draws);
    const std::optional<double> time = draws.oneIn(3) ? std::nullopt : std::optional{updatedAt(draws)};
    library_.makeStream(chosen.name, chosen.params, time);
    return true;
}

bool World::withStream(Draws& draws, const std::function<void(std::int64_t)>& use)
{
    const std::vector<std::int64_t> streams = library_.streams();
    if (streams.empty()) {
        return false;
    }
    use(draws.oneOf(streams));
    return true;
}

bool World::addListener(Draws& draws)
{
    const Topic& chosen = topic(draws);
    library_.add(chosen.name, chosen.params, updatedAt(draws), reaction());
    return true;
}

bool World::addListenerAgain(Draws& draws)
{
    const Topic& chosen = topic(draws);
    library_.addAgain(chosen.name, chosen.params, updatedAt(draws), draws.below(100));
    return true;
}

bool World::removeListener(Draws& draws)
{
    if (library_.lastListenerId() == 0) {
        return false;
    }
    // The newest ones are the likeliest to be registered still.
    constexpr std::size_t newest = 6;
    const auto back = static_cast<std::int64_t>(draws.below(newest));
    library_.removeListener(std::max<std::int64_t>(1, library_.lastListenerId() - back));
    return true;
}

bool World::feedManager(Draws& draws)
{
    Dictionary message;
    message["subscriptionId"] = "fed by the host";
    library_.feedManager(draws.oneIn(6) ? std::string{"no hash"} : topic(draws).hash,
                         std::make_shared<const Dictionary>(std::move(message)), draws.oneIn(5));
    return true;
}

bool World::deliver(Dictionary message)
{
    SimulatedTransport* transport = transportWithMessageListener();
    if (transport == nullptr) {
        return false;
    }
    transport->deliver(std::make_shared<const Dictionary>(std::move(message)));
    return true;
}

bool World::data(std::size_t count, bool terminates, Draws& draws)
{
    return deliver(service_.data(count, terminates, library_.platform().clock.now(), draws));
}

bool World::malformedData(Draws& draws)
{
    Dictionary message = service_.data(1 + draws.below(3), draws.oneIn(3), library_.platform().clock.now(), draws);
    for (std::size_t times = 1 + draws.below(2); times > 0; --times) {
        mutate(message, draws);
    }
    return deliver(std::move(message));
}

bool World::answer(SimulatedService::Answer answer, Draws& draws)
{
    return service_.hasUnanswered() && transportWithMessageListener() != nullptr &&
           deliver(service_.answer(answer, draws));
}

bool World::malformedAnswer(Draws& draws)
{
    if (!service_.hasUnanswered() || transportWithMessageListener() == nullptr) {
        return false;
    }
    Dictionary message =
        service_.answer(draws.oneIn(2) ? SimulatedService::Answer::success : SimulatedService::Answer::mixed, draws);
    for (std::size_t times = 1 + draws.below(2); times > 0; --times) {
        mutate(message, draws);
    }
    return deliver(std::move(message));
}

bool World::otherMessage(Draws& draws)
{
    constexpr std::array types{"SubscriptionResponse", "Data", "subscribe", "", "subscriptionresponse", "data "};
    Dictionary message;
    message["type"] = draws.oneOf(types);
    if (draws.oneIn(3)) {
        message["type"] = static_cast<std::int64_t>(draws.below(3));
    }
    if (draws.oneIn(3)) {
        message.erase("type");
    }
    message["messages"] = List{};
    return deliver(std::move(message));
}

bool World::open(std::size_t times)
{
    transports_.back()->open = true;
    SimulatedTransport* transport = transportWithConnectionListener();
    for (; transport != nullptr && times > 0; --times) {
        transport->notifyOpened();
    }
    return transport != nullptr;
}

bool World::close()
{
    transports_.back()->open = false;
    SimulatedTransport* transport = transportWithConnectionListener();
    if (transport != nullptr) {
        transport->notifyClosed();
    }
    return transport != nullptr;
}

bool World::toldOpenWhileClosed()
{
    SimulatedTransport* transport = transportWithConnectionListener();
    if (transport == nullptr) {
        return false;
    }
    transports_.back()->open = false;
    transport->notifyOpened();
    return true;
}

bool World::whileSending(std::function<void()> act)
{
    inNextSend_ = std::move(act);
    return true;
}

bool World::jumpWallClock(Draws& draws)
{
    constexpr std::array spans{-86400.0, -61.0, -3.0, 3.0, 5.0, 59.0, 61.0, 3600.0};
    library_.platform().clock.jump(draws.oneOf(spans));
    return true;
}

bool World::failTransport(Draws& draws)
{
    SimulatedTransport& transport = *transports_.back();
    draws.oneOf(transport.faults) = draws.oneIn(2) ? Fault::error : Fault::other;
    return true;
}

bool World::feedChangesOnTheWay(Draws& draws)
{
    library_.platform().runUntilIdle();
    if (!data(3, false, draws)) {
        return false;
    }
    library_.setNewFeed(reaction());
    return true;
}

void World::react()
{
    if (isCalm_ || reactionDepth_ >= deepestReaction) {
        return;
    }
    const Depth depth{reactionDepth_};
    Draws& draws = reactions_;
    constexpr std::size_t quietOnes = 16;
    switch (draws.below(16 + quietOnes)) {
    case 0:
        fail(Fault::error);
        return;
    case 1:
        fail(Fault::other);
        return;
    case 2:
        addListener(draws);
        return;
    case 3:
        removeListener(draws);
        return;
    case 4:
        makeStream(draws);
        return;
    case 5:
        withStream(draws, [this](std::int64_t stream) { library_.readStream(stream); });
        return;
    case 6:
        withStream(draws, [this](std::int64_t stream) { library_.dropStream(stream); });
        return;
    case 7:
        library_.remove(topic(draws).hash);
        return;
    case 8:
        data(1 + draws.below(2), draws.oneIn(3), draws);
        return;
    case 9:
        // A callback that blocks: meanwhile the other queues go on.
        for (std::size_t items = 1 + draws.below(6); items > 0; --items) {
            library_.platform().runOne();
        }
        return;
    case 10:
        library_.platform().clock.advance(draws.oneIn(2) ? 1.0 : 7.0);
        return;
    case 11:
        if (draws.oneIn(3)) {
            library_.setNewFeed(reaction());
        } else {
            library_.setManagerAsFeed();
        }
        return;
    case 12: {
        const Topic& chosen = topic(draws);
        library_.askListeners(chosen.name, chosen.params);
        return;
    }
    case 13:
        answer(SimulatedService::Answer::mixed, draws);
        return;
    case 14:
        open(1);
        return;
    case 15: {
        const Topic& chosen = topic(draws);
        library_.create(chosen.name, chosen.params, updatedAt(draws));
        return;
    }
    default:
        return;
    }
}

} // namespace vexa::simulation
