// How an application tests itself with the kit: no socket, no thread, no waiting. Each test tells a conversation with
// the service line by line and looks at what the board shows.

#include "ScoreBoard.hpp"

#include <testing/FakeTransport.hpp>
#include <testing/ScriptedService.hpp>
#include <testing/StandaloneLibrary.hpp>
#include <testing/VirtualPlatform.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace vexa::testing;
using vexa::Dictionary;
using vexa::Parameters;

using Lines = std::vector<std::string>;

/// The application, with the library's real code between a transport and a service that the test plays.
struct Application {
    explicit Application(std::uint64_t seed = defaultSeed()) : platform{seed} { container.oruClient(transport); }

    VirtualPlatform platform;
    std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>(platform);
    vexa::Dependencies container;
    StandaloneLibrary library{platform, container};
    ScriptedService service{platform, *transport};
    ScoreBoard board{"north", library.manager()};
};

Dictionary score(const std::string& team, int points, double updatedAt = 0)
{
    Dictionary payload;
    payload["team"] = team;
    payload["points"] = points;
    if (updatedAt > 0) {
        payload["updatedAt"] = updatedAt;
    }
    return payload;
}

const Parameters north = Dictionary{{"league", "north"}};

TEST(ScoreBoard, showsWhatTheServicePublishes)
{
    Application application;
    application.board.open();
    ReceivedSubscribe request = application.service.expectSubscribe("scores");
    EXPECT_EQ(request.topics(), (std::vector<Dictionary>{topic("scores", north)}));
    request.reply(success("s-1"));
    EXPECT_EQ(application.board.text(), "");

    application.service.data({entry("s-1", score("Tigers", 1)), entry("s-1", score("Lions", 2))});
    EXPECT_EQ(application.board.text(), "Lions 2, Tigers 1");
    application.service.data({entry("s-1", score("Lions", 3))});
    EXPECT_EQ(application.board.text(), "Lions 3, Tigers 1");
}

TEST(ScoreBoard, hearsThatTheSeasonIsOver)
{
    Application application;
    application.board.open();
    application.service.expectSubscribe("scores").reply(success("s-1"));
    application.service.terminate("s-1");
    EXPECT_TRUE(application.board.isSeasonOver());
}

TEST(ScoreBoard, goesOnAfterAnOutageFromWhereItWas)
{
    Application application;
    application.board.open();
    application.service.expectSubscribe("scores").reply(success("s-1"));
    application.service.data({entry("s-1", score("Lions", 2, 1700000000.5))});

    application.service.close();
    application.platform.clock.advance(60);
    application.service.expectNothingSent();
    application.service.open();
    ReceivedSubscribe request = application.service.expectSubscribe("scores");
    EXPECT_EQ(request.topics(), (std::vector<Dictionary>{topic("scores", north, 1700000000.5)}));
    request.reply(success("s-2"));
    application.service.data({entry("s-2", score("Lions", 3, 1700000001.5), true)});
    EXPECT_EQ(application.board.text(), "Lions 3");
}

TEST(ScoreBoard, goesOnWhenItIsOpenedAgain)
{
    Application application;
    application.board.open();
    application.service.expectSubscribe("scores").reply(success("s-1"));
    application.service.data({entry("s-1", score("Lions", 2, 1700000000.5))});
    application.board.close();
    application.service.data({entry("s-1", score("Lions", 9))});
    EXPECT_EQ(application.board.text(), "Lions 2");

    // The library still has the topic, so it asks for it only when the connection opens again.
    application.board.open();
    application.service.expectNothingSent();
    application.service.data({entry("s-1", score("Lions", 3))});
    EXPECT_EQ(application.board.text(), "Lions 3");
}

TEST(ScoreBoard, waitsForAServiceThatIsSlow)
{
    Application application;
    application.board.open();
    application.service.expectSubscribe("scores");

    // Nobody answers. The library asks again on the second tick of its timer, which ticks every three seconds.
    application.platform.clock.advance(5.9);
    application.service.expectNothingSent();
    application.platform.clock.advance(0.1);
    application.service.expectSubscribe("scores").reply(success("s-1"));
    EXPECT_EQ(application.transport->fakeLogger().takeConsoleLines(), (Lines{"VEXA: Retrying O-001"}));
    application.service.data({entry("s-1", score("Lions", 2))});
    EXPECT_EQ(application.board.text(), "Lions 2");
}

TEST(ScoreBoard, staysEmptyWhenTheServiceRefuses)
{
    Application application;
    application.board.open();
    application.service.expectSubscribe("scores").reply(failure("NoSuchLeague"));
    application.platform.clock.advance(300);
    application.service.expectNothingSent();
    EXPECT_EQ(application.board.text(), "");

    // What became of a request is reported to the service after 5 to 300 seconds.
    const std::vector<ServerLog> reports = application.transport->fakeLogger().takeServerLogs();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].category, "vexa");
    EXPECT_EQ(reports[0].blob.at("vexaSubscriptionResponses").at(0).at("error"), "NoSuchLeague");
    EXPECT_GE(reports[0].at, 5);
    EXPECT_LT(reports[0].at, 300);
}

TEST(ScoreBoard, leavesTheseLinesInTheLogWhenItCloses)
{
    Application application;
    application.board.open();
    application.service.expectSubscribe("scores").reply(success("s-1"));
    application.platform.takeLogLines();
    application.board.close();
    application.platform.runUntilIdle();
    const std::string hash = application.library.client()->subscriptionHash("scores", north);
    EXPECT_EQ(application.platform.takeLogLines(),
              (Lines{"VEXA: VexaSubscriptionStream unregistered listener - 1", "VEXA: removing listener 1",
                     "VEXA: removing subscription", "VEXA: Removed " + hash}));
}

TEST(ScoreBoard, survivesATransportThatFails)
{
    Application application;
    application.transport->throwFrom(FakeTransport::Operation::send, 1);
    application.board.open();
    application.platform.runUntilIdle();
    application.service.expectNothingSent();
    EXPECT_EQ(application.platform.takeLogLines().back(), "VEXA: OruClient::send threw: the fake transport fails");

    // A request that was lost counts as sent, and is sent again like any other that has no answer.
    application.platform.clock.advance(6);
    application.service.expectSubscribe("scores").reply(success("s-1"));
    application.service.data({entry("s-1", score("Lions", 2))});
    EXPECT_EQ(application.board.text(), "Lions 2");
}

TEST(ScoreBoard, ignoresWhatItCannotRead)
{
    Application application;
    application.board.open();
    application.service.expectSubscribe("scores").reply(success("s-1"));
    application.transport->deliverJson(R"({"type": "data", "messages": [{"subscriptionId": "s-1", "payload": 5},
                                                                       {"subscriptionId": "s-1"}]})");
    application.transport->deliverJson(R"({"type": "data", "messages": "none"})");
    application.service.data({entry("s-1", {{"team", 7}, {"points", "many"}}), entry("s-1", score("Lions", 2))});
    EXPECT_EQ(application.board.text(), "Lions 2");
}

TEST(ScoreBoard, showsTheSameInWhateverOrderTheQueuesRun)
{
    for (const std::uint64_t seed : seeds(50)) {
        Application application{seed};
        ScoreBoard second{"north", application.library.manager()};
        application.board.open();
        second.open();
        application.service.expectSubscribe("scores").reply(success("s-1"));
        application.transport->deliver(dataMessage({entry("s-1", score("Lions", 2))}));
        application.transport->deliver(dataMessage({entry("s-1", score("Lions", 3))}));
        application.platform.runUntilIdle();
        EXPECT_EQ(application.board.text(), "Lions 3") << replayHint(seed);
        EXPECT_EQ(second.text(), "Lions 3") << replayHint(seed);
    }
}

} // namespace
