#include <host/service/PayloadTexts.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <boost/json/serialize.hpp>

#include <cstdint>
#include <utility>

namespace vexa::host {

namespace {

/// A place for an address, also when addresses follow one another at equal distances (D. Knuth, The Art of Computer
/// Programming, volume 3, section 6.4).
std::size_t placeOf(const Dictionary* address, std::size_t places) noexcept
{
    constexpr std::uint64_t multiplier = 0x9E3779B97F4A7C15;
    constexpr int kept = 40;
    return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(address) * multiplier) >> kept) & (places - 1);
}

bool isSameOwner(const std::weak_ptr<const Dictionary>& one, const Message& other) noexcept
{
    return !one.owner_before(other) && !other.owner_before(one);
}

} // namespace

std::shared_ptr<const PayloadText> PayloadTexts::textOf(const Message& payload)
{
    if (bytes_ > atMostBytes_) {
        places_.clear();
        bytes_ = 0;
    }
    if (places_.empty()) {
        places_.resize(placeCount);
    }
    Place& place = places_[placeOf(payload.get(), placeCount)];
    if (place.address == payload.get() && isSameOwner(place.message, payload)) {
        return place.text;
    }
    auto made = std::make_shared<PayloadText>();
    made->text = boost::json::serialize(*payload);
    made->isTerminating = boolAt(*payload, "isTerminating").value_or(false);
    ++written_;
    bytes_ += made->text.size();
    bytes_ -= place.text != nullptr ? place.text->text.size() : 0;
    place = {payload.get(), payload, std::move(made)};
    return place.text;
}

} // namespace vexa::host
