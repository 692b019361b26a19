#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace vexa {

/// An unbounded first-in, first-out buffer in one block of memory, of which it holds none while it is unused and little
/// after a burst.
template <class Element>
class StreamBuffer {
public:
    [[nodiscard]] bool empty() const noexcept { return taken_ == elements_.size(); }

    void push(Element element)
    {
        // The room of taken elements is used again before more is asked for, at a constant cost for each element.
        if (elements_.size() == elements_.capacity() && taken_ > elements_.size() / 2) {
            elements_.erase(elements_.begin(), elements_.begin() + static_cast<std::ptrdiff_t>(taken_));
            taken_ = 0;
        }
        elements_.push_back(std::move(element));
    }

    /// The oldest element. The buffer must not be empty.
    [[nodiscard]] Element pop()
    {
        Element element = std::move(elements_[taken_++]);
        if (empty()) {
            taken_ = 0;
            elements_.clear();
            if (elements_.capacity() > keptCapacity) {
                elements_ = std::vector<Element>{};
            }
        }
        return element;
    }

private:
    static constexpr std::size_t keptCapacity = 32;

    std::vector<Element> elements_;
    std::size_t taken_ = 0;
};

} // namespace vexa
