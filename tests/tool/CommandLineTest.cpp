#include "ToolProcess.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Arguments = std::vector<std::string>;

TEST(CommandLine, thatMakesNoSenseIsRefusedWithASentence)
{
    for (const Arguments& each : std::vector<Arguments>{{},
                                                        {"fly"},
                                                        {"sub"},
                                                        {"pub"},
                                                        {"sub", "t", "--params", "{"},
                                                        {"sub", "t", "--since", "yesterday"},
                                                        {"sub", "t", "--count", "0"},
                                                        {"sub", "t", "--json", "--text"},
                                                        {"pub", "t", "--rate", "0"},
                                                        {"pub", "t", "--max-message-bytes", "0"},
                                                        {"echo", "--timeout", "-1"},
                                                        {"sub", "t", "--token-file", "/nonexistent"},
                                                        {"sub", "t", "--key", "/dev/null"}}) {
        ToolProcess process{each};
        EXPECT_EQ(process.readAll(), "");
        EXPECT_NE(process.readErrors(), "");
        EXPECT_EQ(process.wait(), 2) << (each.empty() ? "" : each.back());
    }
}

TEST(CommandLine, namesUrlsThatCannotBeUsed)
{
    ToolProcess process{{"sub", "t", "--url", "http://127.0.0.1"}};
    EXPECT_NE(process.readErrors().find("http://127.0.0.1"), std::string::npos);
    EXPECT_EQ(process.wait(), 1);
}

TEST(CommandLine, isExplained)
{
    for (const Arguments& each : std::vector<Arguments>{
             {"--help"}, {"serve", "--help"}, {"sub", "--help"}, {"pub", "--help"}, {"echo", "--help"}}) {
        ToolProcess process{each};
        EXPECT_NE(process.readAll().find("--help"), std::string::npos);
        EXPECT_EQ(process.wait(), 0);
    }
}

TEST(CommandLine, tellsTheVersion)
{
    ToolProcess process{{"--version"}};
    EXPECT_EQ(process.readAll(), "vexa " VEXA_VERSION "\n");
    EXPECT_EQ(process.wait(), 0);
}

} // namespace
} // namespace vexa::host
