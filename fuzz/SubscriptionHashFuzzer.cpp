// Topics through the subscription hash. The input is a topic's name and its parameters, another topic's name and
// parameters, each on a line of its own, and bytes that say how the first topic is written in other ways and changed.
// An empty line for the parameters stands for none.

#include <fuzz/Input.hpp>
#include <fuzz/Require.hpp>
#include <fuzz/Values.hpp>
#include <VexaClient/subscription_client/SubscriptionHash.hpp>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vexa::fuzz {

namespace {

struct Topic {
    std::string name;
    Parameters params;

    [[nodiscard]] std::string hash() const { return subscriptionHash(name, params); }
};

Topic takeTopic(std::string_view& input)
{
    Topic topic{std::string{takeLine(input)}, std::nullopt};
    if (const std::string_view params = takeLine(input); !params.empty()) {
        topic.params.emplace(valueOf(params));
    }
    return topic;
}

/// Whether two topics are the same. Absent parameters count as the empty text.
bool areSame(const Topic& one, const Topic& other)
{
    const Value none(boost::json::string_kind);
    return one.name == other.name && areEqual(one.params.value_or(none), other.params.value_or(none));
}

/// Sixteen bytes in base64.
bool isHash(const std::string& hash)
{
    const auto isDigit = [](unsigned char each) { return std::isalnum(each) != 0 || each == '+' || each == '/'; };
    return hash.size() == 24 && hash.ends_with("==") && std::all_of(hash.begin(), hash.end() - 2, isDigit);
}

void run(std::string_view input)
{
    const Topic topic = takeTopic(input);
    const Topic other = takeTopic(input);
    Choices choices{input};
    const std::string hash = topic.hash();
    require(isHash(hash));
    require(topic.hash() == hash);
    require(areSame(topic, other) == (other.hash() == hash));
    if (!topic.params) {
        return;
    }
    const Topic same{topic.name, Parameters(writtenOtherwise(*topic.params, choices))};
    require(areSame(topic, same));
    require(same.hash() == hash);
    const Topic near{topic.name, Parameters(changed(*same.params, choices))};
    require(areSame(topic, near) == (near.hash() == hash));
}

} // namespace

} // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vexa::fuzz::run(vexa::fuzz::textOf(data, size));
    return 0;
}
