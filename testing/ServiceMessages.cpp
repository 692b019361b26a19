#include <testing/ServiceMessages.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <boost/json/serialize.hpp>

#include <stdexcept>
#include <utility>

namespace vexa::testing {

namespace {

List listOf(const std::vector<Dictionary>& dictionaries)
{
    List list(dictionaries.begin(), dictionaries.end());
    return list;
}

const Dictionary& requirePayload(const Dictionary& message)
{
    if (!isSubscribeRequest(message)) {
        throw std::logic_error{"no subscribe request: " + boost::json::serialize(message)};
    }
    return *dictionaryAt(message, "payload");
}

} // namespace

Dictionary topic(std::string_view name, const Parameters& parameters, double updatedAt)
{
    Dictionary built{{"name", name}};
    if (parameters) {
        built["parameters"] = *parameters;
    }
    if (updatedAt > 0.0) {
        built["updatedAt"] = updatedAt;
    }
    return built;
}

Dictionary subscribeRequest(std::string_view operationId, const std::vector<Dictionary>& topics)
{
    return {{"category", "vexa"},
            {"type", "subscribe"},
            {"payload", {{"operationId", operationId}, {"topics", listOf(topics)}}}};
}

Dictionary success(std::string_view subscriptionId)
{
    return {{"success", true}, {"subscriptionId", subscriptionId}};
}

Dictionary successWithoutId()
{
    return {{"success", true}};
}

Dictionary failure(const std::optional<std::string>& error, const std::optional<std::string>& errorMessage)
{
    Dictionary built{{"success", false}};
    if (error) {
        built["error"] = *error;
    }
    if (errorMessage) {
        built["errorMessage"] = *errorMessage;
    }
    return built;
}

Dictionary subscriptionResponse(std::string_view operationId, const std::vector<Dictionary>& entries,
                                std::string_view type)
{
    return {{"category", "vexa"}, {"type", type}, {"operationId", operationId}, {"topics", listOf(entries)}};
}

Dictionary entry(std::string_view subscriptionId, Dictionary payload, std::optional<bool> replayed)
{
    Dictionary built{{"subscriptionId", subscriptionId}};
    built["payload"] = std::move(payload);
    if (replayed) {
        built["replayed"] = *replayed;
    }
    return built;
}

Dictionary terminatingEntry(std::string_view subscriptionId, Dictionary payload)
{
    payload["isTerminating"] = true;
    return entry(subscriptionId, std::move(payload));
}

Dictionary dataMessage(const std::vector<Dictionary>& entries, std::optional<double> sentAt)
{
    Dictionary built{{"category", "vexa"}, {"type", "data"}, {"messages", listOf(entries)}};
    if (sentAt) {
        built["sentAt"] = *sentAt;
    }
    return built;
}

bool isSubscribeRequest(const Dictionary& message) noexcept
{
    const Dictionary* payload = dictionaryAt(message, "payload");
    return stringAt(message, "category") == "vexa" && stringAt(message, "type") == "subscribe" && payload != nullptr &&
           stringAt(*payload, "operationId") && dictionariesAt(*payload, "topics") != nullptr;
}

std::string operationIdOf(const Dictionary& message)
{
    return std::string{*stringAt(requirePayload(message), "operationId")};
}

std::vector<Dictionary> topicsOf(const Dictionary& message)
{
    std::vector<Dictionary> topics;
    for (const Value& each : *dictionariesAt(requirePayload(message), "topics")) {
        topics.push_back(each.get_object());
    }
    return topics;
}

std::vector<std::string> topicNamesOf(const Dictionary& message)
{
    std::vector<std::string> names;
    for (const Dictionary& each : topicsOf(message)) {
        names.emplace_back(stringAt(each, "name").value_or(std::string_view{}));
    }
    return names;
}

} // namespace vexa::testing
