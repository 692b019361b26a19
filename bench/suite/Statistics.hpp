#pragma once

#include <cstddef>
#include <vector>

namespace vexa::bench {

/// Repeated measurements of one thing.
class Sample {
public:
    void add(double value) { values_.push_back(value); }

    [[nodiscard]] bool isEmpty() const noexcept { return values_.empty(); }
    [[nodiscard]] const std::vector<double>& values() const noexcept { return values_; }

    // None of the following may be asked of an empty sample.

    [[nodiscard]] double median() const;
    [[nodiscard]] double minimum() const;
    [[nodiscard]] double maximum() const;

    struct Interval {
        double low;
        double high;
    };

    /// The narrowest pair of order statistics between which the true median lies with nine chances in ten at least,
    /// whatever the distribution (W. J. Conover, Practical Nonparametric Statistics); the extremes when there are too
    /// few measurements for that.
    [[nodiscard]] Interval medianInterval() const;

private:
    [[nodiscard]] std::vector<double> sorted() const;

    std::vector<double> values_;
};

} // namespace vexa::bench
