#pragma once

#include <CLI/App.hpp>

#include <functional>

namespace vexa::host {

/// What the command line chose: it does the work and returns the exit code of the process.
using ChosenCommand = std::function<int()>;

/// Add the subcommands, each of which sets `chosen` when the command line names it. Both must live until the command
/// line has been read.
void addDemoCommand(CLI::App& application, ChosenCommand& chosen);
void addServeCommand(CLI::App& application, ChosenCommand& chosen);
void addSubCommand(CLI::App& application, ChosenCommand& chosen);
void addPubCommand(CLI::App& application, ChosenCommand& chosen);
void addEchoCommand(CLI::App& application, ChosenCommand& chosen);
void addTopCommand(CLI::App& application, ChosenCommand& chosen);
void addCompletionCommand(CLI::App& application, ChosenCommand& chosen);

} // namespace vexa::host
