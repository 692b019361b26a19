#pragma once

#include <host/tool/completion/CommandLineShape.hpp>

#include <string>
#include <string_view>

/// Scripts by which shells complete the command lines of a program: its subcommands, of which no subcommand has any of
/// its own, their options, and the values that are files or have a fixed set of choices.
namespace vexa::host {

/// For bash 4 and up, with nothing else installed.
[[nodiscard]] std::string bashCompletion(const CommandShape& program);

/// For the completion system of zsh (compinit), as a file named after the program with an underscore before it.
[[nodiscard]] std::string zshCompletion(const CommandShape& program);

/// For fish 3 and up.
[[nodiscard]] std::string fishCompletion(const CommandShape& program);

/// A text as one word of a shell of the Bourne family, and of fish.
[[nodiscard]] std::string shellQuoted(std::string_view text);
[[nodiscard]] std::string fishQuoted(std::string_view text);

} // namespace vexa::host
