#pragma once

#include <host/tool/display/Display.hpp>
#include <host/tool/display/Terminal.hpp>

#include <cstddef>
#include <vector>

namespace vexa::host {

/// A table on a terminal that is painted again and again in the same place. The cursor is hidden meanwhile; it is shown
/// again when the display is finished or destroyed.
class TableDisplay final : public Display {
public:
    explicit TableDisplay(const TerminalTraits& traits);
    ~TableDisplay() override;
    TableDisplay(const TableDisplay&) = delete;
    TableDisplay& operator=(const TableDisplay&) = delete;

    [[nodiscard]] double interval() const override { return 0.1; }
    void happened(const DemoEvent& event) override;
    void update(const DemoSnapshot& snapshot) override;
    void finish(const DemoSnapshot& last, const DemoSummary& summary) override;

    /// What makes the cursor visible, for whoever has to leave at once.
    static constexpr std::string_view showCursor = "\x1b[?25h";

private:
    const TerminalTraits traits_;
    std::vector<DemoEvent> events_;
    std::size_t paintedLines_ = 0;
    std::size_t paintedWidth_ = 0;
};

} // namespace vexa::host
