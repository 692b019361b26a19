#include <host/tool/completion/CompletionScripts.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string_view>
#include <vector>

namespace vexa::host {

namespace {

/// A text within an argument of _arguments, where some characters have a meaning.
std::string escaped(std::string_view text, std::string_view special)
{
    std::string out;
    for (const char each : text) {
        if (special.find(each) != std::string_view::npos) {
            out += '\\';
        }
        out += each;
    }
    return out;
}

std::string action(const ValueShape& value)
{
    switch (value.kind) {
    case ValueShape::Kind::file:
        return "_files";
    case ValueShape::Kind::folder:
        return "_files -/";
    case ValueShape::Kind::choice:
        return fmt::format("({})", fmt::join(value.choices, " "));
    case ValueShape::Kind::text:
        break;
    }
    // A blank offers nothing but says what is wanted.
    return " ";
}

/// The message and the action for a value.
std::string valueText(const ValueShape& value, std::string_view otherName)
{
    const std::string_view name = value.name.empty() ? otherName : std::string_view{value.name};
    return fmt::format("{}:{}", escaped(name, ":\\"), action(value));
}

void addOptions(std::string& out, const CommandShape& command, std::string_view indent)
{
    for (const OptionShape& option : command.options) {
        std::string rest = fmt::format("[{}]", escaped(option.description, ":\\[]"));
        if (option.takesValue) {
            rest += ":" + valueText(option.value, "value");
        }
        for (const std::string& name : option.names) {
            // All names of an option exclude each other.
            const std::string excluded =
                option.names.size() > 1 ? fmt::format("({})", fmt::join(option.names, " ")) : std::string{};
            const std::string_view behind = !option.takesValue ? "" : name.starts_with("--") ? "=" : "+";
            out += fmt::format(" \\\n{}{}", indent, shellQuoted(fmt::format("{}{}{}{}", excluded, name, behind, rest)));
        }
    }
}

void addArguments(std::string& out, const CommandShape& command, std::string_view indent)
{
    for (const ArgumentShape& argument : command.arguments) {
        out += fmt::format(
            " \\\n{}{}", indent,
            shellQuoted(fmt::format("{}:{}", argument.isRepeated ? "*" : "", valueText(argument.value, "argument"))));
    }
}

constexpr std::string_view script = R"(#compdef {0}
# Completion of {0} for zsh, as '{0} completion zsh' prints it.

_{0}_commands() {{
    local -a commands
    commands=(
{1}    )
    _describe -t commands command commands
}}

_{0}() {{
    local curcontext="$curcontext" state line
    typeset -A opt_args
    _arguments -C{2} \
        '1: :_{0}_commands' \
        '*:: :->argument'
    [[ $state == argument ]] || return
    curcontext="${{curcontext%:*:*}}:{0}-$line[1]:"
    case $line[1] in
{3}    esac
}}

# Loaded by the completion system, or read by a person's own settings.
if [[ $funcstack[1] == _{0} ]]; then
    _{0} "$@"
else
    compdef _{0} {0}
fi
)";

} // namespace

std::string zshCompletion(const CommandShape& program)
{
    std::string commands;
    std::string options;
    std::string branches;
    addOptions(options, program, "        ");
    for (const CommandShape& each : program.subcommands) {
        commands +=
            fmt::format("        {}\n", shellQuoted(escaped(each.name, ":\\") + ":" + escaped(each.description, "\\")));
        branches += fmt::format("        {})\n            _arguments", each.name);
        addOptions(branches, each, "                ");
        addArguments(branches, each, "                ");
        branches += "\n            ;;\n";
    }
    return fmt::format(fmt::runtime(script), program.name, commands, options, branches);
}

} // namespace vexa::host
