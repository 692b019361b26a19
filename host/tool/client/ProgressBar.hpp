#pragma once

#include <cstdint>
#include <string>

namespace vexa::host {

/// Shows a person how far a long job has come, on one line of standard error that it draws again and again.
class ProgressBar {
public:
    /// \param total  of the job, in the unit of what draw() is told; 0 hides the bar
    explicit ProgressBar(std::uint64_t total) noexcept : total_{total} {}

    /// Wipes the line.
    ~ProgressBar();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// \param text  what stands behind the bar
    void draw(std::uint64_t done, const std::string& text);

private:
    std::uint64_t total_;
    bool isDrawn_ = false;
};

/// The bar as text, `width` columns wide without its brackets, such as [####----]  50 %.
[[nodiscard]] std::string progressBarText(std::uint64_t done, std::uint64_t total, std::size_t width);

} // namespace vexa::host
