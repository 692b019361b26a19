#include <host/tool/client/TopicArguments.hpp>

#include <boost/json/parse.hpp>

#include <CLI/CLI.hpp>

namespace vexa::host {

void addParametersOption(CLI::App& command, std::string& text)
{
    command.add_option("--params", text, "The parameters of the topic, as JSON")
        ->check(CLI::Validator{[](const std::string& given) {
                                   boost::system::error_code error;
                                   static_cast<void>(boost::json::parse(given, error));
                                   return error ? "is no JSON: " + error.message() : std::string{};
                               },
                               "JSON"});
}

Parameters parametersOf(const std::string& text)
{
    return text.empty() ? Parameters{} : Parameters{boost::json::parse(text)};
}

} // namespace vexa::host
