#pragma once

#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/AsyncStream.hpp>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace vexa {

using Numbers = std::vector<int>;
using Ends = std::vector<StreamEnd>;

/// Answers of a stream, in which nothing stands for the end.
using Answers = std::vector<std::optional<int>>;

/// A stream with its sending end, on virtual time. It keeps how the stream ended.
template <class Element>
struct StreamSource {
    explicit StreamSource(std::uint64_t seed = testing::defaultSeed()) : platform{seed} {}

    StreamSource(const StreamSource&) = delete;
    StreamSource& operator=(const StreamSource&) = delete;

    void drop() { stream.reset(); }

    testing::VirtualPlatform platform;
    Ends ends;
    std::optional<typename AsyncStream<Element>::Continuation> continuation;
    std::optional<AsyncStream<Element>> stream{std::in_place, platform, [this](const auto& made) {
                                                   continuation = made;
                                                   made.onTermination([this](StreamEnd end) { ends.push_back(end); });
                                               }};
};

using NumberSource = StreamSource<int>;

} // namespace vexa
