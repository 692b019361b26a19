#pragma once

#include <host/tool/display/Display.hpp>

#include <cstdio>

namespace vexa::host {

/// Plain lines, one for each event and one for each second.
class LineDisplay final : public Display {
public:
    /// \param out  where the lines go; each is flushed.
    explicit LineDisplay(std::FILE* out) noexcept : out_{out} {}

    [[nodiscard]] double interval() const override { return 1; }
    void happened(const DemoEvent& event) override;
    void update(const DemoSnapshot& snapshot) override;
    void finish(const DemoSnapshot& last, const DemoSummary& summary) override;

private:
    std::FILE* out_;
};

/// One JSON object on each line: events, the sums of each second, and the summary at the end.
class JsonDisplay final : public Display {
public:
    /// \param out  where the lines go; each is flushed.
    explicit JsonDisplay(std::FILE* out) noexcept : out_{out} {}

    [[nodiscard]] double interval() const override { return 1; }
    void happened(const DemoEvent& event) override;
    void update(const DemoSnapshot& snapshot) override;
    void finish(const DemoSnapshot& last, const DemoSummary& summary) override;

private:
    void print(double at, std::string_view name, Dictionary details);

    std::FILE* out_;
};

} // namespace vexa::host
