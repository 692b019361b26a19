#include <host/tool/completion/CompletionScripts.hpp>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace vexa::host {

namespace {

std::string valueArguments(const ValueShape& value)
{
    switch (value.kind) {
    case ValueShape::Kind::file:
        return " -r -F";
    case ValueShape::Kind::folder:
        return " -x -a '(__fish_complete_directories)'";
    case ValueShape::Kind::choice:
        return fmt::format(" -x -a {}", fishQuoted(fmt::format("{}", fmt::join(value.choices, " "))));
    case ValueShape::Kind::text:
        break;
    }
    return " -x";
}

/// The lines for a command's options and arguments, which are offered where `condition` holds.
std::string linesOf(const std::string& program, const CommandShape& command, const std::string& condition)
{
    const std::string beginning = fmt::format("complete -c {} -n {}", program, fishQuoted(condition));
    std::string lines;
    for (const OptionShape& option : command.options) {
        lines += beginning;
        for (const std::string& name : option.names) {
            lines += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
        }
        lines += fmt::format("{} -d {}\n", option.takesValue ? valueArguments(option.value) : "",
                             fishQuoted(option.description));
    }
    for (const ArgumentShape& argument : command.arguments) {
        if (argument.value.kind == ValueShape::Kind::choice) {
            lines += fmt::format("{} -a {}\n", beginning,
                                 fishQuoted(fmt::format("{}", fmt::join(argument.value.choices, " "))));
        } else if (argument.value.kind != ValueShape::Kind::text) {
            lines += fmt::format("{} -F\n", beginning);
        }
    }
    return lines;
}

} // namespace

std::string fishCompletion(const CommandShape& program)
{
    const std::string& name = program.name;
    std::string script = fmt::format("# Completion of {0} for fish, as '{0} completion fish' prints it.\n\n"
                                     "complete -c {0} -f\n",
                                     name);
    for (const CommandShape& each : program.subcommands) {
        script += fmt::format("complete -c {} -n __fish_use_subcommand -a {} -d {}\n", name, each.name,
                              fishQuoted(each.description));
    }
    script += linesOf(name, program, "__fish_use_subcommand");
    for (const CommandShape& each : program.subcommands) {
        script += "\n" + linesOf(name, each, "__fish_seen_subcommand_from " + each.name);
    }
    return script;
}

} // namespace vexa::host
