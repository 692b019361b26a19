#pragma once

#include <host/tool/serve/BrokerChoice.hpp>

#include <CLI/App.hpp>

namespace vexa::host {

/// Adds the options that choose a broker. `broker` must live until the command has run.
void addBrokerOptions(CLI::App& command, BrokerChoice& broker);

} // namespace vexa::host
