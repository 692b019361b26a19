#pragma once

#include <any>
#include <atomic>
#include <concepts>
#include <cstddef>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <utility>
#include <vector>

/// Kivora, the dependency container through which the application hands its parts to the libraries it loads.
namespace vexa {

/// A type that names one entry of the container; its member `Value` is the type of what stands there.
template <class K>
concept DependencyKey = requires { typename K::Value; } && std::copyable<typename K::Value> &&
                        std::default_initializable<typename K::Value>;

class OruClient;

/// The container: one value for each key type. Every operation may be called on any thread at any time; a value can be
/// replaced while others use the earlier one, which lives until they have dropped it.
class Dependencies {
public:
    Dependencies() = default;
    Dependencies(const Dependencies&) = delete;
    Dependencies& operator=(const Dependencies&) = delete;
    ~Dependencies() = default;

    /// The process-wide container that handles resolve against unless they are given another one. Made on first use and
    /// never destroyed.
    [[nodiscard]] static Dependencies& shared();

    /// The value under the key type `K`; a default-constructed one when none was set.
    template <DependencyKey K>
    [[nodiscard]] typename K::Value get() const;

    /// Puts `value` under the key type `K`, in place of any earlier one.
    template <DependencyKey K>
    void set(typename K::Value value);

    /// The transport client that the application registered. When there is none, the process stops with a message that
    /// says how to register one.
    [[nodiscard]] std::shared_ptr<OruClient> oruClient() const;

    /// Registers the application's transport client, in place of any earlier one.
    void oruClient(std::shared_ptr<OruClient> client);

private:
    /// The place of `K` in every container's table.
    template <DependencyKey K>
    static std::size_t indexOf()
    {
        static const std::size_t index = nextIndex_.fetch_add(1, std::memory_order_relaxed);
        return index;
    }

    static inline std::atomic<std::size_t> nextIndex_{0};

    mutable std::shared_mutex mutex_;
    std::vector<std::any> values_;
};

/// A handle to one entry of a container. It holds no value: each read resolves the key path afresh.
template <class Value>
class Dependency {
public:
    /// The container's property that the handle reads.
    using KeyPath = Value (Dependencies::*)() const;

    explicit Dependency(KeyPath keyPath, Dependencies& container = Dependencies::shared()) noexcept
        : keyPath_{keyPath}, container_{&container}
    {}

    /// The value that stands in the container now.
    [[nodiscard]] Value wrappedValue() const { return (container_->*keyPath_)(); }

private:
    KeyPath keyPath_;
    Dependencies* container_;
};

template <DependencyKey K>
typename K::Value Dependencies::get() const
{
    const std::size_t index = indexOf<K>();
    const std::shared_lock lock{mutex_};
    if (index >= values_.size()) {
        return {};
    }
    const auto* value = std::any_cast<typename K::Value>(&values_[index]);
    return value != nullptr ? *value : typename K::Value{};
}

template <DependencyKey K>
void Dependencies::set(typename K::Value value)
{
    const std::size_t index = indexOf<K>();
    std::any replaced{std::move(value)};
    const std::unique_lock lock{mutex_};
    if (index >= values_.size()) {
        values_.resize(index + 1);
    }
    values_[index].swap(replaced);
}

} // namespace vexa
