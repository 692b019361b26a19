#include <host/tool/machine/DiskTraffic.hpp>
#include <host/tool/machine/LoadAverage.hpp>
#include <host/tool/machine/MachineFigures.hpp>
#include <host/tool/machine/MemoryUse.hpp>
#include <host/tool/machine/NetworkTraffic.hpp>
#include <host/tool/machine/ProcessorTime.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <utility>

#include <sys/resource.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr double wholePercent = 100.0;

boost::json::string_view text(std::string_view view) noexcept
{
    return {view.data(), view.size()};
}

Parameters parameter(std::string_view key, Value value)
{
    Dictionary parameters;
    parameters[text(key)] = std::move(value);
    return parameters;
}

double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// Traffic both ways as one figure.
Figure trafficFigure(std::string topic, Parameters parameters, std::string_view inward, double inwardRate,
                     std::string_view outward, double outwardRate)
{
    Dictionary details;
    details[text(inward)] = inwardRate;
    details[text(outward)] = outwardRate;
    return {std::move(topic), std::move(parameters), Unit::bytesPerSecond, inwardRate + outwardRate,
            std::move(details)};
}

} // namespace

std::vector<Figure> MachineFigures::sample(double now)
{
    std::vector<Figure> figures;
    sampleLoad(figures);
    sampleProcessors(figures, now);
    sampleMemory(figures);
    sampleNetwork(figures, now);
    sampleDisks(figures, now);
    sampleProcess(figures, now);
    return figures;
}

std::string MachineFigures::contentOf(std::string_view file) const
{
    std::ifstream stream{kernelFiles_ / file};
    return {std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{}};
}

Growth& MachineFigures::growthOf(std::string_view kind, std::string_view name)
{
    return growths_[joined({kind, " ", name})];
}

void MachineFigures::sampleLoad(std::vector<Figure>& figures) const
{
    const auto load = readLoadAverage(contentOf("loadavg"));
    if (!load) {
        return;
    }
    for (const auto& [minutes, value] : {std::pair{1, load->one}, {5, load->five}, {15, load->fifteen}}) {
        figures.push_back({"load", parameter("minutes", minutes), Unit::tasks, value, {}});
    }
}

void MachineFigures::sampleProcessors(std::vector<Figure>& figures, double now)
{
    for (const ProcessorTime& time : readProcessorTimes(contentOf("stat"))) {
        const std::string core = std::to_string(time.core);
        const double busy = growthOf("busy core", core).perSecond(now, static_cast<double>(time.busy));
        const double total = growthOf("core", core).perSecond(now, static_cast<double>(time.total));
        const double percent = total > 0 ? std::clamp(wholePercent * busy / total, 0.0, wholePercent) : 0;
        figures.push_back({"processor", parameter("core", time.core), Unit::percent, percent, {}});
    }
}

void MachineFigures::sampleMemory(std::vector<Figure>& figures) const
{
    const auto memory = readMemoryUse(contentOf("meminfo"));
    if (!memory) {
        return;
    }
    const auto total = static_cast<double>(memory->total);
    const double percent = wholePercent * static_cast<double>(memory->total - memory->available) / total;
    Dictionary details{{"totalBytes", memory->total}, {"availableBytes", memory->available}};
    figures.push_back({"memory", std::nullopt, Unit::percent, percent, std::move(details)});
}

void MachineFigures::sampleNetwork(std::vector<Figure>& figures, double now)
{
    for (const NetworkTraffic& traffic : readNetworkTraffic(contentOf("net/dev"))) {
        if (traffic.received + traffic.sent == 0) {
            continue;
        }
        const double received =
            growthOf("received", traffic.interface).perSecond(now, static_cast<double>(traffic.received));
        const double sent = growthOf("sent", traffic.interface).perSecond(now, static_cast<double>(traffic.sent));
        figures.push_back(trafficFigure("network", parameter("interface", text(traffic.interface)), "receivedPerSecond",
                                        received, "sentPerSecond", sent));
    }
}

void MachineFigures::sampleDisks(std::vector<Figure>& figures, double now)
{
    for (const DiskTraffic& traffic : readDiskTraffic(contentOf("diskstats"))) {
        const double read = growthOf("read", traffic.device).perSecond(now, static_cast<double>(traffic.read));
        const double written = growthOf("written", traffic.device).perSecond(now, static_cast<double>(traffic.written));
        figures.push_back(trafficFigure("disk", parameter("device", text(traffic.device)), "readPerSecond", read,
                                        "writtenPerSecond", written));
    }
}

void MachineFigures::sampleProcess(std::vector<Figure>& figures, double now)
{
    rusage usage{};
    if (::getrusage(RUSAGE_SELF, &usage) != 0) {
        return;
    }
    const double used = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    const double percent = wholePercent * growthOf("process", "own").perSecond(now, used);
    figures.push_back({"process", parameter("id", ::getpid()), Unit::percent, percent, {}});
}

} // namespace vexa::host
