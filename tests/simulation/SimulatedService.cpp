#include "tests/simulation/SimulatedService.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace vexa::simulation {

namespace {

constexpr std::size_t mostRemembered = 24;

template <class Elements, class Element>
void remember(Elements& elements, Element element)
{
    if (elements.size() == mostRemembered) {
        elements.erase(elements.begin());
    }
    elements.push_back(std::move(element));
}

} // namespace

void SimulatedService::receive(const Dictionary& message)
{
    const Value* type = message.if_contains("type");
    if (type == nullptr || *type != "subscribe") {
        return;
    }
    const Dictionary& payload = message.at("payload").as_object();
    std::string id{payload.at("operationId").as_string()};
    const bool isKnown =
        std::ranges::any_of(unanswered_, [&id](const Request& each) { return each.operationId == id; });
    if (!isKnown) {
        remember(unanswered_, Request{std::move(id), payload.at("topics").as_array().size()});
    }
}

std::string SimulatedService::newId()
{
    std::string id = "s" + std::to_string(generation_) + "-" + std::to_string(++lastId_);
    remember(ids_, id);
    return id;
}

Dictionary SimulatedService::entry(Answer answer, Draws& draws)
{
    if (answer == Answer::mixed) {
        constexpr std::array kinds{Answer::success, Answer::success, Answer::failures, Answer::withoutIds,
                                   Answer::usedIds};
        answer = draws.oneOf(kinds);
    }
    Dictionary entry;
    if (answer == Answer::failures) {
        entry["success"] = false;
        if (!draws.oneIn(3)) {
            entry["error"] = "NoSuchTopic";
        }
        if (!draws.oneIn(3)) {
            entry["errorMessage"] = "There is no such topic";
        }
        if (draws.oneIn(4)) {
            entry.erase("success");
        }
        return entry;
    }
    entry["success"] = true;
    if (answer == Answer::usedIds && !ids_.empty()) {
        entry["subscriptionId"] = draws.oneOf(ids_);
    } else if (answer != Answer::withoutIds) {
        entry["subscriptionId"] = newId();
    } else if (draws.oneIn(2)) {
        entry["subscriptionId"] = 17;
    }
    return entry;
}

Dictionary SimulatedService::answerTo(const Request& request, Answer answer, Draws& draws)
{
    std::size_t count = request.topics;
    if (answer == Answer::tooFew && count > 0) {
        --count;
    } else if (answer == Answer::tooFew || answer == Answer::tooMany) {
        count += 1 + draws.below(2);
    }
    List topics;
    for (std::size_t i = 0; i < count; ++i) {
        topics.push_back(Value(entry(answer, draws)));
    }
    Dictionary response;
    response["category"] = "vexa";
    response["type"] = draws.oneIn(3) ? "subscribeResponse" : "subscriptionResponse";
    response["operationId"] = request.operationId;
    response["topics"] = std::move(topics);
    return response;
}

Dictionary SimulatedService::answer(Answer answer, Draws& draws)
{
    const std::size_t index = draws.oneIn(2) ? 0 : draws.below(unanswered_.size());
    const auto place = unanswered_.begin() + static_cast<std::ptrdiff_t>(index);
    Request request = std::move(*place);
    unanswered_.erase(place);
    Dictionary response = answerTo(request, answer, draws);
    remember(answered_, std::move(request));
    return response;
}

Dictionary SimulatedService::answerAgain(Draws& draws)
{
    return answerTo(draws.oneOf(answered_), draws.oneIn(2) ? Answer::success : Answer::mixed, draws);
}

Dictionary SimulatedService::answerUnasked(Draws& draws)
{
    constexpr std::array<const char*, 5> ids{"", "O-000", "o-001", "O-1 ", "O-\n\xC2\x85\x7F"};
    return answerTo({draws.oneOf(ids), draws.below(3)}, Answer::success, draws);
}

void SimulatedService::lose(Draws& draws)
{
    unanswered_.erase(unanswered_.begin() + static_cast<std::ptrdiff_t>(draws.below(unanswered_.size())));
}

const std::string& SimulatedService::someId(Draws& draws) const
{
    // The newest ones are the likeliest to be current still.
    constexpr std::size_t newest = 4;
    const std::size_t among = draws.oneIn(4) ? ids_.size() : std::min(newest, ids_.size());
    return ids_[ids_.size() - 1 - draws.below(among)];
}

Dictionary SimulatedService::message(bool terminates, double now, Draws& draws)
{
    Dictionary payload;
    payload["number"] = static_cast<std::int64_t>(draws.below(1000));
    if (!draws.oneIn(5)) {
        constexpr std::array offsets{-3600.0, -1.0, 0.0, 0.0, 0.25, 5.0};
        payload["updatedAt"] = std::max(1.0, now + draws.oneOf(offsets));
    } else if (draws.oneIn(2)) {
        payload["updatedAt"] = static_cast<std::int64_t>(100 + draws.below(2));
    }
    if (terminates || draws.oneIn(6)) {
        payload["isTerminating"] = terminates;
    }
    Dictionary entry;
    const bool isKnown = !ids_.empty() && !draws.oneIn(12);
    entry["subscriptionId"] = isKnown ? someId(draws) : std::string{"s0-0"};
    if (!draws.oneIn(15)) {
        entry["payload"] = std::move(payload);
    }
    if (draws.oneIn(4)) {
        entry["replayed"] = !draws.oneIn(4);
    }
    if (draws.oneIn(20)) {
        entry.erase("subscriptionId");
    }
    return entry;
}

Dictionary SimulatedService::data(std::size_t count, bool terminates, double now, Draws& draws)
{
    List entries;
    const std::size_t last = terminates ? draws.below(std::max<std::size_t>(count, 1)) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        entries.push_back(Value(message(terminates && i == last, now, draws)));
        // A further message of the same subscription comes behind it more often than by chance.
        if (terminates && i == last && i + 1 < count && draws.oneIn(2)) {
            Dictionary further = message(false, now, draws);
            if (const Value* id = entries.back().get_object().if_contains("subscriptionId")) {
                further["subscriptionId"] = *id;
            }
            entries.push_back(Value(std::move(further)));
            ++i;
        }
    }
    Dictionary data;
    data["category"] = "vexa";
    data["type"] = "data";
    data["messages"] = std::move(entries);
    if (!draws.oneIn(3)) {
        data["sentAt"] = now - 0.125;
    }
    return data;
}

void SimulatedService::restart()
{
    unanswered_.clear();
    ids_.clear();
    ++generation_;
}

namespace {

/// A place in a message: an entry of a dictionary or an element of a list.
struct Place {
    Dictionary* dictionary = nullptr;
    std::string key;
    List* list = nullptr;
    std::size_t index = 0;
};

void collect(Value& value, std::vector<Place>& places);

void collect(Dictionary& dictionary, std::vector<Place>& places)
{
    for (auto& entry : dictionary) {
        places.push_back({&dictionary, std::string{entry.key()}, nullptr, 0});
        collect(entry.value(), places);
    }
}

void collect(Value& value, std::vector<Place>& places)
{
    if (value.is_object()) {
        collect(value.get_object(), places);
    } else if (value.is_array()) {
        List& list = value.get_array();
        for (std::size_t i = 0; i < list.size(); ++i) {
            places.push_back({nullptr, {}, &list, i});
            collect(list[i], places);
        }
    }
}

Value otherThan(const Value& value, Draws& draws)
{
    switch (draws.below(9)) {
    case 0:
        return Value(nullptr);
    case 1:
        return Value(true);
    case 2:
        return Value(1);
    case 3:
        return Value(0.5);
    case 4:
        return Value("true");
    case 5:
        return Value(List{});
    case 6:
        return Value(Dictionary{});
    case 7: {
        List wrapped;
        wrapped.push_back(value);
        return Value(std::move(wrapped));
    }
    default: {
        Dictionary nested;
        nested["value"] = value;
        return Value(std::move(nested));
    }
    }
}

} // namespace

void mutate(Dictionary& message, Draws& draws)
{
    std::vector<Place> places;
    collect(message, places);
    if (places.empty()) {
        return;
    }
    Place& place = draws.oneOf(places);
    const bool isLeftOut = draws.oneIn(3);
    if (place.dictionary != nullptr) {
        if (isLeftOut) {
            place.dictionary->erase(place.key);
        } else {
            Value& value = place.dictionary->at(place.key);
            value = otherThan(value, draws);
        }
        return;
    }
    List& list = *place.list;
    const auto element = list.begin() + static_cast<std::ptrdiff_t>(place.index);
    if (isLeftOut) {
        list.erase(element);
    } else if (draws.oneIn(3)) {
        const Value copy = *element;
        list.insert(element, copy);
    } else {
        *element = otherThan(*element, draws);
    }
}

} // namespace vexa::simulation
