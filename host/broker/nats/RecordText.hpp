#pragma once

#include <host/broker/nats/TopicState.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Records as they stand in the stream: one JSON text each, which tools for NATS can show.
namespace vexa::host {

/// The JSON texts of payloads, with commas between them.
[[nodiscard]] std::string payloadTexts(const std::vector<Dictionary>& payloads);

/// The text of a record.
///
/// \param topic     the canonical text of the topic's key; for people, nothing reads it back
/// \param payloads  payloadTexts(), several of them joined with commas
[[nodiscard]] std::string recordText(std::string_view topic, std::int64_t microsecond, const TopicState& base,
                                     std::string_view payloads);

/// By how much a record's text is longer than that of its payloads, at most.
[[nodiscard]] std::size_t recordOverhead(std::string_view topic) noexcept;

/// The record that a text from the stream holds; nothing when it holds none. A base that cannot be earlier in the
/// stream, because the stream was made anew or lost its end, has the sequence 0.
[[nodiscard]] std::optional<TopicRecord> readRecord(std::string_view text, std::uint64_t sequence);

/// The same, with a record without payloads for a text that holds none.
[[nodiscard]] TopicRecord recordOrNothing(std::string_view text, std::uint64_t sequence);

} // namespace vexa::host
