#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace vexa::simulation {

/// A topic and what has been published on it: messages numbered from 0 on.
struct PublishedTopic {
    std::size_t number;
    std::string name;
    Parameters params;
    std::vector<bool> terminates; ///< for each message, whether it ends the topic
    std::size_t followers = 0;    ///< how many there ever were

    [[nodiscard]] bool everEnded() const
    {
        for (const bool each : terminates) {
            if (each) {
                return true;
            }
        }
        return false;
    }
};

} // namespace vexa::simulation
