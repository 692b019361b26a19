#include <host/server/MetricsPage.hpp>
#include <host/server/PrometheusText.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace vexa::host {
namespace {

TEST(PrometheusText, WritesMetricsWithTheirTypes)
{
    PrometheusText out;
    out.counter("things_total", "Things that came.");
    out.value(std::uint64_t{3}, {{"kind", "good"}});
    out.value(std::uint64_t{4}, {{"kind", "bad"}, {"size", "small"}});
    out.gauge("warmth", "How warm it is.");
    out.value(20.5);

    EXPECT_EQ(out.text(), "# HELP things_total Things that came.\n"
                          "# TYPE things_total counter\n"
                          "things_total{kind=\"good\"} 3\n"
                          "things_total{kind=\"bad\",size=\"small\"} 4\n"
                          "# HELP warmth How warm it is.\n"
                          "# TYPE warmth gauge\n"
                          "warmth 20.5\n");
}

TEST(PrometheusText, EscapesTexts)
{
    PrometheusText out;
    out.gauge("odd", "A \\ and a\nline, \"quoted\".");
    out.value(std::uint64_t{1}, {{"name", "a\\b\"c\nd"}});

    EXPECT_EQ(out.text(), "# HELP odd A \\\\ and a\\nline, \"quoted\".\n"
                          "# TYPE odd gauge\n"
                          "odd{name=\"a\\\\b\\\"c\\nd\"} 1\n");
}

TEST(PrometheusText, WritesNumbersThatAreNone)
{
    PrometheusText out;
    out.gauge("odd", "Odd.");
    out.value(std::numeric_limits<double>::infinity());
    out.value(-std::numeric_limits<double>::infinity());
    out.value(std::numeric_limits<double>::quiet_NaN());

    EXPECT_NE(out.text().find("odd +Inf\nodd -Inf\nodd NaN\n"), std::string::npos);
}

TEST(MetricsPage, IsWellFormed)
{
    MetricsSources sources;
    sources.service.sessions = 7;
    sources.server.webSocketsClosed[static_cast<std::size_t>(CloseReason::slow)] = 5;
    sources.process = ProcessUse{100, 50, 1.5};
    std::istringstream lines{metricsPage(sources)};
    const std::regex comment{R"(# (HELP|TYPE) ([a-z_]+) .+)"};
    const std::regex sample{R"(([a-z_]+)(\{[a-z_]+="[^"\\\n]*"\})? [0-9.e+-]+)"};
    std::set<std::string> explained;
    std::set<std::string> typed;
    std::set<std::string> samples;
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, comment)) {
            EXPECT_TRUE((parts[1] == "HELP" ? explained : typed).insert(parts[2]).second) << line;
        } else if (std::regex_match(line, parts, sample)) {
            EXPECT_TRUE(typed.contains(parts[1]) && explained.contains(parts[1])) << line;
            EXPECT_TRUE(samples.insert(parts[1].str() + parts[2].str()).second) << line;
        } else {
            ADD_FAILURE() << line;
        }
    }
    EXPECT_TRUE(samples.contains("vexa_sessions"));
    EXPECT_TRUE(samples.contains("vexa_websockets_closed_total{reason=\"slow\"}"));
    EXPECT_TRUE(samples.contains("process_resident_memory_bytes"));
}

TEST(ProcessUse, IsWhatTheKernelSays)
{
    const auto use = processUse();
    ASSERT_TRUE(use);
    EXPECT_GT(use->residentBytes, 1'000'000U);
    EXPECT_GE(use->virtualBytes, use->residentBytes);
    EXPECT_GT(use->processorSeconds, 0);
}

} // namespace
} // namespace vexa::host
