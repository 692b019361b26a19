#include "NumberPublisher.hpp"

#include "NumberSubscriber.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace vexa::host {

NumberPublisher::NumberPublisher(SystemPlatform& platform, std::string url, NumberPlan plan)
    : plan_{std::move(plan)},
      transport_{OruWebSocketClient::make(quickToComeBack(std::move(url)), platform)},
      publisher_{std::make_unique<Publisher>(transport_, PublisherOptions{}, platform)}
{
    transport_->start();
    thread_ = std::thread{[this] { run(); }};
}

NumberPublisher::~NumberPublisher()
{
    {
        const std::lock_guard lock{mutex_};
        isStopped_ = true;
    }
    changed_.notify_all();
    thread_.join();
    {
        // The completions of what is not answered would otherwise find nobody.
        std::unique_lock lock{mutex_};
        changed_.wait_for(lock, std::chrono::seconds{60}, [this] { return unanswered_ == 0; });
    }
    publisher_.reset();
    transport_->stop();
}

bool NumberPublisher::isDone() const
{
    const std::lock_guard lock{mutex_};
    return isPublished_ && unanswered_ == 0;
}

std::vector<std::string> NumberPublisher::refusals() const
{
    const std::lock_guard lock{mutex_};
    return refusals_;
}

void NumberPublisher::run()
{
    const auto start = std::chrono::steady_clock::now();
    for (std::uint64_t first = 1; first <= plan_.count; first += plan_.perRequest) {
        std::unique_lock lock{mutex_};
        if (plan_.rate > 0) {
            const std::chrono::duration<double> due{static_cast<double>(first - 1) / plan_.rate};
            changed_.wait_until(lock, start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(due),
                                [this] { return isStopped_; });
        }
        changed_.wait(lock, [this] { return isStopped_ || unanswered_ < plan_.unanswered; });
        if (isStopped_) {
            return;
        }
        ++unanswered_;
        lock.unlock();
        publishNext(first);
    }
    const std::lock_guard lock{mutex_};
    isPublished_ = true;
}

void NumberPublisher::publishNext(std::uint64_t first)
{
    std::vector<Dictionary> payloads;
    for (std::uint64_t number = first; number < first + plan_.perRequest && number <= plan_.count; ++number) {
        payloads.push_back(Dictionary{{"number", number}});
    }
    const std::size_t expected = payloads.size();
    publisher_->publish(plan_.topic, std::nullopt, std::move(payloads),
                        [this, expected](const PublishResult& result) { answered(expected, result); });
}

void NumberPublisher::answered(std::size_t expected, const PublishResult& result)
{
    accepted_ += result.accepted;
    const std::lock_guard lock{mutex_};
    --unanswered_;
    if (result.error) {
        refusals_.push_back(result.error->error + ": " + result.error->errorMessage);
    } else if (result.accepted != expected) {
        refusals_.push_back("accepted " + std::to_string(result.accepted));
    }
    changed_.notify_all();
}

} // namespace vexa::host
