#include <host/server/ServerFigures.hpp>

#include <algorithm>

namespace vexa::host {

std::string_view labelOf(CloseReason reason) noexcept
{
    static constexpr std::array<std::string_view, closeReasonCount> labels{"client",    "lost",     "silent",  "slow",
                                                                           "too_large", "protocol", "service", "stop"};
    return labels[static_cast<std::size_t>(reason)];
}

std::string_view labelOf(FrameFault fault) noexcept
{
    static constexpr std::array<std::string_view, frameFaultCount> labels{
        "not_json", "not_an_object", "too_deep", "too_large", "binary", "not_utf8", "protocol"};
    return labels[static_cast<std::size_t>(fault)];
}

void countHttpResponse(ThreadCounts& counts, unsigned status) noexcept
{
    const auto found = std::find(httpStatuses.begin(), httpStatuses.end(), status);
    if (found != httpStatuses.end()) {
        counts.httpResponses[static_cast<std::size_t>(found - httpStatuses.begin())].add();
    }
}

void addCounts(ServerFigures& figures, const ThreadCounts& counts) noexcept
{
    figures.connections += counts.connections.get();
    figures.webSockets += counts.webSockets.get();
    figures.accepted += counts.accepted.get();
    figures.acceptFailures += counts.acceptFailures.get();
    figures.webSocketsOpened += counts.webSocketsOpened.get();
    figures.framesReceived += counts.framesReceived.get();
    figures.bytesReceived += counts.bytesReceived.get();
    figures.framesSent += counts.framesSent.get();
    figures.bytesSent += counts.bytesSent.get();
    figures.entriesSent += counts.entriesSent.get();
    figures.pingsSent += counts.pingsSent.get();
    figures.unauthorized += counts.unauthorized.get();
    const auto addEach = [](auto& sums, const auto& numbers) {
        for (std::size_t place = 0; place < sums.size(); ++place) {
            sums[place] += numbers[place].get();
        }
    };
    addEach(figures.webSocketsClosed, counts.webSocketsClosed);
    addEach(figures.badFrames, counts.badFrames);
    addEach(figures.httpResponses, counts.httpResponses);
}

} // namespace vexa::host
