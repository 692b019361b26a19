#pragma once

#include <VexaClient/VexaSubscriptionStream.hpp>

#include <memory>
#include <string>

/// The board of a league in an application: the newest score of every team, kept up to date while the board is open.
class ScoreBoard {
public:
    /// \param league   whose scores it shows
    /// \param manager  the registry to subscribe with. An application leaves it out and gets that of the process; a
    ///                 test brings one of its own.
    explicit ScoreBoard(std::string league, std::shared_ptr<vexa::VexaOruSubscriptionManager> manager =
                                                vexa::VexaOruSubscriptionManager::sharedSubscriptionManager());
    ~ScoreBoard();
    ScoreBoard(const ScoreBoard&) = delete;
    ScoreBoard& operator=(const ScoreBoard&) = delete;

    /// Begins to follow the league. What the board has seen does not come again.
    void open();

    /// Stops following the league, and keeps what it shows.
    void close();

    /// What the board shows, "Lions 3, Tigers 1": teams in alphabetical order.
    [[nodiscard]] std::string text() const;

    /// Whether the service has said that the season is over.
    [[nodiscard]] bool isSeasonOver() const;

private:
    struct Scores;
    struct Following;

    static void takeNext(const std::shared_ptr<Following>& following);

    const std::string league_;
    const std::shared_ptr<vexa::VexaOruSubscriptionManager> manager_;
    const std::shared_ptr<Scores> scores_;
    std::shared_ptr<Following> following_;
};
