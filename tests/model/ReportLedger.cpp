#include "tests/model/ReportLedger.hpp"

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <utility>

namespace vexa::model {

namespace {

constexpr double shortestDelay = 5.0;
constexpr double longestDelay = 300.0;

/// Delays are kept in whole nanoseconds, which may round one up or down.
constexpr double rounding = 1.0e-6;

bool isPermutation(const Dictionary& a, const Dictionary& b)
{
    if (a.size() != 1 || b.size() != 1 || a.begin()->key() != b.begin()->key() || !a.begin()->value().is_array() ||
        !b.begin()->value().is_array()) {
        return false;
    }
    const List& left = a.begin()->value().get_array();
    const List& right = b.begin()->value().get_array();
    return std::is_permutation(left.begin(), left.end(), right.begin(), right.end());
}

} // namespace

void ReportLedger::schedule(Dictionary report, bool isInAnyOrder)
{
    const std::int64_t logger = host_.logger();
    if (logger == 0) {
        return;
    }
    newestLogger_ = logger;
    const double now = replay_.monotonic();
    outstanding_.push_back({std::move(report), logger, now + shortestDelay, now + longestDelay, isInAnyOrder});
}

void ReportLedger::send()
{
    const Observation& sent = host_.serverLog();
    if (sent.text != "vexa" || sent.number != 0) {
        replay_.differ("a record of the category vexa and the severity 0");
    }
    const auto matches = [&sent](const Report& each) {
        return each.logger == sent.source &&
               (each.blob == sent.dictionary || (each.isInAnyOrder && isPermutation(each.blob, sent.dictionary)));
    };
    const auto isDue = [&sent](const Report& each) {
        return sent.monotonic >= each.earliest - rounding && sent.monotonic <= each.latest + rounding;
    };
    const auto found =
        std::ranges::find_if(outstanding_, [&](const Report& each) { return isDue(each) && matches(each); });
    if (found == outstanding_.end()) {
        std::string expectation = "one of the reports that are scheduled for now, on its logger:";
        for (const Report& each : outstanding_) {
            expectation += "\n    at " + std::to_string(each.logger) + " between " + std::to_string(each.earliest) +
                           " and " + std::to_string(each.latest) + ": " + boost::json::serialize(each.blob);
        }
        replay_.differ(expectation);
    }
    count_(Rule::reportSent);
    if (found->logger != newestLogger_) {
        count_(Rule::reportToEarlierLogger);
    }
    outstanding_.erase(found);
    host_.serverLogReturns();
}

void ReportLedger::requireNothingOverdue() const
{
    for (const Report& each : outstanding_) {
        if (each.latest + rounding < replay_.monotonic()) {
            replay_.differ("a report until " + std::to_string(each.latest) + ": " + boost::json::serialize(each.blob),
                           "no such report by " + std::to_string(replay_.monotonic()));
        }
    }
}

} // namespace vexa::model
