#pragma once

#include <VexaClient/platform/Json.hpp>

#include <CLI/App.hpp>

#include <string>

namespace vexa::host {

/// Adds the option --params, the parameters of a topic as JSON text. `text` must live until the command has run.
void addParametersOption(CLI::App& command, std::string& text);

/// The parameters of such a text; none of an empty one. Throws std::exception when it is no JSON.
[[nodiscard]] Parameters parametersOf(const std::string& text);

} // namespace vexa::host
