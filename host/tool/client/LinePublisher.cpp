#include <host/tool/client/LinePublisher.hpp>
#include <host/wire/MessageText.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <mutex>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr std::size_t pieceBytes = std::size_t{64} * 1024;

/// What goes into one request, and what may be unanswered: enough to keep a service busy across a wide network, and
/// little enough that it would rather wait here than there.
constexpr std::size_t batchMessages = 512;
constexpr std::size_t batchTextBytes = std::size_t{256} * 1024;
constexpr std::size_t unansweredBytes = std::size_t{4} * 1024 * 1024;
constexpr std::size_t unansweredRequests = 64;

/// What a request holds besides its messages, at most, without the topic and its parameters.
constexpr std::size_t requestOverhead = 512;

constexpr int ticksPerSecond = 10;

} // namespace

/// What the service has answered. Completions may come after the LinePublisher is gone.
class LinePublisher::Answers {
public:
    Answers() : event_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)}
    {
        if (event_ < 0) {
            throw std::system_error{errno, std::generic_category(), "eventfd"};
        }
    }
    ~Answers() { ::close(event_); }
    Answers(const Answers&) = delete;
    Answers& operator=(const Answers&) = delete;

    [[nodiscard]] int event() const noexcept { return event_; }

    void requested(std::size_t bytes)
    {
        const std::lock_guard lock{mutex_};
        ++requests_;
        bytes_ += bytes;
    }

    void answered(const PublishResult& result, std::size_t count, std::size_t bytes)
    {
        {
            const std::lock_guard lock{mutex_};
            --requests_;
            bytes_ -= bytes;
            accepted_ += result.accepted;
            refused_ += count - std::min(count, result.accepted);
            if (result.error) {
                refusals_.emplace(result.error->error, result.error->errorMessage);
            }
        }
        const std::uint64_t one = 1;
        static_cast<void>(!::write(event_, &one, sizeof one));
    }

    [[nodiscard]] bool hasRoom() const
    {
        const std::lock_guard lock{mutex_};
        return requests_ < unansweredRequests && bytes_ < unansweredBytes;
    }

    [[nodiscard]] bool areComplete() const
    {
        const std::lock_guard lock{mutex_};
        return requests_ == 0;
    }

    void putInto(LinePublisherProgress& progress) const
    {
        const std::lock_guard lock{mutex_};
        progress.accepted = accepted_;
        progress.refused = refused_;
        progress.refusals = refusals_;
    }

private:
    const int event_;
    mutable std::mutex mutex_;
    std::size_t requests_ = 0; ///< unanswered ones
    std::size_t bytes_ = 0;    ///< of those
    std::uint64_t accepted_ = 0;
    std::uint64_t refused_ = 0;
    std::map<std::string, std::string> refusals_;
};

LinePublisher::LinePublisher(Publisher& publisher, LinePublisherOptions options, int input, int interruption,
                             Platform& platform)
    : publisher_{publisher},
      options_{std::move(options)},
      input_{input},
      interruption_{interruption},
      platform_{platform},
      answers_{std::make_shared<Answers>()},
      startedAt_{platform.monotonicNow()},
      lines_{options_.requestBytes}
{}

LinePublisher::~LinePublisher() = default;

void LinePublisher::run(const std::function<void(const LinePublisherProgress&)>& tick,
                        const std::function<bool()>& isAbandoned)
{
    double lastTick = startedAt_;
    for (;;) {
        publishReady();
        if (isFinished()) {
            return;
        }
        const bool wantsInput = !hasInputEnded_ && !isInterrupted_ && lines_.empty() && !next_ && hasRoom();
        std::array<pollfd, 3> sources{
            {{answers_->event(), POLLIN, 0}, {interruption_, POLLIN, 0}, {wantsInput ? input_ : -1, POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), patience()) < 0 && errno != EINTR) {
            throw std::system_error{errno, std::generic_category(), "waiting for the input"};
        }
        if (sources[0].revents != 0) {
            std::uint64_t count = 0;
            static_cast<void>(!::read(answers_->event(), &count, sizeof count));
        }
        if (sources[1].revents != 0) {
            isInterrupted_ = true;
            if (isAbandoned()) {
                return;
            }
        }
        if (sources[2].revents != 0) {
            readInput();
        }
        const double now = platform_.monotonicNow();
        if (now - lastTick >= 1.0 / ticksPerSecond) {
            lastTick = now;
            tick(progress());
        }
    }
}

LinePublisherProgress LinePublisher::progress() const
{
    LinePublisherProgress progress = progress_;
    progress.tooLong += lines_.tooLong();
    answers_->putInto(progress);
    return progress;
}

void LinePublisher::readInput()
{
    std::array<char, pieceBytes> piece{};
    const ssize_t count = ::read(input_, piece.data(), piece.size());
    if (count < 0) {
        if (errno == EINTR || errno == EAGAIN) {
            return;
        }
        throw std::system_error{errno, std::generic_category(), "the input cannot be read"};
    }
    if (count == 0) {
        hasInputEnded_ = true;
        lines_.end();
        return;
    }
    progress_.inputBytes += static_cast<std::uint64_t>(count);
    lines_.add({piece.data(), static_cast<std::size_t>(count)});
}

void LinePublisher::takeLines()
{
    const std::size_t most = std::min(batchMessages, allowedNow());
    const std::size_t topicBytes =
        messageText({{"", options_.topic}, {"p", options_.parameters.value_or(nullptr)}}).size();
    const std::size_t fixed = requestOverhead + topicBytes;
    const std::size_t longest = options_.requestBytes > fixed ? options_.requestBytes - fixed : 0;
    while (batch_.size() < most) {
        if (!next_) {
            const std::optional<std::string> line = lines_.take();
            if (!line) {
                return;
            }
            LineMessage message = options_.takesLinesAsText ? textMessage(*line) : messageOfLine(*line);
            progress_.repaired += message.isRepaired ? 1 : 0;
            nextBytes_ = messageText(message.payload).size() + 1;
            if (nextBytes_ > longest) {
                ++progress_.tooLong;
                continue;
            }
            next_ = std::move(message.payload);
        }
        if (!batch_.empty() && batchBytes_ + nextBytes_ > std::min(batchTextBytes, longest)) {
            return;
        }
        batch_.push_back(std::move(*std::exchange(next_, std::nullopt)));
        batchBytes_ += nextBytes_;
    }
}

void LinePublisher::publishReady()
{
    while (hasRoom()) {
        if (!isInterrupted_) {
            takeLines();
        }
        if (batch_.empty()) {
            const bool isEndDue =
                options_.endsTopic && !isEndPublished_ && !isInterrupted_ && hasInputEnded_ && lines_.empty() && !next_;
            if (!isEndDue) {
                return;
            }
            isEndPublished_ = true;
            Dictionary end;
            end.emplace("isTerminating", true);
            batch_.push_back(std::move(end));
        }
        const std::size_t count = batch_.size();
        const std::size_t bytes = std::exchange(batchBytes_, 0);
        progress_.published += count;
        answers_->requested(bytes);
        publisher_.publish(options_.topic, options_.parameters, std::exchange(batch_, {}),
                           [answers = answers_, count, bytes](const PublishResult& result) {
                               answers->answered(result, count, bytes);
                           });
    }
}

std::size_t LinePublisher::allowedNow()
{
    if (options_.rate <= 0) {
        return batchMessages;
    }
    const double due = std::floor((platform_.monotonicNow() - startedAt_) * options_.rate) + 1;
    const double allowed = due - static_cast<double>(progress_.published);
    return static_cast<std::size_t>(std::clamp(allowed, 0.0, static_cast<double>(batchMessages)));
}

bool LinePublisher::hasRoom() const
{
    return answers_->hasRoom();
}

bool LinePublisher::isFinished() const
{
    const bool isAllPublished =
        hasInputEnded_ && lines_.empty() && !next_ && batch_.empty() && (isEndPublished_ || !options_.endsTopic);
    return (isAllPublished || isInterrupted_) && answers_->areComplete();
}

int LinePublisher::patience() const
{
    constexpr double millisecondsPerSecond = 1000;
    double seconds = 1.0 / ticksPerSecond;
    if (options_.rate > 0 && (!lines_.empty() || next_)) {
        const double due = startedAt_ + static_cast<double>(progress_.published) / options_.rate;
        seconds = std::clamp(due - platform_.monotonicNow(), 0.0, seconds);
    }
    return static_cast<int>(std::ceil(seconds * millisecondsPerSecond));
}

} // namespace vexa::host
