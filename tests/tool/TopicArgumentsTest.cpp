#include <host/tool/client/TopicArguments.hpp>

#include <boost/json/parse.hpp>

#include <CLI/CLI.hpp>
#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

/// Whether the command line takes the text.
bool isTaken(const std::string& text)
{
    CLI::App command;
    std::string parameters;
    addParametersOption(command, parameters);
    try {
        command.parse(std::vector<std::string>{"--params=" + text});
    } catch (const CLI::ParseError&) {
        return false;
    }
    return parameters == text;
}

TEST(TopicArguments, areAnyJson)
{
    for (const std::string text : {"{}", "[1, \"two\", null]", "4", "\"text\"", "null", "{\"a\":{\"b\":[true]}}"}) {
        EXPECT_TRUE(isTaken(text)) << text;
        EXPECT_EQ(parametersOf(text), Parameters(boost::json::parse(text))) << text;
    }
    EXPECT_EQ(parametersOf(""), std::nullopt);
}

TEST(TopicArguments, areNothingElse)
{
    for (const std::string text : {"{", "text", "1 2", "1e999", "0.5e9999", "[1e999]", "\xFF"}) {
        EXPECT_FALSE(isTaken(text)) << text;
        EXPECT_THROW(static_cast<void>(parametersOf(text)), std::exception) << text;
    }
}

TEST(TopicArguments, areReadToTheLastDigit)
{
    EXPECT_EQ(parametersOf("0e3110"), Parameters(0.0));
    EXPECT_EQ(parametersOf("1700000000.123457"), Parameters(1700000000.123457));
    EXPECT_EQ(parametersOf("2.2250738585072011e-308"), Parameters(2.2250738585072011e-308));
}

} // namespace
} // namespace vexa::host
