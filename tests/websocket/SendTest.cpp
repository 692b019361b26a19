#include "ClientUnderTest.hpp"
#include "TestService.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {
namespace {

Dictionary message(int thread, int number, std::size_t size)
{
    Dictionary made = echoMessage(number);
    made["thread"] = thread;
    made["number"] = number;
    made["text"] = std::string(size, 'x');
    return made;
}

TEST(WebSocketSendTest, framesOfTwoThreadsStayWholeAndKeepTheOrderOfEach)
{
    constexpr int count = 2000;
    std::promise<std::vector<std::string>> arrived;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        std::vector<std::string> texts;
        while (texts.size() < 2 * count) {
            texts.push_back(end.receive());
        }
        arrived.set_value(std::move(texts));
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([&under, thread] {
            for (int i = 0; i < count; ++i) {
                under.client->send(message(thread, i, static_cast<std::size_t>(i % 300)));
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    std::array<int, 2> next{};
    for (const std::string& text : arrived.get_future().get()) {
        const Dictionary read = dictionary(text);
        const auto thread = static_cast<std::size_t>(read.at("thread").as_int64());
        const int number = next[thread]++;
        ASSERT_EQ(read, message(static_cast<int>(thread), number, static_cast<std::size_t>(number % 300)));
    }
    EXPECT_EQ(next, (std::array<int, 2>{count, count}));
}

TEST(WebSocketSendTest, aServiceThatReadsNothingCostsNoMoreThanTheLimit)
{
    constexpr int count = 200;
    const std::size_t size = textLargerThanSocketBuffers().size() / (count / 2);
    std::promise<void> mayRead;
    std::promise<std::vector<int>> arrived;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        mayRead.get_future().wait();
        std::vector<int> numbers;
        while (numbers.empty() || numbers.back() != count) {
            numbers.push_back(static_cast<int>(dictionary(end.receive())["number"].as_int64()));
        }
        arrived.set_value(std::move(numbers));
        end.receiveToTheEnd();
    }};
    OruWebSocketClientOptions options = optionsFor(service.url());
    options.outgoing.bytes = 1000000;
    ClientUnderTest under{std::move(options)};
    under.client->start();
    under.happenings().awaitEntry("opened");
    for (int i = 0; i < count; ++i) {
        under.client->send(message(0, i, size));
    }
    const std::uint64_t dropped = under.client->figures().drops.forLackOfRoom;
    EXPECT_GT(dropped, 0U);
    mayRead.set_value();
    under.client->send(message(0, count, 1));
    const std::vector<int> numbers = arrived.get_future().get();
    EXPECT_EQ(numbers.size() + under.client->figures().drops.forLackOfRoom, std::size_t{count} + 1);
    EXPECT_TRUE(std::ranges::is_sorted(numbers));
}

TEST(WebSocketSendTest, textThatIsNotUtf8StaysHere)
{
    std::promise<std::string> arrived;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        arrived.set_value(end.receive());
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    Dictionary bad = echoMessage(1);
    bad["text"] = "\xC0\xAF";
    for (int i = 0; i < 10; ++i) {
        under.client->send(bad);
    }
    under.client->send(echoMessage(2));
    under.client->start();
    EXPECT_EQ(dictionary(arrived.get_future().get()), echoMessage(2));
    EXPECT_EQ(under.client->figures().unsendable, 10U);
    EXPECT_EQ(under.client->figures().connects, 1U);
    EXPECT_EQ(
        std::ranges::count_if(under.console->entries(),
                              [](const std::string& line) { return line.find("not UTF-8") != std::string::npos; }),
        1);
}

TEST(WebSocketSendTest, aCallbackMaySend)
{
    std::promise<std::string> answer;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.send(numbered(1));
        answer.set_value(end.receive());
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    under.follower->onMessage = [client = under.client.get()](const Dictionary& received) { client->send(received); };
    under.client->start();
    EXPECT_EQ(answer.get_future().get(), numbered(1));
}

} // namespace
} // namespace vexa::host
