#include "tests/simulation/Plant.hpp"

#include <memory>
#include <utility>

namespace vexa::simulation {

namespace {

/// The kind of observation that a fault is planted in.
Happening placeOf(Plant plant) noexcept
{
    switch (plant) {
    case Plant::changedLogLine:
    case Plant::missingLogLine:
        return Happening::logLine;
    case Plant::changedRequest:
    case Plant::missingRequest:
        return Happening::send;
    case Plant::changedConsoleLine:
        return Happening::consoleLog;
    case Plant::changedReport:
    case Plant::lateReport:
        return Happening::serverLog;
    case Plant::changedFeed:
    case Plant::missingFeed:
        return Happening::feed;
    case Plant::changedListener:
    case Plant::missingListener:
        return Happening::listener;
    case Plant::changedStreamElement:
        return Happening::hostReadsStream;
    case Plant::missingRemoval:
        return Happening::managerRemoves;
    default:
        return Happening::libraryReturns;
    }
}

bool fits(Plant plant, const Observation& observation)
{
    if (observation.what != placeOf(plant)) {
        return false;
    }
    if (plant == Plant::changedStreamElement) {
        return observation.message != nullptr;
    }
    if (plant == Plant::changedRetryCount) {
        return observation.client != nullptr;
    }
    if (plant == Plant::changedListenerTable) {
        return observation.manager != nullptr && !observation.manager->listenersById.empty();
    }
    return true;
}

/// Changes the observation. Returns whether it is still to be seen.
bool change(Plant plant, Observation& observation)
{
    switch (plant) {
    case Plant::changedLogLine:
    case Plant::changedConsoleLine:
        observation.text += " ";
        return true;
    case Plant::changedRequest:
        observation.dictionary["type"] = "unsubscribe";
        return true;
    case Plant::changedReport:
        observation.number = 1;
        return true;
    case Plant::lateReport:
        observation.monotonic += 300.0;
        return true;
    case Plant::changedFeed:
    case Plant::changedListener:
    case Plant::changedStreamElement:
        observation.flag = !observation.flag;
        return true;
    case Plant::changedRetryCount: {
        auto changed = std::make_shared<model::ClientTables>(*observation.client);
        ++changed->subscriptionRetryCount;
        observation.client = std::move(changed);
        return true;
    }
    case Plant::changedListenerTable: {
        auto changed = std::make_shared<model::ManagerTables>(*observation.manager);
        changed->listenersById.erase(changed->listenersById.begin());
        observation.manager = std::move(changed);
        return true;
    }
    default:
        return false;
    }
}

} // namespace

std::function<bool(Observation&)> corruption(Plant plant)
{
    if (plant == Plant::none) {
        return {};
    }
    return [plant, places = 0](Observation& observation) mutable {
        constexpr int chosen = 2;
        if (!fits(plant, observation) || ++places != chosen) {
            return true;
        }
        return change(plant, observation);
    };
}

} // namespace vexa::simulation
