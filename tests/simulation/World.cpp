#include "tests/simulation/World.hpp"

#include <boost/json/parse.hpp>

#include <array>
#include <numeric>
#include <utility>

namespace vexa::simulation {

namespace {

struct NamedTopic {
    const char* name;
    const char* params; ///< as JSON; null for none
};

/// Topics that are easily taken for each other, and some that are hard to write.
constexpr std::array<NamedTopic, 22> topicsToChooseFrom{{
    {"scores", nullptr},
    {"scores", R"("")"},
    {"scores", "null"},
    {"scores", R"({"league":4})"},
    {"scores", R"({"league":4.0})"},
    {"scores", R"({"league":"4"})"},
    {"scores", R"({"league":4,"season":[1,"2",null,true]})"},
    {"scores", R"({"season":[1.0,"2",null,true],"league":4})"},
    {"scores", R"({"season":["2",1,null,true],"league":4})"},
    {"scores", "1"},
    {"scores", R"("1")"},
    {"scores", "[1]"},
    {"scores", "true"},
    {"scores", "{}"},
    {"scores", "[]"},
    {"scores", R"({"nested":{"deeper":{"deepest":[{"a":1.5},{"a":-2}]}}})"},
    {"scores", R"("null")"},
    {"", nullptr},
    {"news", nullptr},
    {"line\nbreak\x1b[2J", nullptr},
    {"sch\xc3\xb6n \xc2\x9b", R"({"\u00fc\n":"\t"})"},
    {"news", R"("LONG")"},
}};

constexpr std::size_t fewestTopics = 2;
constexpr std::size_t mostTopics = 5;

Event drawEvent(Draws& draws)
{
    static constexpr std::size_t allWeights = std::accumulate(eventWeights.begin(), eventWeights.end(), std::size_t{0});
    std::size_t drawn = draws.below(allWeights);
    std::size_t chosen = 0;
    while (drawn >= eventWeights.at(chosen)) {
        drawn -= eventWeights.at(chosen++);
    }
    return static_cast<Event>(chosen);
}

/// Whether an event keeps messages from arriving for a while.
bool disturbs(Event event) noexcept
{
    switch (event) {
    case Event::takeFeed:
    case Event::replaceFeed:
    case Event::connectionCloses:
    case Event::openedButClosed:
    case Event::closesWhileSending:
    case Event::serviceRestarts:
    case Event::transportReplaced:
    case Event::transportFails:
    case Event::removeOnClient:
    case Event::answerLost:
    case Event::answerMalformed:
    case Event::loggerTaken:
        return true;
    default:
        return false;
    }
}

Parameters parametersOf(const char* json)
{
    if (json == nullptr) {
        return std::nullopt;
    }
    Value value = boost::json::parse(json);
    if (value == "LONG") {
        constexpr std::size_t tooLongForALogLine = 2100;
        value = std::string(tooLongForALogLine, 'x');
    }
    return Parameters{std::move(value)};
}

} // namespace

World::World(std::uint64_t seed) : isPeaceful_{mixed(seed, 1) % 2 == 0}, library_{seed, seed % 2 == 0}, reactions_{seed}
{
    Draws draws{mixed(seed, 0)};
    transports_.push_back(library_.replaceTransport());
    transports_.back()->open = !draws.oneIn(4);
    transports_.back()->tellsAtOnce = draws.oneIn(4);
    transports_.back()->onSend = [this](const Dictionary& message) {
        service_.receive(message);
        if (const auto act = std::exchange(inNextSend_, nullptr)) {
            act();
        }
    };
    const std::size_t topicsInUse = fewestTopics + draws.below(mostTopics - fewestTopics + 1);
    for (std::size_t i = 0; i < topicsInUse; ++i) {
        const NamedTopic& chosen = draws.oneOf(topicsToChooseFrom);
        Topic made{chosen.name, parametersOf(chosen.params), {}};
        made.hash = library_.hash(made.name, made.params);
        topics_.push_back(std::move(made));
    }
}

World::~World()
{
    for (const auto& transport : transports_) {
        transport->dropListeners();
    }
}

World::Step World::step(std::size_t number)
{
    Draws draws{mixed(library_.platform().seed(), number + 1)};
    reactions_ = Draws{mixed(library_.platform().seed(), ~number)};

    Event event = drawEvent(draws);
    while (isPeaceful_ && disturbs(event) && !draws.oneIn(4)) {
        event = drawEvent(draws);
    }
    const bool wasPossible = perform(event, draws);
    drive(draws);
    if (library_.platform().isIdle()) {
        library_.noteQuiet();
        if (draws.oneIn(4)) {
            compareTables();
        }
    }
    return {event, wasPossible};
}

void World::finish()
{
    isCalm_ = true;
    inNextSend_ = nullptr;
    for (const auto& transport : transports_) {
        transport->faults.fill(Fault::none);
    }
    for (const std::int64_t stream : library_.streams()) {
        library_.dropStream(stream);
    }
    for (std::int64_t id = 1; id <= library_.lastListenerId(); ++id) {
        library_.removeListener(id);
    }
    library_.platform().runUntilIdle();
    library_.noteQuiet();
    compareTables();
    constexpr double untilEveryReportIsOut = 301.0;
    library_.platform().clock.advance(untilEveryReportIsOut);
    library_.noteQuiet();
    compareTables();
}

void World::compareTables()
{
    library_.readClient();
    library_.readManager();
}

void World::drive(Draws& draws)
{
    if (draws.oneIn(2)) {
        library_.platform().runUntilIdle();
        return;
    }
    for (std::size_t items = draws.below(8); items > 0; --items) {
        library_.platform().runOne();
    }
}

const World::Topic& World::topic(Draws& draws)
{
    return draws.oneOf(topics_);
}

double World::updatedAt(Draws& draws)
{
    constexpr std::array offsets{-3600.0, -1.0, 0.0, 0.125, 1.0e-3};
    switch (draws.below(4)) {
    case 0:
        return library_.platform().clock.now() + draws.oneOf(offsets);
    case 1:
        return draws.oneIn(2) ? 100.0 : 1.0e9;
    case 2:
        return draws.oneIn(4) ? -5.0 : 0.1;
    default:
        return 0.0;
    }
}

std::function<void()> World::reaction()
{
    return [this] { react(); };
}

SimulatedTransport* World::transportWithMessageListener()
{
    for (const auto& each : transports_) {
        if (each->hasMessageListener()) {
            return each.get();
        }
    }
    return nullptr;
}

SimulatedTransport* World::transportWithConnectionListener()
{
    for (const auto& each : transports_) {
        if (each->hasConnectionListener()) {
            return each.get();
        }
    }
    return nullptr;
}

bool World::perform(Event event, Draws& draws)
{
    using Answer = SimulatedService::Answer;
    SimulatedTransport& transport = *transports_.back();
    switch (event) {
    case Event::makeStream:
        return makeStream(draws);
    case Event::readStream:
        return withStream(draws, [this, &draws](std::int64_t stream) {
            for (std::size_t reads = 1 + draws.below(4); reads > 0; --reads) {
                library_.readStream(stream);
            }
        });
    case Event::cancelStream:
        return withStream(draws, [this](std::int64_t stream) { library_.cancelStream(stream); });
    case Event::dropStream:
        return withStream(draws, [this](std::int64_t stream) { library_.dropStream(stream); });
    case Event::addListener:
        return addListener(draws);
    case Event::addListenerAgain:
        return addListenerAgain(draws);
    case Event::removeListener:
        return removeListener(draws);
    case Event::removeNobody:
        library_.removeListener(draws.oneIn(2) ? 0 : draws.oneIn(2) ? -1 : library_.lastListenerId() + 1);
        return true;
    case Event::askListeners: {
        const Topic& chosen = topic(draws);
        library_.askListeners(chosen.name, chosen.params);
        return true;
    }
    case Event::createOnClient: {
        const Topic& chosen = topic(draws);
        library_.create(chosen.name, chosen.params, updatedAt(draws));
        return true;
    }
    case Event::removeOnClient:
        library_.remove(draws.oneIn(8) ? std::string{"no hash"} : topic(draws).hash);
        return true;
    case Event::replaceFeed:
        library_.setNewFeed(reaction());
        return true;
    case Event::restoreFeed:
        library_.setManagerAsFeed();
        return true;
    case Event::takeFeed:
        library_.takeFeed();
        return true;
    case Event::feedManager:
        return feedManager(draws);
    case Event::dataSingle:
        return data(1, false, draws);
    case Event::dataBatch:
        return data(2 + draws.below(5), false, draws);
    case Event::dataEmpty:
        return data(0, false, draws);
    case Event::dataTerminating:
        return data(1 + draws.below(4), true, draws);
    case Event::dataMalformed:
        return malformedData(draws);
    case Event::answerSuccess:
        return answer(Answer::success, draws);
    case Event::answerFailures:
        return answer(Answer::failures, draws);
    case Event::answerMixed:
        return answer(Answer::mixed, draws);
    case Event::answerWithoutIds:
        return answer(Answer::withoutIds, draws);
    case Event::answerUsedIds:
        return answer(Answer::usedIds, draws);
    case Event::answerTooFew:
        return answer(Answer::tooFew, draws);
    case Event::answerTooMany:
        return answer(Answer::tooMany, draws);
    case Event::answerAgain:
        return service_.hasAnswered() && deliver(service_.answerAgain(draws));
    case Event::answerUnasked:
        return deliver(service_.answerUnasked(draws));
    case Event::answerMalformed:
        return malformedAnswer(draws);
    case Event::answerLost:
        if (!service_.hasUnanswered()) {
            return false;
        }
        service_.lose(draws);
        return true;
    case Event::otherMessage:
        return otherMessage(draws);
    case Event::connectionOpens:
        return open(1);
    case Event::connectionCloses:
        return close();
    case Event::opensTwice:
        return open(2);
    case Event::openedButClosed:
        return toldOpenWhileClosed();
    case Event::opensWhileSending:
        return whileSending([this] { open(1); });
    case Event::closesWhileSending:
        return whileSending([this] { close(); });
    case Event::answersWhileSending:
        return whileSending([this] { answer(Answer::success, reactions_); });
    case Event::serviceRestarts:
        service_.restart();
        close();
        open(1);
        return true;
    case Event::registrationDropped:
        if (SimulatedTransport* registered = transportWithMessageListener()) {
            registered->notifyRegistrationDropped();
            return true;
        }
        return false;
    case Event::wallClockJumps:
        return jumpWallClock(draws);
    case Event::visibilityChanges:
        transport.visible = !transport.visible;
        return true;
    case Event::transportReplaced: {
        auto next = library_.replaceTransport();
        next->open = transport.open;
        next->visible = transport.visible;
        next->onSend = transport.onSend;
        next->nextListenerId = static_cast<std::int64_t>(draws.below(1000));
        transports_.push_back(std::move(next));
        return true;
    }
    case Event::loggerReplaced:
        transport.currentLogger = library_.newLogger();
        return true;
    case Event::loggerTaken:
        transport.currentLogger = nullptr;
        return true;
    case Event::transportFails:
        return failTransport(draws);
    case Event::loggerFails:
        if (transport.currentLogger == nullptr) {
            transport.currentLogger = library_.newLogger();
        }
        transport.currentLogger->fault = draws.oneIn(2) ? Fault::error : Fault::other;
        return true;
    case Event::loggerHeals:
        if (transport.currentLogger == nullptr) {
            transport.currentLogger = library_.newLogger();
        }
        transport.currentLogger->fault = Fault::none;
        return true;
    case Event::echo:
        library_.echo();
        return true;
    case Event::timePasses: {
        constexpr std::array spans{0.25, 1.0, 2.0, 2.999999999, 3.0, 3.0, 4.0, 5.0, 6.0, 6.0};
        library_.platform().clock.advance(draws.oneOf(spans));
        return true;
    }
    case Event::muchTimePasses: {
        constexpr std::array spans{20.0, 57.0, 60.0, 61.0, 66.0, 120.0, 295.0};
        library_.platform().clock.advance(draws.oneOf(spans));
        return true;
    }
    case Event::createsAndOpens: {
        const Topic& chosen = topic(draws);
        library_.create(chosen.name, chosen.params, updatedAt(draws));
        return open(1);
    }
    case Event::feedChangesOnTheWay:
        return feedChangesOnTheWay(draws);
    case Event::deviceSleeps:
        // Timers stand still while the wall clock goes on.
        library_.platform().clock.jump(draws.oneIn(2) ? 61.0 : 600.0);
        library_.platform().clock.advance(4.0);
        return true;
    case Event::readTables:
        compareTables();
        return true;
    }
    return false;
}

} // namespace vexa::simulation
