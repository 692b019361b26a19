#include <host/tool/completion/CompletionScripts.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string_view>
#include <vector>

namespace vexa::host {

namespace {

std::string words(const std::vector<std::string>& all)
{
    return shellQuoted(fmt::format("{}", fmt::join(all, " ")));
}

/// What offers the values of an option or an argument.
std::string offer(const std::string& program, const ValueShape& value)
{
    switch (value.kind) {
    case ValueShape::Kind::file:
        return fmt::format("_{}_files -f", program);
    case ValueShape::Kind::folder:
        return fmt::format("_{}_files -d", program);
    case ValueShape::Kind::choice:
        return fmt::format("_{}_words {}", program, words(value.choices));
    case ValueShape::Kind::text:
        break;
    }
    return "COMPREPLY=()";
}

std::vector<std::string> optionNames(const CommandShape& command)
{
    std::vector<std::string> names;
    for (const OptionShape& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

/// The branches for the values of a command's options, each of which ends the function.
std::string valueBranches(const std::string& program, const CommandShape& command, const std::string& key)
{
    std::string branches;
    for (const OptionShape& option : command.options) {
        if (option.takesValue) {
            std::vector<std::string> patterns;
            for (const std::string& name : option.names) {
                patterns.push_back(fmt::format("'{} {}'", key, name));
            }
            branches += fmt::format("        {})\n            {}\n            return\n            ;;\n",
                                    fmt::join(patterns, " | "), offer(program, option.value));
        }
    }
    return branches;
}

/// The branch for the words of a command that are no option: its subcommands or its first argument.
std::string argumentBranch(const std::string& program, const CommandShape& command, const std::string& key)
{
    std::string action;
    if (!command.subcommands.empty()) {
        std::vector<std::string> names;
        for (const CommandShape& each : command.subcommands) {
            names.push_back(each.name);
        }
        action = fmt::format("_{}_words {}", program, words(names));
    } else if (!command.arguments.empty()) {
        action = offer(program, command.arguments.front().value);
    } else {
        action = fmt::format("_{}_words {}", program, words(optionNames(command)));
    }
    return fmt::format("        '{}')\n            {}\n            ;;\n", key, action);
}

std::string optionBranch(const std::string& program, const CommandShape& command, const std::string& key)
{
    return fmt::format("            '{}')\n                _{}_words {}\n                ;;\n", key, program,
                       words(optionNames(command)));
}

/// The options before the subcommand that take a value, which is no subcommand then.
std::string leadingValueBranch(const CommandShape& program)
{
    std::vector<std::string> names;
    for (const OptionShape& option : program.options) {
        if (option.takesValue) {
            names.insert(names.end(), option.names.begin(), option.names.end());
        }
    }
    return names.empty() ? std::string{}
                         : fmt::format("            {})\n                place=$((place + 1))\n                ;;\n",
                                       fmt::join(names, " | "));
}

constexpr std::string_view script = R"(# Completion of {0} for bash, as '{0} completion bash' prints it.

# Offers those of the words in a text that begin as the current one does.
_{0}_words() {{
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current")
}}

# Offers files (-f) or folders (-d).
_{0}_files() {{
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen "$1" -- "$current")
}}

_{0}() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} command="" place
    # An equals sign is a word of its own.
    if [[ $current == "=" ]]; then
        current=""
    elif [[ $previous == "=" ]]; then
        previous=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    COMPREPLY=()
    for ((place = 1; place < COMP_CWORD; ++place)); do
        case ${{COMP_WORDS[place]}} in
{1}            {2})
                command=${{COMP_WORDS[place]}}
                break
                ;;
        esac
    done
    case "$command $previous" in
{3}    esac
    if [[ $current == -* ]]; then
        case $command in
{4}        esac
        return
    fi
    case $command in
{5}    esac
}}

complete -F _{0} {0}
)";

} // namespace

std::string bashCompletion(const CommandShape& program)
{
    std::vector<std::string> commands;
    std::string values = valueBranches(program.name, program, "");
    std::string options = optionBranch(program.name, program, "");
    std::string arguments = argumentBranch(program.name, program, "");
    for (const CommandShape& each : program.subcommands) {
        commands.push_back(each.name);
        values += valueBranches(program.name, each, each.name);
        options += optionBranch(program.name, each, each.name);
        arguments += argumentBranch(program.name, each, each.name);
    }
    return fmt::format(fmt::runtime(script), program.name, leadingValueBranch(program),
                       fmt::format("{}", fmt::join(commands, " | ")), values, options, arguments);
}

} // namespace vexa::host
