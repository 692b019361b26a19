#include <host/server/FrameQueue.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>

namespace vexa::host {

namespace {

constexpr std::string_view beginning = R"({"category":"vexa","type":"data","sentAt":)";
constexpr std::string_view messages = R"(,"messages":[)";
constexpr std::string_view entryBeginning = R"({"subscriptionId":)";
constexpr std::string_view payloadBeginning = R"(,"payload":)";
constexpr std::string_view replayedEnd = R"(,"replayed":true})";
constexpr std::string_view ending = "]}";

/// From here on, writing a piece of its own costs less than copying.
constexpr std::size_t sharedFrom = std::size_t{8} * 1024;

/// What an entry takes beside its payload and its id, at most.
constexpr std::size_t aroundEntry = entryBeginning.size() + payloadBeginning.size() + replayedEnd.size() + 1;

std::size_t sizeOf(const std::string& text) noexcept
{
    return text.size();
}

std::size_t sizeOf(const DataBatch& batch) noexcept
{
    std::size_t size = 0;
    for (const DataEntry& entry : batch.entries) {
        size += aroundEntry + batch.subscriptionId->size() + entry.payload->text.size();
    }
    return size;
}

bool endsTopic(const DataBatch& batch) noexcept
{
    return std::any_of(batch.entries.begin(), batch.entries.end(),
                       [](const DataEntry& entry) { return entry.payload->isTerminating; });
}

} // namespace

void OutgoingFrame::begin(double sentAt)
{
    std::array<char, 32> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), sentAt);
    text_.append(beginning).append(digits.data(), written.ptr).append(messages);
}

void OutgoingFrame::add(const std::string& subscriptionId, const DataEntry& entry)
{
    const std::string& payload = entry.payload->text;
    if (entries_ > 0) {
        text_ += ',';
    }
    ++entries_;
    text_.append(entryBeginning).append(subscriptionId).append(payloadBeginning);
    if (payload.size() < sharedFrom) {
        text_.append(payload);
    } else {
        shared_.push_back({text_.size(), entry.payload});
        sharedBytes_ += payload.size();
    }
    if (entry.isReplayed) {
        text_.append(replayedEnd);
    } else {
        text_ += '}';
    }
}

void OutgoingFrame::end()
{
    text_.append(ending);
}

std::vector<boost::asio::const_buffer> OutgoingFrame::buffers() const
{
    std::vector<boost::asio::const_buffer> pieces;
    pieces.reserve(2 * shared_.size() + 1);
    std::size_t done = 0;
    for (const Shared& each : shared_) {
        pieces.emplace_back(text_.data() + done, each.behind - done);
        pieces.emplace_back(each.payload->text.data(), each.payload->text.size());
        done = each.behind;
    }
    pieces.emplace_back(text_.data() + done, text_.size() - done);
    return pieces;
}

bool FrameQueue::add(std::string text)
{
    if (!makeRoomFor(sizeOf(text))) {
        return false;
    }
    waiting_.emplace_back(std::move(text));
    return true;
}

bool FrameQueue::add(DataBatch batch)
{
    if (!makeRoomFor(sizeOf(batch))) {
        return false;
    }
    waiting_.emplace_back(std::move(batch));
    return true;
}

void FrameQueue::forgetTaken()
{
    constexpr std::size_t few = 64;
    if (first_ >= few && first_ >= waiting_.size() / 2) {
        waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(first_));
        first_ = 0;
    }
}

bool FrameQueue::makeRoomFor(std::size_t size) noexcept
{
    const bool hasRoom = bytes_ == 0 || (bytes_ <= limits_.bytes && size <= limits_.bytes - bytes_);
    isClosed_ = isClosed_ || !hasRoom;
    if (isClosed_) {
        return false;
    }
    bytes_ += size;
    return true;
}

std::optional<OutgoingFrame> FrameQueue::take()
{
    bytes_ -= std::exchange(bytesBeingWritten_, 0);
    if (first_ == waiting_.size()) {
        waiting_ = {};
        first_ = 0;
        return std::nullopt;
    }
    forgetTaken();
    if (auto* text = std::get_if<std::string>(&waiting_[first_])) {
        ++first_;
        bytesBeingWritten_ = text->size();
        return OutgoingFrame{std::move(*text)};
    }
    return takeData();
}

OutgoingFrame FrameQueue::takeData()
{
    OutgoingFrame frame;
    frame.begin(std::get<DataBatch>(waiting_[first_]).sentAt);
    bool isFull = false;
    for (; first_ < waiting_.size() && !isFull; ++first_) {
        auto* batch = std::get_if<DataBatch>(&waiting_[first_]);
        const std::size_t size = batch != nullptr ? sizeOf(*batch) : 0;
        if (batch == nullptr || (frame.entries() > 0 && frame.size() + size > limits_.bytesPerFrame)) {
            break;
        }
        for (const DataEntry& entry : batch->entries) {
            frame.add(*batch->subscriptionId, entry);
        }
        isFull = endsTopic(*batch);
        bytesBeingWritten_ += size;
        *batch = {};
    }
    frame.end();
    return frame;
}

void FrameQueue::clear()
{
    waiting_ = {};
    first_ = 0;
    bytes_ = 0;
    bytesBeingWritten_ = 0;
}

} // namespace vexa::host
