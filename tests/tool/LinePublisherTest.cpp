#include "TemporaryFile.hpp"
#include <host/tool/client/LinePublisher.hpp>
#include <testing/FakeTransport.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace vexa::host {
namespace {

using testing::FakeTransport;

/// Both ends of a pipe.
class Pipe {
public:
    Pipe() { EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0); }
    ~Pipe()
    {
        ::close(ends_[0]);
        ::close(ends_[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int readEnd() const noexcept { return ends_[0]; }
    void write() const { EXPECT_EQ(::write(ends_[1], "x", 1), 1); }

private:
    std::array<int, 2> ends_{};
};

class File {
public:
    explicit File(const std::string& path) : descriptor_{::open(path.c_str(), O_RDONLY | O_CLOEXEC)} {}
    ~File() { ::close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

private:
    int descriptor_;
};

TEST(LinePublisher, readsNoFurtherThanTheServiceAnswers)
{
    constexpr std::size_t mostUnanswered = 64;
    std::string lines;
    for (int i = 0; i < 200000; ++i) {
        lines += "a line of some length, number " + std::to_string(i) + "\n";
    }
    const TemporaryFile content{lines};
    const File input{content.path()};
    const Pipe interruption;
    SystemPlatform& platform = SystemPlatform::shared();
    const auto transport = std::make_shared<FakeTransport>(platform);
    Publisher publisher{transport, {}, platform};
    LinePublisher under{publisher, {.topic = "t"}, input.descriptor(), interruption.readEnd(), platform};

    std::size_t sent = 0;
    std::thread running{[&] { under.run([](const LinePublisherProgress&) {}, [] { return true; }); }};
    while (sent < mostUnanswered) {
        sent += transport->takeSent().size();
        std::this_thread::yield();
    }
    interruption.write();
    running.join();
    sent += transport->takeSent().size();
    EXPECT_EQ(sent, mostUnanswered);
    EXPECT_LT(under.progress().inputBytes, lines.size());
    EXPECT_EQ(under.progress().unanswered(), under.progress().published);
}

TEST(LinePublisher, endsATopicThatNothingIsPublishedOn)
{
    const File input{"/dev/null"};
    const Pipe interruption;
    SystemPlatform& platform = SystemPlatform::shared();
    const auto transport = std::make_shared<FakeTransport>(platform);
    Publisher publisher{transport, {}, platform};
    LinePublisherOptions options;
    options.topic = "t";
    options.endsTopic = true;
    LinePublisher under{publisher, options, input.descriptor(), interruption.readEnd(), platform};

    std::thread running{[&] { under.run([](const LinePublisherProgress&) {}, [] { return true; }); }};
    std::vector<Dictionary> sent;
    while (sent.empty()) {
        sent = transport->takeSent();
        std::this_thread::yield();
    }
    interruption.write();
    running.join();
    EXPECT_EQ(sent.front().at("payload").at("messages").at(0).at("isTerminating"), true);
    EXPECT_EQ(under.progress().published, 1U);
}

TEST(LinePublisher, saysWhenTheInputCannotBeRead)
{
    const File folder{"/"};
    const Pipe interruption;
    SystemPlatform& platform = SystemPlatform::shared();
    Publisher publisher{std::make_shared<FakeTransport>(platform), {}, platform};
    LinePublisher under{publisher, {.topic = "t"}, folder.descriptor(), interruption.readEnd(), platform};
    EXPECT_THROW(under.run([](const LinePublisherProgress&) {}, [] { return true; }), std::system_error);
}

} // namespace
} // namespace vexa::host
