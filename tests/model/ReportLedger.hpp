#pragma once

#include "tests/model/HostCalls.hpp"
#include "tests/model/Replay.hpp"
#include "tests/model/Rules.hpp"
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vexa::model {

/// The diagnostic reports that have been scheduled and not yet been sent. When one goes out is drawn by chance, so that
/// the model knows only between which moments, and in no order.
class ReportLedger {
public:
    ReportLedger(Replay& replay, HostCalls& host, RuleCounts& count) : replay_{replay}, host_{host}, count_{count} {}

    /// Schedules a report for the logger that the transport gives now; without one it is dropped.
    ///
    /// \param isInAnyOrder  whether the order of the records is not known.
    void schedule(Dictionary report, bool isInAnyOrder = false);

    /// Follows a delayed item: one of the reports goes out.
    void send();

    /// Throws when the time of a report has passed.
    void requireNothingOverdue() const;

    [[nodiscard]] std::size_t outstanding() const noexcept { return outstanding_.size(); }

private:
    struct Report {
        Dictionary blob;
        std::int64_t logger;
        double earliest; ///< on the monotonic clock, as the others
        double latest;
        bool isInAnyOrder;
    };

    Replay& replay_;
    HostCalls& host_;
    RuleCounts& count_;
    std::vector<Report> outstanding_;
    std::int64_t newestLogger_ = 0;
};

} // namespace vexa::model
