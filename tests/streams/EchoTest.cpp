#include "Fixtures.hpp"
#include "ForwardingPlatform.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <thread>
#include <type_traits>

namespace vexa {
namespace {

using Operations = std::vector<testing::FakeTransport::Operation>;
using Operation = testing::FakeTransport::Operation;

/// A sender of the test's own, since the shared one runs on the platform of the system.
class Sender final : public VexaDataSender {
public:
    Sender(Platform& platform, Dependencies& container) : VexaDataSender{platform, container} {}
};

static_assert(!std::is_constructible_v<VexaDataSender, Platform&, Dependencies&>);
static_assert(!std::is_default_constructible_v<VexaDataSender>);

struct Echo {
    Echo() { container.oruClient(transport); }

    Dictionary send()
    {
        sender.sendToEcho();
        return transport->takeSent().at(0);
    }

    testing::VirtualPlatform platform;
    std::shared_ptr<testing::FakeTransport> transport = std::make_shared<testing::FakeTransport>(platform);
    Dependencies container;
    Sender sender{platform, container};
};

/// The first random bits from which a draw below 79998 yields `result`: that part of the 64-bit range begins there.
std::uint64_t bitsFor(std::uint64_t result)
{
    constexpr std::uint64_t bound = 79998;
    const std::uint64_t whole = std::numeric_limits<std::uint64_t>::max() / bound;
    const std::uint64_t rest = std::numeric_limits<std::uint64_t>::max() % bound + 1;
    // One step beyond the beginning of the part, which a draw without bias might have to refuse.
    return result * whole + result * rest / bound + 2;
}

Dictionary echo(std::string_view id, std::string_view date)
{
    return {{"category", "zltMsg"},
            {"type", "sdk-echo"},
            {"msgId", id},
            {"payload", {{"fieldOne", "ios-sdk"}, {"fieldTwo", "testTwo"}, {"date", date}}}};
}

TEST(Echo, SendsTheWholeRecordAsText)
{
    Echo under;
    under.platform.clock.set(1731715200.25);
    under.platform.nextRandomBits({bitsFor(28211)});
    EXPECT_EQ(under.send(), echo("48213", "1731715200.25"));
}

TEST(Echo, DrawsIdsFrom20002To99999)
{
    Echo under;
    under.platform.nextRandomBits({bitsFor(0), bitsFor(1), bitsFor(79996), bitsFor(79997)});
    EXPECT_EQ(under.send(), echo("20002", "1700000000.0"));
    EXPECT_EQ(under.send(), echo("20003", "1700000000.0"));
    EXPECT_EQ(under.send(), echo("99998", "1700000000.0"));
    EXPECT_EQ(under.send(), echo("99999", "1700000000.0"));
}

TEST(Echo, ReachesBothEndsOfTheIdsAtTheEndsOfTheBits)
{
    Echo under;
    under.platform.nextRandomBits({std::numeric_limits<std::uint64_t>::max()});
    EXPECT_EQ(under.send(), echo("99999", "1700000000.0"));
    under.platform.nextRandomBits({std::numeric_limits<std::uint64_t>::max() / 79998});
    EXPECT_EQ(under.send(), echo("20002", "1700000000.0"));
}

TEST(Echo, DrawsAgainWhenTheBitsWouldFavourAnId)
{
    Echo under;
    under.platform.nextRandomBits({0, bitsFor(500)});
    EXPECT_EQ(under.send(), echo("20502", "1700000000.0"));
}

TEST(Echo, DrawsIdsOfFiveDigitsWhateverTheBits)
{
    Echo under;
    std::set<std::size_t> lengths;
    std::set<std::string> ids;
    for (int sends = 0; sends < 20000; ++sends) {
        const std::string id{under.send().at("msgId").as_string()};
        lengths.insert(id.size());
        ids.insert(id);
    }
    EXPECT_EQ(lengths, (std::set<std::size_t>{5}));
    EXPECT_GE(*ids.begin(), "20002");
    EXPECT_LE(*ids.rbegin(), "99999");
    EXPECT_GT(ids.size(), 10000U);
}

TEST(Echo, WritesDatesInTheShortestPlainNotation)
{
    Echo under;
    const std::vector<std::pair<double, std::string>> dates{{1700000000.0, "1700000000.0"},
                                                            {1700000000.5, "1700000000.5"},
                                                            {0.0, "0.0"},
                                                            {0.1, "0.1"},
                                                            {0.0001, "0.0001"},
                                                            {0.00000025, "0.00000025"},
                                                            {1e9, "1000000000.0"},
                                                            {1731715200.123456, "1731715200.123456"}};
    for (const auto& [seconds, date] : dates) {
        under.platform.clock.set(seconds);
        under.platform.nextRandomBits({bitsFor(28211)});
        EXPECT_EQ(under.send(), echo("48213", date));
    }
}

/// A platform on which a draw takes a second.
class SlowChance final : public ForwardingPlatform {
public:
    std::uint64_t randomBits() override
    {
        virtually.clock.advance(1);
        return bitsFor(28211);
    }
};

TEST(Echo, TakesTheTimeBeforeTheDraw)
{
    SlowChance platform;
    const auto transport = std::make_shared<testing::FakeTransport>(platform);
    Dependencies container;
    container.oruClient(transport);
    Sender{platform, container}.sendToEcho();
    EXPECT_EQ(transport->sent(), (std::vector<Dictionary>{echo("48213", "1700000000.0")}));
}

TEST(Echo, SendsANewMessageEachTime)
{
    Echo under;
    under.platform.nextRandomBits({bitsFor(7), bitsFor(7)});
    EXPECT_EQ(under.send(), echo("20009", "1700000000.0"));
    under.platform.clock.advance(0.5);
    EXPECT_EQ(under.send(), echo("20009", "1700000000.5"));
}

TEST(Echo, SendsOnceOnTheCallersThreadWithoutAskingWhetherTheConnectionIsOpen)
{
    Echo under;
    under.transport->open = false;
    under.sender.sendToEcho();
    EXPECT_EQ(under.transport->calls(), (Operations{Operation::send}));
    EXPECT_TRUE(under.platform.isIdle());
}

TEST(Echo, LogsNothing)
{
    Echo under;
    under.sender.sendToEcho();
    under.platform.clock.advance(400);
    EXPECT_EQ(under.platform.logLines(), (Lines{}));
    EXPECT_EQ(under.transport->fakeLogger().consoleLines(), (Lines{}));
    EXPECT_TRUE(under.transport->fakeLogger().serverLogs().empty());
}

TEST(Echo, NeedsNoSubscription)
{
    Echo under;
    under.sender.sendToEcho();
    EXPECT_TRUE(under.transport->registrations().empty());
    EXPECT_EQ(under.transport->sent().size(), 1U);
}

TEST(Echo, ResolvesTheTransportAtEachCall)
{
    Echo under;
    const auto later = std::make_shared<testing::FakeTransport>(under.platform);
    under.sender.sendToEcho();
    under.container.oruClient(later);
    under.sender.sendToEcho();
    under.sender.sendToEcho();
    EXPECT_EQ(under.transport->calls(), (Operations{Operation::send}));
    EXPECT_EQ(later->calls(), (Operations{Operation::send, Operation::send}));
    EXPECT_EQ(under.transport.use_count(), 1);
}

TEST(Echo, LogsWhatTheTransportThrows)
{
    Echo under;
    under.transport->throwFrom(Operation::send, 1);
    under.sender.sendToEcho();
    EXPECT_EQ(under.platform.logLines(), (Lines{"VEXA: OruClient::send threw: the fake transport fails"}));
    under.sender.sendToEcho();
    EXPECT_EQ(under.transport->sent().size(), 1U);
}

TEST(Echo, SendsFromManyThreadsAtOnce)
{
    SystemPlatform platform{2};
    const auto transport = std::make_shared<testing::FakeTransport>(platform);
    Dependencies container;
    container.oruClient(transport);
    Sender sender{platform, container};
    {
        std::vector<std::jthread> threads;
        for (int each = 0; each < 8; ++each) {
            threads.emplace_back([&] {
                for (int sends = 0; sends < 50; ++sends) {
                    sender.sendToEcho();
                }
            });
        }
    }
    EXPECT_EQ(transport->calls(), Operations(400, Operation::send));
    for (const Dictionary& message : transport->sent()) {
        const std::string id{message.at("msgId").as_string()};
        const std::string date{message.at("payload").at("date").as_string()};
        EXPECT_EQ(message, echo(id, date));
        EXPECT_EQ(id.size(), 5U);
    }
}

TEST(EchoDeathTest, WithoutATransportStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            testing::VirtualPlatform platform;
            Dependencies container;
            Sender(platform, container).sendToEcho();
        },
        "VEXA: no transport client is registered");
}

} // namespace
} // namespace vexa
