#pragma once

#include <host/publish/Publisher.hpp>
#include <host/tool/client/InputLines.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

struct LinePublisherOptions {
    std::string topic;
    Parameters parameters = std::nullopt;
    bool takesLinesAsText = false; ///< JSON objects too
    bool endsTopic = false;        ///< with one more message, which holds nothing else
    double rate = 0;               ///< messages a second; 0 for as many as the service takes

    /// Of a publish request that the service takes, as JSON text. No line can be longer.
    std::size_t requestBytes = std::size_t{1024} * 1024;
};

/// How far a LinePublisher has come.
struct LinePublisherProgress {
    std::uint64_t inputBytes = 0;
    std::uint64_t published = 0;                 ///< messages handed to the publisher
    std::uint64_t accepted = 0;                  ///< messages that the service has taken
    std::uint64_t refused = 0;                   ///< messages that it has not
    std::uint64_t tooLong = 0;                   ///< lines that no request can hold
    std::uint64_t repaired = 0;                  ///< lines with bytes that are not UTF-8, which were replaced by U+FFFD
    std::map<std::string, std::string> refusals; ///< the sentence of each kind of error

    [[nodiscard]] std::uint64_t unanswered() const noexcept { return published - accepted - refused; }
};

/// Publishes each line of an input as a message, no faster than the service answers: a limited number of bytes and
/// requests is on its way, and the input is read no further meanwhile. What is there goes out at once, in requests of
/// as many lines as have come.
class LinePublisher {
public:
    /// \param input         a file descriptor to read from
    /// \param interruption  a file descriptor that has something to read once no more lines are to be published; not
    ///                      read from
    LinePublisher(Publisher& publisher, LinePublisherOptions options, int input, int interruption, Platform& platform);
    ~LinePublisher();

    LinePublisher(const LinePublisher&) = delete;
    LinePublisher& operator=(const LinePublisher&) = delete;

    /// Reads to the end of the input, or to the interruption, and returns once everything that was published has been
    /// answered, or when `isAbandoned` says so. Throws std::system_error when the input cannot be
    /// read.
    ///
    /// \param tick         called now and then, some ten times a second at most
    /// \param isAbandoned  called when the interruption has something to read, which it takes; whether to wait for
    ///                     answers no longer
    void run(const std::function<void(const LinePublisherProgress&)>& tick, const std::function<bool()>& isAbandoned);

    [[nodiscard]] LinePublisherProgress progress() const;

private:
    class Answers;

    void readInput();
    void takeLines();
    void publishReady();
    [[nodiscard]] std::size_t allowedNow();
    [[nodiscard]] bool hasRoom() const;
    [[nodiscard]] bool isFinished() const;
    [[nodiscard]] int patience() const;

    Publisher& publisher_;
    const LinePublisherOptions options_;
    const int input_;
    const int interruption_;
    Platform& platform_;
    const std::shared_ptr<Answers> answers_;
    const double startedAt_;

    InputLines lines_;
    std::vector<Dictionary> batch_; ///< that go out together next
    std::size_t batchBytes_ = 0;
    std::optional<Dictionary> next_; ///< a message for which the batch had no room
    std::size_t nextBytes_ = 0;
    bool hasInputEnded_ = false;
    bool isInterrupted_ = false;
    bool isEndPublished_ = false;
    LinePublisherProgress progress_;
};

} // namespace vexa::host
