#pragma once

#include <VexaClient/platform/Json.hpp>

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vexa {

/// What never changes of a topic, in one allocation that all who speak of the topic share.
class TopicIdentity {
public:
    using Pointer = boost::intrusive_ptr<const TopicIdentity>;

    /// The identity of a topic with its own copy of all that is given.
    [[nodiscard]] static Pointer make(std::string_view name, const Parameters& params, std::string_view hash);

    TopicIdentity(const TopicIdentity&) = delete;
    TopicIdentity& operator=(const TopicIdentity&) = delete;

    [[nodiscard]] std::string_view hash() const noexcept { return {texts(), hashSize_}; }
    [[nodiscard]] std::string_view name() const noexcept { return {texts() + hashSize_, nameSize_}; }
    [[nodiscard]] const Parameters& params() const noexcept { return params_; }

private:
    TopicIdentity(std::string_view name, const Parameters& params, std::string_view hash);
    ~TopicIdentity() = default;

    /// The hash and, behind it, the name: they follow the object in its allocation.
    [[nodiscard]] const char* texts() const noexcept
    {
        return reinterpret_cast<const char*>(this + 1); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
    }

    // What boost::intrusive_ptr looks for.
    // NOLINTBEGIN(readability-identifier-naming)
    friend void intrusive_ptr_add_ref(const TopicIdentity* identity) noexcept
    {
        identity->references_.fetch_add(1, std::memory_order_relaxed);
    }
    friend void intrusive_ptr_release(const TopicIdentity* identity) noexcept
    {
        if (identity->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            destroy(identity);
        }
    }
    // NOLINTEND(readability-identifier-naming)

    static void destroy(const TopicIdentity* identity) noexcept;

    mutable std::atomic<std::uint32_t> references_{0};
    const std::uint32_t hashSize_;
    const std::size_t nameSize_;
    const Parameters params_;
};

} // namespace vexa
