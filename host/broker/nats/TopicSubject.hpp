#pragma once

#include <host/broker/TopicKey.hpp>

#include <cstddef>
#include <string>
#include <string_view>

/// How topics are named in a stream: STREAM.topics.GROUP.NAME, where NAME is the SHA-256 digest (FIPS 180-4) of the
/// topic's canonical text in hexadecimal, since a subject of NATS cannot hold any character, and GROUP its first digit.
namespace vexa::host {

/// The groups that topics fall into by chance. A process that uses a topic receives all of its group.
inline constexpr std::size_t topicGroups = 16;

[[nodiscard]] std::string topicSubject(std::string_view stream, const TopicKey& key);

/// The group of a subject that topicSubject() made, below topicGroups.
[[nodiscard]] std::size_t groupOfSubject(std::string_view subject) noexcept;

/// What stands for every subject of a group.
[[nodiscard]] std::string subjectsOfGroup(std::string_view stream, std::size_t group);

/// What stands for every subject of a stream.
[[nodiscard]] std::string subjectsOfStream(std::string_view stream);

} // namespace vexa::host
