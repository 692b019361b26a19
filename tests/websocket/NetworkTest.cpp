#include "ClientUnderTest.hpp"
#include "TestService.hpp"

#include <gtest/gtest.h>

namespace vexa::host {
namespace {

using Entries = Happenings::Entries;

TEST(WebSocketNetworkTest, itsLossEndsTheConnectionAndItsReturnBringsAnother)
{
    TestService service{keepOpen};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    for (int round = 1; round <= 20; ++round) {
        under.client->setNetworkAvailable(false);
        under.happenings().awaitEntry("closed", round);
        under.client->setNetworkAvailable(true);
        under.happenings().awaitEntry("opened", round + 1);
    }
    EXPECT_EQ(under.client->figures().attempts, 21U) << "none was tried without a network";
    EXPECT_EQ(under.client->lastError(), "there is no network");
}

TEST(WebSocketNetworkTest, aLossThatIsOverAtOnceReplacesTheConnectionToo)
{
    TestService service{keepOpen};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    under.client->setNetworkAvailable(false);
    under.client->setNetworkAvailable(true);
    EXPECT_EQ(under.happenings().await(3), (Entries{"opened", "closed", "opened"}));
}

TEST(WebSocketNetworkTest, withoutOneNothingIsTried)
{
    TestService service{keepOpen};
    ClientUnderTest under{service.url()};
    under.client->setNetworkAvailable(false);
    under.client->setNetworkAvailable(false);
    under.client->start();
    under.client->setNetworkAvailable(true);
    under.client->setNetworkAvailable(true);
    under.happenings().awaitEntry("opened");
    EXPECT_EQ(under.happenings().await(1), Entries{"opened"});
    EXPECT_EQ(under.client->figures().attempts, 1U);
}

TEST(WebSocketNetworkTest, itsReturnEndsTheWaitForTheNextTry)
{
    TestService service{[](TestService::Socket& socket, int number) {
        ServiceEnd end{socket};
        if (number < 3) {
            resetWhenDone(socket);
            return;
        }
        end.receiveToTheEnd();
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    // Every draw but one in a thousand or so is longer than the test may take.
    options.reconnect = {.firstCeiling = 1e6, .lastCeiling = 1e6, .stableAfter = 1e9};
    ClientUnderTest under{std::move(options)};
    under.client->start();
    for (int round = 1; round < 3; ++round) {
        under.happenings().awaitEntry("closed", round);
        under.client->setNetworkAvailable(false);
        under.client->setNetworkAvailable(true);
        under.happenings().awaitEntry("opened", round + 1);
    }
}

TEST(WebSocketNetworkTest, aStopNeedsNone)
{
    TestService service{keepOpen};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    under.client->setNetworkAvailable(false);
    under.client->stop();
    under.client->setNetworkAvailable(true);
    EXPECT_EQ(under.client->figures().connects, 1U);
}

} // namespace
} // namespace vexa::host
