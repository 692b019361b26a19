#pragma once

#include "tests/model/Replay.hpp"
#include <VexaClient/platform/Json.hpp>

#include <map>
#include <string>
#include <string_view>

namespace vexa::model {

/// The text by which two topics are the same exactly when their names and parameters are: the order of entries does not
/// matter, numbers are compared as numbers, and absent parameters are the empty text.
[[nodiscard]] std::string canonicalTopic(std::string_view name, const Parameters& params);

/// Which hash the library gave which topic. The model knows nothing about hashes, but that equal topics have equal
/// ones, unequal topics unequal ones, and how long they are.
class HashBook {
public:
    /// Takes note of a hash that the library has computed.
    void learn(const Replay& replay, std::string_view name, const Parameters& params, const std::string& hash);

    /// The hash of a topic that was asked for before.
    [[nodiscard]] const std::string& hashOf(std::string_view name, const Parameters& params) const;

private:
    std::map<std::string, std::string> hashes_;
    std::map<std::string, std::string> topics_;
};

} // namespace vexa::model
