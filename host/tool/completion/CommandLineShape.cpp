#include <host/tool/completion/CommandLineShape.hpp>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace vexa::host {

namespace {

/// The words of a set as CLI11 describes it in the type of an option: {one,two}, or {one->1,two->2} for translations.
std::vector<std::string> choicesIn(std::string_view set)
{
    std::vector<std::string> choices;
    while (!set.empty()) {
        const std::size_t comma = std::min(set.find(','), set.size());
        const std::string_view entry = set.substr(0, comma);
        choices.emplace_back(entry.substr(0, entry.find("->")));
        set.remove_prefix(std::min(comma + 1, set.size()));
    }
    return choices;
}

/// The value of an option by its type, which is a name such as FILE and, behind colons, what its checks are called.
ValueShape valueOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::string_view text = type;
    ValueShape value;
    value.name = text.substr(0, text.find(':'));
    const std::size_t begin = text.find('{');
    const std::size_t end = text.rfind('}');
    if (begin != std::string_view::npos && end != std::string_view::npos && begin < end) {
        value.kind = ValueShape::Kind::choice;
        value.choices = choicesIn(text.substr(begin + 1, end - begin - 1));
        return value;
    }
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t colon = std::min(rest.find(':'), rest.size());
        const std::string_view part = rest.substr(0, colon);
        rest.remove_prefix(std::min(colon + 1, rest.size()));
        if (part == "FILE" || part == "PATH") {
            value.kind = ValueShape::Kind::file;
        } else if (part == "DIR") {
            value.kind = ValueShape::Kind::folder;
        }
    }
    return value;
}

OptionShape optionOf(const CLI::Option& option)
{
    OptionShape shape;
    for (const std::string& name : option.get_snames()) {
        shape.names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        shape.names.push_back("--" + name);
    }
    shape.description = option.get_description();
    shape.takesValue = option.get_items_expected_max() > 0;
    if (shape.takesValue) {
        shape.value = valueOf(option);
    }
    return shape;
}

} // namespace

CommandShape shapeOf(const CLI::App& command)
{
    CommandShape shape;
    shape.name = command.get_name();
    shape.description = command.get_description();
    for (const CLI::Option* const option : command.get_options()) {
        if (option->get_group().empty()) {
            continue;
        }
        if (option->get_positional()) {
            shape.arguments.push_back(
                {option->get_description(), option->get_items_expected_max() > 1, valueOf(*option)});
        }
        if (option->nonpositional()) {
            shape.options.push_back(optionOf(*option));
        }
    }
    for (const CLI::App* const subcommand : command.get_subcommands({})) {
        if (!subcommand->get_group().empty() && !subcommand->get_name().empty()) {
            shape.subcommands.push_back(shapeOf(*subcommand));
        }
    }
    return shape;
}

} // namespace vexa::host
