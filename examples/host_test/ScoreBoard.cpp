#include "ScoreBoard.hpp"

#include <VexaClient/platform/JsonReaders.hpp>

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

using Element = vexa::VexaSubscriptionStream::Element;

/// What the service has told so far.
struct ScoreBoard::Scores {
    mutable std::mutex mutex;
    std::map<std::string, std::int64_t> points;
    std::optional<double> lastSeen; ///< the time of the newest message, from which the service resumes
    bool isSeasonOver = false;

    void take(const Element& element)
    {
        const std::lock_guard lock{mutex};
        isSeasonOver = element.isTerminating;
        const vexa::Dictionary* payload = vexa::dictionaryAt(*element.message, "payload");
        if (payload == nullptr) {
            return;
        }
        if (const auto updatedAt = vexa::doubleAt(*payload, "updatedAt")) {
            lastSeen = updatedAt;
        }
        const auto team = vexa::stringAt(*payload, "team");
        const auto scored = vexa::doubleAt(*payload, "points");
        if (team && scored) {
            points[std::string{*team}] = static_cast<std::int64_t>(*scored);
        }
    }
};

/// A subscription, with what shows its messages. Whoever waits for the next one holds it, so the board can go
/// meanwhile.
struct ScoreBoard::Following {
    std::shared_ptr<Scores> scores;
    vexa::AsyncStream<Element> stream;
};

ScoreBoard::ScoreBoard(std::string league, std::shared_ptr<vexa::VexaOruSubscriptionManager> manager)
    : league_{std::move(league)}, manager_{std::move(manager)}, scores_{std::make_shared<Scores>()}
{}

ScoreBoard::~ScoreBoard()
{
    close();
}

void ScoreBoard::open()
{
    close();
    std::optional<double> lastSeen;
    {
        const std::lock_guard lock{scores_->mutex};
        lastSeen = scores_->lastSeen;
    }
    vexa::Dictionary parameters;
    parameters.emplace("league", league_);
    following_ = std::make_shared<Following>(
        Following{scores_, vexa::VexaSubscriptionStream::createStream("scores", parameters, lastSeen, manager_)});
    takeNext(following_);
}

void ScoreBoard::takeNext(const std::shared_ptr<Following>& following)
{
    following->stream.next([following](const std::optional<Element>& element) {
        if (element) {
            following->scores->take(*element);
            takeNext(following);
        }
    });
}

void ScoreBoard::close()
{
    if (const auto following = std::exchange(following_, nullptr)) {
        following->stream.cancel();
    }
}

std::string ScoreBoard::text() const
{
    const std::lock_guard lock{scores_->mutex};
    std::string text;
    for (const auto& [team, points] : scores_->points) {
        text += (text.empty() ? "" : ", ") + team + " " + std::to_string(points);
    }
    return text;
}

bool ScoreBoard::isSeasonOver() const
{
    const std::lock_guard lock{scores_->mutex};
    return scores_->isSeasonOver;
}
