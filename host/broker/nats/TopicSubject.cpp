#include <host/broker/nats/HexadecimalDigest.hpp>
#include <host/broker/nats/TopicSubject.hpp>
#include <VexaClient/platform/Text.hpp>

namespace vexa::host {

namespace {

constexpr std::string_view digits = "0123456789abcdef";

} // namespace

std::string topicSubject(std::string_view stream, const TopicKey& key)
{
    const std::string name = hexadecimalDigest(key.text());
    return joined({stream, ".topics.", std::string_view{name}.substr(0, 1), ".", name});
}

std::size_t groupOfSubject(std::string_view subject) noexcept
{
    const std::size_t group = digits.find(subject[subject.rfind('.') + 1]);
    return group < topicGroups ? group : 0;
}

std::string subjectsOfGroup(std::string_view stream, std::size_t group)
{
    return joined({stream, ".topics.", digits.substr(group, 1), ".*"});
}

std::string subjectsOfStream(std::string_view stream)
{
    return joined({stream, ".topics.*.*"});
}

} // namespace vexa::host
