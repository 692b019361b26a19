#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>

/// How a transport is made to lose messages, for tests and demonstrations.
namespace vexa::host {

/// Answers, for each message in turn, whether it is lost. An empty rule loses nothing.
using LossRule = std::function<bool(const Dictionary& message)>;

/// Loses the next `count` messages and none after them.
[[nodiscard]] LossRule loseNext(std::size_t count);

/// Loses each message with the probability `fraction`, from 0 to 1. The same seed loses the same ones.
[[nodiscard]] LossRule loseFraction(double fraction, std::uint64_t seed);

} // namespace vexa::host
