#pragma once

#include "ClientUnderTest.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vexa::testing {

/// Moments on the monotonic clock, each with an operation id.
using Times = std::vector<std::pair<double, std::string>>;

/// Writes down when the client asks its transport whether it is open and when it sends, from now on. The client must
/// outlive it.
class Timetable {
public:
    explicit Timetable(ClientUnderTest& under) : kept_{std::make_shared<Kept>()}
    {
        under.hooks->onCall = [&under, kept = kept_](Operation operation) {
            const double now = under.platform.clock.elapsed();
            if (operation == Operation::isOpen) {
                kept->asked.emplace_back(now, "");
            } else if (operation == Operation::send) {
                kept->sent.emplace_back(now, operationIdOf(under.transport->sent().back()));
            }
        };
    }

    /// The requests in the order in which they were sent.
    [[nodiscard]] Times sent() const { return kept_->sent; }

    /// The requests by time, those of one moment by operation id.
    [[nodiscard]] Times sentSorted() const
    {
        Times sorted = kept_->sent;
        std::sort(sorted.begin(), sorted.end());
        return sorted;
    }

    /// When the client asked whether the transport is open.
    [[nodiscard]] Times asked() const { return kept_->asked; }

private:
    struct Kept {
        Times asked;
        Times sent;
    };

    std::shared_ptr<Kept> kept_;
};

} // namespace vexa::testing
