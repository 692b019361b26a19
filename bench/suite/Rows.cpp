#include <bench/suite/Rows.hpp>

#include <initializer_list>
#include <string_view>
#include <utility>

namespace vexa::bench {

namespace {

using Words = std::vector<std::string>;

/// A program of one job.
Command road(const std::string& name, Words arguments, Words brief)
{
    return {"road_" + name, std::move(arguments), std::move(brief)};
}

/// Those of the benchmarks of a Google Benchmark program whose names a regular expression matches.
Command google(const std::string& program, const std::string& filter)
{
    return {"bench_" + program,
            {"--benchmark_filter=" + filter, "--benchmark_format=json"},
            {"--benchmark_min_time=0.001"}};
}

Entry receiving(const std::string& system, const std::string& program, Words arguments)
{
    return {system,
            road("receive_" + program, std::move(arguments), {"--messages", "2000", "--warm-up", "500"}),
            {"", "/cpuPerMessage"}};
}

Row receiveOneAFrame(const std::string& topics)
{
    const Words plain{"--topics", topics};
    const auto in = [&](const std::string& mode) { return Words{"--topics", topics, "--mode", mode}; };
    Row row{"receive-" + topics,
            "receive over loopback, parsed, routed, report made, handed to a stream; topics: " + topics,
            "us CPU a message",
            {receiving("vexa", "vexa", in(topics == "1" ? "blocking" : "callback")),
             receiving("vexa, listener", "vexa", in("listener")), receiving("floor", "floor", plain),
             receiving("hiredis", "redis", in("blocking")), receiving("hiredis, async", "redis", in("asynchronous")),
             receiving("nats.c, pool", "nats", in("pool")), receiving("nats.c, threads", "nats", in("threads")),
             receiving("libmosquitto", "mosquitto", in("loop"))},
            {0.8, "hiredis"}};
    // A thousand threads take their time, and the time for one message is known soon.
    row.entries[6].command.arguments.insert(row.entries[6].command.arguments.end(), {"--messages", "200000"});
    row.entries[7].command.arguments.insert(row.entries[7].command.arguments.end(), {"--messages", "200000"});
    return row;
}

Row receiveInFrames(const std::string& topics)
{
    const Words words{"--topics", topics, "--batch", "32"};
    Words streams = words;
    streams.insert(streams.end(), {"--mode", topics == "1" ? "blocking" : "callback"});
    return {"receive-32-" + topics,
            "the same with 32 messages in a frame; topics: " + topics,
            "us CPU a message",
            {receiving("vexa", "vexa", streams), receiving("floor", "floor", words)},
            {2, "floor"}};
}

Row addedByTheLibrary()
{
    const Command command = google("road", "(parsedToListener|parseAlone)/batch:32/");
    constexpr double perMessage = 1.0 / 32;
    constexpr double perMessageOfMany = 1.0 / 2048;
    return {"added",
            "what the library adds, from the parsed message to the listener, 32 a batch",
            "ns CPU a message",
            {{"vexa", command, {"parsedToListener/batch:32", "cpu_time", perMessageOfMany}},
             {"parsing", command, {"parseAlone/batch:32", "cpu_time", perMessage}}},
            {1, "parsing"}};
}

std::vector<Row> queueRows()
{
    const Command command = google("queue", ".*");
    constexpr double perHop = 0.25;
    constexpr double microseconds = 1e-3;
    return {{"hop",
             "one queue hop, loaded",
             "ns",
             {{"vexa", command, {"loadedHop<QueueChain>", "real_time", perHop}},
              {"strand, defer", command, {"loadedHop<StrandChain<Submit::defer>>", "real_time", perHop}},
              {"strand, post", command, {"loadedHop<StrandChain<Submit::post>>", "real_time", perHop}}},
             {0.6, "strand, defer"}},
            {"hops",
             "four hops, unloaded, and the way back",
             "us",
             {{"vexa", command, {"unloadedChain<QueueChain>", "real_time", microseconds}},
              {"strand, defer", command, {"unloadedChain<StrandChain<Submit::defer>>", "real_time", microseconds}},
              {"strand, post", command, {"unloadedChain<StrandChain<Submit::post>>", "real_time", microseconds}}},
             {10, ""}},
            {"sync", "idle sync", "ns", {{"vexa", command, {"idleSync", "real_time"}}}, {20, ""}},
            {"delayed", "one delayed item", "ns", {{"vexa", command, {"delayedItem", "real_time"}}}, {300, ""}},
            {"delayed-bytes",
             "one delayed item",
             "bytes",
             {{"vexa", command, {"delayedItem", "bytesPerItem"}}},
             {128, ""}}};
}

Row fanOut()
{
    constexpr double perListener = 1e-3;
    return {"fan-out",
            "1 message to 1,000 listeners of one subscription",
            "ns CPU a listener",
            {{"vexa",
              google("fan_out", "/listeners:1000/"),
              {"messageToListeners/listeners:1000", "cpu_time", perListener}}},
            {60, ""}};
}

std::vector<Row> subscribeRows()
{
    const Words brief{"--topics", "500"};
    const auto entry = [&](const std::string& system, const std::string& program, const std::string& mode,
                           const std::string& key) {
        return Entry{system, road("subscribe_" + program, {"--mode", mode}, brief), {"", key}};
    };
    const Command memory = road("memory_vexa", {}, brief);
    return {
        {"subscribe",
         "subscribe 100,000 topics and have them confirmed by the service",
         "us CPU a topic",
         {entry("vexa", "vexa", "listener", "/cpuPerTopic"), entry("vexa, stream", "vexa", "stream", "/cpuPerTopic"),
          entry("beast", "beast", "asynchronous", "/cpuPerTopic"),
          entry("hiredis", "redis", "blocking", "/cpuPerTopic"), entry("nats.c", "nats", "pool", "/cpuPerTopic"),
          entry("libmosquitto", "mosquitto", "loop", "/cpuPerTopic")},
         {1.5, "beast"}},
        {"memory",
         "memory of one confirmed subscription with one listener, at 100,000, when its reports have been sent",
         "bytes",
         {{"vexa", memory, {"", "/allocatedForListener"}},
          {"vexa after a cut", memory, {"", "/allocatedForListenerAfterCut"}},
          entry("vexa, reports held", "vexa", "listener", "/allocatedPerTopic"),
          entry("nats.c", "nats", "pool", "/allocatedPerTopic"),
          entry("libmosquitto", "mosquitto", "loop", "/allocatedPerTopic")},
         {449, ""}},
        {"memory-stream",
         "memory of a stream on top of that",
         "bytes",
         {{"vexa", memory, {"", "/allocatedForStreamOnTop"}}},
         {200, ""}}};
}

std::vector<Row> reconnectRows()
{
    const auto entry = [](const std::string& system, const std::string& program, const std::string& key) {
        return Entry{system, road("reconnect_" + program, {}, {"--topics", "500"}), {"", key}};
    };
    const Command million = road("reconnect_million", {}, {"--topics", "5000"});
    return {
        {"reconnect",
         "10,000 subscriptions after a cut: from connected to all working",
         "ms",
         {entry("vexa", "vexa", "/milliseconds"), entry("hiredis", "redis", "/milliseconds"),
          entry("nats.c", "nats", "/milliseconds"), entry("libmosquitto", "mosquitto", "/milliseconds")},
         {20, ""}},
        {"reconnect-lost",
         "messages lost of the 10,000 that were published during the cut",
         "messages",
         {entry("vexa", "vexa", "/lost"), entry("hiredis", "redis", "/lost"), entry("nats.c", "nats", "/lost"),
          entry("libmosquitto", "mosquitto", "/lost")},
         {0, ""}},
        {"million",
         "1,000,000 topics after a cut, one request, the service in the same process",
         "s",
         {{"vexa", million, {"", "/seconds"}}},
         {2, ""}},
        {"million-memory",
         "memory afterwards as a multiple of before, reports of the last minutes included",
         "times",
         {{"vexa, allocated", million, {"", "/allocatedRatio"}}, {"vexa, resident", million, {"", "/residentRatio"}}},
         {1.1, ""}}};
}

std::vector<Row> latencyRows()
{
    const Words brief{"--messages", "1000", "--warm-up", "100"};
    std::vector<Row> rows;
    for (const auto& [key, name] : {std::pair{"/p50", "p50"}, std::pair{"/p99", "p99"}}) {
        const auto entry = [&, key = std::string{key}](const std::string& system, const std::string& program,
                                                       const std::string& mode) {
            return Entry{system, road("latency_" + program, {"--mode", mode}, brief), {"", key}};
        };
        rows.push_back({std::string{"latency-"} + name,
                        std::string{"publish to callback through a service at 10,000 a second, "} + name,
                        "us",
                        {entry("vexa", "vexa", "callback"), entry("vexa, blocking", "vexa", "blocking"),
                         entry("hiredis", "redis", "blocking"), entry("nats.c", "nats", "threads")},
                        {1, "hiredis"}});
    }
    return rows;
}

std::vector<Row> reportRows()
{
    const Command command = google("report", ".*");
    constexpr double perMessageOfMany = 1.0 / 64;
    constexpr double perRecord = 1.0 / 1024;
    return {{"record",
             "a delivery record held for its delay",
             "ns CPU",
             {{"vexa", command, {"recordsMade/entries:1024", "cpu_time", perRecord}}},
             {30, ""}},
            {"record-bytes",
             "a delivery record held for its delay, with its share of a report of 32",
             "bytes",
             {{"vexa", command, {"messageWithoutFollowers/entries:32", "bytesPerRecord"}},
              {"vexa, alone", command, {"recordsMade/entries:1024", "bytesPerRecord"}}},
             {64, ""}},
            {"report-time",
             "a report with its timer; with it the hop, the routing and the release of the message",
             "ns CPU",
             {{"vexa", command, {"messageWithoutFollowers/entries:1", "cpu_time", perMessageOfMany}}},
             {400, ""}},
            {"report-bytes",
             "a report with its timer and its one record",
             "bytes",
             {{"vexa", command, {"messageWithoutFollowers/entries:1", "bytesPerReport"}}},
             {160, ""}}};
}

Row amongMany()
{
    Command many = google("subscriptions", "subscriptions:(1000|1000000)/");
    // A million subscriptions take their time to make.
    many.brief.emplace_back("--benchmark_filter=subscriptions:(1000|10000)/");
    return {"among",
            "cost of a message at 1,000,000 subscriptions against 1,000, parsing included",
            "ns CPU",
            {{"vexa, 1,000,000", many, {"messageAmongSubscriptions/subscriptions:1000000", "cpu_time"}},
             {"vexa, 1,000", many, {"messageAmongSubscriptions/subscriptions:1000", "cpu_time"}}},
            {2, "vexa, 1,000"}};
}

std::vector<Row> hashRows()
{
    const Command command = google("hash", ".*");
    return {{"hash-plain",
             "subscriptionHash without parameters",
             "ns",
             {{"vexa", command, {"hashWithoutParameters", "real_time"}},
              {"digest", command, {"bareDigest/bytes:19", "real_time"}}},
             {2, "digest"}},
            {"hash-dictionary",
             "subscriptionHash with a small dictionary",
             "ns",
             {{"vexa", command, {"hashOfSmallDictionary", "real_time"}},
              {"digest", command, {"bareDigest/bytes:128", "real_time"}}},
             {2, "digest"}}};
}

void append(std::vector<Row>& rows, std::vector<Row> more)
{
    for (Row& row : more) {
        rows.push_back(std::move(row));
    }
}

} // namespace

std::string Command::text() const
{
    std::string text = program;
    for (const std::string& argument : arguments) {
        text += " " + argument;
    }
    return text;
}

std::vector<Row> allRows()
{
    std::vector<Row> rows{receiveOneAFrame("1"), receiveOneAFrame("1000"), receiveInFrames("1"),
                          receiveInFrames("1000"), addedByTheLibrary()};
    append(rows, queueRows());
    rows.push_back(fanOut());
    append(rows, subscribeRows());
    append(rows, reconnectRows());
    append(rows, latencyRows());
    append(rows, reportRows());
    rows.push_back(amongMany());
    append(rows, hashRows());
    return rows;
}

std::vector<Row> plotRows()
{
    std::vector<Row> rows;
    Row subscriptions{"subscriptions", "cost of a message over the subscriptions", "ns CPU a message", {}, {}};
    const Command among = google("subscriptions", ".*");
    Row listeners{"listeners", "cost of a call over the listeners of one subscription", "ns CPU a listener", {}, {}};
    const Command fan = google("fan_out", ".*");
    for (const int count : {1, 10, 100, 1'000, 10'000, 100'000, 1'000'000}) {
        const std::string number = std::to_string(count);
        subscriptions.entries.push_back(
            {number, among, {"messageAmongSubscriptions/subscriptions:" + number, "cpu_time"}});
        if (count <= 10'000) {
            listeners.entries.push_back(
                {number, fan, {"messageToListeners/listeners:" + number, "cpu_time", 1.0 / count}});
        }
    }
    Row vexa{"batch-vexa", "cost of a message over the messages in a frame", "us CPU a message", {}, {}};
    Row floor{"batch-floor", "cost of a message over the messages in a frame", "us CPU a message", {}, {}};
    for (const int count : {1, 2, 4, 8, 16, 32, 64, 128}) {
        const std::string number = std::to_string(count);
        vexa.entries.push_back(receiving(number, "vexa", {"--batch", number}));
        floor.entries.push_back(receiving(number, "floor", {"--batch", number}));
    }
    append(rows, {std::move(subscriptions), std::move(listeners), std::move(vexa), std::move(floor)});
    return rows;
}

} // namespace vexa::bench
