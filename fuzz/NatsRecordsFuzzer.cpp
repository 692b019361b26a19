// Bytes as what JetStream hands over: the first line as the reply subject of a delivery, each further one as a record
// of a topic, at ascending places in the stream.

#include <fuzz/Input.hpp>
#include <fuzz/Require.hpp>
#include <host/broker/nats/DeliveryInfo.hpp>
#include <host/broker/nats/RecordText.hpp>
#include <host/broker/nats/TopicState.hpp>
#include <VexaClient/platform/Text.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vexa::fuzz {

namespace {

using namespace vexa::host;

void runDelivery(std::string_view reply)
{
    const auto info = DeliveryInfo::read(reply);
    if (!info) {
        return;
    }
    require(info->consumer.find('.') == std::string_view::npos);
    const auto numbers = joined({".1.", std::to_string(info->streamSequence), ".",
                                 std::to_string(info->consumerSequence), ".0.", std::to_string(info->behind)});
    const std::string shortForm = joined({DeliveryInfo::prefix, "stream.", info->consumer, numbers});
    const std::string longForm =
        joined({DeliveryInfo::prefix, "domain.account.stream.", info->consumer, numbers, ".further"});
    for (const std::string& form : {shortForm, longForm}) {
        const auto again = DeliveryInfo::read(form);
        require(again && again->consumer == info->consumer && again->streamSequence == info->streamSequence &&
                again->consumerSequence == info->consumerSequence && again->behind == info->behind);
    }
}

void checkRoundTrip(const TopicRecord& record)
{
    const std::string topic = R"("a topic":{"a":1})";
    const std::string payloads = payloadTexts(record.payloads);
    const std::string text = recordText(topic, record.microsecond, record.base, payloads);
    require(isUtf8(text) && text.size() <= payloads.size() + recordOverhead(topic));
    const auto again = readRecord(text, record.sequence);
    require(again && again->sequence == record.sequence && again->microsecond == record.microsecond &&
            again->base == record.base && again->payloads == record.payloads);
}

/// The record in its place gives every payload a later time than the one before.
TopicState checkTimes(TopicRecord record, const TopicState& before)
{
    const std::size_t count = record.payloads.size();
    const std::uint64_t sequence = record.sequence;
    const TopicBatch batch = placed(std::move(record), before);
    require(batch.before == before && batch.after.sequence == sequence);
    require(batch.payloads.size() == count && batch.updatedAts.size() == count);
    double newest = secondsOf(before.lastMicrosecond);
    for (std::size_t i = 0; i < count; ++i) {
        require(batch.updatedAts[i] > newest && batch.payloads[i]->at("updatedAt") == Value(batch.updatedAts[i]));
        newest = batch.updatedAts[i];
    }
    require(batch.after.lastMicrosecond >= before.lastMicrosecond);
    require(batch.after.formerLivesUntil <= batch.after.lastMicrosecond);
    return batch.after;
}

void run(std::string_view input)
{
    runDelivery(takeLine(input));
    std::uint64_t sequence = 0;
    std::optional<TopicState> state;
    while (!input.empty()) {
        const std::string_view text = takeLine(input);
        const auto record = readRecord(text, ++sequence);
        require(recordOrNothing(text, sequence).payloads.size() == (record ? record->payloads.size() : 0));
        if (record) {
            require(record->sequence == sequence && record->base.sequence < sequence);
            checkRoundTrip(*record);
            state = checkTimes(*record, state ? *state : startBefore(*record));
        }
    }
}

} // namespace

} // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vexa::fuzz::run(vexa::fuzz::textOf(data, size));
    return 0;
}
