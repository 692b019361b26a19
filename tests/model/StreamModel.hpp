#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <deque>
#include <optional>

namespace vexa::model {

/// A stream as the model knows it.
struct StreamModel {
    struct Element {
        Message message;
        bool isTerminating;
    };

    std::optional<std::int64_t> listenerId; ///< absent before the registration and after the end
    std::deque<Element> buffer;
    bool hasEnded = false;
};

} // namespace vexa::model
