#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace vexa::host {

/// Writes metrics in the text exposition format of Prometheus, version 0.0.4: for each metric a HELP and a TYPE line,
/// then one line for each combination of labels.
class PrometheusText {
public:
    static constexpr std::string_view contentType = "text/plain; version=0.0.4; charset=utf-8";

    using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;

    /// Begins a metric that only rises, whose name ends in "_total", or one that rises and falls.
    void counter(std::string_view name, std::string_view help) { begin(name, "counter", help); }
    void gauge(std::string_view name, std::string_view help) { begin(name, "gauge", help); }

    /// Adds a value of the metric that was begun last. The values of labels may hold anything.
    void value(std::uint64_t number, Labels labels = {});
    void value(double number, Labels labels = {});

    [[nodiscard]] const std::string& text() const noexcept { return text_; }

private:
    void begin(std::string_view name, std::string_view type, std::string_view help);
    void beginValue(Labels labels);

    std::string text_;
    std::string name_;
};

} // namespace vexa::host
