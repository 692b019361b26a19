#pragma once

#include "ToolProcess.hpp"

#include <string>
#include <utility>
#include <vector>

namespace vexa::host {

/// What a run of the tool came to.
struct ToolOutcome {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

/// Runs the tool to its end.
inline ToolOutcome outcomeOf(std::vector<std::string> arguments, const std::string& input = "/dev/null")
{
    ToolProcess process{std::move(arguments), input};
    ToolOutcome outcome;
    outcome.output = process.readAll();
    outcome.errors = process.readErrors();
    outcome.exitCode = process.wait();
    return outcome;
}

} // namespace vexa::host
