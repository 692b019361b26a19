#pragma once

#include "tests/model/Observation.hpp"

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexa::model {

/// The library did something else than the model.
class Difference : public std::runtime_error {
public:
    Difference(const std::string& expectation, const std::string& sight, std::size_t place)
        : std::runtime_error{"expected: " + expectation + "\nobserved: " + sight},
          expected{expectation},
          observed{sight},
          position{place}
    {}

    std::string expected;
    std::string observed;
    std::size_t position; ///< the index of the observation
};

/// What happened, as the model follows it: the model says what comes next and gets it, or there is a difference.
class Replay {
public:
    /// What the model does when something happens that it did not ask for: inside a call into the host, the host calls
    /// the library.
    std::function<void()> unasked;

    /// Begins to follow `observations`, which must stay where they are until the end of them was reached.
    void begin(const std::vector<Observation>& observations);

    [[nodiscard]] bool atEnd() const noexcept { return next_ == observations_->size(); }

    /// The next observation.
    [[nodiscard]] const Observation& peek() const;

    [[nodiscard]] bool nextIs(Happening what) const noexcept
    {
        return !atEnd() && (*observations_)[next_].what == what;
    }

    /// Takes the next observation, which must be of this kind.
    const Observation& take(Happening what);

    /// Takes the next observation, which must be the log line "VEXA: " and `text`, its control characters escaped.
    /// Returns whether any was escaped.
    bool takeLog(std::string_view text);

    /// Follows what the model did not ask for until the next observation is of the kind `what`, and takes that.
    const Observation& takeAfterOthers(Happening what);

    /// Throws the difference between what was expected and the last observation that was taken.
    [[noreturn]] void differ(const std::string& expected) const;
    [[noreturn]] void differ(const std::string& expected, const std::string& observed) const;

    /// The clocks of the last observation that was taken.
    [[nodiscard]] double wall() const noexcept { return last_->wall; }
    [[nodiscard]] double monotonic() const noexcept { return last_->monotonic; }

private:
    const std::vector<Observation>* observations_ = nullptr;
    const Observation* last_ = nullptr;
    std::size_t next_ = 0;
};

} // namespace vexa::model
