#include <host/tool/client/TopicArguments.hpp>
#include <host/wire/MessageText.hpp>

#include <boost/system/system_error.hpp>

#include <CLI/CLI.hpp>

namespace vexa::host {

namespace {

/// Leaves room for the messages that hold the parameters, which have limits too.
constexpr MessageTextLimits parameterLimits{.depth = 32};

} // namespace

void addParametersOption(CLI::App& command, std::string& text)
{
    command.add_option("--params", text, "The parameters of the topic, as JSON")
        ->check(CLI::Validator{[](const std::string& given) {
                                   boost::system::error_code error;
                                   static_cast<void>(readValue(given, error, parameterLimits));
                                   return error ? "is no JSON: " + error.message() : std::string{};
                               },
                               "JSON"});
}

Parameters parametersOf(const std::string& text)
{
    if (text.empty()) {
        return std::nullopt;
    }
    boost::system::error_code error;
    Value value = readValue(text, error, parameterLimits);
    if (error) {
        throw boost::system::system_error{error};
    }
    return value;
}

} // namespace vexa::host
