#pragma once

#include "Journal.hpp"
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/Platform.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vexa {

/// The virtual platform; whoever waits drives it.
struct OnVirtualPlatform {
    [[nodiscard]] std::vector<std::string> logLines() const { return platform.logLines(); }

    [[nodiscard]] std::vector<std::string> awaitLogLines(std::size_t /*count*/)
    {
        platform.runUntilIdle();
        return platform.logLines();
    }

    testing::VirtualPlatform platform;
};

/// The platform of the operating system with as few workers as it may have.
struct OnSystemPlatform {
    OnSystemPlatform()
    {
        platform.setLogSink([this](std::string_view line) { lines.add(std::string{line}); });
    }

    [[nodiscard]] std::vector<std::string> logLines() const { return lines.entries(); }
    [[nodiscard]] std::vector<std::string> awaitLogLines(std::size_t count) { return lines.await(count); }

    SystemPlatform platform{2};
    Journal<std::string> lines{platform};
};

struct PlatformName {
    template <class T>
    static std::string GetName(int /*index*/) // NOLINT(readability-identifier-naming): GoogleTest calls it so
    {
        return std::is_same_v<T, OnVirtualPlatform> ? "Virtual" : "System";
    }
};

using PlatformsUnderTest = ::testing::Types<OnVirtualPlatform, OnSystemPlatform>;

/// The base of the tests that hold on every platform.
template <class Under>
class OnEveryPlatform : public ::testing::Test {
protected:
    Under under;
    Platform& platform = under.platform;
};

} // namespace vexa
