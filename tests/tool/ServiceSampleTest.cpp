#include <host/tool/top/MetricsText.hpp>
#include <host/tool/top/SampleJson.hpp>
#include <host/tool/top/ServiceSample.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vexa::host {
namespace {

constexpr std::string_view health = R"({"status":"ok","broker":"in this process","uptime":12.5})";
constexpr std::string_view topics = R"({"now":1000.25,"uptime":12.5,"topicCount":3,
    "service":{"sessions":2,"subscriptions":3,"published":40,"delivered":80,"replayed":5,"connections":4,
               "slowClientsClosed":1,"bytesSent":9000},
    "topics":[{"name":"scores","parameters":{"id":4},"subscribers":2,"published":40,"delivered":80,"replayed":5,
               "messagesPerSecond":2.5,"newestAt":998.25,
               "delay":{"count":70,"mean":0.01,"minimum":0.001,"maximum":0.5,"median":0.004,"percentile99":0.3},
               "failedSubscriptions":6,"timedOutSubscriptions":7},
              {"name":"idle"}]})";
constexpr std::string_view metrics = "# HELP process_resident_memory_bytes Resident memory.\n"
                                     "# TYPE process_resident_memory_bytes gauge\n"
                                     "process_resident_memory_bytes 12345678\n"
                                     "process_cpu_seconds_total 3.5\n"
                                     "vexa_http_responses_total{code=\"200\"} 17\n";

ServiceSample sampleAt(double uptime, std::uint64_t published, double processorSeconds)
{
    ServiceSample sample;
    sample.uptime = uptime;
    sample.published = published;
    sample.delivered = 3 * published;
    sample.bytesSent = 1000 * published;
    sample.processorSeconds = processorSeconds;
    return sample;
}

TEST(ServiceSample, isReadFromThePagesOfAService)
{
    const ServiceSample sample = readServiceSample({health, topics, metrics});
    EXPECT_DOUBLE_EQ(sample.at, 1000.25);
    EXPECT_DOUBLE_EQ(sample.uptime, 12.5);
    EXPECT_TRUE(sample.isHealthy);
    EXPECT_EQ(sample.broker, "in this process");
    EXPECT_EQ(sample.connections, 4U);
    EXPECT_EQ(sample.sessions, 2U);
    EXPECT_EQ(sample.subscriptions, 3U);
    EXPECT_EQ(sample.published, 40U);
    EXPECT_EQ(sample.delivered, 80U);
    EXPECT_EQ(sample.replayed, 5U);
    EXPECT_EQ(sample.slowClientsClosed, 1U);
    EXPECT_EQ(sample.bytesSent, 9000U);
    EXPECT_EQ(sample.residentBytes, 12345678);
    EXPECT_EQ(sample.processorSeconds, 3.5);
    EXPECT_EQ(sample.topicCount, 3U);
    ASSERT_EQ(sample.topics.size(), 2U);
    const TopicSample& topic = sample.topics[0];
    EXPECT_EQ(topic.name, "scores");
    EXPECT_EQ(topic.parameters, boost::json::parse(R"({"id":4})"));
    EXPECT_EQ(topic.subscribers, 2U);
    EXPECT_EQ(topic.published, 40U);
    EXPECT_EQ(topic.delivered, 80U);
    EXPECT_EQ(topic.replayed, 5U);
    EXPECT_DOUBLE_EQ(topic.messagesPerSecond, 2.5);
    EXPECT_EQ(topic.newestAt, 998.25);
    EXPECT_EQ(topic.reportedDeliveries, 70U);
    EXPECT_EQ(topic.medianDelay, 0.004);
    EXPECT_EQ(topic.percentile99Delay, 0.3);
    EXPECT_EQ(topic.failedSubscriptions, 6U);
    EXPECT_EQ(topic.timedOutSubscriptions, 7U);
}

TEST(ServiceSample, takesWhatIsMissingAsNothing)
{
    const ServiceSample sample = readServiceSample({R"({"status":"unavailable"})", topics, ""});
    EXPECT_FALSE(sample.isHealthy);
    EXPECT_EQ(sample.broker, "");
    EXPECT_EQ(sample.residentBytes, std::nullopt);
    const TopicSample& topic = sample.topics.at(1);
    EXPECT_EQ(topic.name, "idle");
    EXPECT_EQ(topic.parameters, std::nullopt);
    EXPECT_EQ(topic.newestAt, std::nullopt);
    EXPECT_EQ(topic.medianDelay, std::nullopt);
    EXPECT_EQ(topic.subscribers, 0U);
}

TEST(ServiceSample, takesNoFigureThatIsNone)
{
    const ServiceSample sample = readServiceSample(
        {health, R"({"topics":[{"name":7,"subscribers":-1,"delivered":1e300,"published":"9"}],"service":{}})", ""});
    EXPECT_EQ(sample.topics.at(0).name, "");
    EXPECT_EQ(sample.topics.at(0).subscribers, 0U);
    EXPECT_EQ(sample.topics.at(0).delivered, 0U);
    EXPECT_EQ(sample.topics.at(0).published, 0U);
}

TEST(ServiceSample, isRefusedWhenThePagesAreThoseOfSomethingElse)
{
    for (const std::string_view page :
         {"", "<html>", "[]", "{}", R"({"service":{},"topics":[1]})", R"({"topics":[]})"}) {
        EXPECT_THROW(static_cast<void>(readServiceSample({health, page, metrics})), std::invalid_argument) << page;
    }
    EXPECT_THROW(static_cast<void>(readServiceSample({"ok", topics, metrics})), std::invalid_argument);
}

TEST(ServiceRates, areTheGrowthBetweenTwoSamples)
{
    const auto rates = ratesBetween(sampleAt(10, 100, 1), sampleAt(12, 150, 2));
    ASSERT_TRUE(rates);
    EXPECT_DOUBLE_EQ(rates->publishedPerSecond, 25);
    EXPECT_DOUBLE_EQ(rates->deliveredPerSecond, 75);
    EXPECT_DOUBLE_EQ(rates->bytesSentPerSecond, 25000);
    EXPECT_DOUBLE_EQ(rates->processorShare.value_or(-1), 0.5);
}

TEST(ServiceRates, areNoneAcrossANewStartOrWithoutTime)
{
    EXPECT_FALSE(ratesBetween(sampleAt(10, 100, 1), sampleAt(10, 100, 1)));
    EXPECT_FALSE(ratesBetween(sampleAt(10, 100, 1), sampleAt(1, 5, 1)));
    EXPECT_FALSE(ratesBetween(sampleAt(10, 100, 1), sampleAt(60, 5, 1))) << "it has been running longer by now";
}

TEST(MetricValues, areThoseWithoutLabels)
{
    const auto values = metricValues("a 1\n b\t2.5 1700000000\n# c 3\nd{x=\"y z\"} 4\ne\nf five\n\ng 6e2\r\nh 7");
    EXPECT_EQ(values.size(), 4U);
    EXPECT_EQ(values.at("a"), 1);
    EXPECT_EQ(values.at("b"), 2.5);
    EXPECT_EQ(values.at("g"), 600);
    EXPECT_EQ(values.at("h"), 7);
}

TEST(SampleJson, tellsAllOfASample)
{
    const ServiceSample sample = readServiceSample({health, topics, metrics});
    const auto line = sampleJson("ws://x", sample, ratesBetween(sampleAt(2.5, 0, 1.5), sample),
                                 {&sample.topics[1], &sample.topics[0]});
    EXPECT_EQ(line.find('\n'), std::string::npos);
    const boost::json::object shown = boost::json::parse(line).as_object();
    EXPECT_EQ(shown.at("url"), "ws://x");
    EXPECT_EQ(shown.at("isHealthy"), true);
    EXPECT_EQ(shown.at("publishedPerSecond").to_number<double>(), 4);
    EXPECT_EQ(shown.at("deliveredPerSecond").to_number<double>(), 8);
    EXPECT_EQ(shown.at("processorShare").to_number<double>(), 0.2);
    EXPECT_EQ(shown.at("topics").at(0).at("name"), "idle");
    EXPECT_FALSE(shown.at("topics").at(0).as_object().contains("delay"));
    const boost::json::object& topic = shown.at("topics").at(1).as_object();
    EXPECT_EQ(topic.at("parameters").at("id"), 4);
    EXPECT_EQ(topic.at("age").to_number<double>(), 2);
    EXPECT_EQ(topic.at("delay").at("percentile99").to_number<double>(), 0.3);
    EXPECT_EQ(topic.at("timedOutSubscriptions"), 7);
}

TEST(SampleJson, leavesOutRatesThatAreNotKnown)
{
    const auto line = sampleJson("ws://x", readServiceSample({health, topics, ""}), std::nullopt, {});
    const boost::json::object shown = boost::json::parse(line).as_object();
    EXPECT_FALSE(shown.contains("publishedPerSecond"));
    EXPECT_FALSE(shown.contains("residentBytes"));
    EXPECT_TRUE(shown.at("topics").as_array().empty());
}

} // namespace
} // namespace vexa::host
