// A JSON text as the record of an echo and as its payload: what can be decoded is encoded, written, read and decoded
// again, and must be the same but for its date.

#include <fuzz/Input.hpp>
#include <fuzz/Require.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace vexa::fuzz {

namespace {

using Payload = GameSDKMessage::Payload;

bool hasTexts(const Dictionary& dictionary, std::initializer_list<std::string_view> keys)
{
    return std::ranges::all_of(keys, [&](std::string_view key) {
        const auto entry = dictionary.find(boost::json::string_view{key.data(), key.size()});
        return entry != dictionary.end() && entry->value().is_string();
    });
}

bool isPayload(const Dictionary& dictionary)
{
    return hasTexts(dictionary, {"fieldOne", "fieldTwo"});
}

bool isRecord(const Dictionary& dictionary)
{
    return hasTexts(dictionary, {"category", "type", "msgId"}) && dictionary.contains("payload") &&
           dictionary.at("payload").is_object() && isPayload(dictionary.at("payload").get_object());
}

/// What is left of a dictionary on its way through a JSON text.
Dictionary readBack(const Dictionary& dictionary)
{
    return boost::json::parse(boost::json::serialize(dictionary)).as_object();
}

/// `decoded` is the record in `from`, dated `date`.
void checkPayload(const Dictionary& decoded, const Dictionary& from, const std::string& date)
{
    require(decoded.size() == 3);
    require(decoded.at("fieldOne") == from.at("fieldOne") && decoded.at("fieldTwo") == from.at("fieldTwo"));
    require(decoded.at("date") == Value(date));
}

void runPayload(const Dictionary& dictionary, testing::VirtualPlatform& platform)
{
    const auto payload = Payload::decoded(dictionary, platform);
    require(payload.has_value() == isPayload(dictionary));
    if (payload) {
        checkPayload(payload->encoded(), dictionary, "1700000000.0");
        platform.clock.advance(0.5);
        const auto again = Payload::decoded(readBack(payload->encoded()), platform);
        require(again.has_value());
        checkPayload(again->encoded(), dictionary, "1700000000.5");
    }
}

void runRecord(const Dictionary& dictionary, testing::VirtualPlatform& platform)
{
    const auto record = GameSDKMessage::decoded(dictionary, platform);
    require(record.has_value() == isRecord(dictionary));
    if (!record) {
        return;
    }
    const Dictionary encoded = record->encoded();
    require(encoded.size() == 4);
    for (const char* key : {"category", "type", "msgId"}) {
        require(encoded.at(key) == dictionary.at(key));
    }
    checkPayload(encoded.at("payload").as_object(), dictionary.at("payload").as_object(), "1700000000.0");
    const auto again = GameSDKMessage::decoded(readBack(encoded), platform);
    require(again.has_value() && again->encoded() == encoded);
}

void run(std::string_view input)
{
    boost::system::error_code error;
    const Value value = boost::json::parse(boost::json::string_view{input.data(), input.size()}, error);
    if (error || !value.is_object()) {
        return;
    }
    testing::VirtualPlatform platform{1};
    runRecord(value.get_object(), platform);
    runPayload(value.get_object(), platform);
}

} // namespace

} // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vexa::fuzz::run(vexa::fuzz::textOf(data, size));
    return 0;
}
