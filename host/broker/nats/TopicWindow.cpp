#include <host/broker/nats/TopicWindow.hpp>

#include <algorithm>
#include <iterator>
#include <utility>

namespace vexa::host {

bool TopicWindow::reaches(double after) const noexcept
{
    return isOldest_ || base_.sequence == 0 || secondsOf(base_.lastMicrosecond) <= after;
}

std::vector<Delivery> TopicWindow::later(double after, double notBefore, bool isReplayed) const
{
    const auto isEarlier = [&](const TopicBatch& batch) {
        const double newest = secondsOf(batch.after.lastMicrosecond);
        return newest <= after || newest < notBefore;
    };
    std::vector<Delivery> deliveries;
    for (auto batch = std::partition_point(batches_.begin(), batches_.end(), isEarlier); batch != batches_.end();
         ++batch) {
        for (std::size_t i = 0; i < batch->payloads.size(); ++i) {
            if (batch->updatedAts[i] > after) {
                deliveries.push_back({batch->payloads[i], isReplayed});
            }
        }
    }
    return deliveries;
}

void TopicWindow::append(TopicBatch batch)
{
    payloads_ += batch.payloads.size();
    batches_.push_back(std::move(batch));
}

void TopicWindow::prepend(const TopicState& base, bool isOldest, std::vector<TopicBatch> batches)
{
    for (const TopicBatch& batch : batches) {
        payloads_ += batch.payloads.size();
    }
    batches_.insert(batches_.begin(), std::make_move_iterator(batches.begin()), std::make_move_iterator(batches.end()));
    base_ = base;
    isOldest_ = isOldest;
}

void TopicWindow::dropWhatTheStreamDrops(std::size_t records)
{
    while (batches_.size() > records) {
        isOldest_ = isOldest_ || base_.sequence == 0;
        dropOldest();
    }
}

void TopicWindow::dropDownTo(std::size_t payloads)
{
    while (batches_.size() > 1 && payloads_ > payloads) {
        isOldest_ = false;
        dropOldest();
    }
}

void TopicWindow::dropOldest()
{
    payloads_ -= batches_.front().payloads.size();
    base_ = batches_.front().after;
    batches_.pop_front();
}

} // namespace vexa::host
