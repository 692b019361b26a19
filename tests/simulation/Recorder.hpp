#pragma once

#include "tests/model/Observation.hpp"
#include <testing/VirtualPlatform.hpp>

#include <exception>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

namespace vexa::simulation {

using model::Happening;
using model::Observation;
using model::Outcome;

/// Writes down what happens, with the time.
class Recorder {
public:
    explicit Recorder(testing::VirtualPlatform& platform) noexcept : platform_{platform} {}

    /// Alters an observation before it is written down, or leaves it out by answering false. Empty outside tests of the
    /// simulation itself.
    std::function<bool(Observation&)> corrupt;

    void add(Observation observation)
    {
        observation.wall = platform_.clock.now();
        observation.monotonic = platform_.clock.elapsed();
        if (!corrupt || corrupt(observation)) {
            observations_.push_back(std::move(observation));
        }
    }

    void add(Happening what)
    {
        Observation observation;
        observation.what = what;
        add(std::move(observation));
    }

    /// Writes down a call into the host, what happens in it, and how it ended. `answer` gives the number that stands
    /// for what the call returns; what it throws escapes.
    template <class Answer>
    std::int64_t hostCall(Observation call, Answer&& answer)
    {
        add(std::move(call));
        Observation end;
        end.what = Happening::hostReturns;
        try {
            const std::int64_t number = std::forward<Answer>(answer)();
            end.number = number;
            add(std::move(end));
            return number;
        } catch (const std::exception& error) {
            end.outcome = Outcome::threwError;
            end.text = error.what();
            add(std::move(end));
            throw;
        } catch (...) {
            end.outcome = Outcome::threwOther;
            add(std::move(end));
            throw;
        }
    }

    [[nodiscard]] const std::vector<Observation>& observations() const noexcept { return observations_; }
    void clear() noexcept { observations_.clear(); }

private:
    testing::VirtualPlatform& platform_;
    std::vector<Observation> observations_;
};

} // namespace vexa::simulation
