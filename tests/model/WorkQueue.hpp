#pragma once

#include "tests/model/Observation.hpp"
#include "tests/model/Replay.hpp"

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <utility>

namespace vexa::model {

/// A serial queue of the model: what waits, first in, first out.
class WorkQueue {
public:
    void async(std::function<void()> work) { waiting_.push_back({ItemKind::asynchronous, std::move(work)}); }

    /// The work of a caller that waits for it.
    void sync(std::function<void()> work) { waiting_.push_back({ItemKind::synchronous, std::move(work)}); }

    /// Runs the oldest item, since the library runs one of the kind `kind`.
    void runOldest(const Replay& replay, ItemKind kind)
    {
        if (waiting_.empty()) {
            replay.differ("no item, since none waits");
        }
        Item item = std::move(waiting_.front());
        waiting_.pop_front();
        if (item.kind != kind) {
            replay.differ(item.kind == ItemKind::synchronous ? "the item of a caller that waits" : "a submitted item");
        }
        item.work();
    }

    [[nodiscard]] std::size_t size() const noexcept { return waiting_.size(); }

private:
    struct Item {
        ItemKind kind;
        std::function<void()> work;
    };

    std::deque<Item> waiting_;
};

} // namespace vexa::model
