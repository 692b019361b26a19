#include <host/tool/client/ProgressBar.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace vexa::host {

namespace {

constexpr std::size_t barWidth = 30;
constexpr const char* wipeLine = "\r\x1B[K";

} // namespace

ProgressBar::~ProgressBar()
{
    if (isDrawn_) {
        std::fputs(wipeLine, stderr);
    }
}

void ProgressBar::draw(std::uint64_t done, const std::string& text)
{
    if (total_ == 0) {
        return;
    }
    isDrawn_ = true;
    const std::string line = wipeLine + progressBarText(done, total_, barWidth) + "  " + text;
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

std::string progressBarText(std::uint64_t done, std::uint64_t total, std::size_t width)
{
    constexpr double hundred = 100;
    const double share = total == 0 ? 1 : static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    const auto filled = static_cast<std::size_t>(share * static_cast<double>(width));
    return fmt::format("[{}{}] {:3} %", std::string(filled, '#'), std::string(width - filled, '-'),
                       static_cast<int>(share * hundred));
}

} // namespace vexa::host
