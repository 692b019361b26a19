#include <host/tool/demo/DemoReport.hpp>

namespace vexa::host {

std::vector<std::string> DemoSummary::complaints() const
{
    std::vector<std::string> complaints;
    const auto complainOf = [&complaints](std::uint64_t count, const char* what) {
        if (count > 0) {
            complaints.push_back(std::to_string(count) + what);
        }
    };
    if (totals.delivered == 0) {
        complaints.emplace_back("nothing was delivered");
    }
    complainOf(totals.missing, " lost");
    complainOf(totals.duplicated, " duplicated");
    complainOf(totals.outOfOrder, " out of order");
    complainOf(ends.badly, " of the streams did not end as they should");
    if (wasInterrupted) {
        return complaints;
    }
    if (!topicWasEnded) {
        complaints.emplace_back("the topic that the service ended did not end");
    }
    if (echoes == 0) {
        complaints.emplace_back("the service did not receive the echo");
    }
    if (openings < 2) {
        complaints.emplace_back("the connection did not open again");
    }
    return complaints;
}

Dictionary DemoSummary::asDictionary() const
{
    Dictionary summary{{"seconds", seconds},
                       {"streams", totals.streams},
                       {"published", totals.published},
                       {"delivered", totals.delivered},
                       {"replayed", totals.replayed},
                       {"lost", totals.missing},
                       {"duplicated", totals.duplicated},
                       {"outOfOrder", totals.outOfOrder},
                       {"endedByService", ends.byService},
                       {"endedByConsumer", ends.byConsumer},
                       {"endedBadly", ends.badly},
                       {"openings", openings},
                       {"interrupted", wasInterrupted},
                       {"passed", complaints().empty()}};
    if (echoes) {
        summary["echoes"] = *echoes;
    }
    if (diagnosticReports) {
        summary["diagnosticReports"] = *diagnosticReports;
    }
    if (medianDelay) {
        summary["medianDelay"] = *medianDelay;
    }
    if (slowDelay) {
        summary["slowDelay"] = *slowDelay;
    }
    return summary;
}

} // namespace vexa::host
