#include "RunningService.hpp"
#include "ToolProcess.hpp"

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vexa::host {
namespace {

/// The last line of a demonstration's output, which accounts for it.
boost::json::object summaryOf(const std::vector<std::string>& arguments)
{
    ToolProcess process{arguments};
    const std::string output = process.readAll();
    EXPECT_EQ(process.readErrors(), "");
    EXPECT_EQ(process.wait(), 0) << output;
    const std::size_t end = output.find_last_not_of('\n') + 1;
    const std::size_t begin = output.rfind('\n', end - 1) + 1;
    return boost::json::parse(output.substr(begin, end - begin)).as_object();
}

void expectEverythingArrived(const boost::json::object& summary)
{
    EXPECT_EQ(summary.at("lost"), 0);
    EXPECT_EQ(summary.at("duplicated"), 0);
    EXPECT_EQ(summary.at("outOfOrder"), 0);
    EXPECT_EQ(summary.at("passed"), true);
    EXPECT_GT(summary.at("replayed").to_number<int>(), 0);
    EXPECT_EQ(summary.at("openings"), 2);
}

TEST(DemoCommand, runsAcrossAWireTwiceOnOneService)
{
    RunningService service;
    for (int run = 0; run < 2; ++run) {
        expectEverythingArrived(summaryOf(service.reached({"demo", "--seconds", "2", "--json"})));
    }
}

TEST(DemoCommand, runsWithAServiceOfItsOwnProcess)
{
    expectEverythingArrived(summaryOf({"demo", "--seconds", "2", "--json", "--processes"}));
}

TEST(DemoCommand, saysWhenThereIsNoService)
{
    ToolProcess process{{"demo", "--url", "http://127.0.0.1:1"}};
    EXPECT_NE(process.readErrors().find("http://127.0.0.1:1"), std::string::npos);
    EXPECT_EQ(process.wait(), 1);
}

} // namespace
} // namespace vexa::host
