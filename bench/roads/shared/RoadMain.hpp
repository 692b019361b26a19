#pragma once

#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vexa::bench {

/// A number that can be chosen on the command line.
struct NumberOption {
    const char* name; ///< such as "--topics"
    std::uint64_t* value;
    const char* description;
};

/// Reads the command line, runs `road` with the chosen mode, prints the dictionary that it returns as one line of JSON,
/// and returns the exit code of the program. What `road` throws is written to standard error.
int roadMain(int count, char** words, const std::vector<NumberOption>& numbers, const std::vector<std::string>& modes,
             const std::function<Dictionary(const std::string& mode)>& road);

} // namespace vexa::bench
