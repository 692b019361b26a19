#pragma once

#include <CLI/App.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace vexa::host {

/// What may stand behind an option or in the place of an argument.
struct ValueShape {
    enum class Kind : std::uint8_t { text, file, folder, choice };

    Kind kind = Kind::text;
    std::vector<std::string> choices; ///< of the kind `choice`
    std::string name;                 ///< what the help calls it, such as SECONDS
};

struct OptionShape {
    std::vector<std::string> names; ///< with their dashes, the short ones first
    std::string description;
    bool takesValue = false;
    ValueShape value;
};

struct ArgumentShape {
    std::string description;
    bool isRepeated = false; ///< whether any number of them may follow
    ValueShape value;
};

/// What a command takes, for those who offer the next word of a command line.
struct CommandShape {
    std::string name;
    std::string description;
    std::vector<OptionShape> options;
    std::vector<ArgumentShape> arguments;
    std::vector<CommandShape> subcommands;
};

/// The shape of a command and its subcommands; options and subcommands that the help does not show are left out.
[[nodiscard]] CommandShape shapeOf(const CLI::App& command);

} // namespace vexa::host
